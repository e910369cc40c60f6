// SPDX-License-Identifier: Apache-2.0
// What the configuration library promises, on whichever backend is linked in.
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qrnuci.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

class Contract : public UciTest
{
  protected:
    static uint32_t set(const char* key, const char* value) { return QrnUci_SetNewString(key, value, 0, 1); }
};

constexpr const char* kSystem = "config system\n"
                                "\toption hostname 'ap'\n"
                                "\toption log_ip '192.0.2.1'\n"
                                "\n"
                                "config timeserver 'ntp'\n"
                                "\tlist server '0.pool'\n"
                                "\tlist server '1.pool'\n"
                                "\n"
                                "config led\n"
                                "\toption name 'last'\n";

TEST_F(Contract, ReadsByNameTypeAndIndex)
{
    put_config("system", kSystem);
    const struct {
        const char* key;
        const char* value;
    } cases[] = {
        {"system.@system[0].hostname", "ap"},
        {"system.@system[-1].log_ip", "192.0.2.1"},
        {"system.@[1]", "timeserver"},
        {"system.@[-1].name", "last"},
        {"system.ntp", "timeserver"},
        {"system.ntp.server", "0.pool 1.pool"},
        {"system.cfg01e48a.hostname", "ap"},
        {"system.@system[1].hostname", "code 14"},
        {"system.@system[-2].hostname", "code 14"},
        {"system.ntp.enabled", "code 14"},
        {"nothing.ntp.enabled", "code 14"},
        {"system", "code 22"},
        {"", "code 22"},
        {"system.", "code 22"},
        {"system.ntp.", "code 22"},
        {"system.ntp.server.0", "code 22"},
        {"system.@system[x].a", "code 22"},
        {"system.@system[0.a", "code 22"},
        {"system.xsystem[0].a", "code 22"},
        {"system.@system.a", "code 22"},
        {"system.n-tp.a", "code 22"},
        {"../etc.ntp.a", "code 22"},
        {"system.ntp.a=b", "code 22"},
    };
    for (const auto& [key, value] : cases) {
        EXPECT_EQ(get(key), value) << key;
    }
    EXPECT_EQ(item("system.ntp.server", 1), "1.pool");
    EXPECT_EQ(item("system.ntp.server", 2), "code 14");
    EXPECT_EQ(item("system.@system[0].hostname", 0), "ap") << "a plain option is a list of one";
    EXPECT_EQ(item("system.ntp", 0), "code 22");
}

TEST_F(Contract, ValuesAreNeverCut)
{
    put_config("system", kSystem);
    std::array<char, 14> buffer;
    buffer.fill('#');
    EXPECT_EQ(QrnUci_GetString("system.ntp.server", buffer.data(), 13), 14u);
    EXPECT_EQ(QrnUci_GetListItem("system.ntp.server", 0, buffer.data(), 6), 14u);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(QrnUci_SetListItem("system.ntp.server", 0, ""), 0u);
    EXPECT_EQ(QrnUci_GetListItem("system.ntp.server", 0, buffer.data(), 1), 0u) << "an empty one and its end";
    EXPECT_EQ(QrnUci_GetListItem("system.ntp.server", 0, buffer.data(), 0), 22u);
    EXPECT_EQ(QrnUci_SetListItem("system.ntp.server", 0, "0.pool"), 0u);
    EXPECT_EQ(QrnUci_GetString("system.ntp.server", buffer.data(), 14), 0u);
    EXPECT_STREQ(buffer.data(), "0.pool 1.pool");
    EXPECT_EQ(QrnUci_GetString("system.ntp.server", nullptr, 14), 22u);
    EXPECT_EQ(QrnUci_GetString("system.ntp.server", buffer.data(), 0), 22u);
    EXPECT_EQ(QrnUci_GetString(nullptr, buffer.data(), 14), 22u);
}

TEST_F(Contract, FileFormat)
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

TEST_F(Contract, MalformedFilesAreRefusedAndKept)
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

