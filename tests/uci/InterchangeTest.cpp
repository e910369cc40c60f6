// SPDX-License-Identifier: Apache-2.0
// The library and the `uci` tool on the same files. Skipped where the tool is not installed.
#include <array>
#include <cstdio>
#include <iterator>
#include <random>
#include <sstream>

#include <sys/wait.h>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"

using namespace test;

class Interchange : public UciTest
{
  protected:
    void SetUp() override
    {
        if (std::string{QSC_UCI_TOOL}.empty()) {
            GTEST_SKIP() << "the uci tool is not installed";
        }
        UciTest::SetUp();
    }

    /// What the tool prints, or "code 14" when it fails.
    static std::string uci(const std::string& arguments)
    {
        FILE* const pipe = popen((QSC_UCI_TOOL " -q " + arguments).c_str(), "r");
        std::string output;
        std::array<char, 4096> part{};
        while (const size_t count = fread(part.data(), 1, part.size(), pipe)) {
            output.append(part.data(), count);
        }
        if (pclose(pipe) != 0) {
            return "code 14";
        }
        if (output.ends_with('\n')) {
            output.pop_back();
        }
        return output;
    }

    /// Every key that the tool shows reads the same with both.
    static void expect_same_view(const std::string& package)
    {
        std::stringstream shown{uci("-X show " + package)};
        for (std::string line; std::getline(shown, line);) {
            const std::string key = line.substr(0, line.find('='));
            if (key.starts_with(package + ".") && key.find_first_of("' ") == std::string::npos) {
                EXPECT_EQ(get(key), uci("get " + key)) << key;
            }
        }
    }
};

TEST_F(Interchange, FilesAreReadAlike)
{
    const char* const files[] = {
        "config a 'one'\n\toption x 'a b'\"c'd\"e\\ f\n\tlist l 1\n\tlist l ''\n\tlist l 'it'\\''s'\n",
        "package p\nconfig a one # c\n option long 'first\nsecond' # c\n option j one\\\ntwo\n option h "
        "a#b\n",
        "config a\noption x 1\nconfig a\noption x 2\nconfig b named\nlist l x\noption l y\nlist l z\n",
        "config a one\noption x \"a\\\nb\"\noption y \"q\\\"q\"\noption z 'b\\s'\n\tlist\tl\t1\n",
        "c a one\no x y\nl m z\nconfig a one\noption later 1",
        "config a one\n\toption gone 'x'\n\toption gone ''\n\toption none\n\tlist none\n",
        "config a one\r\n\toption x 'y'\r\n\r\n",
        "config a two; o x y\n",
        "config a two x; o x y\n",
        "config a two ;o x y\n",
        "config a one\n\toption x 'open\n",
        "config a one\n\toption x y z\n",
        "config a b-c\n",
        "option x y\n",
        "config\n",
        "nonsense\n",
        "config a one\nconfig b one\n",
        "config a one\n\toption x-y 1\n",
        "config a one\n\toption x 1;\n",
        "config a one\n\toption x a;b\n",
        "config a one\n\toption x 'a';option y b\n",
        "config \"a'b\" one\n\toption x 1\n",
        "#only a comment\n",
        "",
        "\n\n  \n",
    };
    for (const char* text : files) {
        put_config("p", text);
        const bool is_refused = uci("show p") == "code 14";
        EXPECT_EQ(QrnUci_CommitPackage("p"), is_refused ? 14u : 0u) << text;
        for (const char* key : {"p.one", "p.one.x", "p.one.y", "p.one.z", "p.one.l", "p.one.long", "p.one.j",
                                "p.one.h", "p.one.m", "p.one.later", "p.one.gone", "p.one.none", "p.two",
                                "p.two.x", "p.named.l", "p.@a[0]", "p.@a[-1].x", "p.@a[1].x", "p.@[0]"}) {
            EXPECT_EQ(get(key), uci(std::string{"get '"} + key + "'")) << key << " of " << text;
        }
        expect_same_view("p");
    }
}

