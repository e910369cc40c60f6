// SPDX-License-Identifier: Apache-2.0
// What the router does in the background or before it ends: firmware, settings, restarts, measurements. The
// programs are faked; what starts them in the background only says so.
#include <csignal>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/DeviceTest.h"

using namespace test;

namespace
{

constexpr const char* kLock = "/tmp/qrn_sysupg.lock";
constexpr const char* kBusy = "another action is under way";
constexpr const char* kSpeedtest = "Device.IP.Diagnostics.X_QRN_Speedtest.";
constexpr const char* kFolder = "/tmp/qrn_speedtest";
constexpr const char* kResult = "/tmp/qrn_speedtest/result";

/// Somebody who has a lock.
class Holder
{
  public:
    explicit Holder(const char* path) : file_(open(path, O_RDWR | O_CREAT, 0600))
    {
        EXPECT_EQ(flock(file_, LOCK_EX | LOCK_NB), 0);
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;
    ~Holder() { close(file_); }

  private:
    int file_;
};

class Actions : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        outside().programs = {{"sysupgrade", "[ $1 != -b ] || echo saved >$2"}, {"sh", "echo no number"}};
        make("/tmp/a.bin", "image");
    }

    static void make(const std::string& path, const std::string& text, mode_t mode = 0600)
    {
        write_file(path, text);
        chmod(path.c_str(), mode);
    }

    /// "MESSAGE", or "! SENTENCE".
    static std::string act(const std::string& action, const std::string& members = "")
    {
        std::string object = R"({"Action":)" + value_of("\"" + action + "\"");
        object += members.empty() ? "}" : "," + named(members).substr(1);
        const Answer answer = send("SysUpg", kSet, object);
        const Answer result{0, answer.member("Action")};
        EXPECT_EQ(result.member("ParamId"), std::to_string(answer.code));
        const std::string message = result.member("Message");
        const std::string sentence = QSysCmdHal_LastError();
        EXPECT_EQ(message.empty(), !sentence.empty());
        return answer.code == 0 ? message.substr(1, message.size() - 2)
                                : "! " + sentence.substr(sentence.find(": ") + 2);
    }

    /// The steps, with COPY in the place of a private copy's name.
    static Lines acted()
    {
        Lines lines = steps();
        for (std::string& line : lines) {
            const size_t end = line.rfind("/file");
            const size_t begin = line.rfind("/tmp/qrn_sysupg.", end);
            if (end != std::string::npos) {
                line.replace(begin, end + 5 - begin, "COPY");
            }
        }
        return lines;
    }

    static long copies()
    {
        return std::ranges::count_if(std::filesystem::directory_iterator{"/tmp"}, [](const auto& entry) {
            return entry.is_directory() && entry.path().filename().string().starts_with("qrn_sysupg.");
        });
    }

    static std::string state() { return values(kSpeedtest, "DiagnosticsState"); }
};

} // namespace