TEST_F(Contract, SetIsStagedAndSeenAtOnce)
{
    put_config("system", kSystem);
    EXPECT_EQ(set("system.@system[0].log_ip", "192.0.2.7"), 0u);
    EXPECT_EQ(set("system.ntp.new", "it's \"new\"\n$x"), 0u);
    EXPECT_EQ(staged("system"),
              "system.cfg01e48a.log_ip='192.0.2.7'\nsystem.ntp.new='it'\\''s \"new\"\n$x'\n");
    struct stat status = {};
    ASSERT_EQ(stat("/tmp/.uci/system", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u) << "passwords may be staged";
    EXPECT_EQ(config("system"), kSystem);
    EXPECT_EQ(get("system.@system[0].log_ip"), "192.0.2.7");
    EXPECT_EQ(get("system.ntp.new"), "it's \"new\"\n$x");

    EXPECT_EQ(set("system.@system[0].log_ip", ""), 0u);
    EXPECT_EQ(get("system.@system[0].log_ip"), "code 14");
    EXPECT_EQ(set("system.@system[0].log_ip", ""), 0u) << "deleting what is not there is nothing";
    EXPECT_EQ(set("system.ntp.server", "one"), 0u);
    EXPECT_EQ(get("system.ntp.server"), "one");
}

TEST_F(Contract, SetRefusals)
{
    put_config("system", kSystem);
    {
        const SystemCalls calls;
        EXPECT_EQ(set("system.nowhere.a", "b"), 14u);
        EXPECT_EQ(calls.log(), "system: no such section to change\n");
    }
    EXPECT_EQ(set("nothing.nowhere.a", "b"), 14u);
    EXPECT_EQ(set("system.ntp", "b"), 22u);
    EXPECT_EQ(set("system.ntp.a", nullptr), 22u);
    EXPECT_EQ(set(nullptr, "b"), 22u);
    EXPECT_EQ(set("system.ntp.a", "bell\x07"), 14u) << "the format cannot carry it";
    EXPECT_EQ(QrnUci_SetListItem("system.ntp.a", 65536, "b"), 14u) << "more than any list has";
    EXPECT_EQ(QrnUci_SetListItem("system.ntp", 0, "b"), 22u);
    EXPECT_FALSE(std::filesystem::exists("/tmp/.uci/nothing"));
    EXPECT_EQ(QrnUci_CommitPackage("system"), 0u);
    EXPECT_EQ(config("system"), kSystem) << "nothing staged, nothing written";
}

TEST_F(Contract, ListItems)
{
    put_config("p", "config s 's'\n\toption plain 'x'\n\tlist l 'a'\n\tlist l 'b'\n");
    const struct {
        const char* key;
        uint32_t index;
        const char* value;
        const char* result;
    } cases[] = {
        {"p.s.l", 0, "A", "A b"},    {"p.s.l", 3, "d", "A b  d"},  {"p.s.l", 3, "", "A b"},
        {"p.s.l", 0, "", " b"},      {"p.s.l", 1, "", "code 14"},  {"p.s.l", 9, "", "code 14"},
        {"p.s.fresh", 1, "x", " x"}, {"p.s.plain", 1, "y", "x y"}, {"p.s.plain", 0, "", " y"},
    };
    for (const auto& [key, index, value, result] : cases) {
        EXPECT_EQ(QrnUci_SetListItem(key, index, value), 0u);
        EXPECT_EQ(get(key), result) << key << " " << index << " " << value;
    }
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"),
              "\nconfig s 's'\n\tlist fresh ''\n\tlist fresh 'x'\n\tlist plain ''\n\tlist plain 'y'\n\n");
}

