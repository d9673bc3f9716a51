// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_STOP_REQUEST_H
#define FIELDSTORE_STOP_REQUEST_H

namespace fieldstore {

/// Tells whether what runs should stop.
using StopQuestion = bool (*)();

/// For as long as it lives, loads of this thread, and its waits for locks and files, ask whether
/// they should stop; they then fail as if the system had been interrupted. A commit that has begun
/// to write goes on to its end.
class StopOnRequest {
public:
    explicit StopOnRequest(StopQuestion question) noexcept;
    ~StopOnRequest();
    StopOnRequest(const StopOnRequest&) = delete;
    StopOnRequest& operator=(const StopOnRequest&) = delete;

private:
    StopQuestion outer;
};

/// Raises std::system_error (std::errc::interrupted) when this thread should stop.
void StopIfRequested();

}  // namespace fieldstore

#endif
