// SPDX-License-Identifier: Apache-2.0
// Instances that are named sections of several packages: staged together or not at all, in real files.
#include "core/GrowingList.h"
#include "core/RowsTest.h"
#include "qrnuci.h"

using namespace test;
using qsc::Access;
using qsc::Kind;
using qsc::Place;
using qsc::Row;

namespace
{

constexpr qsc::GrowingList kList{.package = "list", .type = "item", .named_by = "Name"};

qsc::u32 keep(const qsc::RowCall&, std::string_view)
{
    return 0;
}

/// Each item has a section of its name in the other package, and that counts what was written.
qsc::u32 arrange(qsc::RowRequest& request, bool is_written)
{
    outside().done.push_back(is_written ? "after" : "before");
    const std::string name{request.section.view().substr(5, request.section.view().size() - 6)};
    return is_written ? QrnUci_SetNewString("other.count.last", name.c_str(), 0, 1)
                      : QrnUci_AddSection("other", "item", name.c_str(), nullptr, 0);
}

constexpr Row kRows[] = {
    qsc::kAddRow,
    qsc::kDeleteRow,
    {.name = "Name",
     .access = Access::kReadWrite,
     .place = Place::kFunction,
     .marks = qsc::kNeeded,
     .get = [](const qsc::RowCall& call) { return qsc::answer_stored(call, ""); },
     .set = keep},
    {.name = "Own", .access = Access::kReadWrite, .key = "own"},
    {.name = "Other", .access = Access::kReadWrite, .key = "other.*.value"},
};
constexpr qsc::ObjectDescription kPlainItem[] = {{.path = "Device.Item.{i}",
                                                  .rows = qsc::kPacked<qsc::PackedRow, kRows>,
                                                  .source = &kSource,
                                                  .area = "item",
                                                  .list = &kList,
                                                  .package = "list other",
                                                  .arrange = arrange}};
constexpr qsc::SubtreeDescription kPlain[] = {
    {.name = "Do_Item", .line = 7, .object = &kObject<kPlainItem>, .list = "Device.Item."}};

class SeveralPackages : public RowsTest
{
  protected:
    void SetUp() override
    {
        RowsTest::SetUp();
        put("list", "");
        put("other", "config count 'count'\n");
    }

    static Answer add(const std::string& name)
    {
        return send(qsc::kPacked<qsc::Subtree, kPlain>[0], "Device.Item.1", kSet,
                    R"({"X_QRN_Add":)" + value_of("1") + R"(,"Name":)" + value_of("\"" + name + "\"") +
                        R"(,"Own":)" + value_of("\"a\"") + R"(,"Other":)" + value_of("\"b\"") + "}");
    }

    static void expect_nothing()
    {
        EXPECT_EQ(messages(), Lines{});
        EXPECT_EQ(read_file("/tmp/.uci/list") + read_file("/tmp/.uci/other"), "");
        EXPECT_EQ(QrnUci_EndChange(0), uint32_t{EFAULT}) << "the change is not over";
    }
};

} // namespace

TEST_F(SeveralPackages, AreWrittenByKeysWithTheSectionsName)
{
    EXPECT_EQ(add("x"), Succeeds());
    EXPECT_EQ(messages(), (Lines{"add item [1] by CLI", "set item [1] Name x by CLI",
                                 "set item [1] Own a by CLI", "set item [1] Other b by CLI"}));
    const Lines all = steps();
    EXPECT_LT(std::ranges::find(all, "before"), std::ranges::find(all, "after"));
    EXPECT_EQ(committed("list"), (Lines{"config item 'x'", "option qrn_index '1'", "option own 'a'"}));
    EXPECT_EQ(committed("other"),
              (Lines{"config count 'count'", "option last 'x'", "config item 'x'", "option value 'b'"}));
    EXPECT_EQ(
        send(qsc::kPacked<qsc::Subtree, kPlain>[0], "Device.Item.1", kGet, R"({"Other":{}})").value("Other"),
        "\"b\"");
}

TEST_F(SeveralPackages, AreStagedTogetherOrNotAtAll)
{
    // Its name is taken in the other package, so what has to be made before the values cannot be.
    EXPECT_EQ(add("count"), Fails(EFAULT));
    expect_nothing();
    // What is done after them fails, and so does the end of the change.
    for (const char* const step : {"set other.count.last", "keep", "begin other"}) {
        outside().uci_codes = {{step, uint32_t{EFAULT}}};
        EXPECT_EQ(add("x"), Fails(EFAULT)) << step;
        outside().uci_codes.clear();
        expect_nothing();
    }
    std::filesystem::remove("/etc/config/other");
    EXPECT_EQ(add("x"), Fails(EFAULT));
    EXPECT_STREQ(QSysCmdHal_LastError(), "Device.Item.1: X_QRN_Add: other is not installed");
    expect_nothing();
}
