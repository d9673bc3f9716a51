// SPDX-License-Identifier: Apache-2.0
#include "SweepWorkers.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <vector>

#include "Failure.h"
#include "GuideRecord.h"
#include "Progress.h"
#include "RunRecord.h"

namespace waveguide {
namespace {

/// Frequencies that a worker stores with one commit. Taking the lock can cost a tenth of a second
/// when another worker holds it, so a commit for each frequency would be slow.
constexpr std::size_t batchSize = 32;

[[noreturn]] void Fail(const std::string& cause) {
    throw Failure(Status::Solver, "frequency sweep", cause,
                  "see the messages above, or try again with --workers 1");
}

/// A pipe that closes itself. The ends are not inherited, except where a child is given one.
class Pipe {
public:
    Pipe() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) Fail(std::strerror(errno));
    }
    ~Pipe() {
        close(ends_[0]);
        CloseWriteEnd();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int WriteEnd() const { return ends_[1]; }

    void CloseWriteEnd() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }

    /// The number of characters that arrived; 0 when every write end is closed.
    std::size_t Read() {
        std::array<char, 256> buffer{};
        ssize_t count = 0;
        do count = read(ends_[0], buffer.data(), buffer.size());
        while (count < 0 && errno == EINTR);
        if (count < 0) Fail(std::strerror(errno));
        return static_cast<std::size_t>(count);
    }

private:
    std::array<int, 2> ends_{-1, -1};
};

/// A running copy of this program. Destroying the object waits for it to end.
class Worker {
public:
    Worker(std::vector<std::string> arguments, int output) {
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        const int error =
            posix_spawn(&process_, "/proc/self/exe", &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0) Fail(std::string("a worker cannot be started: ") + std::strerror(error));
    }
    Worker(Worker&& other) noexcept : process_(other.process_) { other.process_ = -1; }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    Worker& operator=(Worker&&) = delete;
    ~Worker() { Wait(); }

    /// Whether the worker ended with status 0.
    bool Wait() {
        if (process_ < 0) return false;
        int status = 0;
        while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        process_ = -1;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

private:
    pid_t process_ = -1;
};

}  // namespace

void RunSweep(const std::string& directory, const Sweep& sweep, int workers) {
    const int count = std::min(workers, sweep.points);
    Pipe pipe;
    std::vector<Worker> running;
    running.reserve(static_cast<std::size_t>(count));
    for (int share = 0; share < count; ++share) {
        running.emplace_back(
            std::vector<std::string>{"waveguide", "worker", "--share", std::to_string(share),
                                     "--of", std::to_string(count), "--", directory},
            pipe.WriteEnd());
    }
    pipe.CloseWriteEnd();

    Progress progress("sweep", static_cast<std::size_t>(sweep.points));
    std::size_t stored = 0;
    while (const std::size_t arrived = pipe.Read()) {
        stored += arrived;
        progress.Show(stored, "frequencies");
    }
    int failed = 0;
    for (Worker& worker : running) failed += worker.Wait() ? 0 : 1;
    if (failed > 0)
        Fail(std::to_string(failed) + " of " + std::to_string(count) + " workers failed");
}

void WorkOnSweep(const std::string& directory, int share, int shareCount) {
    const Store store = Store::Open(directory);
    const RunRecord run = store.Reading(ReadRun);
    const auto modes = LowestModes(run.Cutoffs(), static_cast<std::size_t>(run.model.modeCount));

    const std::vector<double> all = run.model.sweep.Frequencies();
    std::vector<double> batch;
    const auto last = all.size() - 1;
    for (auto i = static_cast<std::size_t>(share); i < all.size();
         i += static_cast<std::size_t>(shareCount)) {
        batch.push_back(all[i]);
        const bool isLast = last - i < static_cast<std::size_t>(shareCount);
        if (batch.size() < batchSize && !isLast) continue;
        AppendModes(store, run.model, modes, batch);
        std::cout << std::string(batch.size(), '.') << std::flush;
        batch.clear();
    }
}

}  // namespace waveguide
