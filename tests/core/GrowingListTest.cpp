// SPDX-License-Identifier: Apache-2.0
// Lists whose instances come and go, in real files.
#include "core/GrowingList.h"

#include "core/RowsTest.h"
#include "qrnuci.h"
#include "qsc_describe.h"

using namespace test;
using qsc::Access;
using qsc::Kind;
using qsc::Place;
using qsc::Row;

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;

bool is_ours(const char* section)
{
    return !std::string_view{section}.ends_with(".theirs.");
}

constexpr qsc::GrowingList kItems{.package = "list", .type = "item", .limit = 5, .is_ours = is_ours};

constexpr Row kItemRows[] = {
    qsc::kAddRow,
    qsc::kDeleteRow,
    {.name = "Name", .access = kReadWrite, .marks = qsc::kNeeded, .limits = "1:20", .key = "name"},
    {.name = "Key", .access = kReadWrite, .marks = qsc::kNeeded | qsc::kSecret, .key = "key"},
    {.name = "Ports",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .place = Place::kList,
     .marks = qsc::kMany,
     .key = "port"},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .marks = qsc::kInverted,
     .key = "disabled"},
};
constexpr Row kCountRows[] = {
    {.name = "ItemNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kCount},
    {.name = "X_QRN_Instances", .place = Place::kNumbers, .marks = qsc::kMany},
};

constexpr const char* kPath = "Device.Item.";

constexpr qsc::ObjectDescription kItemPlain[] = {{.path = "Device.Item.{i}",
                                                  .rows = qsc::kPacked<qsc::PackedRow, kItemRows>,
                                                  .source = &kSource,
                                                  .area = "item",
                                                  .list = &kItems}};
constexpr qsc::ObjectDescription kCountPlain[] = {{.path = "Device.Count",
                                                   .rows = qsc::kPacked<qsc::PackedRow, kCountRows>,
                                                   .source = &kSource,
                                                   .counted = &kItems}};
constexpr qsc::SubtreeDescription kPlain[] = {
    {.name = "Do_Item", .line = 7, .object = &kObject<kItemPlain>, .list = kPath},
    {.name = "Do_Count", .line = 8, .label = "Count", .object = &kObject<kCountPlain>}};
constexpr const qsc::Subtree& kList = qsc::kPacked<qsc::Subtree, kPlain>[0];
constexpr const qsc::Subtree& kCounting = qsc::kPacked<qsc::Subtree, kPlain>[1];

/// Two without a number, one with a number that is taken, one with a wrong one, and two that are not ours.
constexpr const char* kStored = "config item 'first'\n\toption name 'a'\n\toption key 'ka'\n"
                                "config other\n\toption qrn_index '9'\n"
                                "config item\n\toption name 'b'\n\toption qrn_index '1'\n"
                                "config item 'theirs'\n\toption qrn_index '2'\n"
                                "config item\n\toption name 'c'\n\toption qrn_index '1'\n"
                                "config item\n\toption name 'd'\n\toption qrn_index '65536'\n";

/// What a set that changes nothing else makes of it.
const Lines kNumbered = {"config item 'first'",  "option name 'a'",      "option key 'ka'",
                         "option qrn_index '2'", "config other",         "option qrn_index '9'",
                         "config item",          "option name 'b'",      "option qrn_index '1'",
                         "config item 'theirs'", "option qrn_index '2'", "config item",
                         "option name 'c'",      "option qrn_index '3'", "config item",
                         "option name 'd'",      "option qrn_index '4'"};

class Growing : public RowsTest
{
  protected:
    void SetUp() override
    {
        RowsTest::SetUp();
        put("list", kStored);
    }

    static Answer set(const std::string& rest, const std::string& request)
    {
        return send(kList, kPath + rest, kSet, request);
    }

    static std::string numbers()
    {
        const Answer answer = send(kCounting, "Device.Count", kGet, "{}");
        return answer.value("ItemNumberOfEntries") + " " + answer.value("X_QRN_Instances");
    }
};

} // namespace

TEST_F(Growing, InstancesHaveTheirNumbersOrTheLowestThatAreFree)
{
    EXPECT_EQ(numbers(), "4 \"1,2,3,4\"");
    EXPECT_EQ(steps(), Lines{}); // a get writes nothing down
    const char* const names[] = {"b", "a", "c", "d"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(send(kList, kPath + std::to_string(i + 1), kGet, R"({"Name":{}})").value("Name"),
                  std::string{"\""} + names[i] + "\"");
    }
    // All of them are children of the request, with the rows that can only be set and the secret empty.
    const Answer all = send(kList, kPath, kGet, "{}");
    EXPECT_EQ(all, Succeeds());
    EXPECT_EQ(all.member("Device.Item.2"),
              R"({"X_QRN_Add":{"ParamValue":0,"ParamId":0},"X_QRN_Delete":{"ParamValue":0,"ParamId":0},)"
              R"("Name":{"ParamValue":"a","ParamId":0},"Key":{"ParamValue":"","ParamId":0},)"
              R"("Ports":{"ParamValue":"","ParamId":0},"Enable":{"ParamValue":1,"ParamId":0},"ParamId":0})");
    EXPECT_LT(all.json.find("Device.Item.1"), all.json.find("Device.Item.4"));
    EXPECT_EQ(send(kList, std::string{kPath} + "*", kGet, "{}").json, all.json);
    // The next set writes the numbers down first, and with them a section keeps its own.
    EXPECT_EQ(set("3", named("Name=c")), Succeeds());
    EXPECT_EQ(committed("list"), kNumbered);
    put("list", "");
    EXPECT_EQ(numbers(), "0 \"\"");
    EXPECT_EQ(send(kList, kPath, kGet, "{}"), Answers("{}"));
    std::filesystem::remove("/etc/config/list");
    EXPECT_EQ(numbers(), "0 \"\"");
}

