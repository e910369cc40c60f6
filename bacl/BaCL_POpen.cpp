// SPDX-License-Identifier: Apache-2.0
// Shell command pipes: running a command, with or without capturing its output.
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/Recording.h"
#include "base/Text.h"
#include "base/ToolTime.h"
#include "base/UciOptional.h"
#include "include/bacl.h"
#include "log/Log.h"

using namespace qsc;

namespace
{

constexpr const char* kModule = "BaCL_POpen";

/// Extracts only the exit code from a wait status: a command that was killed by a signal counts as
/// successful, and a failed wait (-1) as exit code 255. Callers depend on both.
constexpr int exit_code(int status)
{
    return (status >> 8) & 0xFF;
}

/// The command that the thread has started last, until it has ended.
struct Running {
    const std::FILE* pipe = nullptr;
    ToolTime time;
    char name[64] = "";
};
constinit thread_local Running t_running;

/// Waits for a command. @return its wait status
int close_pipe(std::FILE* pipe)
{
    const int status = pclose(pipe);
    if (pipe == t_running.pipe) {
        t_running.pipe = nullptr;
        t_running.time.end(static_cast<u32>(exit_code(status)));
    }
    renew_uci_view();
    return status;
}

/// Like popen(), but our end of the pipe never becomes one of the host's standard streams.
std::FILE* open_pipe(const char* command, const char* mode)
{
    const StdioReserve reserve;
    ToolTime time{command};
    std::FILE* const pipe = popen(command, mode);
    if (pipe == nullptr) {
        time.end(errno == ECANCELED ? u32{ECANCELED} : u32{EFAULT}, "could not be started");
        return nullptr;
    }
    time.keep_name(t_running.name);
    t_running.pipe = pipe;
    t_running.time = time;
    return pipe;
}

} // namespace

uint32_t QrnExeCmdSimple(const char* command)
{
    if (is_empty(command)) {
        QSC_LOG(kLogDebug, "ERROR: parameter\n");
        return EINVAL;
    }
    if (u32 code = 0; is_recorded(command, code)) {
        return code;
    }
    std::FILE* const pipe = open_pipe(command, "r");
    if (pipe == nullptr) {
        QSC_LOG(kLogDebug, "ERROR: popen read\n%s\n", command);
        return EFAULT;
    }
    // Drain the output, so that the command never blocks on a full pipe.
    std::array<char, 256> output{};
    while (std::fgets(output.data(), output.size(), pipe) != nullptr) {
    }
    u32 result = 0;
    if (exit_code(close_pipe(pipe)) != 0) {
        QSC_LOG(kLogDebug, "ERROR: Cmd %s\n", command);
        result = EFAULT;
    }
    // Most commands write configuration, which must be on the flash before the caller goes on.
    sync();
    return result;
}

uint32_t QrnExeCmdSimpleGet(const char* command, char* buffer, uint32_t size)
{
    if (is_empty(command) || buffer == nullptr || size == 0) {
        QSC_LOG(kLogDebug, "ERROR: parameter\n");
        return EINVAL;
    }
    std::memset(buffer, 0, size);
    if (u32 code = 0; is_recorded(command, code)) {
        return code;
    }
    std::FILE* const pipe = QrnPOpen(command, "r");
    if (pipe == nullptr) {
        QSC_LOG(kLogDebug, "ERROR: QrnPOpen\n%s\n", command);
        return EFAULT;
    }
    char* end = buffer;
    do {
        if (QrnPReadLn(pipe, end, size) != 0) {
            break;
        }
        const auto length = static_cast<u32>(std::strlen(end));
        end += length;
        size -= length;
    } while (size > 1);
    const u32 result = QrnPClose(pipe);
    sync();
    return result;
}

FILE* QrnPOpen(const char* command, const char* mode)
{
    if (is_empty(command) || is_empty(mode)) {
        QSC_LOG(kLogDebug, "ERROR: parameter\n");
        return nullptr;
    }
    return open_pipe(command, mode);
}

uint32_t QrnPReadLn(FILE* stream, char* buffer, uint32_t size)
{
    if (stream == nullptr || buffer == nullptr || size == 0) {
        return EINVAL;
    }
    std::memset(buffer, 0, size);
    const auto limit = static_cast<int>(std::min<u32>(size, INT_MAX));
    return std::fgets(buffer, limit, stream) != nullptr ? 0 : EFAULT;
}

uint32_t QrnPClose(FILE* stream)
{
    if (stream == nullptr) {
        return EINVAL;
    }
    u32 result = 0;
    if (exit_code(close_pipe(stream)) != 0) {
        QSC_LOG(kLogDebug, "ERROR: QrnPClose\n");
        result = EFAULT;
    }
    sync();
    return result;
}
