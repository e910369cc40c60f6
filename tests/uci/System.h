// SPDX-License-Identifier: Apache-2.0
// The library's calls to the system: recorded, and made to fail.
#pragma once

#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace test
{

/// Watches all calls of this process, until it goes out of scope.
class SystemCalls
{
  public:
    SystemCalls();
    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    /// Does something in the call after the next `after` of that name; it then fails with the error that the
    /// action answers, or goes through: 0. An empty name is that of every call that changes something, or
    /// opens it.
    void on(std::string call, int after, std::function<int()> action);
    void fail(std::string call, int after, int error);

    /// Whether what was asked for has happened.
    [[nodiscard]] bool has_happened() const { return action_ == nullptr; }

    /// Those of these names, in their order, with blanks between them.
    [[nodiscard]] std::string sequence(std::initializer_list<std::string_view> names) const;
    [[nodiscard]] long count(std::string_view call) const;

    /// The lines of the system log.
    [[nodiscard]] const std::string& log() const { return log_; }

    /// How long the library has paused, which it does not really do.
    [[nodiscard]] long paused_milliseconds() const { return paused_; }

    /// For the calls themselves: the error to fail with, or 0.
    static int enter(std::string_view call);
    static void add_line(const std::string& line);
    static bool add_pause(long milliseconds);

  private:
    std::mutex mutex_;
    std::vector<std::string_view> calls_;
    std::string log_;
    long paused_ = 0;
    std::string call_;
    int after_ = 0;
    std::function<int()> action_;
};

} // namespace test
