// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POFILELOCKER_H
#define FIELDSTORE_POFILELOCKER_H

#include <functional>
#include <string>

#include "streams/ILocker.h"
#include "streams/Limits.h"

/// A lock in the form of a marker file: its name and the policy of retrying.
class POFileLocker : public ILocker {
public:
    POFileLocker(const std::string& markerName, std::function<std::string()> ownerName);

    void SetRetry(double interval, unsigned int count) override;

protected:
    std::string lockFileName;
    std::function<std::string()> nameSource;  // the owner's; kept for it, never called here
    int retryCount = fieldstore::kRetryCount;
    double retryInterval = fieldstore::kRetryInterval;  // seconds
};

#endif