TEST_F(Contract, CommitReplacesTheFileWhole)
{
    put_config("p", "# a comment\nconfig t\n\toption a '1'\nconfig t named\n\tlist l 'x y'\n");
    ASSERT_EQ(chmod("/etc/config/p", 0640), 0);
    EXPECT_EQ(set("p.@t[0].a", "it's"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig t\n\toption a 'it'\\''s'\n\nconfig t 'named'\n\tlist l 'x y'\n\n");
    EXPECT_EQ(staged("p"), "");
    struct stat status = {};
    ASSERT_EQ(stat("/etc/config/p", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{"/etc/config"}, {}), 1)
        << "no file left behind";
}

TEST_F(Contract, CommitRefusals)
{
    EXPECT_EQ(QrnUci_CommitPackage("missing"), 14u);
    EXPECT_EQ(QrnUci_CommitPackage(nullptr), 22u);
    for (const char* name : {"", "../p", "p/q", "p.q", "a b", "p\n"}) {
        EXPECT_EQ(QrnUci_CommitPackage(name), 22u) << name;
    }
}

TEST_F(Contract, LinksStayLinks)
{
    put_config("real", "config t s\n");
    std::filesystem::rename("/etc/config/real", "/etc/real");
    std::filesystem::create_symlink("/etc/real", "/etc/config/p");
    EXPECT_EQ(set("p.s.a", "1"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_TRUE(std::filesystem::is_symlink("/etc/config/p"));
    EXPECT_EQ(get("p.s.a"), "1");
}

TEST_F(Contract, StagedChangesOfOtherPrograms)
{
    put_config("p", "config t s\n\toption a '1'\n\toption b '2'\n\tlist l 'x'\n\tlist l 'y'\n\tlist l 'w'\n"
                    "\toption c '3'\n\tlist m 'x'\n\toption d '4'\nconfig t u\nconfig t w\n");
    put_staged("p", "p.s.a='new'\n"
                    "-p.s.l='2nd'\n"
                    "-p.s.l='none'\n"
                    "-p.s.b\n"
                    "p.s.c=''\n"
                    "p.s.m='plain'\n"
                    "@p.s.d='e'\n"
                    "p.w=''\n"
                    "|p.s.l='z'\n"
                    "~p.s.l='x'\n"
                    "+p.cfg030d9e='t'\n"
                    "p.cfg030d9e.fresh='f'\n"
                    "p.v='t2'\n"
                    "@p.u='renamed'\n"
                    "^p.v='front'\n"
                    "q.s.a='other package'\n"
                    "p.nowhere.a='lost'\n"
                    "total nonsense\n"
                    "p.s.last=1\n");
    EXPECT_EQ(get("p.s.a"), "new");
    EXPECT_EQ(get("p.s.b"), "code 14");
    EXPECT_EQ(get("p.s.c"), "code 14");
    EXPECT_EQ(get("p.w"), "code 14");
    EXPECT_EQ(get("p.s.l"), "y z");
    EXPECT_EQ(get("p.@[0]"), "t2");
    EXPECT_EQ(get("p.renamed"), "t");
    EXPECT_EQ(get("p.s.last"), "1");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig t2 'v'\n\nconfig t 's'\n\toption a 'new'\n\tlist l 'y'\n\tlist l 'z'\n"
                           "\toption m 'plain'\n\toption e '4'\n\toption last '1'\n\nconfig t "
                           "'renamed'\n\nconfig t\n\toption fresh 'f'\n\n");
}

TEST_F(Contract, SectionsThatChangeTheirType)
{
    put_config("p", "config t\nconfig t\nconfig t n\n");
    put_staged("p", "p.cfg01b619='u'\np.cfg02b619='long'\n+p.n='t'\n");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig u\n\nconfig long 'cfg02b619'\n\nconfig t\n\n")
        << "a type of another length makes a section of its own, by name";
}

TEST_F(Contract, StagedChangesThatMakeNoPackageStayStaged)
{
    constexpr const char* kConfig = "config t a\nconfig u b\n";
    for (const char* change : {"@p.b='a'\n", "@p.a='b'\np.b.o='1'\n"}) {
        put_config("p", kConfig);
        put_staged("p", change);
        const SystemCalls calls;
        EXPECT_EQ(QrnUci_CommitPackage("p"), 14u);
        EXPECT_EQ(calls.log(), "/etc/config/p: the staged changes make no file that can be read; "
                               "nothing is committed\n");
        EXPECT_EQ(config("p"), kConfig);
        EXPECT_EQ(staged("p"), change);
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{"/etc/config"}, {}), 1) << "nothing is left";
}

TEST_F(Contract, ChangesThatWereWrittenInPartAreDropped)
{
    for (const char* tail : {"p.s.b='torn", "~p.qrnuci_group.size='500'\n-p.s.a\n|p.s.a='x'\n",
                             "~p.qrnuci_group.size='9'", "p.s.b=\"torn\n"}) {
        put_config("p", "config t s\n\toption a '1'\n");
        put_staged("p", std::string{"p.s.a='2'\n"} + tail);
        EXPECT_EQ(get("p.s.a"), "2") << tail;
        EXPECT_EQ(get("p.s.b"), "code 14") << tail;
        EXPECT_EQ(set("p.s.c", "3"), 0u);
        EXPECT_EQ(staged("p"), "p.s.a='2'\np.s.c='3'\n") << tail;
    }
}

TEST_F(Contract, ChangesOfSeveralLinesAreMarkedWhenAKillCouldLeaveAPart)
{
    // They may end with a page of the file, but not begin in one and end in the next.
    const std::string lines = "-p.s.l\n|p.s.l='" + std::string(31, 'y') + "'\n";
    ASSERT_EQ(lines.size(), 48u);
    for (const std::size_t offset : {std::size_t{4047}, std::size_t{4048}, std::size_t{4049}}) {
        put_config("p", "config t s\n\tlist l 'a'\n");
        put_staged("p", "p.s.a='" + std::string(offset - 9, 'x') + "'\n");
        EXPECT_EQ(QrnUci_SetListItem("p.s.l", 0, std::string(31, 'y').c_str()), 0u);
        EXPECT_EQ(staged("p").substr(offset), (offset > 4048 ? "~p.qrnuci_group.size='48'\n" : "") + lines);
    }
}

TEST_F(Contract, WhatIsSetAgainAndAgainDoesNotFillTheStagingFile)
{
    put_config("p", "config t s\n\toption a '0'\nconfig rule\n");
    constexpr size_t kMost = 65536;
    for (int i = 1; i <= 10'000; ++i) {
        ASSERT_EQ(set("p.s.a", std::to_string(i).c_str()), 0u);
    }
    EXPECT_EQ(get("p.s.a"), "10000");
    EXPECT_LT(staged("p").size(), kMost / 8);
    for (uint32_t i = 0; i < 1000; ++i) {
        ASSERT_EQ(QrnUci_SetListItem("p.s.l", i, ("item" + std::to_string(i)).c_str()), 0u);
    }
    EXPECT_EQ(item("p.s.l", 999), "item999");
    EXPECT_LT(staged("p").size(), kMost);
    ASSERT_EQ(set("p.s.l", ""), 0u);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(QrnUci_AddSection("p", "rule", nullptr, nullptr, 0), 0u);
        ASSERT_EQ(set("p.@rule[-1].name", "short-lived"), 0u);
        ASSERT_EQ(QrnUci_DeleteSection("p.@rule[-1]"), 0u);
    }
    EXPECT_LT(staged("p").size(), kMost / 8);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig t 's'\n\toption a '10000'\n\nconfig rule\n\n");
}

TEST_F(Contract, ValuesCannotPretendToBeNotes)
{
    put_config("p", "config t s\n");
    const std::string note = "x\n~p.qrnuci_group.size='99999'\n";
    EXPECT_EQ(set("p.s.a", "1"), 0u);
    EXPECT_EQ(set("p.s.b", note.c_str()), 0u);
    EXPECT_EQ(set("p.s.c", "3"), 0u);
    EXPECT_EQ(get("p.s.a"), "1");
    EXPECT_EQ(get("p.s.b"), note);
    EXPECT_EQ(get("p.s.c"), "3");
}

TEST_F(Contract, FailedWritesLoseNothing)
{
    put_config("p", "config t s\n\toption a '1'\n");
    EXPECT_EQ(set("p.s.a", "2"), 0u);
    std::filesystem::create_directory("/etc/target");
    std::filesystem::rename("/etc/config/p", "/etc/target/p");
    std::filesystem::create_symlink("/etc/target/p", "/etc/config/p");
    if (std::system("mount -t tmpfs -o size=8k none /etc/target && "
                    "printf \"config t s\\n\\toption a '1'\\n\" >/etc/target/p") != 0) {
        GTEST_SKIP() << "no mount tool";
    }
    put_config("../target/full", std::string(4096, 'x'));
    put_config("../target/.p.qrnuci-killed", "");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 14u);
    EXPECT_FALSE(std::filesystem::exists("/etc/target/.p.qrnuci-killed")) << "what a killed commit left";
    EXPECT_EQ(config("p"), "config t s\n\toption a '1'\n");
    EXPECT_EQ(get("p.s.a"), "2") << "still staged";
    std::filesystem::remove("/etc/target/full");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig t 's'\n\toption a '2'\n\n");
    EXPECT_EQ(QrnUci_Close(), 0u);
    ASSERT_EQ(std::system("umount /etc/target"), 0) << "Close keeps no file open";
}