TEST_F(Actions, EachRunsItsProgramOnAPrivateCopyAndIsOnRecordBefore)
{
    FakeFolder::put("/tmp/list", "drwx------ 0/0 0 2026-01-01 10:00:00 etc/\n");
    outside().programs["tar"] = "cat /tmp/list";
    const std::string start = "run sh sh /tmp/qrn_sysupg.lock ";
    const struct {
        const char* action;
        const char* members;
        const char* message;
        Lines done;
        Lines events;
        long kept; ///< copies
    } cases[] = {
        {"Check",
         "FileName=/tmp/a.bin",
         "the image is right for this device",
         {"run sysupgrade -T COPY"},
         {},
         0},
        {"Upgrade",
         "FileName=/tmp/a.bin",
         "the upgrade begins",
         {"run sysupgrade -T COPY", "sync", start + "2 0 sysupgrade COPY"},
         {"upgrade by CLI"},
         1},
        {"Upgrade",
         "FileName=/tmp/a.bin KeepSettings=true",
         "the upgrade begins",
         {"run sysupgrade -T COPY", "sync", start + "2 0 sysupgrade COPY"},
         {"upgrade by CLI"},
         1},
        {"Upgrade",
         "FileName=/tmp/a.bin KeepSettings=0",
         "the upgrade begins",
         {"run sysupgrade -T COPY", "sync", start + "2 0 sysupgrade -n COPY"},
         {"upgrade without settings by CLI"},
         1},
        {"Upgrade",
         "FileName=/tmp/a.bin KeepSettings=false",
         "the upgrade begins",
         {"run sysupgrade -T COPY", "sync", start + "2 0 sysupgrade -n COPY"},
         {"upgrade without settings by CLI"},
         1},
        {"Backup",
         "FileName=/tmp/b.tgz",
         "the settings are saved",
         {"sync", "run sysupgrade -b COPY"},
         {"backup by CLI"},
         0},
        {"Restore",
         "FileName=/tmp/a.bin",
         "the settings are restored; they hold from the next reboot on",
         {"run tar -tvzf COPY", "sync", "run sysupgrade -r COPY", "sync"},
         {"restore by CLI"},
         0},
        {"Reboot", "", "the reboot comes", {"sync", start + "2 0 reboot"}, {"reboot by CLI"}, 0},
        {"Reboot", "Delay=3600", "the reboot comes", {"sync", start + "3600 0 reboot"}, {"reboot by CLI"}, 0},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.action} + " " + one.members);
        const long before = copies();
        EXPECT_EQ(act(one.action, one.members), one.message);
        EXPECT_EQ(acted(), one.done);
        EXPECT_EQ(messages(), one.events);
        EXPECT_EQ(copies() - before, one.kept);
    }
    EXPECT_EQ(read_file(kLock), "no number\n") << "a reboot that waits can be ended";
    struct stat status = {};
    ASSERT_EQ(stat("/tmp/b.tgz", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(read_file("/tmp/b.tgz"), "saved\n");
    EXPECT_EQ(act("Backup", "FileName=/tmp/b.tgz"),
              "! FileName is not below /tmp, or there is such a file already");
    EXPECT_EQ(act("Upgrade", "FileName=/tmp/a.bin"), "the upgrade begins");
    EXPECT_EQ(read_file(kLock), "") << "and nothing else";
}

TEST_F(Actions, WhatFailsEndsTheActionAndLeavesNothing)
{
    FakeFolder::put("/tmp/list", "-rw------- 0/0 0 2026-01-01 10:00:00 etc/a\n");
    const struct {
        const char* action;
        const char* members;
        const char* program; ///< that fails; "sh" is missing then
        const char* sentence;
        Lines events;
    } cases[] = {
        {"Check", "FileName=/tmp/a.bin", "sysupgrade", "it is no image for this device", {}},
        {"Upgrade", "FileName=/tmp/a.bin", "sysupgrade", "it is no image for this device", {}},
        {"Upgrade", "FileName=/tmp/a.bin KeepSettings=2", "", "KeepSettings is neither 0 nor 1", {}},
        {"Upgrade", "FileName=/tmp/a.bin", "sh", "sh is not installed", {"upgrade by CLI"}},
        {"Backup", "FileName=/tmp/b", "sysupgrade", "the settings could not be saved", {"backup by CLI"}},
        {"Backup", "FileName=/etc/b", "", "FileName is not below /tmp, or there is such a file already", {}},
        {"Backup",
         "FileName=/tmp/none/b",
         "",
         "FileName is not below /tmp, or there is such a file already",
         {}},
        {"Restore", "FileName=/tmp/a.bin", "tar", "it is no archive of settings", {}},
        {"Restore",
         "FileName=/tmp/a.bin",
         "sysupgrade",
         "the settings could not be restored",
         {"restore by CLI"}},
        {"Reboot", "", "sh", "sh is not installed", {"reboot by CLI"}},
        {"Reboot", "Delay=3601", "", "Delay is not 0 to 3600", {}},
        {"Reboot", "Delay=-1", "", "Delay is not 0 to 3600", {}},
        {"Check", "", "", "FileName is missing", {}},
        {"Backup", "", "", "FileName is missing", {}},
        {"Explode", "", "", "there is no action of that name", {}},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.action} + " " + one.members + " " + one.program);
        outside().programs = {
            {"sysupgrade", "[ $1 != -b ] || echo saved >$2"}, {"tar", "cat /tmp/list"}, {"sh", ""}};
        if (*one.program == 's' && one.program[1] == 'h') {
            outside().programs.erase("sh");
        } else if (*one.program != '\0') {
            outside().programs[one.program] = "cat /tmp/list; exit 1";
        }
        if (std::string_view{one.action} != "Explode") {
            EXPECT_EQ(act(one.action, one.members), std::string{"! "} + one.sentence);
        }
        EXPECT_EQ(messages(), one.events);
        EXPECT_EQ(copies(), 0);
        EXPECT_FALSE(std::filesystem::exists("/tmp/b"));
    }
    EXPECT_EQ(send("SysUpg", kGet, R"({"Action":{"ParamValue":"Reboot"}})"), Fails(EFAULT));
    EXPECT_STREQ(QSysCmdHal_LastError(), "SysUpg: an action cannot be read");
    EXPECT_EQ(send("SysUpg", kSet, R"({"Action":{"ParamValue":"Explode"}})"), Fails(EINVAL));
}

