// SPDX-License-Identifier: Apache-2.0
// request: a request object from standard input, sent as it is.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "tools/qsc/Answers.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Instances.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/Requests.h"
#include "tools/qsc/Suggestion.h"

namespace qsc
{

namespace
{

constexpr std::size_t kLongestRequest = 1 << 20;

/// Reads a request object from standard input.
ExitCode read_request(JsonRef& object)
{
    const std::unique_ptr<char, FreeMemory> text{static_cast<char*>(std::malloc(kLongestRequest + 2))};
    if (text == nullptr) {
        return out_of_memory();
    }
    const std::size_t length = std::fread(text.get(), 1, kLongestRequest + 1, stdin);
    if (std::ferror(stdin) != 0) {
        return failure("standard input cannot be read: %s", std::strerror(errno));
    }
    if (length > kLongestRequest) {
        return wrong_usage("the request on standard input is longer than %zu bytes", kLongestRequest);
    }
    text.get()[length] = '\0';
    const char* error = nullptr;
    object = parse_json(text.get(), length, error);
    if (error != nullptr) {
        return wrong_usage("standard input holds no JSON object (%s), such as {\"NAME\":{}}", error);
    }
    return kDone;
}

/// Reads operations: a number, or names joined by "+" or ",".
bool parse_operations(const char* text, u32& operations)
{
    if (parse_number(text, operations)) {
        return true;
    }
    operations = 0;
    for (std::string_view rest{text}; !rest.empty();) {
        const std::size_t length = std::min(rest.find_first_of("+,"), rest.size());
        const std::string_view word{rest.data(), length};
        const Qsc_OperName* entry = g_QscCmdList;
        Suggestion nearest{word};
        while (entry->value != QSC_TABLE_END && word != entry->name) {
            nearest.consider(entry++->name);
        }
        if (entry->value == QSC_TABLE_END) {
            wrong_usage("there is no operation '%.*s'%s", static_cast<int>(length), word.data(),
                        Hint{nearest}.c_str());
            return false;
        }
        operations |= entry->value;
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return true;
}

} // namespace

ExitCode request(const Options& options, Words words)
{
    Target target;
    JsonRef object;
    u32 operations = 0;
    if (!find_subtree(words[0], target) || !parse_operations(words[1], operations)) {
        return kUsage;
    }
    if (const ExitCode result = read_request(object)) {
        return result;
    }
    const ExitCode result = send(options, target, words[1], operations, object.get());
    print_json(object.get());
    return result;
}

} // namespace qsc
