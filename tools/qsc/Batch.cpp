// SPDX-License-Identifier: Apache-2.0
// batch: several commands in one process, as a front end that stays up would send them.
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/Parse.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Line.h"

namespace qsc
{

ExitCode batch(const Options& options, Words)
{
    struct Buffer {
        char* text = nullptr;
        std::size_t size = 0;
        ~Buffer() { std::free(text); }
    } buffer;
    for (u32 number = 1;; ++number) {
        const ssize_t length = getline(&buffer.text, &buffer.size, stdin);
        if (length < 0) {
            break;
        }
        if (std::strlen(buffer.text) != static_cast<std::size_t>(length)) {
            return wrong_usage("line %u of the batch has a NUL", number);
        }
        Line line;
        if (!line.split(buffer.text)) {
            return wrong_usage("line %u of the batch has an open quote, or more than %zu words", number,
                               Line::kMostWords - 2);
        }
        Options own = options;
        own.apply = false;
        if (line.count() == 1) {
            continue;
        }
        const ExitCode result = parse_options(line.count(), line.words(), own) ? execute(own) : kUsage;
        if (result != kDone) {
            std::fprintf(stderr, "qsc: line %u of the batch was the last\n", number);
            return result;
        }
    }
    return std::ferror(stdin) == 0 ? kDone
                                   : failure("standard input cannot be read: %s", std::strerror(errno));
}

} // namespace qsc