TEST_F(Actions, OneAtATime)
{
    const Holder holder{kLock};
    for (const char* action : {"Check", "Upgrade", "Backup", "Restore", "FactoryReset", "Reboot"}) {
        EXPECT_EQ(act(action, "FileName=/tmp/a.bin"), std::string{"! "} + kBusy);
    }
    EXPECT_EQ(acted(), Lines{});
}

TEST_F(Actions, AFactoryResetNeedsAnOverlay)
{
    const FakeFolder proc{"/proc"};
    EXPECT_EQ(act("FactoryReset"), "! this device has no overlay to erase");
    FakeFolder::put("/proc/self/mounts", "none /overlays tmpfs rw\n");
    EXPECT_EQ(act("FactoryReset"), "! this device has no overlay to erase");
    FakeFolder::put("/proc/self/mounts", "none / tmpfs rw\nubi /overlay ubifs rw\n");
    EXPECT_EQ(messages(), Lines{});
    EXPECT_EQ(act("FactoryReset"), "the factory reset begins");
    EXPECT_EQ(acted(), (Lines{"sync", "run sh sh /tmp/qrn_sysupg.lock 2 0 sh -c firstboot -y && reboot"}));
    EXPECT_EQ(messages(), Lines{"factory reset by CLI"});
    EXPECT_EQ(read_file(kLock), "");
}

TEST_F(Actions, FilesThatOthersCouldHavePutThereAreRefused)
{
    std::filesystem::create_symlink("a.bin", "/tmp/link");
    std::filesystem::create_directory("/tmp/folder");
    std::filesystem::create_symlink("folder", "/tmp/way");
    make("/tmp/folder/a.bin", "image");
    make("/tmp/group", "image", 0620);
    make("/tmp/others", "image", 0602);
    make("/tmp/empty", "");
    make("/etc/a.bin", "image");
    mkfifo("/tmp/pipe", 0600);
    const std::string longest = "/tmp/" + std::string(250, 'x');
    for (const std::string name :
         {"/etc/a.bin", "tmp/a.bin", "/tmp/link", "/tmp/way/a.bin", "/tmp/folder", "/tmp/folder/",
          "/tmp/./a.bin", "/tmp/../tmp/a.bin", "/tmp//a.bin", "/tmp/group", "/tmp/others", "/tmp/empty",
          "/tmp/pipe", "/tmp/none", "/tmp/none/a.bin", "/tmp/", "/tmp/folder/../a.bin", longest.c_str()}) {
        EXPECT_EQ(act("Check", "FileName=" + name),
                  "! FileName is no file below /tmp that root alone may write to")
            << name;
    }
    EXPECT_EQ(acted(), Lines{});
    EXPECT_EQ(act("Check", "FileName=/tmp/folder/a.bin"), "the image is right for this device");
    make("/tmp/big", std::string((2 << 20) + 3, 'b'));
    outside().programs["sysupgrade"] = "cat $2 >/tmp/seen; ls -l $2 >/tmp/mode";
    EXPECT_EQ(act("Check", "FileName=/tmp/big"), "the image is right for this device");
    EXPECT_EQ(read_file("/tmp/seen").size(), static_cast<size_t>((2 << 20) + 3));
    EXPECT_TRUE(read_file("/tmp/mode").starts_with("-rw------- "));
}

