// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Report.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "tools/qsc/Printable.h"

namespace qsc
{

namespace
{

[[gnu::format(printf, 1, 0)]] void say(const char* format, std::va_list arguments)
{
    char sentence[2048];
    (void)std::vsnprintf(sentence, sizeof sentence, format, arguments);
    // Answers that were printed earlier come before the sentence, also when both go to one place.
    (void)std::fflush(stdout);
    (void)std::fputs("qsc: ", stderr);
    // What a person, a script or the device passed in may be in it.
    print_sentence(stderr, sentence);
    (void)std::fputc('\n', stderr);
}

} // namespace

#define SAY(FORMAT)                                                                                          \
    do {                                                                                                     \
        std::va_list arguments;                                                                              \
        va_start(arguments, FORMAT);                                                                         \
        say(FORMAT, arguments);                                                                              \
        va_end(arguments);                                                                                   \
    } while (false)

ExitCode wrong_usage(const char* format, ...)
{
    SAY(format);
    return kUsage;
}

ExitCode failure(const char* format, ...)
{
    SAY(format);
    return kFailed;
}

void note(const char* format, ...)
{
    SAY(format);
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
