// SPDX-License-Identifier: Apache-2.0
// What differs between two texts of a package.
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

namespace
{

uint32_t note(const Qrn_UciDifference* difference, void* context)
{
    constexpr const char* kKinds[] = {"?", "+", "-", "*", "^", "@"};
    auto& out = *static_cast<std::ostringstream*>(context);
    out << kKinds[difference->kind] << difference->section << '(' << difference->type << ')'
        << (*difference->option != '\0' ? "." : "") << difference->option << " " << difference->old_value
        << (difference->is_old_list != 0 ? "[]" : "") << ">" << difference->new_value
        << (difference->is_new_list != 0 ? "[]" : "") << "\n";
    return 0;
}

std::string compare(const char* before, const char* after)
{
    std::ostringstream out;
    const uint32_t code = QrnUci_ComparePackages(before, after, note, &out);
    return code == 0 ? out.str() : "code " + std::to_string(code);
}

/// Differences checked against an overlay that holds the text after.
struct Checked {
    int added = 0; ///< less what was deleted
    std::string wrong;
};

uint32_t check(const Qrn_UciDifference* difference, void* context)
{
    auto& checked = *static_cast<Checked*>(context);
    checked.added += difference->kind == QRN_UCI_ADDED ? 1 : difference->kind == QRN_UCI_DELETED ? -1 : 0;
    std::string key = std::string{"p."} + difference->section;
    key += *difference->option != '\0' ? std::string{"."} + difference->option : "";
    std::array<char, 256> value{};
    uint32_t position = 0;
    uint32_t code = 0;
    switch (difference->kind) {
    case QRN_UCI_DELETED:
        return 0;
    case QRN_UCI_MOVED:
        code = QrnUci_GetSectionPosition(key.c_str(), &position);
        (void)std::snprintf(value.data(), value.size(), "%u", position);
        break;
    case QRN_UCI_RENAMED:
        code = QrnUci_GetSectionName(key.c_str(), value.data(), value.size());
        break;
    default:
        code = QrnUci_GetString(key.c_str(), value.data(), value.size());
        break;
    }
    if (code != 0 || std::strcmp(value.data(), difference->new_value) != 0) {
        checked.wrong += key + " is " + value.data() + ", not " + difference->new_value + "\n";
    }
    return 0;
}

} // namespace

TEST(Compare, TellsWhatTheTextsSayNotHowTheyAreWritten)
{
    constexpr const char* kRules = "config rule\n\toption n a\n\toption p 1\n"
                                   "config rule\n\toption n b\n\toption p 2\n"
                                   "config rule\n\toption n c\n\toption p 3\n";
    const struct {
        const char* what;
        const char* before;
        const char* after;
        const char* expected;
    } cases[] = {
        {"layout, quotes, comments and the order of options",
         "# one\nconfig 't' \"s\"\n\toption a '1'\n\toption b it\\'s\n\tlist l x\n\tlist l 'y z'\n",
         "package p\nconfig t s # two\n  list l x\n\n option b \"it's\"; option a 1\n list l y\\ z\n", ""},
        {"nothing and no file", "# empty\n", nullptr, ""},
        {"options", "config t s\n\toption a 1\n\toption b 2\n", "config t s\n\toption c 3\n\toption a 2\n",
         "*s(t).a 1>2\n-s(t).b 2>\n+s(t).c >3\n"},
        {"lists", "config t s\n\tlist l x\n\tlist l y\n\toption o 'x y'\n",
         "config t s\n\tlist l y\n\tlist l x\n\tlist o x\n\tlist o y\n",
         "*s(t).l x y[]>y x[]\n*s(t).o x y>x y[]\n"},
        {"a list whose items hold blanks", "config t s\n\tlist l 'x y'\n",
         "config t s\n\tlist l x\n\tlist l y\n", "*s(t).l x y[]>x y[]\n"},
        {"a file that comes", nullptr, "config t s\n\toption a 1\nconfig u\n\tlist l 2\n",
         "+s(t) >t\n+s(t).a >1\n+@u[0](u) >u\n+@u[0](u).l >2[]\n"},
        {"a file that goes", "config t s\n\toption a 1\n", nullptr, "-s(t) t>\n-s(t).a 1>\n"},
        {"another type", "config t s\n\toption a 1\n", "config u s\n\toption a 1\n", "*s(u) t>u\n"},
        {"another name", "config t s\n\toption a 1\nconfig t e\n", "config t r\n\toption a 1\nconfig t f\n",
         "-e(t) t>\n@r(t) s>r\n+f(t) >t\n"},
        {"a name that came", kRules,
         "config rule\n\toption n a\n\toption p 1\nconfig rule x\n\toption n b\n\toption p 2\n"
         "config rule\n\toption n c\n\toption p 3\n",
         "@x(rule) >x\n"},
        {"one without a name that changed", kRules,
         "config rule\n\toption n a\n\toption p 1\nconfig rule\n\toption n b\n\toption p 9\n"
         "config rule\n\toption n c\n\toption p 3\n",
         "*@rule[1](rule).p 2>9\n"},
        {"one that went before one that changed", kRules,
         "config rule\n\toption n b\n\toption p 2\nconfig rule\n\toption n c\n\toption p 9\n",
         "-@rule[0](rule) rule>\n-@rule[0](rule).n a>\n-@rule[0](rule).p 1>\n*@rule[1](rule).p 3>9\n"},
        {"one that came before the others", "config rule\n\toption n a\nconfig rule\n\toption n b\n",
         "config rule\n\toption n z\n\toption m 1\nconfig rule\n\toption n a\nconfig rule\n\toption n b\n",
         "+@rule[0](rule) >rule\n+@rule[0](rule).n >z\n+@rule[0](rule).m >1\n"},
        {"one that moved, and no other", kRules,
         "config rule\n\toption n c\n\toption p 3\nconfig rule\n\toption n a\n\toption p 1\n"
         "config rule\n\toption n b\n\toption p 2\n",
         "^@rule[0](rule) 2>0\n"},
        {"two of the same content, of which one goes",
         "config rule\n\toption n a\nconfig rule\n\toption n a\n", "config rule\n\toption n a\n",
         "-@rule[1](rule) rule>\n-@rule[1](rule).n a>\n"},
    };
    for (const auto& [what, before, after, expected] : cases) {
        EXPECT_EQ(compare(before, after), expected) << what;
    }
}

