// SPDX-License-Identifier: Apache-2.0
// Sections that come, go and move, lists read and written whole, and changes of many parts.
#include <array>
#include <cstdlib>
#include <vector>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

namespace
{

using Texts = std::vector<std::string>;

constexpr const char* kFirewall = "config defaults\n"
                                  "config rule\n\toption name 'one'\n\tlist proto 'tcp'\n\tlist proto 'udp'\n"
                                  "config zone 'lan'\n\toption name 'one'\n"
                                  "config rule 'two'\n\toption name 'two'\n"
                                  "config rule\n\toption name 'three'\n";

/// The texts of a buffer, each with its end.
Texts texts(const char* next, uint32_t count)
{
    Texts all;
    for (; count > 0; --count, next += all.back().size() + 1) {
        all.emplace_back(next);
    }
    return all;
}

} // namespace

class Sections : public UciTest
{
  protected:
    void SetUp() override
    {
        UciTest::SetUp();
        put_config("firewall", kFirewall);
    }

    static Texts sections(const char* type)
    {
        std::array<char, 256> buffer{};
        uint32_t count = 0;
        const uint32_t code = QrnUci_ListSections("firewall", type, buffer.data(), buffer.size(), &count);
        uint32_t counted = 0;
        EXPECT_EQ(QrnUci_CountSections("firewall", type, &counted), code);
        EXPECT_EQ(count, counted);
        return code == 0 ? texts(buffer.data(), count) : Texts{"code " + std::to_string(code)};
    }

    static std::string find(const char* type, const char* option, const char* value)
    {
        std::array<char, 64> buffer{};
        const uint32_t code =
            QrnUci_FindSection("firewall", type, option, value, buffer.data(), buffer.size());
        return code == 0 ? buffer.data() : "code " + std::to_string(code);
    }

    static std::string name_of(const char* key)
    {
        std::array<char, 64> buffer{};
        const uint32_t code = QrnUci_GetSectionName(key, buffer.data(), buffer.size());
        return code == 0 ? buffer.data() : "code " + std::to_string(code);
    }

    static std::string position_of(const char* key)
    {
        uint32_t position = 0;
        const uint32_t code = QrnUci_GetSectionPosition(key, &position);
        return code == 0 ? std::to_string(position) : "code " + std::to_string(code);
    }

    /// The new section's name.
    static std::string add(const char* type, const char* name)
    {
        std::array<char, 64> buffer{};
        const uint32_t code = QrnUci_AddSection("firewall", type, name, buffer.data(), buffer.size());
        return code == 0 ? buffer.data() : "code " + std::to_string(code);
    }

    static Texts list(const char* key)
    {
        std::array<char, 64> buffer{};
        uint32_t count = 0;
        const uint32_t code = QrnUci_GetList(key, buffer.data(), buffer.size(), &count);
        return code == 0 ? texts(buffer.data(), count) : Texts{"code " + std::to_string(code)};
    }

    static uint32_t set_list(const char* key, const std::vector<const char*>& items)
    {
        return QrnUci_SetList(key, items.data(), static_cast<uint32_t>(items.size()));
    }
};

TEST_F(Sections, AreCountedListedAndFoundInTheFilesOrder)
{
    EXPECT_EQ(sections("rule"), (Texts{"cfg0292bd", "two", "cfg0592bd"}));
    EXPECT_EQ(sections("zone"), Texts{"lan"});
    EXPECT_EQ(sections("nothing"), Texts{});
    char none = 'x';
    uint32_t count = 1;
    EXPECT_EQ(QrnUci_ListSections("firewall", "nothing", &none, 1, &count), 0u);
    EXPECT_EQ(none, '\0');
    EXPECT_EQ(sections("").size(), 5u);
    EXPECT_EQ(name_of("firewall.@rule[-1]"), "cfg0592bd");
    EXPECT_EQ(name_of("firewall.@rule[3]"), "code 14");
    EXPECT_EQ(position_of("firewall.@rule[-1]"), "4");
    EXPECT_EQ(position_of("firewall.lan"), "2");
    EXPECT_EQ(position_of("firewall.wan"), "code 14");

    EXPECT_EQ(find("rule", "name", "three"), "cfg0592bd");
    EXPECT_EQ(find("zone", "name", "one"), "lan");
    EXPECT_EQ(find("", "name", "one"), "cfg0292bd");
    EXPECT_EQ(find("rule", "proto", "udp"), "cfg0292bd") << "one item of a list";
    EXPECT_EQ(find("rule", "proto", ""), "two") << "the first without that option";
    EXPECT_EQ(find("rule", "name", "four"), "code 14");
}

