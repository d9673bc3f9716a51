// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_EXPORT_H
#define FIELDSTORE_EXPORT_H

// FIELDSTORE_API marks the one exported function. FIELDSTORE_INTERFACE gives an abstract interface
// run-time type information that is the same object on both sides of the library boundary, so that
// dynamic_pointer_cast works whichever side was compiled by g++ or clang.
#if defined(_WIN32)
#if defined(FIELDSTORE_BUILDING)
#define FIELDSTORE_API __declspec(dllexport)
#else
#define FIELDSTORE_API __declspec(dllimport)
#endif
#define FIELDSTORE_INTERFACE
#else
#define FIELDSTORE_API __attribute__((visibility("default")))
#define FIELDSTORE_INTERFACE __attribute__((visibility("default")))
#endif

#endif
