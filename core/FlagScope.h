// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FLAG_SCOPE_H
#define FIELDSTORE_FLAG_SCOPE_H

namespace fieldstore {

/// A flag that is set for a scope.
class FlagScope {
public:
    explicit FlagScope(bool& target) : flag(target) { flag = true; }
    ~FlagScope() { flag = false; }
    FlagScope(const FlagScope&) = delete;
    FlagScope& operator=(const FlagScope&) = delete;

private:
    bool& flag;
};

}  // namespace fieldstore

#endif
