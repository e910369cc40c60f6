// SPDX-License-Identifier: Apache-2.0
// Views: what a thread has seen of a package it goes on seeing, however the files change.
#include <array>
#include <filesystem>
#include <thread>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"

using namespace test;

class View : public UciTest
{
  protected:
    static void put(const std::string& package, const std::string& value)
    {
        put_config(package, "config t s\n\toption a '" + value + "'\n");
    }

    static std::string get_elsewhere(const std::string& key)
    {
        std::string value;
        std::thread{[&] { value = get(key); }}.join();
        return value;
    }
};

TEST_F(View, AnswersFromOneVersionUntilItEnds)
{
    put("p", "1");
    put("q", "1");
    ASSERT_EQ(QrnUci_BeginView(), 0u);
    EXPECT_EQ(get("p.s.a"), "1");
    EXPECT_EQ(get("missing.s.a"), "code 14");
    put("p", "2");
    put("q", "2");
    put("missing", "2");
    EXPECT_EQ(get("p.s.a"), "1");
    EXPECT_EQ(get("missing.s.a"), "code 14") << "also that there is none";
    EXPECT_EQ(get("q.s.a"), "2") << "seen for the first time";
    EXPECT_EQ(get_elsewhere("p.s.a"), "2") << "threads have views of their own";
    EXPECT_EQ(get("p.s.a"), "1") << "whatever others have read meanwhile";
    ASSERT_EQ(QrnUci_BeginView(), 0u);
    EXPECT_EQ(QrnUci_EndView(), 0u);
    EXPECT_EQ(get("p.s.a"), "1") << "the outer view goes on";
    EXPECT_EQ(QrnUci_EndView(), 0u);
    EXPECT_EQ(get("p.s.a"), "2");
    EXPECT_EQ(get("missing.s.a"), "2");
    EXPECT_EQ(QrnUci_EndView(), 14u) << "there is none";
}

TEST_F(View, IsRenewedByWhatTheThreadChangesOrRuns)
{
    const struct {
        const char* what;
        uint32_t (*act)();
    } cases[] = {
        {"a set", [] { return QrnUci_SetNewString("p.s.b", "x", 0, 1); }},
        {"a set of what others have set", [] { return QrnUci_SetNewString("p.s.a", "2", 0, 1); }},
        {"a commit", [] { return QrnUci_CommitPackage("p"); }},
        {"a command that ran", [] { return QrnUci_RenewView(); }},
        {"closing the library", [] { return QrnUci_Close(); }},
    };
    for (const auto& [what, act] : cases) {
        put("p", "1");
        ASSERT_EQ(QrnUci_BeginView(), 0u);
        EXPECT_EQ(get("p.s.a"), "1");
        put("p", "2");
        EXPECT_EQ(act(), 0u);
        EXPECT_EQ(get("p.s.a"), "2") << what;
        EXPECT_EQ(QrnUci_EndView(), 0u);
        EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    }
}

TEST_F(View, MorePackagesThanItKeepsAreReadAllTheSame)
{
    QrnUci_Close();
    const long before = open_descriptors();
    ASSERT_EQ(QrnUci_BeginView(), 0u);
    for (int round = 0; round < 2; ++round) {
        for (char package = 'a'; package <= 'z'; ++package) {
            put(std::string(1, package), std::to_string(round));
            const bool is_kept = round > 0 && package <= 'p';
            ASSERT_EQ(get(std::string(1, package) + ".s.a"), is_kept ? "0" : std::to_string(round))
                << package;
        }
    }
    EXPECT_EQ(QrnUci_EndView(), 0u);
    EXPECT_EQ(get("a.s.a"), "1");
    QrnUci_Close();
    EXPECT_EQ(open_descriptors(), before) << "also of what the cache had no more";
}
