// SPDX-License-Identifier: Apache-2.0
// The staging files: what other programs have staged, what was written in part, how they stay small and safe.
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "qrnuci.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

class Staged : public UciTest
{
};

TEST_F(Staged, StagedChangesOfOtherPrograms)
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

TEST_F(Staged, SectionsThatChangeTheirType)
{
    put_config("p", "config t\nconfig t\nconfig t n\n");
    put_staged("p", "p.cfg01b619='u'\np.cfg02b619='long'\n+p.n='t'\n");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig u\n\nconfig long 'cfg02b619'\n\nconfig t\n\n")
        << "a type of another length makes a section of its own, by name";
}

TEST_F(Staged, StagedChangesThatMakeNoPackageStayStaged)
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

TEST_F(Staged, ChangesThatWereWrittenInPartAreDropped)
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

TEST_F(Staged, ChangesOfSeveralLinesAreMarkedWhenAKillCouldLeaveAPart)
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

TEST_F(Staged, WhatIsSetAgainAndAgainDoesNotFillTheStagingFile)
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

TEST_F(Staged, ValuesCannotPretendToBeNotes)
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

TEST_F(Staged, AStagingFolderOfOthersIsNotUsed)
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

TEST_F(Staged, WhatIsNoRegularStagingFileIsNotUsed)
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
