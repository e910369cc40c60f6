// SPDX-License-Identifier: Apache-2.0
// Parameters that are rows, served by the dispatchers' engine.
#include "core/RowsTest.h"
#include "qrnuci.h"
#include "qsc_describe.h"

using namespace test;
using qsc::Access;
using qsc::Kind;
using qsc::Place;
using qsc::Row;
using qsc::RowCall;

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;

/// Notes which checks are made when.
uint32_t note(const RowCall& call, std::string_view stored)
{
    qsc::RowText other;
    EXPECT_EQ(qsc::read_outcome(call, "Nothing", other), Fails(EINVAL));
    outside().done.push_back(std::string{"check "} + call.row.name + "=" + std::string{stored});
    return 0;
}

uint32_t check_ends(const RowCall& call, std::string_view stored)
{
    qsc::RowText least;
    qsc::RowText most;
    (void)note(call, stored);
    const uint32_t code = qsc::read_outcome(call, "Least", least) | qsc::read_outcome(call, "Most", most);
    return code != 0 ? code
           : std::stoi(least.c_str()) <= std::stoi(most.c_str())
               ? 0
               : qsc::refuse(EFAULT, "%s is above %s", least.c_str(), most.c_str());
}

uint32_t act(const RowCall&, std::string_view stored)
{
    outside().done.push_back("act " + std::string{stored});
    return stored == "1" ? 0u : uint32_t{EBUSY};
}

uint32_t answer_seven(const RowCall& call)
{
    return call.request.argument == QSC_COMMANDER_DHCP ? qsc::refuse(EACCES, "not for you")
                                                       : qsc::answer_number(call, 7);
}

uint32_t handle(const char* name, json_object* value, uint32_t oper, uint32_t, int64_t, uint64_t param)
{
    outside().done.push_back(std::string{"handle "} + name + " " + std::to_string(oper) + " " +
                             std::to_string(param));
    return Qsc_SetParamId(value, 0);
}

constexpr const char* kTool[] = {"cat", "/tmp/tool.json", nullptr};
constexpr qsc::Tool kCat{kTool};

constexpr Row kRows[] = {
    {.name = "Text", .access = kReadWrite, .limits = ":20", .key = "text", .fallback = "default"},
    {.name = "Number", .kind = Kind::kInteger, .access = kReadWrite, .limits = "-1:100", .key = "number"},
    {.name = "Wide",
     .kind = Kind::kUnsignedLong,
     .access = kReadWrite,
     .key = "wide",
     .fallback = "8589934592"},
    {.name = "Switch", .kind = Kind::kBoolean, .access = kReadWrite, .key = "on"},
    {.name = "Inverted",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .marks = qsc::kInverted,
     .key = "disabled"},
    {.name = "Word",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .limits = QSC_STORED_WORDS("None|Open|WPA2-PSK", "|open|psk2"),
     .key = "mode"},
    {.name = "Mac", .kind = Kind::kMacAddress, .access = kReadWrite, .key = "mac"},
    {.name = "Mask", .kind = Kind::kNetmask, .access = kReadWrite, .key = "netmask"},
    {.name = "Items",
     .kind = Kind::kIPv4,
     .access = kReadWrite,
     .place = Place::kList,
     .marks = qsc::kMany,
     .key = "dns"},
    {.name = "Words", .access = kReadWrite, .marks = qsc::kMany, .key = "ports"},
    {.name = "Metric",
     .kind = Kind::kInteger,
     .access = kReadWrite,
     .marks = qsc::kOmitted,
     .key = "metric",
     .fallback = "-1"},
    {.name = "Secret", .access = kReadWrite, .marks = qsc::kSecret, .key = "password"},
    {.name = "Elsewhere", .access = kReadWrite, .key = "other.@unit[0].name", .check = note},
    {.name = "Least",
     .kind = Kind::kInteger,
     .access = kReadWrite,
     .key = "least",
     .fallback = "1",
     .check = check_ends},
    {.name = "Most",
     .kind = Kind::kInteger,
     .access = kReadWrite,
     .key = "most",
     .fallback = "9",
     .check = check_ends},
    {.name = "Section", .place = Place::kSection},
    {.name = "File",
     .kind = Kind::kUnsigned,
     .place = Place::kSource,
     .key = "/tmp/source Total",
     .fallback = "3"},
    {.name = "Json", .place = Place::kJsonPath, .key = "a.0.b", .fallback = "Unknown"},
    {.name = "JsonItems", .place = Place::kJsonPath, .marks = qsc::kMany, .key = "list"},
    {.name = "Constant", .kind = Kind::kBoolean, .place = Place::kConstant, .key = "1"},
    {.name = "Function", .kind = Kind::kInteger, .place = Place::kFunction, .get = answer_seven},
    {.name = "Act", .kind = Kind::kBoolean, .access = Access::kWrite, .place = Place::kFunction, .set = act},
    {.name = "Told", .kind = Kind::kBoolean, .access = kReadWrite, .key = "told", .set = act},
    qsc::handled("Handled", Kind::kText, kReadWrite, handle),
};
static_assert(qsc::is_sound(kRows));

