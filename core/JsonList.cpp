// SPDX-License-Identifier: Apache-2.0
#include "core/JsonList.h"

#include <algorithm>

#include <json-c/json.h>

#include "base/SafeFile.h"
#include "base/Utf8.h"

namespace qsc
{

namespace
{

constexpr int kForm = JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE;

/// Whether a text is UTF-8 as it is, as nearly all are.
bool is_utf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t size = first_character(text).size;
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

} // namespace

JsonRow& JsonRow::add(const char* name, std::string_view text)
{
    FileText valid;
    bool fits = true;
    std::string_view rest = is_utf8(text) ? std::string_view{} : text;
    while (!rest.empty()) {
        const std::size_t size = first_character(rest).size;
        fits = fits && valid.append(size != 0 ? rest.substr(0, size) : "\uFFFD");
        rest.remove_prefix(std::max<std::size_t>(size, 1));
    }
    const std::string_view result = valid.view().empty() && !text.empty() ? text : valid.view();
    json_object* const value = json_object_new_string_len(result.data(), static_cast<int>(result.size()));
    (void)(fits && add_named_member(object_.get(), name, value) == 0);
    return *this;
}

JsonRow& JsonRow::add_number(const char* name, i64 number)
{
    (void)add_named_member(object_.get(), name, json_object_new_int64(number));
    return *this;
}

bool JsonList::add(JsonRow row)
{
    const std::string_view text{or_empty(json_object_to_json_string_ext(row.object_.get(), kForm))};
    if (text.empty() || size_ + text.size() + 1 > kLongest ||
        json_object_array_add(array_.get(), row.object_.get()) != 0) {
        return false;
    }
    (void)row.object_.release();
    size_ += text.size() + 1;
    return true;
}

u32 JsonList::answer(const RowCall& call) const
{
    return array_ != nullptr
               ? answer_text(call.value, or_empty(json_object_to_json_string_ext(array_.get(), kForm)))
               : ENOMEM;
}

} // namespace qsc