TEST_F(Growing, RefusedSetsWriteNothingAtAll)
{
    put("list", std::string{kStored} + "config item\n");
    const struct {
        const char* rest;
        const char* values;
        uint32_t code;
        const char* refused; ///< the parameter; "": the instance
        const char* sentence;
    } cases[] = {
        {"6", "Name=x", EINVAL, "Name", "there is no instance 6"},
        {"6", "X_QRN_Add=0 Name=x", EINVAL, "X_QRN_Add", "there is no instance 6"},
        {"6", "X_QRN_Delete=1", EINVAL, "X_QRN_Delete", "there is no instance 6"},
        {"6", "", EINVAL, "", "there is no instance 6"},
        {"65536", "X_QRN_Add=1 Name=x Key=y", EINVAL, "X_QRN_Add", "there is no instance 65536"},
        {"5", "X_QRN_Add=1 Name=x Key=y", EFAULT, "X_QRN_Add", "there is an instance 5 already"},
        {"6", "X_QRN_Add=1 Name=x Key=y", EFAULT, "X_QRN_Add", "there are 5 already, and no more are kept"},
        {"5", "X_QRN_Add=yes Name=x", EFAULT, "X_QRN_Add", "'yes' is neither 0 nor 1"},
        {"5", "X_QRN_Delete=1 Name=x", EFAULT, "X_QRN_Delete",
         "it stands alone in its request, without Name"},
        {"5", "X_QRN_Add=0 X_QRN_Delete=1", EFAULT, "X_QRN_Delete",
         "it stands alone in its request, without X_QRN_Add"},
        {"5", "Name=x Ports=1,1", EFAULT, "Ports", "'1' is named twice"},
        {"5", "Name=", EFAULT, "Name", "it is empty"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.rest} + ": " + one.values);
        const Answer answer = set(one.rest, named(one.values));
        EXPECT_EQ(answer.code, one.code);
        EXPECT_EQ(answer.member("ParamId"), std::to_string(one.code));
        if (*one.refused != '\0') {
            EXPECT_EQ(Answer(0, answer.member(one.refused)).member("ParamId"), std::to_string(one.code));
        }
        EXPECT_EQ(QSysCmdHal_LastError(), kPath + std::string{one.rest} + ": " + one.refused +
                                              (*one.refused != '\0' ? ": " : "") + one.sentence);
        EXPECT_EQ(messages(), Lines{});
        EXPECT_EQ(read_file("/tmp/.uci/list"), "");
    }
    for (const char* rest : {"0", "-1", "1x", "1.2", "99999999999"}) {
        EXPECT_EQ(set(rest, named("X_QRN_Add=1 Name=x Key=y")), Fails(EINVAL)) << rest;
        EXPECT_EQ(send(kList, kPath + std::string{rest}, kGet, "{}"), Fails(EINVAL)) << rest;
    }
    put("list", "");
    for (const char* values : {"X_QRN_Add=1 Key=y", "X_QRN_Add=1 Name=x", "X_QRN_Add=1 Name=x Key="}) {
        EXPECT_EQ(set("1", named(values)), Fails(EFAULT)) << values;
        EXPECT_NE(std::string_view{QSysCmdHal_LastError()}.find("X_QRN_Add: a new instance needs "),
                  std::string_view::npos);
    }
    EXPECT_EQ(read_file("/tmp/.uci/list"), "");
    std::filesystem::remove("/etc/config/list");
    EXPECT_EQ(set("1", named("X_QRN_Add=1 Name=x Key=y")), Fails(EFAULT));
    EXPECT_STREQ(QSysCmdHal_LastError(), "Device.Item.1: X_QRN_Add: list is not installed");
}

