// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Answer.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include <json-c/json.h>

using namespace qsc;

namespace qscd
{

const char* sentence_of(ErrorCode code)
{
    return code == kEnding ? "the daemon is being ended" : "the daemon has too many clients; come again";
}

bool Answer::begin(json_object* id)
{
    const bool is_number = json_object_is_type(id, json_type_int) != 0;
    const i64 number = json_object_get_int64(id);
    // Larger numbers are not read as they are, so they could not be given back.
    const bool is_exact = !is_number || (number < INT64_MAX && number > INT64_MIN);
    const bool is_id =
        id == nullptr || (is_exact && (is_number || json_object_is_type(id, json_type_string) != 0 ||
                                       json_object_is_type(id, json_type_double) != 0));
    text_.cut(0);
    text_.append(R"({"jsonrpc":"2.0","id":)");
    append_value(is_id ? id : nullptr);
    text_.append(",");
    start_ = text_.size();
    return is_id;
}

namespace
{

/// Whether a text stands in JSON as it is.
bool is_plain(std::string_view text)
{
    return std::ranges::none_of(
        text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '"' || c == '\\'; });
}

} // namespace

void Answer::append_text(std::string_view text)
{
    if (is_plain(text)) {
        text_.append("\"").append(text).append("\"");
        return;
    }
    const JsonRef value{json_object_new_string_len(text.data(), static_cast<int>(text.size()))};
    append_json(value.get());
}

void Answer::append_value(json_object* value)
{
    // json-c would write each value into a buffer of its own first, which costs more than reading it did.
    switch (json_object_get_type(value)) {
    case json_type_string:
        append_text(
            {json_object_get_string(value), static_cast<std::size_t>(json_object_get_string_len(value))});
        return;
    case json_type_boolean:
        text_.append(json_object_get_boolean(value) != 0 ? "true" : "false");
        return;
    case json_type_int:
        if (const i64 number = json_object_get_int64(value); number != INT64_MAX) {
            append_number(number);
            return;
        }
        break; // it may be larger than that
    default:
        break;
    }
    append_json(value);
}

void Answer::append_json(json_object* value)
{
    std::size_t length = 0;
    const char* const text = json_object_to_json_string_length(
        value, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE, &length);
    text_.append(value == nullptr ? std::string_view{"null"}
                                  : std::string_view{text, text != nullptr ? length : 0});
}

void Answer::append_number(i64 number)
{
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof digits, number);
    text_.append({digits, static_cast<std::size_t>(result.ptr - digits)});
}

void Answer::end()
{
    if (text_.size() + 2 > text_.limit() || !text_.fits()) {
        fail(kTooLong, "the answer is longer than a line of 1 MiB; ask for less, or with \"limit\"");
        return;
    }
    text_.append("}\n");
}

void Answer::fail(ErrorCode code, std::string_view sentence, std::string_view data)
{
    restart();
    has_failed_ = true;
    text_.append(R"("error":{"code":)");
    append_number(code);
    text_.append(R"(,"message":)");
    append_text(sentence);
    if (!data.empty()) {
        text_.append(R"(,"data":)").append(data);
    }
    text_.append("}");
    end();
}

void Failures::add(std::string_view path, const Fault& fault, std::string_view sentence)
{
    sentence = sentence.empty() ? std::string_view{fault.sentence} : sentence;
    if (count_++ == 0) {
        // The library's own sentences begin with the object.
        const std::string_view object{path.data(), std::min(path.rfind('.'), path.size())};
        if (!sentence.starts_with(object)) {
            first_.append(path).append(": ");
        }
        first_.append(sentence);
    } else {
        list_.text().append(",");
    }
    list_.text().append(R"({"path":)");
    list_.append_text(path);
    list_.text().append(R"(,"message":)");
    list_.append_text(sentence);
    const struct {
        std::string_view name;
        u32 number;
    } numbers[] = {{R"(,"code":)", fault.code}, {R"(,"cwmp":)", fault.cwmp}, {R"(,"usp":)", fault.usp}};
    for (const auto& [name, number] : numbers) {
        list_.text().append(name);
        list_.append_number(number);
    }
    list_.text().append("}");
}

void Failures::tell(Answer& answer)
{
    Answer data;
    data.text().append(R"({"failed":[)").append(list()).append("]}");
    Text<510> sentence;
    if (count_ > 1) {
        sentence.append_number(count_).append(" failed, the first is ");
    }
    sentence.append(first_.view());
    answer.fail(kFailed, sentence.view(), data.line());
}

} // namespace qscd
