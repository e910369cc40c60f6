// SPDX-License-Identifier: Apache-2.0
// The text of an answer, written once: values as json-c prints them, and around them what JSON-RPC requires.
#pragma once

#include <string_view>

#include "base/Json.h"
#include "tools/qscd/Buffer.h"
#include "tools/qscd/Model.h"

namespace qscd
{

/// The longest line in either direction, with its end.
inline constexpr std::size_t kLongestLine = std::size_t{1024} * 1024;

/// The "code" of an error. The first are JSON-RPC's own.
enum ErrorCode : int {
    kParseError = -32700,
    kInvalidRequest = -32600,
    kNoSuchMethod = -32601,
    kBadParams = -32602,
    kFailed = -32000,   ///< "failed" of the data lists what, and why
    kDenied = -32001,   ///< "right" and "path" of the data name what is missing
    kDeadline = -32002, ///< "tool" of the data names what did not end
    kBusy = -32003,     ///< too many clients, requests or bytes
    kTooLong = -32004,  ///< the answer would be longer than a line
    kEnding = -32005,   ///< the daemon is being ended
};

/// What an error of the daemon itself says.
[[nodiscard]] const char* sentence_of(ErrorCode code);

class Answer
{
  public:
    /// Starts with the id of a request; null: JSON's null. False: it is nothing that can be an id, and null
    /// is in its place.
    bool begin(json_object* id = nullptr);

    /// The text so far; results are appended to it.
    [[nodiscard]] Buffer& text() { return text_; }
    [[nodiscard]] std::string_view line() const { return text_.view(); }

    void start_result() { text_.append("\"result\":"); }

    /// Appends a text in quotes.
    void append_text(std::string_view text);
    /// Appends a JSON value.
    void append_value(json_object* value);
    void append_number(qsc::i64 number);

    /// Ends the line. A result that did not fit is replaced by an error.
    void end();

    /// Replaces whatever there is by an error; data is JSON text, empty: none.
    void fail(ErrorCode code, std::string_view sentence, std::string_view data = {});

    [[nodiscard]] bool has_failed() const { return has_failed_; }

    /// Throws away everything but the id.
    void restart()
    {
        text_.cut(start_);
        has_failed_ = false;
    }

  private:
    void append_json(json_object* value);

    // Room for the error that an overlong result becomes.
    Buffer text_{kLongestLine};
    std::size_t start_ = 0;
    bool has_failed_ = false;
};

/// What failed of a request.
class Failures
{
  public:
    void add(std::string_view path, const Fault& fault, std::string_view sentence = {});
    [[nodiscard]] u32 count() const { return count_; }

    /// The failures as JSON objects, with commas between them.
    [[nodiscard]] std::string_view list() const { return list_.line(); }

    /// Writes the error that lists them.
    void tell(Answer& answer);

  private:
    Answer list_;
    qsc::Text<510> first_;
    u32 count_ = 0;
};

} // namespace qscd