TEST_F(Interchange, GeneratedFilesAndChangesAreReadAlike)
{
    constexpr const char* kLines[] = {"config t s\n",   "config t\n",       "\toption a 'v'\n",
                                      "\tlist l 'i'\n", "option b \"x y\"", "o c 'it'\\''s'\n",
                                      "c u n\n",        "package p\n"};
    constexpr const char* kNoise[] = {" ",  "\t", "''", "\"\"", "\\\n", ";",
                                      "\r", "\v", "\"", "x",    "\n",   "option"};
    constexpr const char* kChanges[] = {"p.s.a='w'",  "p.s='u'",       "p.s='long'",  "+p.cfg='t'",
                                        "-p.s.l='0'", "-p.n",          "|p.s.l='j'",  "~p.s.l='i'",
                                        "@p.s='r'",   "^p.n='0'",      "^p.r='x'",    "p.s.b=''",
                                        "p.r.c=1",    "q.s.a='x'",     "|p.s.a='it'", "p.cfg01b619.d=1",
                                        "p.s.e=x y",  "p.s.f='a' # c", "-p.s.a\r"};
    std::mt19937 random{1};
    const auto pick = [&](const auto& all) { return all[random() % std::size(all)]; };
    for (int i = 0; i < 400; ++i) {
        std::string text;
        std::string changes = "-p.nowhere\n"; // so that there is something to commit
        for (auto lines = 1 + random() % 6; lines > 0; --lines) {
            text += pick(kLines);
        }
        for (auto noises = random() % 3; noises > 0; --noises) {
            text.insert(random() % text.size(), pick(kNoise));
        }
        for (auto lines = random() % 5; lines > 0; --lines) {
            changes += pick(kChanges) + std::string{"\n"};
        }
        put_config("p", text);
        put_staged("p", changes);
        const std::string expected = uci("export p");
        const bool is_refused = expected == "code 14";
        EXPECT_EQ(QrnUci_CommitPackage("p"), is_refused ? 14u : 0u) << text << changes;
        if (!is_refused) {
            EXPECT_EQ("package p\n" + config("p"), expected + "\n") << text << changes;
        }
    }
}

TEST_F(Interchange, TheToolSeesTheSameInAStagingFileThatIsWrittenAnew)
{
    constexpr const char* kNames[] = {"a", "b", "l"};
    constexpr const char* kSections[] = {"s", "n", "cfg03b619", "r", "cfg04b619"};
    std::mt19937 random{1};
    const auto pick = [&](const auto& all) { return std::string{all[random() % std::size(all)]}; };
    int shrunk = 0;
    for (int i = 0; i < 80; ++i) {
        std::string changes;
        for (int line = 0; line < 400; ++line) {
            const std::string section = "p." + pick(kSections);
            const std::string option = section + "." + pick(kNames);
            const std::string value = "='" + std::string(random() % 3, 'v') + "'\n";
            switch (random() % 16 == 0 ? random() % 6 : 6 + random() % 20) {
            case 0: // of what the section is called and whether it is there ...
                changes += "-" + section + "\n";
                break;
            case 1:
                changes += "+" + section + "='t'\n";
                break;
            case 2:
                changes += "@" + section + "='" + pick(kSections) + "x'\n";
                break;
            case 3:
                changes += "^" + section + "='" + std::to_string(random() % 4) + "'\n";
                break;
            case 4:
                changes += i % 4 == 0 ? "@" + option + "='" + pick(kNames) + "'\n" : "";
                break;
            case 5:
                changes += section + "='t'\n";
                break;
            case 6: // ... and of its options
            case 7:
                changes += "-" + option + "\n";
                break;
            case 8:
            case 9:
                changes += "|" + option + value;
                break;
            case 10:
                changes += "~" + option + value;
                break;
            default:
                changes += option + value;
            }
        }
        put_config("p", "config t s\n\toption a 'v'\n\tlist l 'v'\nconfig t n\nconfig t\nconfig t end\n");
        put_staged("p", changes + "p.end.last='1'\n");
        const std::string expected = uci("export p");
        put_staged("p", changes);
        ASSERT_EQ(set("p.end.last", "1"), 0u);
        ASSERT_EQ(uci("export p"), expected) << changes << "now\n" << staged("p");
        shrunk += staged("p").size() < changes.size() / 2 ? 1 : 0;
    }
    EXPECT_GT(shrunk, 20);
}

