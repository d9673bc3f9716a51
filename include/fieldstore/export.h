// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_EXPORT_H
#define FIELDSTORE_EXPORT_H

// FIELDSTORE_API marks the one exported function. FIELDSTORE_INTERFACE gives an abstract interface
// run-time type information that is the same object on both sides of the library boundary, so that
// dynamic_pointer_cast works whichever side was compiled by g++ or clang. On Windows the linker has
// a list of what is exported, and types are compared by their names.
#if defined(_WIN32)
#define FIELDSTORE_API
#define FIELDSTORE_INTERFACE
#else
#define FIELDSTORE_API __attribute__((visibility("default")))
#define FIELDSTORE_INTERFACE __attribute__((visibility("default")))
#endif

#endif
