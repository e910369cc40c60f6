// SPDX-License-Identifier: Apache-2.0
// The journal, on real files: what sets leave in it, and what others do to it.
#include <json-c/json.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "qsc_journal.h"
#include "support/DeviceTest.h"

using namespace test;

namespace
{

constexpr const char* kFolder = "/etc/qsyscmdhal";
constexpr const char* kFile = "/etc/qsyscmdhal/journal";
constexpr const char* kOlder = "/etc/qsyscmdhal/journal.1";

class Journal : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        QSysCmdHal_Init(nullptr, QSC_INIT_JOURNAL);
    }
    void TearDown() override
    {
        QSysCmdHal_Close();
        umount2(kFolder, MNT_DETACH);
        DeviceTest::TearDown();
    }

    static uint32_t add(const std::string& entry)
    {
        const Json object{entry};
        return QSysCmdHal_JournalAdd(object.get());
    }

    /// A member of each entry that a filter wants, as JSON with blanks between them.
    static std::string read_back(const std::string& filter = "{}", const char* member = "id")
    {
        json_object* entries = nullptr;
        const Json wanted{filter};
        const uint32_t code = QSysCmdHal_JournalRead(wanted.get(), &entries);
        const Json owner{entries};
        std::string text = code == 0 ? "" : "code " + std::to_string(code);
        for (size_t i = 0; code == 0 && i < json_object_array_length(entries); ++i) {
            json_object* const entry = json_object_array_get_idx(entries, i);
            text += (i == 0 ? "" : " ") + std::string{json_object_to_json_string_ext(
                                              json_object_object_get(entry, member),
                                              JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE)};
        }
        return text;
    }

    static Lines errors()
    {
        Lines lines;
        for (const LogLine& line : outside().logs) {
            if (line.text.find("/journal ") != std::string::npos) {
                lines.push_back(line.text);
            }
        }
        return lines;
    }
};

} // namespace

TEST_F(Journal, HasTheOldAndTheNewValuesOfEachSetButNoSecrets)
{
    put("system", "config system\n\toption hostname 'gate'\n");
    put("network", "config interface 'wan'\n\toption username 'me'\n\toption password 'old secret'\n");
    put("qrndhcpopts", "config opt 'sent60'\n\toption enable '1'\n");
    write_file("/etc/passwd", "root:x:0:0:root:/root:/bin/ash\n");
    outside().programs["/bin/ash"] = "";
    const std::string longest(1024, 'x');
    const struct {
        const char* path;
        std::string request;
        std::string changes; ///< "": none is recorded
    } cases[] = {
        {"Device.DeviceInfo.", R"({"HostName":{"ParamValue":"new"},"Nothing":{"ParamValue":1}})",
         R"([{"path":"Device.DeviceInfo","parameter":"HostName","new":"new","old":"gate"},)"
         R"({"path":"Device.DeviceInfo","parameter":"Nothing","new":1}])"},
        {"Device.DeviceInfo", R"({"HostName":{"ParamValue":")" + longest + "y\"}}",
         R"([{"path":"Device.DeviceInfo","parameter":"HostName","new":")" + longest +
             "...\",\"old\":\"new\"}]"},
        {"Device.DHCPv4.Client.1",
         R"({"XQrnPppoePassword":{"ParamValue":"new secret"},"XQrnPppoeUsername":{"ParamValue":"you"}})",
         R"([{"path":"Device.DHCPv4.Client.1","parameter":"XQrnPppoePassword","old":"***","new":"***"},)"
         R"({"path":"Device.DHCPv4.Client.1","parameter":"XQrnPppoeUsername","new":"you","old":"me"}])"},
        {"Device.DHCPv4.Client.1.SentOption.",
         R"({"Device.DHCPv4.Client.1.SentOption.1":{"Enable":{"ParamValue":"0"}}})",
         R"([{"path":"Device.DHCPv4.Client.1.SentOption.1","parameter":"Enable","new":"0","old":"1"}])"},
        {"Device.Users.User.1", R"({"Password":{"ParamValue":"new secret"}})",
         R"([{"path":"Device.Users.User.1","parameter":"Password","old":"***","new":"***"}])"},
        {"Device.DeviceInfo", "{}", ""},
        {"syslog", R"({"level":{"ParamValue":5}})", ""},
    };
    std::string expected;
    for (const auto& each : cases) {
        send(each.path, kSet, each.request, QSC_COMMANDER_WEB);
        expected += each.changes.empty() ? "" : (expected.empty() ? "" : " ") + each.changes;
    }
    EXPECT_EQ(read_back("{}", "changes"), expected);
    EXPECT_EQ(read_back(R"({"limit":1})", "commander"), "\"WEB\"");
    EXPECT_EQ(read_file(kFile).find("secret"), std::string::npos);

    // A failure is recorded with its sentence, and a get or a set without a journal is not.
    QSysCmdHal_SetPeer("user 33");
    send("Device.DeviceInfo", kSet, R"({"HostName":{"ParamValue":"a b"}})");
    QSysCmdHal_SetPeer(nullptr);
    send("Device.DeviceInfo", kGet, "{}");
    const std::string last = R"({"limit":1})";
    EXPECT_EQ(read_back(last, "result") + read_back(last, "peer") + read_back(last, "commander"),
              R"(14"user 33""CLI")");
    EXPECT_NE(read_back(last, "error").find("Device.DeviceInfo: HostName: "), std::string::npos);
    const std::string before = read_file(kFile);
    QSysCmdHal_Close();
    send("Device.DeviceInfo", kSet, R"({"HostName":{"ParamValue":"newer"}})");
    EXPECT_EQ(read_file(kFile), before);
}

