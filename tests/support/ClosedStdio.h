// SPDX-License-Identifier: Apache-2.0
// Checks in a process that has closed its standard streams.
#pragma once

#include <initializer_list>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test
{

/// Runs a check in a child that has closed some standard streams, by default all. Returns its result.
template <typename Check>
bool holds_without_stdio(Check check, std::initializer_list<int> streams = {0, 1, 2})
{
    const pid_t child = fork();
    if (child == 0) {
        for (const int stream : streams) {
            close(stream);
        }
        _exit(check() ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

inline bool is_stdio_closed()
{
    return fcntl(STDIN_FILENO, F_GETFD) < 0 && fcntl(STDOUT_FILENO, F_GETFD) < 0 &&
           fcntl(STDERR_FILENO, F_GETFD) < 0;
}

} // namespace test