TEST_F(Actions, ArchivesOfSettingsHoldFilesFoldersAndLinksThatStayWithin)
{
    outside().programs["tar"] = "cat /tmp/list";
    const struct {
        const char* line;
        bool is_right;
    } cases[] = {
        {"-rw------- 0/0 12 2026-01-01 10:00:00 etc/name with blanks", true},
        {"lrwxrwxrwx 0/0 0  2026-01-01 10:00:00 etc/in -> config", true},
        {"lrwxrwxrwx 0/0 0 2026-01-01 10:00:00 etc/in -> ../out", false},
        {"lrwxrwxrwx 0/0 0 2026-01-01 10:00:00 etc/in -> /etc", false},
        {"lrwxrwxrwx 0/0 0 2026-01-01 10:00:00 ../in -> config", false},
        {"-rw------- 0/0 12 2026-01-01 10:00:00 /etc/name", false},
        {"-rw------- 0/0 12 2026-01-01 10:00:00 etc/../name", false},
        {"-rw------- 0/0 12 2026-01-01 10:00:00 etc/..", false},
        {"-rw------- 0/0 12 2026-01-01 10:00:00 etc/..name", true},
        {"-rw------- 0/0 12 2026-01-01 10:00:00 ", false},
        {"-rw------- 0/0 12 2026-01-01", false},
        {"crw------- 0/0 1,3 2026-01-01 10:00:00 dev/null", false},
        {"hrw------- 0/0 0 2026-01-01 10:00:00 etc/a link to etc/b", false},
        {"x-rw------- 0/0 12 2026-01-01 10:00:00 etc/name", false},
        {"", false},
    };
    for (const auto& one : cases) {
        write_file("/tmp/list", std::string{"drwx------ 0/0 0 2026-01-01 10:00:00 etc/\n"} + one.line + "\n");
        EXPECT_EQ(act("Restore", "FileName=/tmp/a.bin"),
                  one.is_right ? "the settings are restored; they hold from the next reboot on"
                               : "! the archive holds what does not belong into one")
            << one.line;
    }
    write_file("/tmp/list", "");
    EXPECT_EQ(act("Restore", "FileName=/tmp/a.bin"), "! it is no archive of settings");
}