TEST_F(Growing, InstancesAreAddedChangedAndDeleted)
{
    const struct {
        const char* rest;
        const char* values;
        Lines events;
        const char* numbers;
        Lines added = {}; ///< lines of the file after those that are numbered
    } cases[] = {
        {"7",
         "X_QRN_Add=1 Ports=80,443 Name=x Key=y",
         {"add item [7] by CLI", "set item [7] Name x by CLI", "set item [7] Key by CLI",
          "set item [7] Ports 80,443 by CLI"},
         "5 \"1,2,3,4,7\"",
         {"config item", "option qrn_index '7'", "option disabled '1'", "option name 'x'", "option key 'y'",
          "list port '80'", "list port '443'"}},
        {"7",
         "Enable=1 Key= X_QRN_Add=0 X_QRN_Delete=0",
         {"set item [7] Key by CLI", "set item [7] Enable 1 by CLI"},
         "5 \"1,2,3,4,7\"",
         {"config item", "option qrn_index '7'", "option disabled '0'", "option name 'x'", "option key 'y'",
          "list port '80'", "list port '443'"}},
        {"7", "X_QRN_Delete=1", {"delete item [7] by CLI"}, "4 \"1,2,3,4\""},
        {"65535",
         "X_QRN_Add=true Name=z Key=y Enable=true",
         {"add item [65535] by CLI", "set item [65535] Name z by CLI", "set item [65535] Key by CLI",
          "set item [65535] Enable 1 by CLI"},
         "5 \"1,2,3,4,65535\"",
         {"config item", "option qrn_index '65535'", "option name 'z'", "option key 'y'",
          "option disabled '0'"}},
        {"65535", "X_QRN_Delete=1", {"delete item [65535] by CLI"}, "4 \"1,2,3,4\""},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.rest} + ": " + one.values);
        EXPECT_EQ(set(one.rest, named(one.values)), Succeeds());
        size_t ends = 0;
        (void)steps(&ends);
        EXPECT_EQ(ends, static_cast<size_t>(std::ranges::count(std::string_view{one.values}, '=')) + 1);
        EXPECT_EQ(messages(), one.events);
        EXPECT_EQ(numbers(), one.numbers); // before it is committed as well
        Lines lines = kNumbered;
        lines.insert(lines.end(), one.added.begin(), one.added.end());
        EXPECT_EQ(committed("list"), lines);
        EXPECT_EQ(numbers(), one.numbers);
    }
    // The others keep their numbers when one before them is deleted.
    EXPECT_EQ(set("2", named("X_QRN_Delete=1")), Succeeds());
    EXPECT_EQ(numbers(), "3 \"1,3,4\"");
    EXPECT_EQ(send(kList, std::string{kPath} + "4", kGet, R"({"Name":{}})").value("Name"), "\"d\"");
}

TEST_F(Growing, AChangeIsStagedWholeOrNotAtAll)
{
    put("list", "");
    const std::string request = named("X_QRN_Add=1 Name=x Key=y Ports=80");
    EXPECT_EQ(set("1", request), Succeeds());
    const Lines all = steps();
    EXPECT_EQ(all.front(), "begin list");
    EXPECT_EQ(all.back(), "keep");
    QrnUci_CommitPackage("list");
    for (const std::string& step : all) {
        SCOPED_TRACE(step);
        put("list", "");
        outside().uci_codes = {{step.substr(0, step.find('=')), uint32_t{EIO}}};
        const Answer answer = set("1", request);
        EXPECT_EQ(answer, Fails(EIO));
        EXPECT_EQ(messages(), Lines{});
        const auto writes = [&](const char* option) { return step.find(option) != std::string::npos; };
        const char* const refused = writes(".name=")                     ? "Name"
                                    : writes(".key=")                    ? "Key"
                                    : writes(".port=") || step == "keep" ? "Ports"
                                                                         : "X_QRN_Add";
        EXPECT_EQ(Answer(0, answer.member(refused)).member("ParamId"), "5");
        EXPECT_EQ(read_file("/tmp/.uci/list"), "");
        outside().uci_codes.clear();
        EXPECT_EQ(numbers(), "0 \"\"");
        EXPECT_EQ(steps().size(), 0u);
        EXPECT_EQ(QrnUci_EndChange(0), uint32_t{EFAULT}) << "the change is not over";
    }
}

TEST_F(Growing, NumbersThatCannotBeStoredEndTheSet)
{
    outside().uci_codes = {{"set list.first.qrn_index", uint32_t{EIO}}};
    EXPECT_EQ(set("1", named("Name=x")), Fails(EFAULT));
    EXPECT_EQ(read_file("/tmp/.uci/list"), "");
    EXPECT_EQ(messages(), Lines{});
}

TEST_F(Growing, MoreThanCanBeListedIsRefused)
{
    std::string text;
    for (uint32_t i = 0; i < qsc::ListedSections::kMost; ++i) {
        text += "config item\n";
    }
    put("list", text);
    EXPECT_EQ(numbers().substr(0, 10), "256 \"1,2,3");
    EXPECT_EQ(set("256", named("Name=x")), Succeeds());
    put("list", text + "config item\n");
    EXPECT_EQ(send(kCounting, "Device.Count", kGet, "{}"), Fails(EFAULT));
    EXPECT_EQ(set("1", named("Name=x")), Fails(EFAULT));
    // Nor may their names take more room than there is.
    text.clear();
    for (uint32_t i = 0; i < 60; ++i) {
        text += "config item '" + std::string(150, 'x') + std::to_string(i) + "'\n";
    }
    put("list", text);
    EXPECT_EQ(send(kCounting, "Device.Count", kGet, "{}"), Fails(EFAULT));
    EXPECT_EQ(set("1", named("Name=x")), Fails(EFAULT));
}
