// SPDX-License-Identifier: Apache-2.0
// What a router does, told as a script: each request, and under it what comes of it. The factory's
// configuration is there from the start. Besides what a script says, each of its sets is tried with every
// step of it failing, and repeated, which writes nothing.
#pragma once

#include <set>

#include <json-c/json.h>

#include "support/DeviceTest.h"

namespace test
{

class ScriptTest : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        std::filesystem::remove("/etc/config");
        std::filesystem::copy(QSC_SOURCE "/sim/root/etc/config", "/etc/config");
    }

    /// Does what a script says, line by line:
    ///   Device.PATH [= AREA]    the object that is meant from here on, and its name in records; without it
    ///   the
    ///                           object is only there for what others make of it
    ///   get [NAME...]           its values
    ///   set NAME=VALUE... [or NAME=VALUE...]
    ///                           sections that are otherwise once all is committed, and programs that ran
    ///   service [ACTION], commit
    ///   stored PACKAGE [TYPE]   sections, in their order
    ///   uci KEY=VALUE, config PACKAGE TEXT, file PATH TEXT, program NAME [SCRIPT], remove NAME
    /// What is indented, or after an arrow, comes of it; a refusal is "! SENTENCE". In values and texts, "\n"
    /// ends a line and
    /// "\t" is a tab.
    void play(const std::string& script)
    {
        std::istringstream in{script};
        std::string told = "\n";
        std::string line;
        while (std::getline(in, line)) {
            if (line.empty() || line.starts_with("  ")) {
                continue;
            }
            line = line.substr(0, line.find(" -> "));
            SCOPED_TRACE(line);
            const size_t blank = std::min(line.find(' '), line.size());
            const std::string verb = line.substr(0, blank);
            const Lines outcome = act(verb, line.substr(std::min(blank + 1, line.size())));
            told += line;
            if (outcome.size() == 1 && (verb == "get" || outcome.front().starts_with("! "))) {
                told += " -> " + outcome.front();
            } else {
                for (const std::string& each : outcome) {
                    told += "\n  " + each;
                }
            }
            told += "\n";
        }
        EXPECT_EQ(told, script);
    }

  private:
    /// "TYPE NAME" of a section, counted where it has none, and its options.
    using Section = std::pair<std::string, std::string>;

    std::string path_;
    std::string area_;

    Lines act(const std::string& verb, const std::string& rest)
    {
        const size_t blank = std::min(rest.find_first_of(" ="), rest.size());
        const std::string first = rest.substr(0, blank);
        std::string text = rest.substr(std::min(blank + 1, rest.size()));
        for (const auto& [written, meant] : {std::pair{"\\n", "\n"}, std::pair{"\\t", "\t"}}) {
            for (size_t at = 0; (at = text.find(written, at)) != std::string::npos;) {
                text.replace(at, 2, meant);
            }
        }
        steps();
        if (verb.starts_with("Device.")) {
            path_ = verb;
            area_ = rest.substr(std::min<size_t>(2, rest.size()));
        } else if (verb == "get") {
            return tell_values(rest);
        } else if (verb == "set") {
            return tell_sets(rest);
        } else if (verb == "service" || verb == "commit") {
            (void)send(path_, verb == "commit" ? kCommit : kService, R"({"action":")" + rest + "\"}");
            return outcome_of(steps());
        } else if (verb == "stored") {
            Lines result;
            for (const auto& [name, options] : sections(first)) {
                if (name.starts_with(text)) {
                    result.push_back(name + ":" + options);
                }
            }
            return result;
        } else if (verb == "uci") {
            EXPECT_EQ(QrnUci_SetNewString(first.c_str(), text.c_str(), 0, 1), 0u);
            EXPECT_EQ(QrnUci_CommitPackage(first.substr(0, first.find('.')).c_str()), 0u);
        } else if (verb == "config") {
            put(first, read_file("/etc/config/" + first) + "\n" + text + "\n");
        } else if (verb == "file") {
            FakeFolder::put(first, text);
        } else if (verb == "program") {
            outside().programs[first] = text;
        } else if (verb == "remove") {
            EXPECT_GT(outside().programs.erase(rest) + std::filesystem::remove_all(rest), 0u);
        } else {
            EXPECT_EQ(verb, "#");
        }
        return {};
    }

    /// All values of the object in their order, or those that are named.
    [[nodiscard]] Lines tell_values(const std::string& names) const
    {
        std::string members;
        std::istringstream in{names};
        for (std::string name; in >> name;) {
            members += (members.empty() ? "\"" : ",\"") + name + "\":{}";
        }
        const Json object{"{" + members + "}"};
        std::string line;
        if (request(path_.c_str(), kGet, object.get()) == 0) {
            json_object_object_foreach(object.get(), name, value)
            {
                const Json one{json_object_get(json_object_object_get(value, "ParamValue"))};
                line += (line.empty() ? "" : " ") + std::string{name} + "=" + one.text();
            }
        }
        Lines outcome = outcome_of(steps());
        outcome.insert(outcome.end(), line.empty() ? 0 : 1, line);
        return outcome;
    }

    /// A section that is made and forgotten again is none.
    static bool stores(const std::string& step)
    {
        return step.starts_with("set ") || step.starts_with("delete ");
    }

    /// What is seen outside of what was done, and why it was refused.
    [[nodiscard]] Lines outcome_of(const Lines& done) const
    {
        Lines result;
        std::ranges::copy_if(done, std::back_inserter(result), [](const std::string& step) {
            return step.starts_with("run ") || step.starts_with("commit ") || step.starts_with("popen ");
        });
        if (const std::string sentence = QSysCmdHal_LastError(); !sentence.empty()) {
            result.push_back("! " + sentence.substr(sentence.find(": ") + 2));
        }
        return result;
    }

    /// Of several, what they have in common.
    Lines tell_sets(const std::string& several)
    {
        constexpr std::string_view kOr = " or ";
        Lines outcome;
        for (size_t at = 0, next = 0; at < several.size(); at = next + kOr.size()) {
            next = std::min(several.find(kOr, at), several.size());
            const Lines one = tell_set(several.substr(at, next - at));
            outcome.insert(outcome.end(), one.begin(), one.begin() + (one == outcome ? 0 : std::ssize(one)));
        }
        return outcome;
    }

    Lines tell_set(const std::string& words)
    {
        const std::string request = named(words);
        const auto before = all_sections();
        std::filesystem::remove_all("/tmp/.kept");
        std::filesystem::copy("/etc", "/tmp/.kept", std::filesystem::copy_options::recursive);
        const uint32_t code = send(path_, kSet, request).code;
        const Lines done = steps();
        if (code != 0) {
            const std::string_view why{QSysCmdHal_LastError()};
            const bool is_missing = why.find("no instance") != why.npos || why.ends_with("is not served");
            EXPECT_EQ(code, is_missing ? uint32_t{EINVAL} : uint32_t{EFAULT});
            EXPECT_TRUE(std::ranges::none_of(done, stores)) << testing::PrintToString(done);
            return outcome_of(done);
        }
        Lines outcome = outcome_of(done);
        if (!area_.empty()) {
            expect_records(words);
        }
        commit_all();
        const auto after = all_sections();
        std::set<std::string> steps_to_fail;
        for (const auto& [name, options] : after) {
            const auto found = before.find(name);
            if (found == before.end()) {
                steps_to_fail.insert("add " + name.substr(0, name.rfind(' ')));
            }
            if (found == before.end() || found->second != options) {
                outcome.push_back(name + ":" + options);
            }
        }
        for (const auto& [name, options] : before) {
            if (!after.contains(name)) {
                outcome.push_back(name + " is gone");
            }
        }
        std::ranges::copy_if(done, std::inserter(steps_to_fail, steps_to_fail.end()),
                             [](const std::string& step) {
                                 return step == "keep" || step.starts_with("begin ") || stores(step);
                             });
        for (const std::string& step : area_.empty() ? std::set<std::string>{} : steps_to_fail) {
            expect_to_end_with(step, request);
        }
        restore();
        EXPECT_EQ(send(path_, kSet, request), Succeeds());
        commit_all();
        if (!area_.empty() && !words.starts_with("X_QRN_Add") && !words.starts_with("X_QRN_Delete")) {
            EXPECT_EQ(send(path_, kSet, request), Succeeds());
            const Lines again = steps();
            EXPECT_TRUE(std::ranges::none_of(again, stores)) << "again: " << testing::PrintToString(again);
        }
        messages();
        return outcome;
    }

    /// Everything as it was before the set.
    static void restore()
    {
        for (const auto& entry : std::filesystem::directory_iterator{"/etc"}) {
            std::filesystem::remove_all(entry);
        }
        std::filesystem::copy("/tmp/.kept", "/etc", std::filesystem::copy_options::recursive);
        std::filesystem::remove_all("/tmp/.uci");
        messages();
        steps();
    }

    /// Nothing but giving up follows a step that fails.
    void expect_to_end_with(const std::string& step, const std::string& request) const
    {
        SCOPED_TRACE(step);
        restore();
        const std::string name = step.substr(0, step.find('='));
        outside().uci_codes = {{name, uint32_t{EIO}}};
        EXPECT_NE(send(path_, kSet, request), Succeeds());
        outside().uci_codes.clear();
        const Lines done = steps();
        const auto is_it = [&](const std::string& each) { return each.substr(0, each.find('=')) == name; };
        auto failed = std::ranges::find_if(done, is_it);
        failed += failed == done.end() ? 0 : 1;
        EXPECT_TRUE(step.starts_with("add ") || std::none_of(failed, done.end(), stores))
            << testing::PrintToString(done);
        EXPECT_EQ(messages(), Lines{});
    }

    /// Each value has its record.
    void expect_records(const std::string& words) const
    {
        std::istringstream in{words};
        std::multiset<std::string> wanted;
        for (std::string word; in >> word;) {
            if (const size_t equals = word.find('='); equals != std::string::npos) {
                const std::string name = word.substr(0, equals);
                wanted.insert(name == "X_QRN_Add"      ? "add " + area_
                              : name == "X_QRN_Delete" ? "delete " + area_
                                                       : "set " + area_ + " " + name);
            }
        }
        std::multiset<std::string> recorded;
        for (const std::string& message : messages()) {
            const auto fits = [&](const std::string& each) { return message.starts_with(each + " "); };
            const auto found = std::ranges::find_if(wanted, fits);
            recorded.insert(found == wanted.end() ? message : *found);
        }
        EXPECT_EQ(recorded, wanted);
    }

    static void commit_all()
    {
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator{"/tmp/.uci", none}) {
            (void)QrnUci_CommitPackage(entry.path().filename().c_str());
        }
        steps();
    }

    static std::vector<Section> sections(const std::string& package)
    {
        std::vector<Section> result;
        std::map<std::string, int> counts;
        std::istringstream in{read_file("/etc/config/" + package)};
        for (std::string word, name, value; in >> word >> name && std::getline(in, value);) {
            value.erase(0, value.find_first_not_of(' '));
            if (word == "config") {
                result.emplace_back(
                    name + " " + (value.empty() ? "@" + std::to_string(counts[name]++) : value), "");
            } else if (value != "''") { // which is as good as none
                result.back().second += " " + name + (word == "list" ? "+" : "=") + value;
            }
        }
        for (auto& [name, options] : result) {
            std::erase(name, '\'');
        }
        return result;
    }

    static std::map<std::string, std::string> all_sections()
    {
        std::map<std::string, std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator{"/etc/config"}) {
            const std::string package = entry.path().filename();
            for (const auto& [name, options] : sections(package)) {
                result[package + " " + name] = options;
            }
        }
        return result;
    }
};

} // namespace test
