// SPDX-License-Identifier: Apache-2.0
// Sets of several objects, and lists that grow: what is checked, sent and applied, in which order. The
// library is replaced by one that has two lists and writes down what it is asked for.
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <json-c/json.h>

#include "include/qsc_describe.h"
#include "include/qsyscmdhal.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Queue.h"

namespace
{

struct Library {
    std::string asked;            ///< one line for each check and request
    std::set<uint32_t> instances; ///< of the list that grows
    std::string of_the_daemon;    ///< the numbers that a daemon tells
    std::string refused;          ///< a line that is answered with 14
    bool has_committer = true;
};

Library& library()
{
    static Library the_one;
    return the_one;
}

uint32_t answer(const std::string& what)
{
    library().asked += what + "\n";
    return what == library().refused ? 14 : 0;
}

std::string text_of(json_object* object)
{
    return json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
}

uint32_t dispatch(const char* path, json_object* object, uint32_t oper, uint32_t, int64_t, uint64_t)
{
    const char* const verb = oper == QSC_OPER_SET      ? "set "
                             : oper == QSC_OPER_COMMIT ? "commit "
                             : oper == QSC_OPER_GET    ? "get "
                                                       : "service ";
    return answer(verb + std::string{path} + " " + text_of(object));
}

Qsc_CommandEntry g_table[] = {
    {0, "Device.List.", dispatch, nullptr, 0},
    {1, "Device.Fixed", dispatch, nullptr, 0},
    {2, "Device.Unserved", dispatch, nullptr, 0},
    {QSC_TABLE_END, nullptr, nullptr, nullptr, 0},
};

struct FakeObject {
    const char* path;
    size_t entry;
    uint32_t flags;
    std::vector<const char*> parameters;
};

const FakeObject kObjects[] = {
    {"Device.List.{i}", 0, QSC_OBJECT_INSTANCES | QSC_OBJECT_GROWS, {"X_QRN_Add", "X_QRN_Delete", "Name"}},
    {"Device.List.", 0, 0, {"X_QRN_Instances"}},
    {"Device.Fixed", 1, 0, {"Name"}},
    {"Device.Unserved", 2, 0, {}},
};

} // namespace

extern "C" {

Qsc_CommandEntry* QSysCmdHal_GetFunList(void)
{
    return g_table;
}

uint32_t QSysCmdHal_DescribeObject(uint32_t number, Qsc_ObjectInfo* object)
{
    if (number >= std::size(kObjects)) {
        return 14;
    }
    const FakeObject& fake = kObjects[number];
    const char* const applied_by = library().has_committer ? "Device.Fixed" : "";
    *object = {fake.path,
               &g_table[fake.entry],
               applied_by,
               applied_by,
               "",
               static_cast<uint32_t>(fake.parameters.size()),
               QSC_OPER_GET | QSC_OPER_SET,
               fake.flags,
               &fake};
    return 0;
}

uint32_t QSysCmdHal_FindObject(const char* path, Qsc_ObjectInfo* object)
{
    return QSysCmdHal_DescribeObject(std::string{path}.starts_with("Device.List.") ? 0 : 2, object);
}

uint32_t QSysCmdHal_DescribeParameter(const Qsc_ObjectInfo* object, uint32_t number,
                                      Qsc_ParameterInfo* parameter)
{
    const auto& names = static_cast<const FakeObject*>(object->object)->parameters;
    if (number >= names.size()) {
        return 14;
    }
    *parameter = {names[number], "string", "", "", "", QSC_OPER_GET | QSC_OPER_SET, 0};
    return 0;
}

uint32_t QSysCmdHal_FindInstances(const Qsc_ObjectInfo*, uint32_t* numbers, uint32_t size, uint32_t* count)
{
    *count = 0;
    for (const uint32_t number : library().instances) {
        if (*count < size) {
            numbers[*count] = number;
        }
        ++*count;
    }
    return 0;
}

uint32_t QSysCmdHal_Check(const char* path, json_object*, uint32_t)
{
    return answer("check " + std::string{path});
}

const char* QSysCmdHal_LastError(void)
{
    return "";
}
}