TEST_F(Sections, AreStagedInTheFormatThatEverybodyReads)
{
    EXPECT_EQ(add("rule", nullptr), "cfg0692bd");
    EXPECT_EQ(add("rule", "named"), "named");
    EXPECT_EQ(add("rule", ""), "cfg0892bd");
    EXPECT_EQ(QrnUci_MoveSection("firewall.named", 0), 0u);
    EXPECT_EQ(QrnUci_RenameSection("firewall.@rule[1]", "first"), 0u);
    EXPECT_EQ(QrnUci_DeleteSection("firewall.two"), 0u);
    EXPECT_EQ(QrnUci_DeleteOption("firewall.@zone[0].name"), 0u);
    EXPECT_EQ(staged("firewall"), "+firewall.cfg0692bd='rule'\nfirewall.named='rule'\n"
                                  "+firewall.cfg0892bd='rule'\n^firewall.named='0'\n"
                                  "@firewall.cfg0292bd='first'\n-firewall.two\n-firewall.lan.name\n");
    EXPECT_EQ(sections(""),
              (Texts{"named", "cfg01e63d", "first", "lan", "cfg0592bd", "cfg0692bd", "cfg0892bd"}));
    EXPECT_EQ(QrnUci_CommitPackage("firewall"), 0u);
    EXPECT_EQ(config("firewall"),
              "\nconfig rule 'named'\n\nconfig defaults\n\nconfig rule 'first'\n\toption name 'one'\n"
              "\tlist proto 'tcp'\n\tlist proto 'udp'\n\nconfig zone 'lan'\n\nconfig rule\n"
              "\toption name 'three'\n\nconfig rule\n\nconfig rule\n\n");
}

TEST_F(Sections, MadeUpNamesAreNeverTakenTwice)
{
    EXPECT_EQ(add("zone", "cfg0792bd"), "cfg0792bd");
    EXPECT_EQ(add("rule", nullptr), "cfg0892bd");
    EXPECT_EQ(QrnUci_DeleteSection("firewall.cfg0892bd"), 0u);
    EXPECT_EQ(add("rule", nullptr), "cfg0892bd") << "the one of before is gone";
    EXPECT_EQ(set("firewall.cfg0892bd.name", "new"), 0u);
    EXPECT_EQ(get("firewall.@rule[-1].name"), "new");
}

TEST_F(Sections, MovePastTheEndIsToTheEndAndToWhereTheyAreIsNothing)
{
    EXPECT_EQ(QrnUci_MoveSection("firewall.lan", 2), 0u);
    EXPECT_EQ(QrnUci_RenameSection("firewall.lan", "lan"), 0u);
    EXPECT_EQ(staged("firewall"), "");
    EXPECT_EQ(QrnUci_MoveSection("firewall.lan", 0xFFFFFFFF), 0u);
    EXPECT_EQ(position_of("firewall.lan"), "4");
    EXPECT_EQ(QrnUci_MoveSection("firewall.lan", 1), 0u);
    EXPECT_EQ(sections(""), (Texts{"cfg01e63d", "lan", "cfg0292bd", "two", "cfg0592bd"}));
}

