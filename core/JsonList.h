// SPDX-License-Identifier: Apache-2.0
// Lists of what is live, as JSON text: an array of objects, which the parameter X_QRN_List answers.
#pragma once

#include <string_view>

#include "base/Json.h"
#include "core/ServeRow.h"

namespace qsc
{

/// One object of a list. What there is no memory for is left out.
class JsonRow
{
  public:
    JsonRow() : object_(json_object_new_object()) {}

    /// Text from anywhere: bytes that are no UTF-8 become U+FFFD. The name must live as long as the library.
    JsonRow& add(const char* name, std::string_view text);
    JsonRow& add_number(const char* name, i64 number);

  private:
    friend class JsonList;
    JsonRef object_;
};

/// A list while it grows, up to the size that callers can rely on.
class JsonList
{
  public:
    static constexpr std::size_t kLongest = std::size_t{60} * 1024;

    JsonList() : array_(json_object_new_array()) {}

    /// False: it is full, or there is no memory.
    [[nodiscard]] bool add(JsonRow row);

    /// Answers a call with the list, "[]" without a row.
    [[nodiscard]] u32 answer(const RowCall& call) const;

  private:
    JsonRef array_;
    std::size_t size_ = 2; ///< of the text
};

} // namespace qsc