namespace
{

} // namespace

/// A daemon that has instances of its own.
bool qsc::dispatch_by_queue(const Options&, const char* path, u32 operation, json_object* object, u32& code)
{
    code = dispatch(path, object, operation, 0, 0, 0);
    json_object* asked = nullptr;
    if (json_object_object_get_ex(object, "X_QRN_Instances", &asked) != 0) {
        json_object_object_add(asked, "ParamValue", json_object_new_string(library().of_the_daemon.c_str()));
    }
    return true;
}

namespace
{

struct Outcome {
    int code;
    std::string output;
    std::string asked;
};

using Command = qsc::ExitCode (*)(const qsc::Options&, qsc::Words);

Outcome run(Command command, std::vector<const char*> words, const qsc::Options& options = {})
{
    library().asked.clear();
    testing::internal::CaptureStdout();
    const int code = command(options, words);
    return {code, testing::internal::GetCapturedStdout(), library().asked};
}

class ChangesTest : public testing::Test
{
  protected:
    void SetUp() override { library() = Library{}; }

    qsc::Options apply_{.apply = true};
    qsc::Options quiet_{.quiet = true};
    qsc::Options json_{.as_json = true};
    qsc::Options by_queue_{.by_queue = true};
};

} // namespace

TEST_F(ChangesTest, AddTakesTheNumberAboveTheHighest)
{
    EXPECT_EQ(run(qsc::add_instance, {"Device.List"}).output, "Device.List.1\n");
    library().instances = {1, 2, 7};
    const Outcome added = run(qsc::add_instance, {"Device.List.", "Name=x"}, apply_);
    EXPECT_EQ(added.code, 0);
    EXPECT_EQ(added.output, "Device.List.8\n");
    EXPECT_EQ(added.asked, R"(check Device.List.8
set Device.List.8 {"X_QRN_Add":{"ParamValue":1},"Name":{"ParamValue":"x"}}
commit Device.Fixed {}
service Device.Fixed {"action":"restart"}
)");
    EXPECT_EQ(run(qsc::add_instance, {"Device.List"}, quiet_).output, "8\n");
    EXPECT_TRUE(
        run(qsc::add_instance, {"Device.List"}, json_).output.starts_with("{\n  \"Device.List.8\":{"));
    library().refused = "commit Device.Fixed {}";
    EXPECT_EQ(run(qsc::add_instance, {"Device.List"}, apply_).output, "Device.List.8\n") << "it is there";
    library().refused = "check Device.List.8";
    EXPECT_EQ(run(qsc::add_instance, {"Device.List"}, apply_).output, "");
    library().instances = {65535};
    const Outcome full = run(qsc::add_instance, {"Device.List"});
    EXPECT_EQ(full.code, 1);
    EXPECT_EQ(full.asked, "");
}

TEST_F(ChangesTest, AddAndDeleteNeedAListThatGrows)
{
    for (const char* path : {"Device.Fixed", "Device.List.3", "Device.Foo", "Device.", ""}) {
        EXPECT_EQ(run(qsc::add_instance, {path}).code, 2) << path;
    }
    for (const char* path : {"Device.Fixed", "Device.List", "Device.List.*", "Device.List.1.Name"}) {
        EXPECT_EQ(run(qsc::delete_instances, {path}).code, 2) << path;
    }
    EXPECT_EQ(run(qsc::add_instance, {"Device.List", "X_QRN_Add=1"}).code, 2) << "set twice";
}

TEST_F(ChangesTest, NothingIsSetBeforeAllIsChecked)
{
    EXPECT_EQ(run(qsc::delete_instances, {"Device.List.2", "Device.List.4"}, apply_).asked,
              R"(check Device.List.2
check Device.List.4
set Device.List.2 {"X_QRN_Delete":{"ParamValue":1}}
set Device.List.4 {"X_QRN_Delete":{"ParamValue":1}}
commit Device.Fixed {}
service Device.Fixed {"action":"restart"}
)");
    library().refused = "check Device.Fixed";
    const Outcome refused = run(qsc::set, {"Device.List.2.Name=a", "Device.Fixed", "Name=b"}, apply_);
    EXPECT_EQ(refused.code, 1);
    EXPECT_EQ(refused.asked, "check Device.List.2\ncheck Device.Fixed\n");
}

