// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Report.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace qsc
{

namespace
{

[[gnu::format(printf, 1, 0)]] void say(const char* format, std::va_list arguments)
{
    // Answers that were printed before stand before the sentence, also when both go to one place.
    (void)std::fflush(stdout);
    (void)std::fputs("qsc: ", stderr);
    (void)std::vfprintf(stderr, format, arguments);
    (void)std::fputc('\n', stderr);
}

} // namespace

ExitCode wrong_usage(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    say(format, arguments);
    va_end(arguments);
    return kUsage;
}

ExitCode failure(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    say(format, arguments);
    va_end(arguments);
    return kFailed;
}

const char* meaning_of(u32 code)
{
    switch (code) {
    case EINVAL:
        return "bad argument, bad instance, missing value, or an operation that this path does not serve";
    case EFAULT:
        return "refused value, unsupported operation, or failed command";
    case ENOMEM:
        return "out of memory";
    case ENODATA:
        return "no data";
    case ETIME:
        return "no answer in time";
    default:
        return std::strerror(static_cast<int>(code));
    }
}

} // namespace qsc
