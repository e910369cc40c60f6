// SPDX-License-Identifier: Apache-2.0
// Lists of instances, seen through the sent options, whose table this program replaces with its own.
#include <json-c/json.h>

#include "qsc_dhcpv4_client.h"
#include "qsc_handlers.h"
#include "qscbase.h"
#include "support/Outside.h"

using namespace test;

namespace
{

/// What the handlers answer, by the instance and the parameter: "1 Two".
std::map<std::string, uint32_t> g_codes;

uint32_t probe(const char* name, json_object* value, uint32_t, uint32_t, int64_t context, uint64_t param)
{
    EXPECT_EQ(context, -7);
    const auto* const record = reinterpret_cast<const QSCBase_ParamId*>(static_cast<uintptr_t>(param));
    const std::string call = std::to_string(record->index[0]) + " " + name;
    outside().done.push_back(call);
    json_object_object_add(value, "v", json_object_new_int(record->index[0]));
    return g_codes[call];
}

uint64_t record_event(uint64_t event, uint64_t)
{
    outside().done.push_back("callback " + std::to_string(event));
    return 0;
}

} // namespace

extern "C" const Qsc_ParamEntry g_QscDhcpV4ClientSentOptionCmd[] = {
    {0, "One", probe, 0, 0}, {1, "Two", probe, 0, 0}, {QSC_TABLE_END, nullptr, nullptr, 0, 0}};

class Instances : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        g_codes.clear();
    }

    static Answer send(const std::string& rest, uint32_t oper, const std::string& object)
    {
        const Json value{object};
        const uint32_t code = QSysCmdHal_Do_Device_DHCPv4_Client_1_SentOption(
            ("Device.DHCPv4.Client.1.SentOption." + rest).c_str(), value.get(), oper, 8, -7, 0);
        return {code, value.text()};
    }
};

TEST_F(Instances, WithoutDataAGetOfOneGoesOnAndAnythingElseEnds)
{
    const struct {
        uint32_t oper;
        const char* object;
        std::map<std::string, uint32_t> codes;
        Answer answer;
        Lines calls;
    } cases[] = {
        {kGet,
         R"({"One":{},"Two":{}})",
         {{"2 One", ENODATA}},
         Fails(ENODATA, R"({"One":{"v":2},"Two":{"v":2},"ParamId":61})"),
         {"2 One", "2 Two"}},
        {kGet,
         R"({"One":{},"Two":{}})",
         {{"2 One", ENODATA}, {"2 Two", EIO}},
         Fails(EIO, R"({"One":{"v":2},"Two":{"v":2},"ParamId":5})"),
         {"2 One", "2 Two"}},
        {kGet,
         R"({"One":{},"Two":{}})",
         {{"2 One", EIO}},
         Fails(EIO, R"({"One":{"v":2},"Two":{},"ParamId":5})"),
         {"2 One"}},
        {kGet, R"({"Two":{},"x":0})", {}, Answers(R"({"Two":{"v":2},"x":0,"ParamId":0})"), {"2 Two"}},
        {kSet,
         R"({"One":{},"Two":{}})",
         {{"2 One", ENODATA}},
         Fails(ENODATA, R"({"One":{"v":2},"Two":{},"ParamId":61})"),
         {"2 One"}},
        {kSet, R"({"x":0})", {}, Answers(R"({"x":0,"ParamId":0})"), {}},
        {kGet | kSet, "{}", {}, Answers(R"({"One":{"v":2},"Two":{"v":2},"ParamId":0})"), {"2 One", "2 Two"}},
        {kGet,
         "{}",
         {{"2 One", ENODATA}},
         Fails(ENODATA, R"({"One":{"v":2},"Two":{"v":2},"ParamId":61})"),
         {"2 One", "2 Two"}},
        {kGet, "{}", {{"2 Two", EIO}}, Fails(EIO, R"({"One":{"v":2},"ParamId":5})"), {"2 One", "2 Two"}},
    };
    for (const auto& [oper, object, codes, answer, calls] : cases) {
        g_codes = codes;
        outside().done.clear();
        EXPECT_EQ(send("2", oper, object), answer) << object;
        EXPECT_EQ(outside().done, calls);
    }
    outside().done.clear();
    for (const char* number : {"0", "3"}) {
        EXPECT_EQ(send(number, kGet, "{}"), Fails(EINVAL, R"({"ParamId":22})"));
        EXPECT_EQ(send(number, kSet, R"({"One":{}})"), Fails(EINVAL));
    }
    EXPECT_EQ(outside().done, Lines{}) << "no such instance";
}

TEST_F(Instances, AGetOfAllEndsWithTheFirstThatHasNoData)
{
    const auto child = [](int number) {
        return R"("Device.DHCPv4.Client.1.SentOption.)" + std::to_string(number) + R"(":)";
    };
    const std::string first = child(1) + R"({"One":{"v":1},"Two":{"v":1},"ParamId":0})";
    const std::string second = child(2) + R"({"One":{"v":2},"Two":{"v":2},"ParamId":0})";
    const struct {
        std::string object;
        std::map<std::string, uint32_t> codes;
        Answer answer;
    } cases[] = {
        {"{}", {}, Answers("{" + first + "," + second + "}")},
        {"{}", {{"2 Two", ENODATA}}, Answers("{" + first + "}")},
        {"{}", {{"1 One", ENODATA}}, Answers("{}")},
        {"{}", {{"2 One", EIO}}, Fails(EIO, "{" + first + "}")},
        {"{}", {{"1 One", EIO}}, Fails(EIO, "{}")},
        // A child that the caller brought stays.
        {"{" + child(1) + R"({"One":{}}})",
         {{"1 One", ENODATA}},
         Answers("{" + child(1) + R"({"One":{"v":1},"ParamId":61}})")},
        {"{" + child(2) + R"({"Two":{}}})",
         {{"2 Two", EIO}},
         Fails(EIO, "{" + child(2) + R"({"Two":{"v":2},"ParamId":5},)" + first + "}")},
    };
    for (const auto& [object, codes, answer] : cases) {
        g_codes = codes;
        EXPECT_EQ(send("", kGet, object), answer) << object;
    }
}

TEST_F(Instances, FailuresAreWarningsAndEachEndIsAnEvent)
{
    g_QSysCmdHalCb = record_event;
    g_codes = {{"1 One", EIO}};
    EXPECT_EQ(send("*", kGet, "{}"), Fails(EIO));
    EXPECT_EQ(send("1", kSet, R"({"One":{}})"), Fails(EIO));
    EXPECT_EQ(send("1", kGet, R"({"One":{}})"), Fails(EIO));
    const LogLine get{4, "[W] Device_DHCPv4 Client 1 Sent Option 1 get One, error 5\n"};
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{
                                  get,
                                  {3, "[E] Device.DHCPv4.Client.1.SentOption.* get * failed, error 5.\n"},
                                  {4, "[W] Device_DHCPv4 Client 1 Sent Option 1 set One, error 5\n"},
                                  {3, "[E] Device.DHCPv4.Client.1.SentOption.1 set 1 failed, error 5.\n"},
                                  get,
                                  {3, "[E] Device.DHCPv4.Client.1.SentOption.1 get 1 failed, error 5.\n"}}));
    EXPECT_EQ(outside().done,
              (Lines{"1 One", "callback 4", "callback 4", "1 One", "callback 4", "1 One", "callback 4"}))
        << "of the instance, then of the list";
}