TEST_F(Sections, Refusals)
{
    std::array<char, 8> buffer{};
    uint32_t number = 0;
    char* const out = buffer.data();
    const struct {
        uint32_t code;
        uint32_t wanted;
    } cases[] = {
        {QrnUci_CountSections(nullptr, "rule", &number), 22},
        {QrnUci_CountSections("fire/wall", "rule", &number), 22},
        {QrnUci_CountSections("firewall", nullptr, &number), 22},
        {QrnUci_CountSections("firewall", "rule", nullptr), 22},
        {QrnUci_CountSections("missing", "rule", &number), 14},
        {QrnUci_ListSections("firewall", "rule", out, 8, &number), 14},
        {QrnUci_ListSections("firewall", "rule", out, 0, &number), 22},
        {QrnUci_ListSections("firewall", "rule", nullptr, 8, &number), 22},
        {QrnUci_ListSections("firewall", nullptr, out, 8, &number), 22},
        {QrnUci_ListSections("firewall", "rule", out, 8, nullptr), 22},
        {QrnUci_ListSections("missing", "rule", out, 8, &number), 14},
        {QrnUci_FindSection("missing", "rule", "name", "one", out, 8), 14},
        {QrnUci_FindSection("firewall", "rule", "na-me", "x", out, 8), 22},
        {QrnUci_FindSection("firewall", "rule", "name", "one", out, 8), 14},
        {QrnUci_GetSectionName("firewall.lan.name", out, 8), 22},
        {QrnUci_GetSectionName("firewall.@rule[0]", out, 8), 14},
        {QrnUci_GetSectionPosition("firewall.lan", nullptr), 22},
        {QrnUci_GetSectionPosition("missing.lan", &number), 14},
        {QrnUci_AddSection("firewall", "rule", "two", nullptr, 0), 14},
        {QrnUci_AddSection("firewall", "rule", nullptr, out, 8), 14},
        {QrnUci_AddSection("firewall", "ru le", nullptr, nullptr, 0), 22},
        {QrnUci_AddSection("firewall", "", nullptr, nullptr, 0), 22},
        {QrnUci_AddSection("firewall", "rule", "a-b", nullptr, 0), 22},
        {QrnUci_AddSection("missing", "rule", nullptr, nullptr, 0), 14},
        {QrnUci_DeleteSection("firewall.lan.name"), 22},
        {QrnUci_DeleteSection("firewall.wan"), 14},
        {QrnUci_MoveSection("firewall.wan", 0), 14},
        {QrnUci_RenameSection("firewall.lan", "two"), 14},
        {QrnUci_RenameSection("firewall.wan", "wan2"), 14},
        {QrnUci_RenameSection("firewall.lan", ""), 22},
        {QrnUci_RenameSection("firewall.lan", nullptr), 22},
        {QrnUci_DeleteOption("firewall.lan"), 22},
        {QrnUci_DeleteOption("firewall.lan.none"), 0},
        {QrnUci_GetList("firewall.lan", out, 8, &number), 22},
        {QrnUci_GetList("firewall.lan.none", out, 8, &number), 14},
        {QrnUci_GetList("firewall.@rule[0].proto", out, 7, &number), 14},
        {QrnUci_GetList("firewall.@rule[0].proto", out, 8, nullptr), 22},
        {QrnUci_SetList("firewall.lan.l", nullptr, 1), 22},
        {set_list("firewall.lan.l", {"a", nullptr}), 22},
        {set_list("firewall.lan.l", {"a", "bell\x07"}), 14},
        {set_list("firewall.wan.l", {"a"}), 14},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].code, cases[i].wanted) << "case " << i;
    }
    EXPECT_EQ(buffer[0], '\0') << "untouched";
    EXPECT_EQ(staged("firewall"), "");
    const std::vector<const char*> many(65537, "x");
    EXPECT_EQ(set_list("firewall.lan.l", many), 14u) << "more than any list has";
    EXPECT_EQ(QrnUci_SetList("firewall.lan.l", many.data(), 65536), 0u);
}

