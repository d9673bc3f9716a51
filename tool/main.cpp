// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "tool/Error.h"
#include "tool/Extensions.h"
#include "tool/Program.h"
#include "tool/RemovedOnSignal.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

constexpr const char* kNotEnoughMemory = "there is not enough memory for this file";

int Run(int count, char** arguments) {
    const std::vector<std::string> words(arguments + 1, arguments + count);
    Program program;
    if (!words.empty() && !program.Knows(words.front()))
        if (const auto extension = FindExtension(words.front()))
            BecomeExtension(*extension, {words.begin() + 1, words.end()});
    const Action action = program.Parse(words);
    const int status = action();
    if (std::cout.flush()) return status;
    throw Error("standard output", "cannot be written", "Is the disk full?");
}

}  // namespace
}  // namespace fieldstore::tool

int main(int count, char** arguments) {
    using namespace fieldstore::tool;
    // A file that may grow no further is an error of the output, not the end. A closed pipe is the
    // end.
    std::signal(SIGXFSZ, SIG_IGN);
    RemoveFilesOnSignals();
    try {
        return Run(count, arguments);
    } catch (const Error& error) {
        Say(error);
    } catch (const std::bad_alloc&) {
        Say(kNotEnoughMemory);
    } catch (const std::length_error&) {
        Say(kNotEnoughMemory);
    } catch (const std::exception& error) {
        Say(error.what());
    }
    return kTrouble;
}
