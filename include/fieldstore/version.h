// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_VERSION_H
#define FIELDSTORE_VERSION_H

// The only place where the version is written; the build reads it from here. The major number is
// the library's SOVERSION: it changes when an interface's operations change their order or types.
#define FIELDSTORE_VERSION_MAJOR 1
#define FIELDSTORE_VERSION_MINOR 0
#define FIELDSTORE_VERSION_PATCH 0

#endif
