// SPDX-License-Identifier: Apache-2.0
// Whole packages, read and replaced as texts.
#include <filesystem>

#include <sys/stat.h>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

namespace
{

constexpr const char* kOld = "config t 's'\n\toption a '1'\n";
constexpr const char* kNew = "config t 's'\n\toption a '2'\n";
constexpr const char* kOther = "config t 's'\n\toption a 'other'\n";

} // namespace

using Replace = UciTest;

TEST_F(Replace, TakesTheTextThatWasSeenAndNoOther)
{
    const struct {
        const char* now; ///< null: no file
        const char* before;
        const char* after;
        uint32_t code;
    } cases[] = {
        {kOld, kOld, kNew, 0},       {kNew, kOld, kNew, 0},
        {kOther, kOld, kNew, 11},    {kOld, nullptr, kNew, 11},
        {"", nullptr, kNew, 11},     {kNew, nullptr, kNew, 0},
        {nullptr, nullptr, kNew, 0}, {nullptr, kOld, kNew, 11},
        {kOld, kOld, nullptr, 0},    {nullptr, kOld, nullptr, 0},
        {kOther, kOld, nullptr, 11}, {nullptr, nullptr, nullptr, 0},
        {kOld, kOld, "", 0},         {kOld, kOld, "half a 'package", 0},
    };
    for (const auto& [now, before, after, code] : cases) {
        SetUp();
        if (now != nullptr) {
            put_config("p", now);
        }
        put_staged("p", "p.s.a='theirs'\n");
        const std::string what = std::string{now != nullptr ? now : "none"} + (after != nullptr ? after : "");
        EXPECT_EQ(QrnUci_ReplacePackage("p", before, after), code) << what;
        const char* const found = code == 0 ? after : now;
        EXPECT_EQ(std::filesystem::exists("/etc/config/p"), found != nullptr) << what;
        EXPECT_EQ(config("p"), found != nullptr ? found : "") << what;
        EXPECT_EQ(staged("p"), "p.s.a='theirs'\n") << what;
        const auto files = std::distance(std::filesystem::directory_iterator{"/etc/config"}, {});
        EXPECT_EQ(files, found != nullptr ? 1 : 0) << what;
    }
}