TEST_F(ChangesTest, TheFirstFailureEndsASet)
{
    library().refused = R"(set Device.List.3 {"Name":{"ParamValue":"b"}})";
    testing::internal::CaptureStderr();
    const Outcome failed =
        run(qsc::set, {"Device.List.2.Name=a", "Device.List.3.Name=b", "Device.Fixed.Name=c"}, apply_);
    EXPECT_EQ(failed.code, 1);
    EXPECT_TRUE(failed.asked.ends_with(library().refused + "\n")) << failed.asked;
    EXPECT_TRUE(testing::internal::GetCapturedStderr().ends_with("\nqsc: set before that: Device.List.2\n"));
}

TEST_F(ChangesTest, WhatNobodyRestartsIsSaid)
{
    library().has_committer = false;
    testing::internal::CaptureStderr();
    const Outcome set = run(qsc::set, {"Device.List.2.Name=a"}, apply_);
    EXPECT_EQ(set.code, 0);
    EXPECT_EQ(set.asked, "check Device.List.2\nset Device.List.2 {\"Name\":{\"ParamValue\":\"a\"}}\n");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("nothing was restarted"), std::string::npos);
}

TEST_F(ChangesTest, WhatHasNoParametersIsSaid)
{
    const struct {
        Command command;
        std::vector<const char*> words;
    } cases[] = {{qsc::get, {"Device.Unserved"}},
                 {qsc::get, {"Device.Unserved", "Name"}},
                 {qsc::set, {"Device.Unserved", "Name=1"}}};
    for (const auto& [command, words] : cases) {
        testing::internal::CaptureStderr();
        const Outcome outcome = run(command, words);
        EXPECT_EQ(outcome.code, 1);
        EXPECT_EQ(outcome.output + outcome.asked, "");
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "qsc: Device.Unserved has no parameters in this library\n");
    }
}

TEST_F(ChangesTest, OnlyInstancesThatExistAreAskedFor)
{
    const Outcome empty = run(qsc::get, {"Device.List.*"});
    EXPECT_EQ(empty.code, 0);
    EXPECT_EQ(empty.output + empty.asked, "");
    library().instances = {10, 9};
    EXPECT_EQ(run(qsc::get, {"Device.", "Device.List.*.Name"}).asked, R"(get Device.Fixed {}
get Device.List. {}
get Device.List.9 {}
get Device.List.10 {}
)");
}

TEST_F(ChangesTest, ADaemonTellsItsInstancesAndJudgesWhatItIsSent)
{
    library().instances = {1};
    library().of_the_daemon = "3,12";
    EXPECT_EQ(run(qsc::add_instance, {"Device.List"}, by_queue_).asked,
              R"(get Device.List. {"X_QRN_Instances":{}}
set Device.List.13 {"X_QRN_Add":{"ParamValue":1}}
)");
    EXPECT_EQ(run(qsc::get, {"Device.List.*"}, by_queue_).asked, R"(get Device.List. {"X_QRN_Instances":{}}
get Device.List.3 {}
get Device.List.12 {}
)");
    library().of_the_daemon = "";
    EXPECT_EQ(run(qsc::add_instance, {"Device.List"}, by_queue_).output, "Device.List.1\n");
    for (const char* wrong : {"x", "1;2", ","}) {
        library().of_the_daemon = wrong;
        EXPECT_EQ(run(qsc::add_instance, {"Device.List"}, by_queue_).code, 1) << wrong;
    }
    library().refused = R"(get Device.List. {"X_QRN_Instances":{}})";
    EXPECT_EQ(run(qsc::add_instance, {"Device.List"}, by_queue_).code, 1);
}