TEST_F(Journal, StaysWithinItsTwoFilesAndKeepsTheNewest)
{
    EXPECT_EQ(read_back(), "");
    EXPECT_FALSE(std::filesystem::exists(kFolder)) << "reading makes nothing";
    const std::string filler(900, 'x');
    for (int i = 0; i < 600; ++i) {
        ASSERT_EQ(add(R"({"id":")" + std::to_string(i) + R"(","error":")" + filler + "\"}"), 0u);
    }
    for (const char* path : {kFile, kOlder}) {
        struct stat status = {};
        ASSERT_EQ(stat(path, &status), 0);
        EXPECT_LE(status.st_size, 128 * 1024) << path;
        EXPECT_EQ(status.st_mode, S_IFREG | 0600U) << path;
    }
    EXPECT_EQ(read_back(R"({"limit":2})"), R"("598" "599")");
    EXPECT_EQ(read_back(R"({"id":"1"})"), "");

    // One that is too long loses the ends of its lists; one that is too long without them is refused.
    std::string changes;
    for (int i = 0; i < 3000; ++i) {
        changes += (i == 0 ? "" : ",") + std::string{R"({"path":"Device.Time","parameter":"P)"} +
                   std::to_string(i) + "\"}";
    }
    EXPECT_EQ(add(R"({"id":"long","changes":[)" + changes + R"(],"configuration":[]})"), 0u);
    EXPECT_EQ(read_back(R"({"id":"long"})", "cut"), "true");
    EXPECT_EQ(read_back(R"({"id":"long","path":"Device.Time.P0"})", "changes"),
              R"([{"path":"Device.Time","parameter":"P0"}])");
    EXPECT_EQ(add(R"({"id":"longer","error":")" + std::string(40'000, 'x') + "\"}"), Fails(EFAULT));
}

TEST_F(Journal, PassesOverWhatIsNoEntryAndMendsATornLine)
{
    std::filesystem::create_directory(kFolder);
    chmod(kFolder, 0700);
    std::string depth(1000, '[');
    write_file(kOlder, R"({"id":"older"})"
                       "\n");
    write_file(kFile, "\n[]\nnull\n{}x\n\xff\x1b[31m\n" + depth + "\n" +
                          std::string("{\"id\":\"\0\"}\n", 11) +
                          R"({"id":{"id":1},"changes":7})"
                          "\n"
                          R"({"id":"whole"})"
                          "\n"
                          R"({"id":"to)");
    EXPECT_EQ(read_back(), R"("older" {"id":1} "whole")");
    EXPECT_EQ(read_back(R"({"path":"Device."})"), "");
    EXPECT_EQ(add(R"({"id":"after"})"), 0u);
    EXPECT_EQ(read_back(), R"("older" {"id":1} "whole" "after")");
}