/// Marks the rows of the table that the engine serves.
uint32_t serve_row_of_thing(const char*, json_object*, uint32_t, uint32_t, int64_t, uint64_t)
{
    return EINVAL;
}

constexpr auto kTable = qsc::make_table(kRows, serve_row_of_thing);
constexpr qsc::ObjectDescription kThing[] = {{.path = "Device.Thing",
                                              .rows = qsc::kPacked<qsc::PackedRow, kRows>,
                                              .table = kTable.entries,
                                              .handler = serve_row_of_thing,
                                              .source = &kSource,
                                              .area = "thing",
                                              .section = "thing.main.",
                                              .tool = &kCat}};
constexpr qsc::SubtreeDescription kPlain[] = {
    {.name = "Do_Thing", .line = 7, .label = "Thing", .object = &kObject<kThing>},
    {.name = "Do", .line = 1, .label = "L", .object = &kObject<kThing>, .served = QSC_OPER_SET}};
constexpr const qsc::Subtree& kSubtree = qsc::kPacked<qsc::Subtree, kPlain>[0];
constexpr const qsc::Subtree& kSetOnly = qsc::kPacked<qsc::Subtree, kPlain>[1];
constexpr const char* kPath = "Device.Thing";

constexpr const char* kStored = "config thing 'main'\n"
                                "\toption text 'a b'\n"
                                "\toption number '42'\n"
                                "\toption on 'yes'\n"
                                "\toption disabled 'true'\n"
                                "\toption mode 'psk2'\n"
                                "\toption mac '0a:1b:2c:3d:4e:5f'\n"
                                "\toption netmask '24'\n"
                                "\tlist dns '1.1.1.1'\n"
                                "\tlist dns '2.2.2.2'\n"
                                "\toption ports '1 2  3'\n"
                                "\toption metric '4'\n"
                                "\toption password 'hush'\n"
                                "\toption least '2'\n"
                                "\toption most '4'\n";

class ServeRow : public RowsTest
{
  protected:
    void SetUp() override
    {
        RowsTest::SetUp();
        put("thing", kStored);
        put("other", "config unit\n\toption name 'there'\n");
    }

    static Answer set(const std::string& name, const std::string& value,
                      uint32_t commander = QSC_COMMANDER_CLI)
    {
        return send(kSubtree, kPath, kSet, "{\"" + name + "\":" + value_of(value) + "}", commander);
    }
};

} // namespace

