// SPDX-License-Identifier: Apache-2.0
// What values are read from: files of lines, the boot loader's environment, and what tools print.
#include "core/RowSource.h"

#include <sys/stat.h>

#include "support/Outside.h"
#include "support/TemporaryFolder.h"

using namespace test;

namespace
{

class RowSource : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        outside().has_real_commands = true;
    }

    /// Makes a program that counts how often it is run.
    std::string make_tool(const std::string& name, const std::string& script)
    {
        const std::string path = folder_ / name;
        write_file(path, "#!/bin/sh\necho >>" + path + ".runs\n" + script);
        chmod(path.c_str(), 0755);
        return path;
    }
    [[nodiscard]] size_t runs(const std::string& name) const
    {
        return read_file(folder_ / (name + ".runs")).size();
    }

    std::string places(std::string text)
    {
        for (size_t at = 0; (at = text.find("~/", at)) != std::string::npos;) {
            text.replace(at, 2, folder_ / "");
        }
        qsc::RowText found;
        return qsc::read_places(sources_, text, "Module", found) ? std::string{found.view()}
               : found.view().empty()                            ? "none"
                                                                 : "rubbish";
    }

    static Lines logged()
    {
        Lines texts;
        for (const LogLine& line : outside().logs) {
            texts.push_back(std::to_string(line.priority) + line.text.substr(line.text.find("] ") + 1));
        }
        return texts;
    }

    TemporaryFolder folder_;
    qsc::Sources sources_;
};

} // namespace

TEST_F(RowSource, ValuesAreFoundInLines)
{
    constexpr const char* kText =
        "MemTotal:      512 kB\nMem\nMem 7\nNAME='a \"b\"'\nOTHER=\"c\"\nOPEN='d\nEMPTY=''\n"
        "Bare:\n  Indented: 1\nCR: x\r\nAgain: 1\nAgain: 2\nlast: end";
    const struct {
        const char* name;
        const char* value;
    } cases[] = {{"MemTotal", "512 kB"}, {"Mem", "7"},   {"NAME", "a \"b\""}, {"OTHER", "c"}, {"OPEN", "'d"},
                 {"EMPTY", ""},          {"Bare", ""},   {"Indented", ""},    {"CR", "x"},    {"Again", "1"},
                 {"last", "end"},        {"missing", ""}};
    for (const auto& one : cases) {
        EXPECT_EQ(qsc::find_line_value(kText, one.name), one.value) << one.name;
    }
    EXPECT_EQ(qsc::first_line("one\ntwo"), "one");
    EXPECT_EQ(qsc::first_line("one"), "one");
    EXPECT_EQ(qsc::first_line(""), "");
}

TEST_F(RowSource, MembersAreFoundInJson)
{
    const Json root{R"({"a":[{"b":{"c":1}},{"b":2}],"d":{"0":"zero"},"":{"":3},"n":null})"};
    const struct {
        const char* path;
        const char* value;
    } cases[] = {{"a.0.b.c", "1"},
                 {"a.1.b", "2"},
                 {"a.2", ""},
                 {"a.x", ""},
                 {"a.-1", ""},
                 {"d.0", "\"zero\""},
                 {"d.0.1", ""},
                 {"a.b", ""},
                 {"x", ""},
                 {"n", ""},
                 {".", "{\"\":3}"},
                 {"..", "3"},
                 {"a.0.", "{\"b\":{\"c\":1}}"}};
    for (const auto& one : cases) {
        json_object* const member = qsc::find_in_json(root.get(), one.path);
        EXPECT_EQ(member == nullptr ? "" : Json{json_object_get(member)}.text(), one.value) << one.path;
    }
    EXPECT_EQ(qsc::find_in_json(nullptr, "a"), nullptr);
    EXPECT_EQ(qsc::find_in_json(root.get(), std::string(200, 'a')), nullptr);
}

