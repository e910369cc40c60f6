// SPDX-License-Identifier: Apache-2.0
// Changes of a package that are taken back beside those that came after them.
#include "apply/TakeBack.h"

#include <json-c/json.h>

#include "support/Outside.h"

using namespace test;

namespace
{

/// "config rule" of one line a section: "rule=x a:1 b:2; ..." with a name after "=", or "rule a:1" without.
std::string package(const std::string& words)
{
    std::string text;
    std::istringstream sections{words};
    for (std::string section; std::getline(sections, section, ';');) {
        std::istringstream in{section};
        std::string word;
        in >> word;
        const size_t equals = word.find('=');
        text += "\nconfig " + word.substr(0, equals) +
                (equals != std::string::npos ? " '" + word.substr(equals + 1) + "'" : "") + "\n";
        while (in >> word) {
            const size_t colon = word.find(':');
            const bool is_list = word[0] == '+';
            text += std::string{is_list ? "\tlist " : "\toption "} +
                    word.substr(is_list ? 1 : 0, colon - (is_list ? 1 : 0)) + " '" + word.substr(colon + 1) +
                    "'\n";
        }
    }
    return text;
}

/// The text that a package gets, in the words of package(), or what is in the way.
std::string taken_back(const std::string& before, const std::string& after, const std::string& now)
{
    qsc::JsonRef text;
    const qsc::JsonRef conflicts{json_object_new_array()};
    const uint32_t code =
        qsc::apply::take_back({"p", before.c_str(), after.c_str(), now.c_str()}, text, conflicts.get());
    if (code == 0) {
        return json_object_get_string(text.get());
    }
    std::string all = code == EAGAIN ? "!" : "code " + std::to_string(code);
    for (size_t i = 0; i < json_object_array_length(conflicts.get()); ++i) {
        json_object* const each = json_object_array_get_idx(conflicts.get(), i);
        const char* const option = json_object_get_string(json_object_object_get(each, "option"));
        all += " " + std::string{json_object_get_string(json_object_object_get(each, "section"))} +
               (option != nullptr ? "." + std::string{option} : "");
    }
    return all;
}

} // namespace

class TakeBack : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        outside().has_real_uci = true;
    }
};

TEST_F(TakeBack, LeavesWhatCameAfterAndListsWhatIsInTheWay)
{
    const struct {
        const char* name;
        const char* before;
        const char* after;
        const char* now;
        const char* expected; ///< a package, or "! " and what is in the way
    } cases[] = {
        {"nothing came after", "rule=a x:1", "rule=a x:2", "rule=a x:2", "rule=a x:1"},
        {"another option", "rule=a x:1 y:1", "rule=a x:2 y:1", "rule=a x:2 y:3", "rule=a x:1 y:3"},
        {"the options beside it", "rule=a w:1 x:1 y:1", "rule=a w:1 x:2 y:1", "rule=a w:5 x:2 y:6 z:7",
         "rule=a w:5 x:1 y:6 z:7"},
        {"the same option", "rule=a x:1 y:1", "rule=a x:2 y:2", "rule=a x:2 y:3", "! a.y"},
        {"the same option to what it was", "rule=a x:1", "rule=a x:2", "rule=a x:1", "! a.x"},
        {"an added option", "rule=a", "rule=a x:1", "rule=a x:1 y:1", "rule=a y:1"},
        {"a deleted option", "rule=a x:1 y:1", "rule=a y:1", "rule=a y:2", "rule=a x:1 y:2"},
        {"a deleted option that is there again", "rule=a x:1 y:1", "rule=a y:1", "rule=a y:1 x:5", "! a.x"},
        {"a list", "rule=a +s:1 +s:2", "rule=a +s:1", "rule=a +s:1 x:1", "rule=a +s:1 +s:2 x:1"},
        {"the same list", "rule=a +s:1", "rule=a +s:1 +s:2", "rule=a +s:0 +s:1 +s:2", "! a.s"},
        {"an added section", "rule=a x:1", "rule=a x:1; rule y:1", "rule=a x:2; rule y:1; rule z:1",
         "rule=a x:2; rule z:1"},
        {"an added section that was changed", "rule=a x:1", "rule=a x:1; rule=b y:1",
         "rule=a x:1; rule=b y:2", "! b b.y"},
        {"a deleted section among others", "rule x:1; rule x:2; rule x:3", "rule x:1; rule x:3",
         "rule x:1; rule x:4; rule=n", "rule x:1; rule x:2; rule x:4; rule=n"},
        {"a section whose number has changed", "rule x:1; rule y:1", "rule x:1; rule y:2",
         "zone z:1; rule x:0; rule x:1; rule y:2", "zone z:1; rule x:0; rule x:1; rule y:1"},
        {"a deleted section and another at the end", "rule=a; rule=b x:1", "rule=a", "rule=a; rule=c",
         "rule=a; rule=b x:1; rule=c"},
        {"a deleted last option and another section", "rule=a x:1 y:1", "rule=a x:1", "rule=a x:1; rule=b",
         "rule=a x:1 y:1; rule=b"},
        {"a moved section", "rule=a; rule=b x:1", "rule=b x:1; rule=a", "rule=b x:2; rule=a",
         "rule=a; rule=b x:2"},
        {"a package that was made", "", "rule=a x:1", "rule=a x:1; rule=b", "rule=b"},
    };
    for (const auto& each : cases) {
        const std::string_view expected{each.expected};
        EXPECT_EQ(taken_back(package(each.before), package(each.after), package(each.now)),
                  expected.starts_with("!") ? each.expected : package(each.expected))
            << each.name;
    }
}

TEST_F(TakeBack, DoesNotMindHowATextIsWritten)
{
    const std::string before = "# by hand\nconfig  rule a\n  option x 1\n\toption y \"o'clock\"\n";
    const std::string after = "\nconfig rule 'a'\n\toption x '2'\n\toption y 'o'\\''clock'\n";
    EXPECT_EQ(taken_back(before, after, after + "\toption z ' 3'\n"),
              "\nconfig rule 'a'\n  option x 1\n\toption y 'o'\\''clock'\n\toption z ' 3'\n");
    EXPECT_EQ(taken_back(before, after, after), before) << "byte by byte where nothing came after";
    // Blanks in a value are part of it, and so is what looks like a comment in a value of several lines.
    EXPECT_EQ(taken_back(package("rule=a x:1"), "config rule 'a'\n\toption x 'b  c'\n",
                         "config rule 'a'\n\toption x 'b c'\n"),
              "! a.x");
    const std::string lines = "config rule 'a'\n\toption x '1\n# 2\n\n3'\n";
    EXPECT_EQ(taken_back(lines, lines + "\toption y '1'\n", lines + "\toption y '1'\n\toption z '1'\n"),
              "! a.y");
}