TEST_F(Sections, ListsAreReadAndReplacedWhole)
{
    EXPECT_EQ(list("firewall.@rule[0].proto"), (Texts{"tcp", "udp"}));
    EXPECT_EQ(list("firewall.@rule[0].name"), Texts{"one"}) << "a plain option is a list of one";
    EXPECT_EQ(set_list("firewall.@rule[0].proto", {"tcp", "udp"}), 0u);
    EXPECT_EQ(staged("firewall"), "") << "it is so already";
    const struct {
        std::vector<const char*> items;
        Texts read;
    } cases[] = {
        {{"a b", "", "it's\n"}, {"a b", "", "it's\n"}},
        {{"x", "", ""}, {"x"}},
        {{""}, {"code 14"}},
        {{"", "y"}, {"", "y"}},
        {{}, {"code 14"}},
    };
    for (const char* key : {"firewall.@rule[0].proto", "firewall.@rule[0].name", "firewall.lan.fresh"}) {
        for (const auto& [items, read] : cases) {
            EXPECT_EQ(set_list(key, items), 0u);
            EXPECT_EQ(list(key), read) << key;
        }
    }
    EXPECT_EQ(set("firewall.lan.name", "x"), 0u);
    EXPECT_EQ(set_list("firewall.lan.name", {"x"}), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("firewall"), 0u);
    EXPECT_NE(config("firewall").find("\tlist name 'x'\n"), std::string::npos) << "a list of one, no option";
}

TEST_F(Sections, AChangeIsSeenByItsThreadAloneAndStagedWhole)
{
    ASSERT_EQ(QrnUci_BeginChange("firewall"), 0u);
    const std::string name = add("redirect", nullptr);
    EXPECT_EQ(set("firewall." + name + ".qrn_index", "1"), 0u);
    EXPECT_EQ(set("firewall." + name + ".name", "it's"), 0u);
    EXPECT_EQ(QrnUci_SetListItem("firewall.@redirect[0].proto", 1, "udp"), 0u);
    EXPECT_EQ(find("redirect", "qrn_index", "1"), name);
    EXPECT_EQ(get("firewall.@redirect[0].proto"), " udp");
    EXPECT_EQ(staged("firewall"), "") << "nobody else sees a part";
    EXPECT_EQ(QrnUci_BeginChange("firewall"), 14u);
    {
        const SystemCalls calls;
        EXPECT_EQ(QrnUci_CommitPackage("firewall"), 14u);
        EXPECT_EQ(calls.log(), "firewall: committed amid a change of it\n");
    }
    EXPECT_EQ(QrnUci_EndChange(1), 0u);
    EXPECT_EQ(staged("firewall"), "+firewall." + name + "='redirect'\nfirewall." + name +
                                      ".qrn_index='1'\nfirewall." + name + ".name='it'\\''s'\n|firewall." +
                                      name + ".proto=''\n|firewall." + name + ".proto='udp'\n");
    EXPECT_EQ(get("firewall.@redirect[0].name"), "it's");

    ASSERT_EQ(QrnUci_BeginChange("firewall"), 0u);
    EXPECT_EQ(QrnUci_DeleteSection("firewall.@redirect[0]"), 0u);
    EXPECT_EQ(sections("redirect"), Texts{});
    EXPECT_EQ(QrnUci_EndChange(0), 0u);
    EXPECT_EQ(sections("redirect"), Texts{name}) << "forgotten";

    EXPECT_EQ(QrnUci_EndChange(1), 14u);
    EXPECT_EQ(QrnUci_BeginChange("missing"), 14u);
    EXPECT_EQ(QrnUci_BeginChange("a.b"), 22u);
    EXPECT_EQ(QrnUci_BeginChange(nullptr), 22u);
    EXPECT_EQ(QrnUci_CommitPackage("firewall"), 0u);
}

