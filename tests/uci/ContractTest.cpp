// SPDX-License-Identifier: Apache-2.0
// What the configuration library promises of keys, values and commits, on whichever backend is linked in.
#include <array>
#include <filesystem>

#include <sys/stat.h>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

class Contract : public UciTest
{
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
    EXPECT_EQ(QrnUci_SetNewString(nullptr, "b", 0, 1), 22u);
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