TEST_F(ServeRow, AnswersWhatIsStoredOrWhatItsConsumerTakesForNothing)
{
    const struct {
        const char* name;
        const char* stored;
        const char* nothing;
        const char* mqtt = nullptr; ///< where that hears another form
    } cases[] = {
        {"Text", "\"a b\"", "\"default\""},
        {"Number", "42", "0"},
        {"Wide", "8589934592", "8589934592"},
        {"Switch", "1", "0", "\"true\""},
        {"Inverted", "0", "1", "\"false\""},
        {"Word", "\"WPA2-PSK\"", "\"None\""},
        {"Mac", "\"0A:1B:2C:3D:4E:5F\"", "\"\""},
        {"Mask", "\"255.255.255.0\"", "\"\""},
        {"Items", "\"1.1.1.1,2.2.2.2\"", "\"\""},
        {"Words", "\"1,2,3\"", "\"\""},
        {"Metric", "4", "-1"},
        {"Secret", "\"\"", "\"\""},
        {"Elsewhere", "\"there\"", "\"\""},
        {"Least", "2", "1"},
        {"Most", "4", "9"},
        {"Section", "\"main\"", "\"main\""},
        {"File", "12", "3"},
        {"Json", "\"5\"", "\"Unknown\""},
        {"JsonItems", "\"1.1.1.1,2\"", "\"\""},
        {"Constant", "1", "1", "\"true\""},
        {"Function", "7", "7"},
        {"Act", "0", "0", "\"false\""},
        {"Told", "0", "0", "\"false\""},
    };
    write_file("/tmp/source", "Free: 1\nTotal: 12 kB\n");
    write_file("/tmp/tool.json", R"({"a":[{"b":5}],"list":["1.1.1.1",2,{}]})");
    const Answer all = send(kSubtree, kPath, kGet, "{}");
    const Answer mqtt = send(kSubtree, kPath, kGet, "{}", QSC_COMMANDER_MQTT);
    EXPECT_EQ(steps(), Lines{"handle Device.Thing 1 0"}); // a get changes nothing
    std::filesystem::remove("/tmp/source");
    std::filesystem::remove("/tmp/tool.json");
    put("thing", "");
    put("other", "");
    const Answer nothing = send(kSubtree, kPath, kGet, "{}");
    EXPECT_EQ(outside().logs.size(), 2u); // the file and the tool, and nothing for an option
    put("thing", kStored);
    EXPECT_EQ(all, Succeeds());
    EXPECT_EQ(nothing, Succeeds());
    for (const auto& one : cases) {
        EXPECT_EQ(all.value(one.name), one.stored) << one.name;
        EXPECT_EQ(mqtt.value(one.name), one.mqtt != nullptr ? one.mqtt : one.stored) << one.name;
        EXPECT_EQ(nothing.value(one.name), one.nothing) << one.name;
        EXPECT_EQ(Answer(0, all.member(one.name)).member("ParamId"), "0") << one.name;
    }
    EXPECT_EQ(send(kSubtree, kPath, kGet, R"({"Number":{},"Nothing":{}})"),
              Answers(R"({"Number":{"ParamValue":42,"ParamId":0},"Nothing":{}})"));
}

TEST_F(ServeRow, StoresWhatIsAnotherAndRecordsWhatWasSet)
{
    const struct {
        const char* name;
        const char* value;
        Lines steps;
        const char* spoken; ///< in the record; null: no value
    } cases[] = {
        {"Text", "\"x y\"", {"set thing.main.text=x y"}, "x y"},
        {"Text", "\"a b\"", {}, "a b"},
        {"Text", "\"\"", {"set thing.main.text="}, "<empty>"},
        {"Text", "17", {"set thing.main.text=17"}, "17"},
        {"Number", "-1", {"set thing.main.number=-1"}, "-1"},
        {"Number", "\"+7\"", {"set thing.main.number=7"}, "7"},
        {"Number", "true", {"set thing.main.number=1"}, "1"},
        {"Wide", "9000000000", {"set thing.main.wide=9000000000"}, "9000000000"},
        {"Wide", "8589934592", {}, "8589934592"},
        {"Switch", "1", {}, "1"},
        {"Switch", "false", {"set thing.main.on=0"}, "0"},
        {"Inverted", "\"true\"", {"set thing.main.disabled=0"}, "1"},
        {"Inverted", "0", {}, "0"},
        {"Word", "\"WPA2-PSK\"", {}, "WPA2-PSK"},
        {"Word", "\"Open\"", {"set thing.main.mode=open"}, "Open"},
        {"Word", "\"None\"", {"set thing.main.mode="}, "None"},
        {"Mac", "\"0a:1B:2c:3d:4e:5f\"", {}, "0A:1B:2C:3D:4E:5F"},
        {"Mac", "\"0a:1b:2c:3d:4e:60\"", {"set thing.main.mac=0A:1B:2C:3D:4E:60"}, "0A:1B:2C:3D:4E:60"},
        {"Mask", "\"255.255.255.0\"", {}, "255.255.255.0"},
        {"Mask", "\"255.255.0.0\"", {"set thing.main.netmask=255.255.0.0"}, "255.255.0.0"},
        {"Items", "\"1.1.1.1,2.2.2.2\"", {}, "1.1.1.1,2.2.2.2"},
        {"Items", "\"2.2.2.2, 1.1.1.1\"", {"set thing.main.dns=[2.2.2.2][1.1.1.1]"}, "2.2.2.2,1.1.1.1"},
        {"Items", "\"\"", {"set thing.main.dns="}, "<empty>"},
        {"Words", "\"1,2,3\"", {}, "1,2,3"},
        {"Words", "\"8, 9\"", {"set thing.main.ports=8 9"}, "8,9"},
        {"Metric", "7", {"set thing.main.metric=7"}, "7"},
        {"Metric", "-1", {"set thing.main.metric="}, "-1"},
        {"Secret", "\"new\"", {"set thing.main.password=new"}, nullptr},
        {"Secret", "\"\"", {}, nullptr},
        {"Elsewhere", "\"here\"", {"check Elsewhere=here", "set other.@unit[0].name=here"}, "here"},
        {"Act", "1", {"act 1"}, "1"},
        {"Told", "1", {"set thing.main.told=1", "act 1"}, "1"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.name} + " " + one.value);
        std::filesystem::remove_all("/tmp/.uci");
        size_t ends = 0;
        EXPECT_EQ(set(one.name, one.value), Succeeds());
        EXPECT_EQ(steps(&ends), one.steps);
        EXPECT_EQ(ends, 1u);
        EXPECT_EQ(messages(),
                  Lines{std::string{"set thing "} + one.name + (one.spoken != nullptr ? " " : "") +
                        (one.spoken != nullptr ? one.spoken : "") + " by CLI"});
        EXPECT_EQ(outside().logs, std::vector<LogLine>{});
        EXPECT_STREQ(QSysCmdHal_LastError(), "");
    }
}