TEST_F(Sections, AChangeOfSeveralPackagesIsStagedTogetherOrNotAtAll)
{
    const auto begin = [&] {
        const std::string before = staged("network") + staged("firewall");
        put_config("network", "config interface 'lan'\n");
        EXPECT_EQ(QrnUci_BeginChange("network"), 0u);
        EXPECT_EQ(QrnUci_BeginChange("firewall"), 0u);
        EXPECT_EQ(QrnUci_BeginChange("network"), 14u) << "once each";
        EXPECT_EQ(set("network.lan.proto", "static"), 0u);
        EXPECT_EQ(set("firewall.lan.name", "two"), 0u);
        EXPECT_EQ(get("network.lan.proto"), "static");
        EXPECT_EQ(staged("network") + staged("firewall"), before);
    };
    begin();
    EXPECT_EQ(QrnUci_BeginChange("missing"), 14u);
    EXPECT_EQ(QrnUci_EndChange(1), 0u) << "what could not be begun leaves the others";
    EXPECT_EQ(staged("network"), "network.lan.proto='static'\n");
    EXPECT_EQ(staged("firewall"), "firewall.lan.name='two'\n");
    EXPECT_EQ(QrnUci_EndChange(1), 14u) << "all were ended";
    EXPECT_EQ(QrnUci_CommitPackage("network"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("firewall"), 0u);

    put_config("firewall", kFirewall);
    begin();
    EXPECT_EQ(QrnUci_EndChange(0), 0u);
    EXPECT_EQ(staged("network") + staged("firewall"), "");

    if (std::system("mount -t tmpfs -o size=16k,mode=700 none /tmp/.uci") != 0) {
        GTEST_SKIP() << "no mount tool";
    }
    // Whichever is staged first is taken back.
    for (const char* const key : {"network.lan.long", "firewall.lan.long"}) {
        EXPECT_EQ(set("firewall.lan.before", key), 0u);
        const std::string before = staged("firewall");
        begin();
        EXPECT_EQ(set(key, std::string(40000, 'x').c_str()), 0u);
        EXPECT_EQ(QrnUci_EndChange(1), 14u);
        EXPECT_EQ(staged("network") + staged("firewall"), before) << key;
        EXPECT_EQ(get("network.lan.proto") + get("firewall.lan.name"), "code 14one");
    }
}

TEST_F(Sections, AChangeThatDoesNotFitIsNotStagedInPart)
{
    if (std::system("mkdir /tmp/.uci && mount -t tmpfs -o size=16k,mode=700 none /tmp/.uci") != 0) {
        GTEST_SKIP() << "no mount tool";
    }
    EXPECT_EQ(set("firewall.lan.name", "before"), 0u);
    const std::string before = staged("firewall");
    ASSERT_EQ(QrnUci_BeginChange("firewall"), 0u);
    EXPECT_EQ(add("rule", "fresh"), "fresh");
    EXPECT_EQ(set("firewall.fresh.long", std::string(40000, 'x').c_str()), 0u);
    EXPECT_EQ(QrnUci_EndChange(1), 14u);
    EXPECT_EQ(staged("firewall"), before);
    EXPECT_EQ(get("firewall.fresh"), "code 14");
    EXPECT_EQ(add("rule", "fresh"), "fresh") << "what fits is staged again";

    // Nothing is left for the copy that a commit makes, and it commits all the same.
    put_staged("ballast", "");
    (void)std::system("dd if=/dev/zero of=/tmp/.uci/ballast bs=4k 2>/dev/null");
    EXPECT_EQ(set("firewall.lan.long", std::string(5000, 'x').c_str()), 14u);
    EXPECT_EQ(QrnUci_CommitPackage("firewall"), 0u);
    EXPECT_EQ(staged("firewall"), "");
    EXPECT_NE(config("firewall").find("config rule 'fresh'"), std::string::npos);
}
