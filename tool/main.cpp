// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <stdexcept>

#include "tool/CommandLine.h"
#include "tool/Error.h"
#include "tool/Extensions.h"
#include "tool/Program.h"
#include "tool/RemovedOnSignal.h"
#include "tool/System.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

constexpr const char* kNotEnoughMemory = "there is not enough memory for this file";

int Run(int count, char** arguments) {
    const auto words = system::Begin(count, arguments);
    Program program;
    if (!words.empty() && !program.Knows(words.front()))
        if (const auto extension = FindExtension(words.front()))
            BecomeExtension(*extension, {words.begin() + 1, words.end()});
    const Action action = program.Parse(words);
    const int status = action();
    FlushOutput();
    return status;
}

}  // namespace
}  // namespace fieldstore::tool

int main(int count, char** arguments) {
    using namespace fieldstore::tool;
    RemoveFilesOnSignals();
    try {
        return Run(count, arguments);
    } catch (const ClosedPipe&) {
        return kTrouble;
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
