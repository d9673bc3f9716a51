// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_SIGNALS_H
#define FIELDSTORE_PYTHON_SIGNALS_H

#include <pybind11/pybind11.h>

#include <chrono>

#include "streams/StopRequest.h"

namespace fieldstore::python {

/// Lets the interpreter's handlers of signals run now and then; true when one raised, as that of
/// Ctrl-C does. The error waits in the interpreter.
inline bool SignalRaised() {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds step{50};
    thread_local Clock::time_point last = Clock::now();
    if (Clock::now() - last < step) return false;
    const pybind11::gil_scoped_acquire acquired;
    const bool raised = PyErr_Occurred() != nullptr || PyErr_CheckSignals() != 0;
    if (!raised) last = Clock::now();  // else whatever asks next is to stop as well
    return raised;
}

/// Runs an action of the library without the interpreter's lock, so that other threads go on.
/// Raises what a handler of a signal raised meanwhile.
template <typename Action>
void RunReleased(const Action& action) {
    {
        const pybind11::gil_scoped_release released;
        const StopOnRequest stop(&SignalRaised);
        action();
    }
    if (PyErr_Occurred() != nullptr) throw pybind11::error_already_set();
}

}  // namespace fieldstore::python

#endif
