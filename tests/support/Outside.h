// SPDX-License-Identifier: Apache-2.0
// The world outside the library as a test sees it: what was run, logged, recorded and configured. The
// functions in Outside.cpp take the place of libc's, zlog's and the configuration library's for the
// whole test program.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qsc_types.h"

namespace test
{

struct LogLine {
    int priority;
    std::string text;
    bool operator==(const LogLine&) const = default;
};

inline void PrintTo(const LogLine& line, std::ostream* out)
{
    *out << line.priority << ":" << line.text;
}

using Lines = std::vector<std::string>;

struct Outside {
    /// What was done, in order: "popen COMMAND", "system COMMAND", "sync", "set KEY=VALUE", "commit PACKAGE",
    /// "openlog ...", "callback EVENT", ...
    Lines done;
    Lines read; ///< keys of the configuration that were asked for, in order
    std::vector<LogLine> logs;
    Lines events;

    std::map<std::string, std::string> uci;     ///< what the configuration library answers
    std::map<std::string, uint32_t> uci_codes;  ///< its failures, by "get KEY", "set KEY", "commit PACKAGE"
    std::map<std::string, std::string> outputs; ///< what a command prints
    std::map<std::string, int> wait_statuses;   ///< how a command ends; -1: it cannot be started
    std::size_t pipe_memory = 0;                ///< of the pipe that was closed last; 1: its own
    std::function<void(const std::string&)> on_system; ///< does what a command of system() would do
    int zlog_init_result = 0;
    bool zlog_has_category = true;

    /// Only the commands that were run.
    [[nodiscard]] Lines commands() const;
};

/// The key of one item of a list in Outside::uci: "KEY[INDEX]".
std::string list_item(const char* key, uint32_t index);

/// The one world of the test program; fresh for each test that uses OutsideTest.
Outside& outside();

/// Resets the world, the log's settings and the callback around each test.
class OutsideTest : public testing::Test
{
  protected:
    /// Calls a handler as the command line does and answers its code and its object.
    static std::string call(Qsc_Handler handler, uint32_t oper, const char* object, uint64_t param = 0);

    /// Sends a request to the dispatcher of its path and answers its code and its object.
    static std::string send(const std::string& path, uint32_t oper, const char* object,
                            uint32_t commander = 0x8);

    /// How an event record shows a message.
    static std::string event(const std::string& message);

    void SetUp() override;
    void TearDown() override;
};

/// Owns a JSON value for a test.
class Json
{
  public:
    explicit Json(const char* text);
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
uint32_t request(const char* path, uint32_t oper, json_object* object, uint32_t commander = 0x8);

inline constexpr uint32_t kGet = 0x1;
inline constexpr uint32_t kSet = 0x2;
inline constexpr uint32_t kCommit = 0x40000;
inline constexpr uint32_t kService = 0x80000;

} // namespace test