TEST_F(Journal, IsFilteredByThePartsOfPaths)
{
    add(R"({"id":"1","changes":[{"path":"Device.WiFi.Radio.1","parameter":"Channel"},)"
        R"({"path":"Device.WiFi.Radio.10","parameter":"Channel"},{"path":"Device.Time","parameter":"Enable"}]})");
    const struct {
        const char* path;
        int changes;
    } cases[] = {
        {"Device.", 3},           {"Device.WiFi", 2},          {"Device.WiFi.Radio.1", 1},
        {"Device.WiFi.Rad", 0},   {"Device.Time.Enable", 1},   {"Device.Time.Enab", 0},
        {"Device.TimeEnable", 0}, {"Device.Time.Enable.x", 0}, {"Device.WiFi.Radio.1.Channel.", 1},
    };
    for (const auto& each : cases) {
        const std::string found = read_back(R"({"path":")" + std::string{each.path} + "\"}", "changes");
        EXPECT_EQ(std::count(found.begin(), found.end(), '{'), each.changes) << each.path << found;
    }
    for (const char* filter : {"[]", R"({"id":1})", R"({"limit":-1})", R"({"limit":"1"})"}) {
        EXPECT_EQ(read_back(filter), "code 22") << filter;
    }
    EXPECT_EQ(QSysCmdHal_JournalRead(nullptr, nullptr), Fails(EINVAL));
    EXPECT_EQ(add("[]"), Fails(EINVAL));
}

TEST_F(Journal, TakesEntriesOfManyProcessesWhole)
{
    constexpr int kProcesses = 4;
    constexpr int kEntries = 250;
    for (int i = 0; i < kProcesses; ++i) {
        if (fork() == 0) {
            for (int k = 0; k < kEntries; ++k) {
                add(R"({"id":"x","time":1,"uptime":1,"error":")" +
                    std::string(static_cast<size_t>(k % 90), 'y') + "\"}");
            }
            _exit(0);
        }
    }
    while (wait(nullptr) > 0) {
    }
    const std::string ids = read_back();
    EXPECT_EQ(std::count(ids.begin(), ids.end(), 'x'), kProcesses * kEntries);
}

TEST_F(Journal, FailsNoSetWhereItCannotBeWritten)
{
    put("system", "config system\n\toption hostname 'gate'\n");
    const std::string request = R"({"HostName":{"ParamValue":"new"}})";
    std::filesystem::create_directory(kFolder);
    ASSERT_EQ(mount("none", kFolder, "tmpfs", 0, "size=8k,mode=0700"), 0);
    EXPECT_EQ(add(R"({"id":"first"})"), 0u);
    size_t failed = 0;
    for (const size_t size : {1000U, 100U, 1U}) {
        while (add(R"({"id":"more","error":")" + std::string(size, 'x') + "\"}") == 0) {
        }
        ++failed;
    }
    EXPECT_EQ(read_file(kFile).back(), '\n') << "nothing of what did not fit stays";
    EXPECT_EQ(errors().size(), failed);
    EXPECT_EQ(send("Device.DeviceInfo", kSet, request), Succeeds());
    EXPECT_EQ(errors().size(), failed + 1);
    EXPECT_NE(errors().back().find("No space left on device"), std::string::npos);
    umount2(kFolder, MNT_DETACH);

    chmod(kFolder, 0777);
    EXPECT_EQ(send("Device.DeviceInfo", kSet, request), Succeeds());
    EXPECT_FALSE(std::filesystem::exists(kFile)) << "others could read and replace it";
    chmod(kFolder, 0700);
    std::filesystem::create_directory(kFile);
    EXPECT_EQ(add("{}"), Fails(EFAULT));
    EXPECT_EQ(read_back(), "code 14");
}