TEST_F(RowSource, TheFirstPlaceThatHasSomethingAnswers)
{
    write_file(folder_ / "one", "  first line \nNAME=named\n");
    write_file(folder_ / "empty", "\nsecond\n");
    write_file(folder_ / "long", std::string(5000, 'x'));
    const struct {
        const char* places;
        const char* found;
    } cases[] = {{"~/one", "first line"},
                 {"~/one NAME", "named"},
                 {"~/one OTHER|~/one NAME", "named"},
                 {"~/missing|~/empty|=default", "default"},
                 {"~/empty|=", ""},
                 {"~/one OTHER", "none"},
                 {"~/long", "none"},
                 {"~/long|=short", "short"},
                 {"", "none"}};
    for (const auto& one : cases) {
        EXPECT_EQ(places(one.places), one.found) << one.places;
    }
    EXPECT_EQ(logged(), Lines{});
    EXPECT_EQ(places("~/gone NAME"), "none");
    EXPECT_EQ(places("~/gone too"), "none"); // one line a request
    EXPECT_EQ(logged(), Lines{"4 nothing found in " + (folder_ / "gone") + " NAME\n"});
}

TEST_F(RowSource, WhatWasReadIsKeptForTheRequest)
{
    const std::string path = folder_ / "file";
    write_file(path, "old");
    EXPECT_EQ(places("~/file"), "old");
    write_file(path, "new");
    EXPECT_EQ(places("~/file"), "old");
    // More files than are kept, and one with a name that is, are read all the same.
    for (int i = 0; i < 10; ++i) {
        write_file(folder_ / std::to_string(i), "content " + std::to_string(i));
    }
    write_file(folder_ / std::string(150, 'x'), "long");
    for (const int i : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 9}) {
        EXPECT_EQ(places("~/" + std::to_string(i)), "content " + std::to_string(i));
        EXPECT_EQ(places("~/" + std::string(150, 'x')), "long");
        EXPECT_EQ(places("~/" + std::string(151, 'x')), "none");
    }
}

TEST_F(RowSource, AToolIsRunOnceARequestAndFailsQuietly)
{
    const std::string good = make_tool("good", "echo '{\"a\":1}'");
    const std::string bad = make_tool("bad", "echo '{\"a\":1}'; exit 2");
    const std::string text = make_tool("text", "echo no JSON");
    const std::string silent = make_tool("silent", "");
    const char* const good_words[] = {good.c_str(), nullptr};
    const char* const bad_words[] = {bad.c_str(), nullptr};
    const char* const text_words[] = {text.c_str(), nullptr};
    const char* const silent_words[] = {silent.c_str(), nullptr};
    const char* const missing_words[] = {"/nowhere/tool", nullptr};
    const struct {
        qsc::Tool tool;
        bool is_json;
        const char* output;
        Lines logs;
    } cases[] = {{{good_words}, true, "{\"a\":1}\n", {}},
                 {{bad_words}, false, "", {"4 " + bad + " failed\n"}},
                 {{text_words}, false, "no JSON\n", {"4 " + text + " printed no JSON\n"}},
                 {{silent_words}, false, "", {}},
                 {{missing_words}, false, "", {"4 /nowhere/tool is not installed\n"}}};
    for (const auto& one : cases) {
        outside().logs.clear();
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(sources_.json(one.tool, "Module") != nullptr, one.is_json) << one.output;
            EXPECT_EQ(sources_.output(one.tool, "Module"), one.output);
        }
        EXPECT_EQ(logged(), one.logs);
    }
    for (const char* name : {"good", "bad", "text", "silent"}) {
        EXPECT_EQ(runs(name), 1u) << name;
    }
}

TEST_F(RowSource, TheBootEnvironmentIsAskedWhereItIs)
{
    const std::string path = getenv("PATH");
    setenv("PATH", (folder_ / "").c_str(), 1);
    EXPECT_EQ(places("env serial|=none"), "none");
    EXPECT_EQ(places("env model|=none"), "none");
    EXPECT_EQ(logged(), Lines{"4 fw_printenv is not installed\n"});
    make_tool("fw_printenv", "[ $1 = -n ] && [ $2 = serial ] && echo '  X1 '\nexit 2");
    sources_ = qsc::Sources{};
    EXPECT_EQ(places("env model|=none"), "none"); // a variable that is not set is no missing tool
    EXPECT_EQ(places("env serial|=none"), "none");
    make_tool("fw_printenv", "[ $1 = -n ] && [ $2 = serial ] && echo '  X1 '");
    EXPECT_EQ(places("env serial|=none"), "X1");
    EXPECT_EQ(logged().size(), 1u);
    setenv("PATH", path.c_str(), 1);
}
