// SPDX-License-Identifier: Apache-2.0
// What answers look like, whatever stands in them.
#include "tools/qsc/Answers.h"

#include <string>

#include <gtest/gtest.h>
#include <json-c/json.h>

#include "base/Json.h"

using namespace qsc;

namespace
{

template <typename Print>
std::string printed(const char* json, Print print)
{
    const JsonRef request{json_tokener_parse(json)};
    testing::internal::CaptureStdout();
    print(request.get());
    return testing::internal::GetCapturedStdout();
}

/// The answers of an object, as they are shown when it was the only one and `names` were asked for.
std::string shown(const char* json, Show show = Show::kNames, const char* names = "{}")
{
    const JsonRef asked{json_tokener_parse((R"([{"Device.Time":)" + std::string{names} + "}]").c_str())};
    return printed(("{\"Device.Time\":" + std::string{json} + "}").c_str(),
                   [&](json_object* plan) { print_answers(asked.get(), plan, show); });
}

} // namespace

TEST(Answers, ListsShowWhatTheyHold)
{
    EXPECT_EQ(shown(R"({"list":{"function":[{"id":7,"name":"a\nb"},{"id":8},{"name":5},null,"x",[]]}})"),
              "  7  a\\nb\n{\"id\":8}\n{\"name\":5}\nnull\nx\n[]\n");
}

TEST(Answers, ValuesStayOnTheirLineAndOffTheTerminal)
{
    const struct {
        std::string value;
        std::string shown;
        std::string json;
    } cases[] = {
        {"plain \u00e9 \u20ac \U0001F4F6", "plain \u00e9 \u20ac \U0001F4F6",
         "plain \u00e9 \u20ac \U0001F4F6"},
        {"a\nb\tc\\", "a\\nb\\x09c\\\\", "a\\nb\\tc\\\\"},
        {"\x1B[2J\x7F", "\\x1B[2J\\x7F", "\\u001b[2J\\u007F"},
        {"\u0080\u009B2J\u009F\u00A0", "\\xC2\\x80\\xC2\\x9B2J\\xC2\\x9F\u00A0",
         "\\u0080\\u009B2J\\u009F\u00A0"},
        {"\x9B", "\\x9B", "\\uFFFD"},
        {"\xC2", "\\xC2", "\\uFFFD"},
        {"\xC2"
         "A\xE2\x82",
         "\\xC2A\\xE2\\x82", "\\uFFFDA\\uFFFD\\uFFFD"},
        {"\xC0\x9B\xE0\x80\x9B", "\\xC0\\x9B\\xE0\\x80\\x9B", "\\uFFFD\\uFFFD\\uFFFD\\uFFFD\\uFFFD"},
        {"\xED\xA0\x80\xF4\x90\x80\x80", "\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80",
         "\\uFFFD\\uFFFD\\uFFFD\\uFFFD\\uFFFD\\uFFFD\\uFFFD"},
    };
    for (const auto& [value, text, json] : cases) {
        const JsonRef request{json_tokener_parse(R"({"Enable":{}})")};
        json_object_object_add(json_object_object_get(request.get(), "Enable"), "ParamValue",
                               json_object_new_string_len(value.data(), static_cast<int>(value.size())));
        const char* const whole = json_object_to_json_string(request.get());
        EXPECT_EQ(shown(whole), "Enable = " + text + "\n");
        EXPECT_NE(printed(whole, print_json).find("\"ParamValue\":\"" + json + "\"\n"), std::string::npos)
            << text;
    }
    EXPECT_EQ(shown(R"({"a\u001bb\u009b":{"ParamValue":1.5}})"), "a\\x1Bb\\xC2\\x9B = 1.5\n");
}

TEST(Answers, AreShownInTheOrderOfTheTableOrAsNamed)
{
    const char* const both =
        R"({"Status":{"ParamValue":"x"},"Enable":{"ParamValue":1},"Name":{"ParamId":0},"z":1})";
    EXPECT_EQ(shown(both), "Enable = 1\nStatus = x\n");
    EXPECT_EQ(shown(both, Show::kFullNames), "Device.Time.Enable = 1\nDevice.Time.Status = x\n");
    EXPECT_EQ(shown(both, Show::kValues), "1\nx\n");
    const char* const names = R"({"Status":{},"Name":{},"Enable":{}})";
    EXPECT_EQ(shown(both, Show::kNames, names), "Status = x\nEnable = 1\n");
    EXPECT_EQ(shown(both, Show::kValues, names), "x\n\n1\n") << "each value has its line";
}
