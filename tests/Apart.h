// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TESTS_APART_H
#define FIELDSTORE_TESTS_APART_H

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace support {

/// Runs a test's step in a copy of this process, where the system has such a thing, else here.
/// Returns what it returns, from 0 to 127.
template <typename Action>
int Apart(Action action) {
#ifdef _WIN32
    return action();
#else
    const pid_t child = fork();
    if (child == 0) _exit(action());
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

}  // namespace support

#endif
