// SPDX-License-Identifier: Apache-2.0
// Tests against a fake device: the fixture that makes it fresh, and requests with typed results.
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "qsyscmdhal.h"
#include "support/FakeDevice.h"

namespace test
{

inline constexpr uint32_t kGet = QSC_OPER_GET;
inline constexpr uint32_t kSet = QSC_OPER_SET;
inline constexpr uint32_t kCommit = QSC_OPER_COMMIT;
inline constexpr uint32_t kService = QSC_OPER_SERVICE;

/// What a request came to: its code, and its object afterwards.
struct Answer {
    uint32_t code = 0;
    std::string json;
    bool operator==(const Answer&) const = default;

    /// A member of the object, or of the object that a parameter answered in; as JSON, "" when there is none.
    [[nodiscard]] std::string member(const char* name) const;
    [[nodiscard]] std::string value(const char* parameter) const;
};

/// A code alone, to compare answers and codes with: EXPECT_EQ(send(...), Fails(EFAULT)).
struct Code {
    uint32_t number;
};

inline Code Fails(uint32_t number)
{
    return {number};
}
inline Code Succeeds()
{
    return {0};
}
inline Answer Fails(uint32_t number, std::string json)
{
    return {number, std::move(json)};
}
inline Answer Answers(std::string json)
{
    return {0, std::move(json)};
}

inline bool operator==(const Answer& answer, Code code)
{
    return answer.code == code.number;
}
inline bool operator==(uint32_t number, Code code)
{
    return number == code.number;
}

/// "EFAULT {...}"
void PrintTo(Code code, std::ostream* out);
void PrintTo(const Answer& answer, std::ostream* out);

/// Resets the world, the log's settings and the callback around each test.
class OutsideTest : public testing::Test
{
  protected:
    /// Calls a handler as the command line does.
    static Answer call(Qsc_Handler handler, uint32_t oper, const std::string& object, uint64_t param = 0);

    /// Sends a request to the dispatcher of its path.
    static Answer send(const std::string& path, uint32_t oper, const std::string& object,
                       uint32_t commander = QSC_COMMANDER_CLI);

    /// Gets or sets one parameter of a path; its value is JSON.
    static Answer get(const std::string& path, const std::string& name,
                      uint32_t commander = QSC_COMMANDER_CLI);
    static Answer set(const std::string& path, const std::string& name, const std::string& value,
                      uint32_t commander = QSC_COMMANDER_CLI);

    /// Gets one parameter of a path; of the answer only its value, "" when it fails.
    static Answer read(const std::string& path, const std::string& name,
                       uint32_t commander = QSC_COMMANDER_CLI);

    /// Lets each step of a change fail once, on a device that prepare() makes anew: the answer is the step's
    /// code, and nothing follows it, no event either.
    static void expect_each_failure_to_end(const std::function<void()>& prepare,
                                           const std::function<Answer()>& change);

    /// How an event record shows a message.
    static std::string event(const std::string& message);

    void SetUp() override;
    void TearDown() override;
};

/// The object of a parameter with a value, which is JSON.
std::string value_of(const std::string& value);

/// A text of a length, as JSON.
std::string text_of(std::size_t length, char character = 'x');

/// Owns a JSON value for a test.
class Json
{
  public:
    explicit Json(const std::string& text);
    explicit Json(json_object* value) : value_(value) {}
    Json(const Json&) = delete;
    Json& operator=(const Json&) = delete;
    ~Json();

    [[nodiscard]] json_object* get() const { return value_; }
    [[nodiscard]] std::string text() const;

  private:
    json_object* value_;
};

/// Calls the dispatcher of the first command whose path is a prefix; the object is changed in place.
uint32_t request(const char* path, uint32_t oper, json_object* object,
                 uint32_t commander = QSC_COMMANDER_CLI);

} // namespace test
