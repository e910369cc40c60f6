// SPDX-License-Identifier: Apache-2.0
// A message with a JSON payload, as both ends write and read it.
#pragma once

#include <string_view>

#include "base/Json.h"
#include "base/Types.h"
#include "include/qscbase.h"

namespace qsc::queue
{

/// The text of a payload; one byte after the longest ends it.
class Payload
{
  public:
    /// Writes a JSON object, with the header's numbers. The length that it would have had is in length();
    /// false: it does not fit into a message, or there is no memory.
    [[nodiscard]] bool write(json_object* root, u32 operations, u32 commander, u32 code);

    [[nodiscard]] const char* data() const { return text_; }
    [[nodiscard]] std::size_t length() const { return length_; }

  private:
    // Room for the header and for noticing that a text is too long.
    char text_[QSCBASE_PAYLOAD_MAX + 256];
    std::size_t length_ = 0;
};

/// A message as it was received.
class Received
{
  public:
    /// Waits for a message of a type. One that is longer than a message may be is taken out as well, and is
    /// E2BIG. @return 0 or the errno of msgrcv()
    [[nodiscard]] u32 receive(u32 queue, i64 type, u32 flags = 0);

    /// Puts it back after the others, as it was sent. @return 0 or the errno of msgsnd(), EAGAIN when the
    /// queue is full
    [[nodiscard]] u32 send_back(u32 queue);

    [[nodiscard]] u32 send_time() const;
    [[nodiscard]] u32 user_value() const;
    [[nodiscard]] i8 kind() const { return static_cast<i8>(bytes_[22]); }
    [[nodiscard]] std::string_view payload() const;

    /// The payload as a JSON object; null: it is none.
    [[nodiscard]] JsonRef parse() const;

  private:
    alignas(long) u8 bytes_[QSCBASE_HEADER_SIZE + QSCBASE_PAYLOAD_MAX];
};

/// A number of an object; false: it has none of that name, or it is none that fits.
[[nodiscard]] bool read_number(json_object* object, const char* name, u32& number);

/// A member of an object; null: there is none.
[[nodiscard]] json_object* member_of(json_object* object, const char* name);

} // namespace qsc::queue