TEST_F(Actions, AMeasurementIsStartedWatchedAndCanceled)
{
    EXPECT_EQ(values(kSpeedtest, "Server DiagnosticsState DownloadRate UploadRate Latency CompleteTime"),
              "\"\" \"None\" 0 0 0 \"0001-01-01T00:00:00Z\"");
    EXPECT_FALSE(std::filesystem::exists(kFolder)) << "looking makes nothing";
    EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Canceled"), "") << "there is none";
    EXPECT_EQ(state(), "\"None\"");
    EXPECT_FALSE(std::filesystem::exists(kResult));
    EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Requested"), "");
    EXPECT_EQ(state(), "\"Error_Internal\"") << "the script is not installed";
    EXPECT_EQ(outside().logs.front(), (LogLine{4, "[W] /usr/bin/qrn_speedtest.sh is not installed\n"}));
    outside().programs["/usr/bin/qrn_speedtest.sh"] = "";
    EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Requested"), "");
    EXPECT_EQ(acted(), Lines{"run sh sh /tmp/qrn_speedtest/lock 0 120 /usr/bin/qrn_speedtest.sh"});
    EXPECT_EQ(read_file(kResult), "");
    EXPECT_EQ(state(), "\"Error_Internal\"") << "it has ended and says nothing";
    EXPECT_EQ(change(kSpeedtest, "Server=speed.example.net DiagnosticsState=Requested"), "");
    EXPECT_EQ(acted(),
              Lines{"run sh sh /tmp/qrn_speedtest/lock 0 120 /usr/bin/qrn_speedtest.sh speed.example.net"});
    EXPECT_EQ(values(kSpeedtest, "Server"), "\"speed.example.net\"");
    EXPECT_EQ(messages().back(), "set speedtest DiagnosticsState Requested by CLI");
    constexpr const char* kLockOfIt = "/tmp/qrn_speedtest/lock";
    EXPECT_EQ(read_file(kLockOfIt), "no number\n");
    {
        const Holder holder{kLockOfIt};
        EXPECT_EQ(state(), "\"Requested\"");
        EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Requested"),
                  "DiagnosticsState: a measurement is under way");
        EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Canceled"), "DiagnosticsState: it could not be ended");
    }
    std::array<int, 2> ready{};
    ASSERT_EQ(pipe(ready.data()), 0);
    const pid_t script = fork();
    if (script == 0) {
        setpgid(0, 0);
        const Holder holder{kLockOfIt};
        write_file(kLockOfIt, std::to_string(getpid()) + "\n");
        (void)!write(ready[1], "x", 1);
        for (;;) {
            pause();
        }
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Canceled"), "");
    EXPECT_EQ(state(), "\"Canceled\"");
    int status = 0;
    waitpid(script, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(read_file(kLockOfIt), "");
    for (const char* word : {"None", "Complete", "Error_Internal", "Error_Timeout"}) {
        EXPECT_EQ(change(kSpeedtest, std::string{"DiagnosticsState="} + word).substr(0, 17),
                  "DiagnosticsState:");
    }
}

TEST_F(Actions, WhatAMeasurementCameToIsBelievedOnlyInItsForms)
{
    outside().programs["/usr/bin/qrn_speedtest.sh"] = "";
    EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Requested"), "");
    const struct {
        const char* result;
        const char* lock;
        const char* values;
    } cases[] = {
        {"download=93000\nupload=21000\nlatency=12\nstate=Complete\n", "", "\"Complete\" 93000 21000 12"},
        {"download=1e9\nupload=-1\nlatency=x\nstate=Complete\n", "", "\"Complete\" 0 0 0"},
        {"download=1\nupload=2\nlatency=3\nstate=Error_Timeout\n", "", "\"Error_Timeout\" 0 0 0"},
        {"download=1\nupload=2\nlatency=3\nstate=<b>\n", "", "\"Error_Internal\" 0 0 0"},
        {"download=1\nupload=2\nlatency=3\nstate=Complete\n", "late\n", "\"Error_Timeout\" 0 0 0"},
        {"download=1\nupload=2\nlatency=3\nstate=Complete\n", "lat", "\"Complete\" 1 2 3"},
    };
    for (const auto& one : cases) {
        write_file(kResult, one.result);
        write_file("/tmp/qrn_speedtest/lock", one.lock);
        EXPECT_EQ(values(kSpeedtest, "DiagnosticsState DownloadRate UploadRate Latency"), one.values);
    }
    const timespec times[] = {{1795316400, 0}, {1795316400, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, kResult, times, 0), 0);
    EXPECT_EQ(values(kSpeedtest, "CompleteTime"), "\"2026-11-22T03:00:00Z\"");
    write_file(kResult, "state=Canceled\n");
    EXPECT_EQ(values(kSpeedtest, "CompleteTime"), "\"0001-01-01T00:00:00Z\"");
    write_file(kResult, "state=Complete\ndownload=1\n");
    // A folder that others may look into may be theirs.
    for (const mode_t mode : {0750U, 0701U}) {
        chmod(kFolder, mode);
        EXPECT_EQ(values(kSpeedtest, "Server DiagnosticsState DownloadRate"), "\"\" \"None\" 0");
        EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Requested"),
                  "DiagnosticsState: /tmp/qrn_speedtest is not a folder of ours alone");
        EXPECT_EQ(change(kSpeedtest, "Server=a.example"),
                  "Server: /tmp/qrn_speedtest/server cannot be written");
    }
    std::filesystem::remove_all(kFolder);
    std::filesystem::create_directory("/tmp/elsewhere");
    chmod("/tmp/elsewhere", 0700);
    std::filesystem::create_symlink("/tmp/elsewhere", kFolder);
    EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Requested").substr(0, 17), "DiagnosticsState:");
    std::filesystem::remove(kFolder);
    EXPECT_EQ(change(kSpeedtest, "Server=a.example"), "");
    struct stat status = {};
    ASSERT_EQ(stat(kFolder, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
    ASSERT_EQ(stat("/tmp/qrn_speedtest/server", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    std::filesystem::create_directories(std::string{kResult} + "/in the way");
    EXPECT_EQ(change(kSpeedtest, "DiagnosticsState=Requested"),
              "DiagnosticsState: /tmp/qrn_speedtest/result cannot be written");
}
