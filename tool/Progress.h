// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_PROGRESS_H
#define FIELDSTORE_TOOL_PROGRESS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace fieldstore::tool {

/// How far a long run is, on standard error when that is a terminal, after the first second.
///
/// The work need not know of it: a thread asks the system how far into the file this process has
/// read or written. So the bar moves while an object of the library loads or stores as well. Of
/// nested ones the outermost shows; the others do nothing. Requires: the main thread.
class Progress {
public:
    /// `path` is the file that is worked through and `total` its length; without them the bar
    /// tells the time that has passed.
    explicit Progress(const std::string& what, const std::string& path = "",
                      std::uint64_t total = 0);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Takes the bar off the screen, which other text may then go to. Safe in a signal handler.
    static void Erase();

    /// No new bar while results go to the terminal, which the two would share. Requires: the main
    /// thread.
    class Silence {
    public:
        Silence();
        ~Silence();
        Silence(const Silence&) = delete;
        Silence& operator=(const Silence&) = delete;

    private:
        bool wasShown;
    };

private:
    void Run();
    void Draw();

    std::string title;
    std::string file;
    std::uint64_t length;
    std::uint64_t position = 0;
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    std::chrono::milliseconds delay{};
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false;
    std::thread thread;
};

}  // namespace fieldstore::tool

#endif
