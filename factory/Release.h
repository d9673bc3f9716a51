// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_RELEASE_H
#define FIELDSTORE_RELEASE_H

/// Deleter of the pointers handed to hosts: its code lies in this library, so an object is
/// destroyed here whichever module releases the last pointer.
template <typename T>
struct Release {
    void operator()(T* object) const { delete object; }
};

#endif
