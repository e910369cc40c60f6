// SPDX-License-Identifier: Apache-2.0
// What the library says of itself is what it serves: every object by the path that it names, every refusal
// with a sentence.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include <json-c/json.h>

#include "qsc_describe.h"
#include "qslog.h"
#include "qsyscmdhal.h"
#include "support/Outside.h"

using namespace test;

namespace
{

std::vector<Qsc_ObjectInfo> objects()
{
    std::vector<Qsc_ObjectInfo> all;
    Qsc_ObjectInfo object;
    for (uint32_t i = 0; QSysCmdHal_DescribeObject(i, &object) == 0; ++i) {
        all.push_back(object);
    }
    return all;
}

std::vector<Qsc_ParameterInfo> parameters(const Qsc_ObjectInfo& object)
{
    std::vector<Qsc_ParameterInfo> all;
    Qsc_ParameterInfo parameter;
    for (uint32_t i = 0; QSysCmdHal_DescribeParameter(&object, i, &parameter) == 0; ++i) {
        all.push_back(parameter);
    }
    return all;
}

/// The path of one instance.
std::string path_of(const Qsc_ObjectInfo& object)
{
    std::string path = object.path;
    const size_t place = path.find("{i}");
    return place == std::string::npos ? path : path.replace(place, 3, "1");
}

} // namespace

TEST_F(OutsideTest, EveryObjectIsFoundByItsPathAndServesWhatItDescribes)
{
    std::set<std::string> paths;
    for (const Qsc_ObjectInfo& object : objects()) {
        const std::string path = path_of(object);
        Qsc_ObjectInfo found;
        ASSERT_EQ(QSysCmdHal_FindObject(path.c_str(), &found), 0u) << path;
        EXPECT_EQ(found.object, object.object) << path;
        EXPECT_EQ(found.entry, object.entry) << path;
        EXPECT_EQ(object.parameters, parameters(object).size()) << path;
        EXPECT_TRUE(object.parameters == 0 || paths.insert(object.path).second) << path << " stands twice";
        std::set<std::string> names;
        for (const Qsc_ParameterInfo& parameter : parameters(object)) {
            EXPECT_TRUE(names.insert(parameter.name).second) << path << " " << parameter.name;
            EXPECT_STRNE(parameter.type, "") << path << " " << parameter.name;
            EXPECT_NE(parameter.access & (kGet | kSet), 0u) << path << " " << parameter.name;
        }
        // Whatever a get of everything answers is a parameter that tools know.
        if ((object.access & kGet) == 0 || (object.flags & (QSC_OBJECT_ACTIONS | QSC_OBJECT_GROWS)) != 0) {
            continue;
        }
        const Json answer{"{}"};
        (void)object.entry->dispatcher(path.c_str(), answer.get(), kGet, QSC_COMMANDER_CLI, 0, 0);
        json_object_object_foreach(answer.get(), name, value)
        {
            (void)value;
            EXPECT_TRUE(names.contains(name) || std::strcmp(name, "ParamId") == 0) << path << " " << name;
        }
    }
    EXPECT_GE(paths.size(), 20u);
}

TEST_F(OutsideTest, EveryRefusalHasASentenceThatBeginsWithItsPath)
{
    for (const Qsc_ObjectInfo& object : objects()) {
        const std::string path = path_of(object);
        for (const Qsc_ParameterInfo& parameter : parameters(object)) {
            for (const char* value : {"{}", "null", R"({"ParamValue":null})", R"({"ParamValue":[]})",
                                      R"({"ParamValue":"\u0001"})", R"({"ParamValue":-77})"}) {
                outside() = Outside{};
                const Json sent{(std::string{"{\""} + parameter.name + "\":" + value + "}").c_str()};
                const uint32_t code =
                    object.entry->dispatcher(path.c_str(), sent.get(), kSet, QSC_COMMANDER_CLI, 0, 0);
                const std::string sentence = QSysCmdHal_LastError();
                if (code == 0) {
                    EXPECT_EQ(sentence, "") << path << " " << parameter.name << " " << value;
                } else {
                    EXPECT_TRUE(sentence.starts_with(path) && sentence.size() > path.size() + 4)
                        << path << " " << parameter.name << " " << value << ": " << sentence;
                }
            }
        }
    }
}

TEST_F(OutsideTest, LinesAboutAParameterNameTheFileThatServesIt)
{
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator{QSC_SOURCE "/handlers"}) {
        files.insert(entry.path().stem());
    }
    Qslog_SetProperty(QSLOG_LONG_PREFIX);
    for (const Qsc_ObjectInfo& object : objects()) {
        for (const Qsc_ParameterInfo& parameter : parameters(object)) {
            if (parameter.access == kGet && std::string_view{object.path}.starts_with("Device.")) {
                outside().logs.clear();
                (void)set(path_of(object), parameter.name, "1");
                for (const LogLine& line : outside().logs) {
                    const std::string module = line.text.substr(0, line.text.find(':'));
                    EXPECT_TRUE(files.contains(module) || module == "QSysCmdHal") << line.text;
                }
            }
        }
    }
}

