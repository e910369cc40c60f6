// SPDX-License-Identifier: Apache-2.0
// The device outside the library, for tests, benchmarks and fuzzers: what was run, logged, recorded and
// configured. The functions in FakeDevice.cpp take the place of libc's, zlog's and the configuration
// library's for the whole program.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

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
using Texts = std::map<std::string, std::string, std::less<>>;

/// A read of the configuration.
struct Read {
    std::string key;
    bool is_item; ///< of a list
    uint32_t index;
    uint32_t size;
    std::size_t commands_before; ///< it
};

struct Outside {
    /// What was done, in order: "popen COMMAND", "system COMMAND", "sync", "set KEY=VALUE", "commit PACKAGE",
    /// "openlog ...", "callback EVENT", "run PROGRAM ARGUMENT...", ...
    Lines done;
    int views = 0;           ///< of the configuration, under way
    int renewals = 0;        ///< of such views
    std::vector<Read> reads; ///< what was asked of the configuration, in order
    std::vector<LogLine> logs;
    Lines events;
    Lines event_places; ///< "FILE:LINE(FUNCTION)" of each

    Texts uci; ///< what the configuration library answers; an item of a list has the key "KEY[INDEX]"
    std::map<std::string, uint32_t> uci_codes; ///< its failures, by "get KEY", "set KEY", "commit PACKAGE"
    Texts outputs;                             ///< what a command prints ...
    std::string any_output;                    ///< ... and what all others print
    std::map<std::string, int, std::less<>> wait_statuses; ///< how a command ends; -1: it cannot be started
    bool loses_children = false;                           ///< pclose() fails, as where SIGCHLD is ignored
    std::function<void(const std::string&)> on_command;    ///< does what a command would do
    Texts programs;                 ///< those that posix_spawnp() finds, each as a script of the shell
    bool has_private_files = false; ///< /etc is the test's own
    int zlog_init_result = 0;
    bool zlog_has_category = true;

    bool keeps_records = true;      ///< whether anything is added to done, reads, logs and events
    bool has_real_commands = false; ///< popen(), pclose(), posix_spawnp() are libc's
    bool has_real_uci = false;      ///< reads and changes are the real configuration library's

    /// Only the commands that were run.
    [[nodiscard]] Lines commands() const;

    /// The keys that were read, those of items as in uci.
    [[nodiscard]] Lines keys() const;
};

/// The one world of the program.
Outside& outside();

/// The key of an item of a list in Outside::uci.
std::string list_item(const char* key, uint32_t index);

/// How many pipes are open.
std::size_t open_pipes();

} // namespace test
