// SPDX-License-Identifier: Apache-2.0
// What a set makes of whole packages, and that it is all or nothing.
#pragma once

#include <algorithm>

#include "support/DeviceTest.h"

namespace test
{

class EffectTest : public DeviceTest
{
  protected:
    /// The sections of packages after a commit: "network: interface lan proto=static dns=a dns=b".
    static Lines sections(const std::string& packages)
    {
        std::istringstream in{packages};
        Lines all;
        for (std::string package; in >> package;) {
            for (std::string line : committed(package)) {
                std::erase(line, '\'');
                std::string rest = line.substr(line.find(' ') + 1);
                if (line.starts_with("config ")) {
                    all.push_back(package + ": " + rest);
                } else {
                    all.back() += " " + rest.replace(rest.find(' '), 1, "=");
                }
            }
        }
        return all;
    }

    /// Whether all event records since it was last asked are about this.
    static bool tells_of(const std::string& area)
    {
        const Lines all = messages();
        return !all.empty() && std::ranges::all_of(all, [&](const std::string& message) {
            return message.substr(message.find(' ') + 1).starts_with(area + " ");
        });
    }

    /// Sets the values of a path as change() does, also with each of the steps to it failing once: nothing
    /// of it stays then. @return the sections of packages that are new or changed, each after a "+", and
    /// those that are gone, after a "-"; or after "!" why the set is refused
    static std::string effect(const std::string& packages, const std::string& path, const std::string& words)
    {
        const Lines before = sections(packages);
        const auto restore = [&](const char* from, const char* to) {
            std::filesystem::remove_all("/tmp/.uci");
            std::filesystem::remove_all(to);
            std::filesystem::copy(from, to);
        };
        restore("/etc/config", "/tmp/kept");
        (void)steps();
        const std::string refusal = change(path, words);
        const Lines done = steps();
        const Lines after = sections(packages);
        if (!refusal.empty()) {
            EXPECT_EQ(after, before) << words;
            return "!" + refusal;
        }
        (void)messages();
        for (const std::string& step : done) {
            restore("/tmp/kept", "/etc/config");
            outside().uci_codes = {{step.substr(0, step.find('=')), uint32_t{EIO}}};
            const bool is_taken = send(path, kSet, named(words)).code == 0; // it may be superfluous
            outside().uci_codes.clear();
            EXPECT_EQ(sections(packages), is_taken ? after : before) << words << ": " << step;
            EXPECT_EQ(messages().empty(), !is_taken) << words << ": " << step;
        }
        restore("/tmp/kept", "/etc/config");
        EXPECT_EQ(change(path, words), "");
        EXPECT_EQ(sections(packages), after) << words;
        std::string result;
        const auto add = [&](const char* sign, const Lines& some, const Lines& others) {
            for (const std::string& line : some) {
                if (std::ranges::find(others, line) == others.end()) {
                    result += (result.empty() ? sign : std::string{"\n"} + sign) + line;
                }
            }
        };
        // What has a name and is still there has only changed.
        Lines gone = before;
        std::erase_if(gone, [&](const std::string& line) {
            const std::string name = line.substr(0, line.find(' ', line.find(' ', line.find(' ') + 1) + 1));
            return name.find('=') == std::string::npos &&
                   std::ranges::any_of(after, [&](const std::string& other) {
                       return (other + " ").starts_with(name + " ");
                   });
        });
        add("+", after, before);
        add("-", gone, after);
        return result;
    }

  private:
    FakeFolder processes_{"/proc"}; // a commit looks at all for one that writes late
};

} // namespace test