TEST_F(OutsideTest, ASetIsCheckedWithoutBeingDone)
{
    static int events = 0;
    g_QSysCmdHalCb = [](uint64_t, uint64_t) -> uint64_t { return static_cast<uint64_t>(++events); };
    const struct {
        const char* path;
        const char* request;
        uint32_t code;
        const char* sentence;
        const char* after = nullptr; ///< the request, where it is changed
    } cases[] = {
        {"Device.DeviceInfo", R"({"HostName":{"ParamValue":"gate"}})", 0, ""},
        {"Device.DeviceInfo", R"({"HostName":{"ParamValue":"a b"}})", 14,
         "Device.DeviceInfo: HostName: 'a b' is no host name",
         R"({"HostName":{"ParamValue":"a b","ParamId":14}})"},
        {"Device.DeviceInfo", R"({"SerialNumber":{"ParamValue":"1"}})", 14,
         "Device.DeviceInfo: SerialNumber: it cannot be set",
         R"({"SerialNumber":{"ParamValue":"1","ParamId":14}})"},
        {"Device.DeviceInfo", R"({"Nothing":{}})", 22,
         "Device.DeviceInfo: Nothing: there is no such parameter", R"({"Nothing":{"ParamId":22}})"},
        {"Device.DeviceInfo", R"({"Nothing":1})", 22,
         "Device.DeviceInfo: Nothing: there is no such parameter"},
        {"Device.DeviceInfo.MemoryStatus", R"({"Free":{}})", 22,
         "Device.DeviceInfo.MemoryStatus: it cannot be set"},
        {"Device.Time", R"({"Status":{"ParamValue":"1"}})", 14, "Device.Time: Status: it cannot be set",
         R"({"Status":{"ParamValue":"1","ParamId":14}})"},
        {"Device.Time", R"({"Enable":{"ParamValue":"anything"}})", 0, ""}, // its handler judges it
        {"SysUpg", R"({"Action":{"ParamValue":"Reboot"}})", 0, ""},
        {"Nothing", "{}", 22, "Nothing: nothing serves this path"},
        {"Device.DeviceInfo", "[]", 22, "Device.DeviceInfo: the request is not a JSON object"},
    };
    for (const auto& one : cases) {
        const Json sent{one.request};
        EXPECT_EQ(QSysCmdHal_Check(one.path, sent.get(), QSC_COMMANDER_CLI), one.code) << one.request;
        EXPECT_STREQ(QSysCmdHal_LastError(), one.sentence);
        EXPECT_EQ(sent.text(), one.after != nullptr ? one.after : one.request);
    }
    EXPECT_EQ(QSysCmdHal_Check(nullptr, nullptr, QSC_COMMANDER_CLI), Fails(EINVAL));
    for (const std::string& step : outside().done) {
        EXPECT_FALSE(step.starts_with("set ") || step.starts_with("popen ")) << step;
    }
    EXPECT_EQ(events, 0) << "nothing has happened that a host should hear of";
}

TEST_F(OutsideTest, InstancesAreTold)
{
    const auto count = [](const char* path, std::vector<uint32_t> expected) {
        Qsc_ObjectInfo object;
        ASSERT_EQ(QSysCmdHal_FindObject(path, &object), 0u);
        uint32_t numbers[32];
        uint32_t found = 0;
        ASSERT_EQ(QSysCmdHal_FindInstances(&object, numbers, 32, &found), 0u);
        EXPECT_EQ(std::vector<uint32_t>(numbers, numbers + found), expected);
    };
    count("Device.WiFi.Radio.2", {1, 2});
    count("Device.WiFi.SSID.11.Stats", {1, 2, 3, 4, 5, 6, 7, 8, 11, 12, 13, 14, 15, 16, 17, 18});
    count("Device.DHCPv4.Client.1.SentOption.1", {1, 2});
    Qsc_ObjectInfo object;
    uint32_t found = 0;
    ASSERT_EQ(QSysCmdHal_FindObject("Device.Time", &object), 0u);
    EXPECT_EQ(QSysCmdHal_FindInstances(&object, nullptr, 0, &found), 22u) << "it has none";
    EXPECT_EQ(QSysCmdHal_FindObject(nullptr, &object), 22u);
    EXPECT_EQ(QSysCmdHal_FindObject("Foo", &object), 14u);
    EXPECT_EQ(QSysCmdHal_DescribeObject(10000, &object), 14u);
}
