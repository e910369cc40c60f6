// SPDX-License-Identifier: Apache-2.0
// The JSON header of message payloads.
#include <cstring>

#include <json-c/json.h>

#include "qscbase.h"
#include "support/Outside.h"

using namespace test;

namespace
{

/// Sets 1, 2, 3 and UINT32_MAX in a text in a buffer of this size. @return the code and the text
std::string modify(const char* text, uint16_t size = 512)
{
    char buffer[512] = {};
    std::strcpy(buffer, text);
    const uint32_t code = QSCBase_ModifyMsgHeader(buffer, size, 1, 2, 3, UINT32_MAX);
    return std::to_string(code) + " " + buffer;
}

} // namespace

TEST(MessageHeader, SetsItsFourNumbers)
{
    const struct {
        const char* text;
        const char* answer;
    } cases[] = {
        {"{}", R"(0 {"MsgHeader":{"MainOper":1,"SubOper":2,"Owner":3,"Flag":4294967295}})"},
        {R"({"a":"x/y"})",
         R"(0 {"a":"x\/y","MsgHeader":{"MainOper":1,"SubOper":2,"Owner":3,"Flag":4294967295}})"},
        {R"({"MsgHeader":{"Flag":0,"x":1},"a":1})",
         R"(0 {"MsgHeader":{"Flag":4294967295,"x":1,"MainOper":1,"SubOper":2,"Owner":3},"a":1})"},
        {R"({"MsgHeader":{"Owner":"x"}})", R"(14 {"MsgHeader":{"Owner":"x"}})"},
        {R"({"MsgHeader":5})", R"(22 {"MsgHeader":5})"},
        {R"({"MsgHeader":null})", R"(22 {"MsgHeader":null})"},
        {"[]", "22 []"},
        {"5", "22 5"},
        {"{", "22 {"},
        {"", "22 "},
    };
    for (const auto& [text, answer] : cases) {
        EXPECT_EQ(modify(text), answer);
    }
    EXPECT_EQ(QSCBase_ModifyMsgHeader(nullptr, 512, 1, 2, 3, 4), 22u);
    EXPECT_EQ(modify("{}", 2), "22 {}");
    char unended[3] = {'{', '}', ' '};
    EXPECT_EQ(QSCBase_ModifyMsgHeader(unended, sizeof unended, 1, 2, 3, 4), 0u)
        << "nothing is read beyond the buffer";
    EXPECT_STREQ(unended, "{\"");
}

TEST(MessageHeader, IsTruncatedExceptForOneLength)
{
    const std::string whole = R"({"MsgHeader":{"MainOper":1,"SubOper":2,"Owner":3,"Flag":4294967295}})";
    const auto size = static_cast<uint16_t>(whole.size());
    EXPECT_EQ(modify("{}", size + 2), "0 " + whole);
    EXPECT_EQ(modify("{}", size + 1), "14 " + whole) << "although it fits";
    EXPECT_EQ(modify("{}", size), "0 " + whole.substr(0, whole.size() - 1));
    EXPECT_EQ(modify("{}", 5), "0 {\"Ms");
}

TEST(MessageHeader, DeletesAllMembers)
{
    const Json object{R"({"a":1,"b":{"c":2},"d":[]})"};
    EXPECT_EQ(QSCBase_DeleteallObjects(object.get()), 0u);
    EXPECT_EQ(object.text(), "{}");
    EXPECT_EQ(QSCBase_DeleteallObjects(object.get()), 0u);
    EXPECT_EQ(QSCBase_DeleteallObjects(nullptr), 22u);
    const Json array{"[1]"};
    EXPECT_EQ(QSCBase_DeleteallObjects(array.get()), 22u);
}