TEST_F(Contract, AReadOnlyFileSystemLosesNothingThatIsStaged)
{
    put_config("p", "config t s\n\toption o 'old'\n");
    EXPECT_EQ(QrnUci_SetNewString("p.s.o", "new", 0, 1), 0u);
    const auto remount = [](const char* folder, const char* how) {
        return std::system(("mount -o bind,remount," + std::string{how} + " " + folder).c_str());
    };
    if (std::system("mount --bind /etc/config /etc/config && mount --bind /tmp/.uci /tmp/.uci") != 0 ||
        remount("/etc/config", "ro") != 0) {
        GTEST_SKIP() << "no bind mounts here";
    }
    EXPECT_EQ(QrnUci_CommitPackage("p"), 14u);
    EXPECT_EQ(get("p.s.o"), "new");
    EXPECT_EQ(QrnUci_SetNewString("p.s.o", "newer", 0, 1), 0u) << "staging is elsewhere";
    ASSERT_EQ(remount("/tmp/.uci", "ro"), 0);
    EXPECT_EQ(QrnUci_SetNewString("p.s.o", "newest", 0, 1), 14u);
    EXPECT_EQ(get("p.s.o"), "newer");
    ASSERT_EQ(remount("/etc/config", "rw") + remount("/tmp/.uci", "rw"), 0);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig t 's'\n\toption o 'newer'\n\n");
}