TEST_F(Interchange, WhatTheToolStagesWeReadAndCommit)
{
    put_config("p", "config t s\n\toption a '1'\n\tlist l 'x'\nconfig t\n\toption b '2'\nconfig u u\n");
    for (const char* step : {"set p.s.a='it'\\''s'", "add_list p.s.l=y-z", "del_list p.s.l=x",
                             "set p.fresh=t", "set p.fresh.v=w", "rename p.s.a=renamed", "rename p.u=v",
                             "delete p.@t[1].b", "add p t", "reorder p.v=0", "set p.@t[-1].k=1"}) {
        ASSERT_NE(uci(step), "code 14") << step;
        expect_same_view("p");
    }
    const std::string before = uci("show p");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(uci("changes p"), "");
    EXPECT_EQ(uci("show p"), before);
    const std::string ours = config("p");
    ASSERT_NE(uci("set p.s.touch=1"), "code 14");
    ASSERT_NE(uci("delete p.s.touch"), "code 14");
    ASSERT_NE(uci("commit p"), "code 14");
    EXPECT_EQ(config("p"), ours) << "both write the same bytes";
}

TEST_F(Interchange, WhatWeStageTheToolReadsRevertsAndCommits)
{
    put_config("p", "config t\n\toption a '1'\n\tlist l 'x'\n");
    EXPECT_EQ(set("p.@t[0].a", "it's \"so\"\n$x `y` \\"), 0u);
    EXPECT_EQ(QrnUci_SetListItem("p.@t[0].l", 2, "z"), 0u);
    EXPECT_EQ(set("p.@t[0].gone", "1"), 0u);
    EXPECT_EQ(set("p.@t[0].gone", ""), 0u);
    EXPECT_EQ(uci("get p.@t[0].a"), "it's \"so\"\n$x `y` \\");
    EXPECT_EQ(uci("get p.@t[0].l"), "x  z");
    ASSERT_NE(uci("revert p.@t[0].a"), "code 14");
    EXPECT_EQ(get("p.@t[0].a"), "1");
    ASSERT_NE(uci("commit p"), "code 14");
    EXPECT_EQ(config("p"), "\nconfig t\n\toption a '1'\n\tlist l 'x'\n\tlist l ''\n\tlist l 'z'\n\n");
    EXPECT_EQ(get("p.@t[0].l"), "x  z");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
}

TEST_F(Interchange, SectionsAndListsThatWeStageTheToolSeesAlike)
{
    constexpr const char* kBefore = "config t\nconfig t a\n\tlist l 'x'\nconfig u b\nconfig t\n";
    for (const bool is_ours : {true, false}) {
        put_config("p", kBefore);
        ASSERT_EQ(QrnUci_BeginChange("p"), 0u);
        std::array<char, 16> name{};
        EXPECT_EQ(QrnUci_AddSection("p", "t", nullptr, name.data(), name.size()), 0u);
        EXPECT_EQ(set(std::string{"p."} + name.data() + ".v", "it's"), 0u);
        EXPECT_EQ(QrnUci_AddSection("p", "u", "c", nullptr, 0), 0u);
        EXPECT_EQ(QrnUci_MoveSection("p.c", 1), 0u);
        EXPECT_EQ(QrnUci_MoveSection("p.@t[0]", 3), 0u);
        EXPECT_EQ(QrnUci_RenameSection("p.@t[-2]", "d"), 0u);
        EXPECT_EQ(QrnUci_DeleteSection("p.b"), 0u);
        constexpr const char* kItems[] = {"x-y", "", "it's"};
        EXPECT_EQ(QrnUci_SetList("p.a.l", kItems, 3), 0u);
        EXPECT_EQ(QrnUci_EndChange(1), 0u);

        EXPECT_EQ(uci("changes p"),
                  "p.cfg05b619='t'\np.cfg05b619.v='it'\\''s'\np.c='u'\np.c='1'\np.cfg01b619='3'\n"
                  "p.cfg04b619='d'\n-p.b\n-p.a.l\np.a.l+='x-y'\np.a.l+=''\np.a.l+='it'\\''s'");
        expect_same_view("p");
        const std::string shown = uci("show p");
        EXPECT_NE(shown, "code 14");
        if (is_ours) {
            EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
        } else {
            ASSERT_NE(uci("commit p"), "code 14");
        }
        EXPECT_EQ(uci("changes p"), "");
        EXPECT_EQ(config("p"),
                  "\nconfig u 'c'\n\nconfig t 'a'\n\tlist l 'x-y'\n\tlist l ''\n\tlist l 'it'\\''s'\n\n"
                  "config t\n\nconfig t 'd'\n\nconfig t\n\toption v 'it'\\''s'\n\n");
    }
}
