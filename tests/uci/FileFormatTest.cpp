// SPDX-License-Identifier: Apache-2.0
// The files of packages: what is read from them, and what is malformed.
#include <string>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

class FileFormat : public UciTest
{
};

TEST_F(FileFormat, IsReadAsOthersWriteIt)
{
    put_config("p", "package p\n"
                    "# comment\n"
                    "\n"
                    "config a 'one' # behind\n"
                    "  option quoted 'a b'\"c'd\"e\\ f\n"
                    "\toption escapes \"x\\\"y\\\\z\\n\"\n"
                    "\toption long 'first\n"
                    "second'\n"
                    "\toption joined one\\\n"
                    "two\n"
                    "\toption split one\\\n"
                    "'two three'\n"
                    "\toption first 1 ;  option second '2'\n"
                    "\toption hash a#b\n"
                    "\toption none ''\n"
                    "\toption kept 'x'\n"
                    "\toption kept ''\n"
                    "\tlist l 'a'\n"
                    "\tlist l ''\n"
                    "\tlist l 'it'\\''s'\n"
                    "c a two\r\n o x y\r\n"
                    "config a one\n"
                    "\toption later 1");
    const struct {
        const char* key;
        const char* value;
    } cases[] = {
        {"p.one.quoted", "a bc'de f"},
        {"p.one.escapes", "x\"y\\zn"},
        {"p.one.long", "first\nsecond"},
        {"p.one.joined", "onetwo"},
        {"p.one.split", "onetwo three"},
        {"p.one.first", "1"},
        {"p.one.second", "2"},
        {"p.one.hash", "a"},
        {"p.one.kept", "x"},
        {"p.one.none", "code 14"},
        {"p.one.l", "a  it's"},
        {"p.two.x", "y"},
        {"p.one.later", "1"},
        {"p.@a[1]", "a"},
        {"p.@a[2]", "code 14"},
    };
    for (const auto& [key, value] : cases) {
        EXPECT_EQ(get(key), value) << key;
    }
}

TEST_F(FileFormat, MalformedFilesAreRefusedAndKept)
{
    const struct {
        int line;
        std::string text;
    } cases[] = {
        {1, "option a b\n"},
        {1, "config\n"},
        {1, "config a-b c-d\n"},
        {3, "config a b\n\toption 'open\n"},
        {2, "config a b\n\toption x y z\n"},
        {1, "nonsense\n"},
        {2, "config a b\n\toption x-y z\n"},
        {2, "config a b\nconfig c b\n"},
        {6, "# one\n\nconfig a \"x\\\ny\"\n\toption x y\\\n z z\n"},
        {1, "package p-q/r\n"},
        {1, {"config a b\n\toption x '\0'\n", 24}},
        // What says nothing has no more behind it, and a command has blanks and tabs.
        {2, "config a b\n\toption x y '' \n"},
        {2, "config a b\n\toption x y ; \n"},
        {3, "config a b\n\toption x y \\\n\v\n"},
        {1, "package p \"\"\r\n"},
        {1, "config\va b\n"},
        {1, "config a b '' \roption x y\n"},
    };
    put_config("q", "config a b\n\toption x 1\n");
    for (const auto& [line, text] : cases) {
        // Of a quote that does not end, libuci names the line where it begins, ours that where the text ends.
        const int line_of_libuci = text.ends_with("'open\n") ? line - 1 : line;
        put_config("p", text);
        const SystemCalls calls;
        EXPECT_EQ(get("p.b.x"), "code 14") << text;
        EXPECT_TRUE(calls.log() == "/etc/config/p: line " + std::to_string(line) + " is malformed\n" ||
                    calls.log() ==
                        "/etc/config/p: line " + std::to_string(line_of_libuci) + " is malformed\n")
            << text << calls.log();
        EXPECT_EQ(set("p.b.x", "1"), 14u) << text;
        EXPECT_EQ(QrnUci_CommitPackage("p"), 14u) << text;
        EXPECT_EQ(config("p"), text);
        EXPECT_EQ(get("q.b.x"), "1") << "other packages go on";
    }
}