TEST_F(Contract, AStagingFolderOfOthersIsNotUsed)
{
    put_config("p", "config t s\n\toption a '1'\n");
    const auto expect_refused = [](const char* what, const std::string& line) {
        QrnUci_Close();
        const SystemCalls calls;
        EXPECT_EQ(get("p.s.a"), "1") << what;
        EXPECT_EQ(get("p.s.a"), "1") << what;
        EXPECT_EQ(calls.log(), line) << what << ": one line, however often it is read";
        EXPECT_EQ(set("p.s.b", "2"), 14u) << what;
        EXPECT_EQ(QrnUci_CommitPackage("p"), 14u) << what;
        EXPECT_EQ(calls.log(), line + line + line) << what;
        EXPECT_EQ(config("p"), "config t s\n\toption a '1'\n") << what;
    };
    const std::string folder =
        "/tmp/.uci is not a folder that we alone may write to; nothing there is used\n";
    put_staged("p", "p.s.a='planted'\n");
    for (const mode_t mode : {0770U, 0702U}) {
        ASSERT_EQ(chmod("/tmp/.uci", mode), 0);
        expect_refused("writable by others", folder);
    }
    ASSERT_EQ(chmod("/tmp/.uci", 0755), 0);
    EXPECT_EQ(get("p.s.a"), "planted") << "others may look";
    std::filesystem::rename("/tmp/.uci", "/tmp/elsewhere");
    std::filesystem::create_symlink("/tmp/elsewhere", "/tmp/.uci");
    expect_refused("a link", folder);
    EXPECT_EQ(read_file("/tmp/elsewhere/p"), "p.s.a='planted'\n");
    std::filesystem::remove("/tmp/.uci");
    if (chown("/tmp/elsewhere", 1, 1) == 0) { // a user of their own maps root alone
        std::filesystem::rename("/tmp/elsewhere", "/tmp/.uci");
        expect_refused("of another user", folder);
        EXPECT_EQ(staged("p"), "p.s.a='planted'\n");
    }
}