TEST_F(ServeRow, ASetIsJudgedAsAWholeBeforeItsFirstWrite)
{
    // Every value's form before any check, and every check before any write, all in the table's order.
    EXPECT_EQ(
        send(kSubtree, kPath, kSet,
             R"({"Most":{"ParamValue":9},"Least":{"ParamValue":5},"Number":{"ParamValue":1},"Other":{}})"),
        Succeeds());
    EXPECT_EQ(steps(), (Lines{"check Least=5", "check Most=9", "set thing.main.number=1",
                              "set thing.main.least=5", "set thing.main.most=9"}));
    EXPECT_EQ(messages(),
              (Lines{"set thing Number 1 by CLI", "set thing Least 5 by CLI", "set thing Most 9 by CLI"}));

    const struct {
        std::string request;
        Answer answer;
        const char* sentence; ///< after the path
        Lines steps = {};
    } cases[] = {
        {R"({"Number":{"ParamValue":7},"Text":{"ParamValue":"x"},"Mac":{"ParamValue":"y"}})",
         Fails(
             EFAULT,
             R"({"Number":{"ParamValue":7},"Text":{"ParamValue":"x"},"Mac":{"ParamValue":"y","ParamId":14}})"),
         "Mac: 'y' is no MAC address of one device"},
        {R"({"Mac":{"ParamValue":"y"},"Number":{"ParamValue":101},"Least":{"ParamValue":99}})",
         Fails(
             EFAULT,
             R"({"Mac":{"ParamValue":"y"},"Number":{"ParamValue":101,"ParamId":14},"Least":{"ParamValue":99}})"),
         "Number: 101 is not -1 to 100"},
        {R"({"Least":{"ParamValue":10}})",
         Fails(EFAULT, R"({"Least":{"ParamValue":10,"ParamId":14}})"),
         "Least: 10 is above 9",
         {"check Least=10"}},
        {R"({"Most":{"ParamValue":3},"Least":{"ParamValue":4}})",
         Fails(EFAULT, R"({"Most":{"ParamValue":3},"Least":{"ParamValue":4,"ParamId":14}})"),
         "Least: 4 is above 3",
         {"check Least=4"}},
        {R"({"Number":{"ParamValue":7},"Section":{"ParamValue":"x"}})",
         Fails(EFAULT, R"({"Number":{"ParamValue":7},"Section":{"ParamValue":"x","ParamId":14}})"),
         "Section: it cannot be set"},
        {R"({"Number":{}})", Fails(EINVAL, R"({"Number":{"ParamId":22}})"), "Number: the value is missing"},
        {R"({"Number":null})", Fails(EINVAL, R"({"Number":null})"), "Number: it is not a JSON object"},
        {R"({"Number":[1]})", Fails(EINVAL, R"({"Number":[1]})"), "Number: it is not a JSON object"},
        {R"({"Number":{"ParamValue":null}})", Fails(EFAULT, R"({"Number":{"ParamValue":null,"ParamId":14}})"),
         "Number: the value has no text"},
        {R"({"Text":{"ParamValue":"a\u0000b"}})",
         Fails(EFAULT, R"({"Text":{"ParamValue":"a\u0000b","ParamId":14}})"), "Text: the value has no text"},
        {R"({"Text":{"ParamValue":"\u001b[2J"}})",
         Fails(EFAULT, R"({"Text":{"ParamValue":"\u001b[2J","ParamId":14}})"),
         "Text: '?[2J' is a text with control characters"},
        {R"({"Switch":{"ParamValue":2}})", Fails(EFAULT, R"({"Switch":{"ParamValue":2,"ParamId":14}})"),
         "Switch: '2' is neither 0 nor 1"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.request);
        EXPECT_EQ(send(kSubtree, kPath, kSet, one.request), one.answer);
        size_t ends = 0;
        EXPECT_EQ(steps(&ends), one.steps);
        EXPECT_EQ(ends, one.answer.json.find("ParamId") != std::string::npos ? 1u : 0u);
        EXPECT_EQ(messages(), Lines{});
        EXPECT_EQ(QSysCmdHal_LastError(), std::string{"Device.Thing: "} + one.sentence);
        EXPECT_NE(outside().logs.back().text.find("Thing set "), std::string::npos);
        EXPECT_EQ(outside().logs.back().priority, 3);
    }
}

TEST_F(ServeRow, WhatCannotBeStoredOrDoneEndsTheWalk)
{
    EXPECT_EQ(set("Act", "0"), Fails(EBUSY, R"({"Act":{"ParamValue":0,"ParamId":16}})"));
    EXPECT_STREQ(QSysCmdHal_LastError(), "Device.Thing: Act: it failed with code 16");
    EXPECT_EQ(messages(), Lines{});
    outside().uci_codes["set thing.main.number"] = EIO;
    EXPECT_EQ(send(kSubtree, kPath, kSet,
                   R"({"Text":{"ParamValue":"x"},"Number":{"ParamValue":1},"Switch":{"ParamValue":0}})"),
              Fails(EIO, R"({"Text":{"ParamValue":"x","ParamId":0},"Number":{"ParamValue":1,"ParamId":5},)"
                         R"("Switch":{"ParamValue":0}})"));
    EXPECT_STREQ(QSysCmdHal_LastError(), "Device.Thing: Number: thing.main.number could not be stored");
    EXPECT_EQ(messages(), Lines{"set thing Text x by CLI"});
    std::filesystem::remove("/etc/config/other");
    EXPECT_EQ(set("Elsewhere", "\"x\""), Fails(EFAULT));
    EXPECT_STREQ(QSysCmdHal_LastError(), "Device.Thing: Elsewhere: other is not installed");
    // A value of others that is too long to be read is no reason to leave it.
    put("thing", "config thing 'main'\n\toption text '" + std::string(3000, 'x') + "'\n");
    EXPECT_EQ(set("Text", "\"default\""), Succeeds());
    EXPECT_EQ(steps(), Lines{"set thing.main.text=default"});
}

TEST_F(ServeRow, GetsStopAtAFailureAndFunctionsAnswerForThemselves)
{
    const Answer refused = send(kSubtree, kPath, kGet, "{}", QSC_COMMANDER_DHCP);
    EXPECT_EQ(refused, Fails(EACCES));
    EXPECT_EQ(refused.value("Constant"), "1");
    EXPECT_EQ(refused.member("Function"), "");
    EXPECT_STREQ(QSysCmdHal_LastError(), "Device.Thing: Function: not for you");
    EXPECT_EQ(send(kSubtree, kPath, kGet, R"({"Function":null})"), Fails(EINVAL, R"({"Function":null})"));
    // Get wins where both are asked for, but not over what the subtree serves.
    EXPECT_EQ(send(kSubtree, kPath, kGet | kSet, R"({"Number":{"ParamValue":1}})").value("Number"), "42");
    EXPECT_EQ(send(kSetOnly, kPath, kGet | kSet, R"({"Number":{"ParamValue":1}})").value("Number"), "1");
    EXPECT_EQ(steps(), Lines{"set thing.main.number=1"});
    EXPECT_EQ(send(kSubtree, kPath, kSet, R"({"Handled":{},"Text":{"ParamValue":"x"}})"), Succeeds());
    EXPECT_EQ(steps(), (Lines{"set thing.main.text=x", "handle Device.Thing 2 0"}));
}

TEST_F(ServeRow, RefusedObjectsHoldTheSentenceWhereTheHostAsks)
{
    qsc::want_refusals(true);
    EXPECT_EQ(set("Switch", "2"),
              Fails(EFAULT, R"({"Switch":{"ParamValue":2,"ParamId":14,"Error":"'2' is neither 0 nor 1"}})"));
    EXPECT_EQ(set("Act", "0"),
              Fails(EBUSY, R"({"Act":{"ParamValue":0,"ParamId":16,"Error":"it failed with code 16"}})"));
    EXPECT_EQ(set("Switch", "0").member("Switch"), R"({"ParamValue":0,"ParamId":0})");
    qsc::want_refusals(false);
    EXPECT_EQ(set("Switch", "2"), Fails(EFAULT, R"({"Switch":{"ParamValue":2,"ParamId":14}})"));
}

TEST_F(ServeRow, InstancesAreThoseThatExist)
{
    static constexpr Row kPortRows[] = {
        {.name = "Number", .kind = Kind::kInteger, .access = kReadWrite, .key = "thing.main.number"}};
    constexpr auto is_odd = [](int32_t instance) { return instance % 2 != 0; };
    static constexpr qsc::ObjectDescription kPort[] = {{.path = "Device.Port.{i}",
                                                        .rows = qsc::kPacked<qsc::PackedRow, kPortRows>,
                                                        .source = &kSource,
                                                        .area = "port",
                                                        .instances = 4,
                                                        .exists = is_odd}};
    static constexpr qsc::SubtreeDescription kPortPlain[] = {
        {.name = "Do_Port", .line = 1, .object = &kObject<kPort>}};
    const qsc::Subtree& ports = qsc::kPacked<qsc::Subtree, kPortPlain>[0];
    const struct {
        const char* path;
        bool exists;
    } cases[] = {{"Device.Port.1", true},           {"Device.Port.3.more", true},
                 {"Device.Port.2", false},          {"Device.Port.5", false},
                 {"Device.Port.0", false},          {"Device.Port.1x", false},
                 {"Device.Port.", false},           {"Device.Port", false},
                 {"Device.Port.-1", false},         {"", false},
                 {"Device.Port.99999999999", false}};
    for (const auto& one : cases) {
        SCOPED_TRACE(one.path);
        const Code code = one.exists ? Succeeds() : Fails(EINVAL);
        EXPECT_EQ(send(ports, one.path, kGet, "{}"), code);
        EXPECT_EQ(send(ports, one.path, kGet, R"({"Number":{}})"), code);
        EXPECT_EQ(send(ports, one.path, kSet, "{}"), code);
        const Json looked_at{R"({"Number":{"ParamValue":5}})"};
        EXPECT_EQ(qsc::check_only(ports, one.path, looked_at.get(), QSC_COMMANDER_CLI), code);
        EXPECT_EQ(send(ports, one.path, kSet, R"({"Number":{"ParamValue":5}})"), code);
        EXPECT_EQ(messages().size(), one.exists ? 1u : 0u);
        EXPECT_EQ(std::string{QSysCmdHal_LastError()}.empty(), one.exists);
    }
    EXPECT_EQ(send(ports, "Device.Port.3", kSet, R"({"Number":{"ParamValue":5}})"), Succeeds());
    EXPECT_EQ(messages(), Lines{"set port [3] Number 5 by CLI"});
}

TEST_F(ServeRow, ASetOfOnePackageIsStagedWholeOrNotAtAll)
{
    // Each instance has a section of its own, and cannot keep the word "fails".
    constexpr auto fails = [](const qsc::RowCall&, std::string_view stored) -> uint32_t {
        return stored == "fails" ? EIO : 0;
    };
    constexpr auto find = [](qsc::RowRequest& request) {
        request.section.append("thing.port").append_number(request.instance).append(".");
    };
    static constexpr Row kPortRows[] = {
        {.name = "First", .access = kReadWrite, .key = "first", .fallback = "none"},
        {.name = "Second", .access = kReadWrite, .key = "second", .set = fails},
    };
    static constexpr qsc::ObjectDescription kPort[] = {{.path = "Device.Port.{i}",
                                                        .rows = qsc::kPacked<qsc::PackedRow, kPortRows>,
                                                        .source = &kSource,
                                                        .area = "port",
                                                        .section_type = "port",
                                                        .instances = 2,
                                                        .package = "thing",
                                                        .locate = find}};
    static constexpr qsc::SubtreeDescription kPortPlain[] = {
        {.name = "Do_Port", .line = 1, .object = &kObject<kPort>, .served = kGet | kSet | qsc::kGetsAll}};
    const qsc::Subtree& ports = qsc::kPacked<qsc::Subtree, kPortPlain>[0];
    put("thing", "config port 'port1'\n\toption first 'a'\n");

    EXPECT_EQ(
        send(ports, "Device.Port.2", kSet, R"({"First":{"ParamValue":"b"},"Second":{"ParamValue":"fails"}})"),
        Fails(EIO));
    EXPECT_EQ(messages(), Lines{});
    EXPECT_EQ(committed("thing"), (Lines{"config port 'port1'", "option first 'a'"}));
    EXPECT_EQ(
        send(ports, "Device.Port.2", kSet, R"({"First":{"ParamValue":"b"},"Second":{"ParamValue":"c"}})"),
        Succeeds());
    EXPECT_EQ(messages(), (Lines{"set port [2] First b by CLI", "set port [2] Second c by CLI"}));
    EXPECT_EQ(committed("thing"), (Lines{"config port 'port1'", "option first 'a'", "config port 'port2'",
                                         "option first 'b'", "option second 'c'"}));
    for (const char* all : {"Device.Port", "Device.Port.", "Device.Port.x"}) {
        const Answer answer = send(ports, all, kGet, "{}");
        EXPECT_EQ(answer, Succeeds());
        EXPECT_EQ(
            answer.member("Device.Port.1"),
            R"({"First":{"ParamValue":"a","ParamId":0},"Second":{"ParamValue":"","ParamId":0},"ParamId":0})");
    }
    std::filesystem::remove("/etc/config/thing");
    EXPECT_EQ(send(ports, "Device.Port.1", kSet, R"({"First":{"ParamValue":"x"}})"), Fails(EFAULT));
    EXPECT_STREQ(QSysCmdHal_LastError(), "Device.Port.1: First: thing is not installed");
}

TEST_F(ServeRow, EntriesThatAreCalledPastTheDispatcherServeTheirRows)
{
    const auto call_entry = [](const char* name, const std::string& object, uint32_t oper, uint64_t param) {
        const Json value{object};
        const uint32_t code =
            qsc::serve_entry(kObject<kThing>, name, value.get(), oper, QSC_COMMANDER_CLI, 0, param);
        return Answer{code, value.text()};
    };
    EXPECT_EQ(call_entry("name", "{}", kGet, 1), Answers(R"({"ParamValue":42,"ParamId":0})"));
    EXPECT_EQ(call_entry(nullptr, R"({"ParamValue":7})", kSet, 1),
              Answers(R"({"ParamValue":7,"ParamId":0})"));
    EXPECT_EQ(steps(), Lines{"set thing.main.number=7"});
    EXPECT_EQ(call_entry("name", R"({"ParamValue":101})", kSet, 1),
              Fails(EFAULT, R"({"ParamValue":101,"ParamId":14})"));
    EXPECT_STREQ(QSysCmdHal_LastError(), "name: Number: 101 is not -1 to 100");
    EXPECT_EQ(call_entry("name", "{}", 0x4, 1), Fails(EFAULT, R"({"ParamId":14})"));
    EXPECT_STREQ(QSysCmdHal_LastError(), "name: Number: the operation is not served");
    EXPECT_EQ(call_entry("name", "{}", kGet, std::size(kRows)), Fails(EINVAL, "{}"));
    EXPECT_EQ(call_entry("name", "[]", kGet, 1), Fails(EINVAL, "[]"));
    EXPECT_EQ(call_entry("name", "null", kGet, 1), Fails(EINVAL, "null"));
}