using CompareRandomly = UciTest;

TEST_F(CompareRandomly, EveryDifferenceIsTrueAndNothingComesOrGoesUntold)
{
    std::mt19937 random{20261122};
    const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
    const auto type = [&] { return std::string(below(2) == 0 ? "u" : "v"); };
    const auto section = [&] { return "p.@" + type() + "[" + std::to_string(below(4)) + "]"; };
    for (int round = 0; round < 300; ++round) {
        SetUp();
        std::filesystem::remove_all("/tmp/overlay");
        std::string before;
        for (int i = below(8); i >= 0; --i) {
            before += "config " + type() + (below(2) == 0 ? "" : " n" + std::to_string(i)) + "\n";
            for (int option = below(4); option > 0; --option) {
                before += "\toption o" + std::to_string(option) + " " + std::to_string(below(3)) + "\n";
            }
        }
        put_config("p", before);
        ASSERT_EQ(QrnUci_BeginOverlay("/tmp/overlay"), 0u);
        for (int change = below(6); change > 0; --change) { // of what is not there there is none
            const std::string key = section();
            const std::string option = key + ".o" + std::to_string(below(4));
            const int kind = below(6);
            (void)(kind == 0   ? QrnUci_DeleteSection(key.c_str())
                   : kind == 1 ? QrnUci_MoveSection(key.c_str(), static_cast<uint32_t>(below(8)))
                   : kind == 2 ? QrnUci_RenameSection(key.c_str(), ("r" + std::to_string(below(3))).c_str())
                   : kind == 3 ? QrnUci_AddSection("p", "u", nullptr, nullptr, 0)
                   : kind == 4 ? QrnUci_SetListItem(option.c_str(), 1, "x")
                               : set(option, below(3) == 0 ? "" : "new"));
        }
        std::array<char, 4096> after{};
        ASSERT_EQ(QrnUci_ReadPackage("p", after.data(), after.size(), nullptr), 0u);
        Checked checked;
        Checked all;
        EXPECT_EQ(QrnUci_ComparePackages(before.c_str(), after.data(), check, &checked), 0u);
        EXPECT_EQ(QrnUci_ComparePackages(nullptr, after.data(), check, &all), 0u);
        EXPECT_EQ(QrnUci_ComparePackages(before.c_str(), nullptr, check, &all), 0u);
        ASSERT_EQ(QrnUci_EndOverlay(), 0u);
        ASSERT_EQ(checked.wrong + all.wrong, "") << before << "----\n" << after.data();
        ASSERT_EQ(checked.added, all.added) << before << "----\n" << after.data();
    }
}

TEST(Compare, RefusesWhatIsNoPackageAndEndsWithTheCallersCode)
{
    SystemCalls calls;
    EXPECT_EQ(compare("config t s\n", "config t s\nnonsense\n"), "code 14");
    EXPECT_EQ(calls.log(), "a package's text after: line 2 is malformed\n");
    const auto stop = [](const Qrn_UciDifference*, void*) -> uint32_t { return 77; };
    EXPECT_EQ(QrnUci_ComparePackages("config t s\n", nullptr, stop, nullptr), 77u);
    EXPECT_EQ(QrnUci_ComparePackages("", "", nullptr, nullptr), 22u);
}