TEST_F(Contract, WhatIsNoRegularStagingFileIsNotUsed)
{
    put_config("p", "config t s\n\toption a '1'\n");
    put_config("../planted", "p.s.a='planted'\n");
    std::filesystem::create_directories("/tmp/.uci");
    std::filesystem::create_symlink("/etc/planted", "/tmp/.uci/p");
    EXPECT_EQ(get("p.s.a"), "1");
    EXPECT_EQ(set("p.s.b", "2"), 14u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 14u);
    EXPECT_EQ(read_file("/etc/planted"), "p.s.a='planted'\n");
    std::filesystem::remove("/tmp/.uci/p");
    ASSERT_EQ(mkfifo("/tmp/.uci/p", 0600), 0);
    EXPECT_EQ(get("p.s.a"), "1");
    EXPECT_EQ(set("p.s.b", "2"), 14u);
}

TEST_F(Contract, AFileInTheFirstFolderComesBeforeThePackagesOwn)
{
    if (std::system("mkdir -p /var/run && mount -t tmpfs none /var/run") != 0) {
        GTEST_SKIP() << "no mount tool";
    }
    const std::string first = "/var/run/uci/p";
    put_config("p", "config t s\n\toption a 'own'\n");
    EXPECT_EQ(get("p.s.a"), "own");
    std::filesystem::create_directories("/var/run/uci");
    EXPECT_EQ(get("p.s.a"), "own");
    write_file(first, "config t s\n\toption a 'first'\n");
    EXPECT_EQ(get("p.s.a"), "first") << "it has come";
    EXPECT_EQ(set("p.s.b", "2"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(read_file(first), "\nconfig t 's'\n\toption a 'first'\n\toption b '2'\n\n");
    EXPECT_EQ(config("p"), "config t s\n\toption a 'own'\n");
    std::filesystem::remove(first);
    EXPECT_EQ(get("p.s.a"), "own") << "it has gone";
    std::filesystem::remove_all("/var/run/uci");
    EXPECT_EQ(get("p.s.a"), "own");
    std::filesystem::create_directories("/var/run/uci");
    write_file("/var/run/uci/q", "config t s\n\toption a 'alone'\n");
    EXPECT_EQ(get("q.s.a"), "alone");
    EXPECT_EQ(set("q.s.a", "2"), 0u);
    std::filesystem::remove_all("/var/run/uci");
}

TEST_F(Contract, NoFileTakesAStandardStreamNorIsOneWrittenThatIsOnlyReadOrLocked)
{
    put_config("p", "config t s\n\toption a '1'\n");
    const pid_t child = fork();
    if (child == 0) {
        QrnUci_Close();
        for (int descriptor = 0; descriptor < 3; ++descriptor) {
            close(descriptor);
        }
        SystemCalls calls;
        bool is_kept_off = true;
        const auto look = [&] {
            for (int descriptor = 0; descriptor < 3; ++descriptor) {
                const int flags = fcntl(descriptor, F_GETFL);
                is_kept_off = is_kept_off && (flags < 0 || (flags & O_PATH) != 0);
            }
            return 0;
        };
        uint32_t code = 0;
        for (const char* const call : {"flock", "fsync", "fdatasync", "rename"}) {
            calls.on(call, 0, look);
            code |= set("p.s.a", call);
            code |= QrnUci_CommitPackage("p");
            is_kept_off = is_kept_off && calls.has_happened() && get("p.s.a") == call;
        }
        look();
        _exit(code == 0 && is_kept_off ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);

    // Where the file cannot be written, as on a medium that is read-only, reading and locking it still work.
    const SystemCalls calls;
    EXPECT_EQ(get("p.s.a"), "rename");
    EXPECT_EQ(set("p.s.a", "2"), 0u);
    EXPECT_EQ(calls.sequence({"writing /etc/config/p"}), "");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(calls.sequence({"writing /etc/config/p"}), "writing /etc/config/p")
        << "once, to give those who wait for it the new text";
}

TEST_F(Contract, WithoutDescriptorsOrMemoryAReadFailsAndSaysSo)
{
    put_config("p", "config t s\n\toption a '1'\n");
    for (const int error : {EMFILE, ENFILE, ENOMEM}) {
        QrnUci_Close();
        SystemCalls calls;
        calls.fail("open64", 0, error);
        EXPECT_EQ(get("p.s.a"), "code 12");
        EXPECT_EQ(calls.log(), "open /etc/config/p: " + std::string{strerror(error)} + "\n");
        EXPECT_EQ(get("p.s.a"), "1");
    }
}
