// SPDX-License-Identifier: Apache-2.0
// Whole packages, read and replaced as texts.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <sys/stat.h>

#include "qrnuci.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

namespace
{

constexpr const char* kOld = "config t 's'\n\toption a '1'\n";
constexpr const char* kNew = "config t 's'\n\toption a '2'\n";
constexpr const char* kOther = "config t 's'\n\toption a 'other'\n";

} // namespace

using Replace = UciTest;

TEST_F(Replace, TakesTheTextThatWasSeenAndNoOther)
{
    const struct {
        const char* now; ///< null: no file
        const char* before;
        const char* after;
        uint32_t code;
    } cases[] = {
        {kOld, kOld, kNew, 0},       {kNew, kOld, kNew, 0},
        {kOther, kOld, kNew, 11},    {kOld, nullptr, kNew, 11},
        {"", nullptr, kNew, 11},     {kNew, nullptr, kNew, 0},
        {nullptr, nullptr, kNew, 0}, {nullptr, kOld, kNew, 11},
        {kOld, kOld, nullptr, 0},    {nullptr, kOld, nullptr, 0},
        {kOther, kOld, nullptr, 11}, {nullptr, nullptr, nullptr, 0},
        {kOld, kOld, "", 0},         {kOld, kOld, "half a 'package", 0},
    };
    for (const auto& [now, before, after, code] : cases) {
        SetUp();
        if (now != nullptr) {
            put_config("p", now);
        }
        put_staged("p", "p.s.a='theirs'\n");
        const std::string what = std::string{now != nullptr ? now : "none"} + (after != nullptr ? after : "");
        EXPECT_EQ(QrnUci_ReplacePackage("p", before, after), code) << what;
        const char* const found = code == 0 ? after : now;
        EXPECT_EQ(std::filesystem::exists("/etc/config/p"), found != nullptr) << what;
        EXPECT_EQ(config("p"), found != nullptr ? found : "") << what;
        EXPECT_EQ(staged("p"), "p.s.a='theirs'\n") << what;
        const auto files = std::distance(std::filesystem::directory_iterator{"/etc/config"}, {});
        EXPECT_EQ(files, found != nullptr ? 1 : 0) << what;
    }
}

TEST_F(Replace, ReadsTheTextWithoutWhatIsStagedAndSaysHowLongItIs)
{
    put_config("p", kOld);
    put_staged("p", "p.s.a='theirs'\n");
    std::array<char, 64> buffer{};
    buffer[0] = 'x';
    uint32_t length = 0;
    EXPECT_EQ(QrnUci_ReadPackage("p", nullptr, 0, &length), 14u);
    EXPECT_EQ(length, std::strlen(kOld));
    EXPECT_EQ(QrnUci_ReadPackage("p", buffer.data(), length, &length), 14u) << "no room for the end";
    EXPECT_EQ(buffer[0], 'x');
    EXPECT_EQ(QrnUci_ReadPackage("p", buffer.data(), length + 1, &length), 0u);
    EXPECT_STREQ(buffer.data(), kOld);
    EXPECT_EQ(QrnUci_ReadPackage("missing", buffer.data(), buffer.size(), nullptr), 2u);
    EXPECT_EQ(QrnUci_ReadPackage("../p", buffer.data(), buffer.size(), nullptr), 22u);
    EXPECT_EQ(QrnUci_ReplacePackage("../p", kOld, kNew), 22u);
    put_config("p", std::string{"config t s\n\0#", 13});
    EXPECT_EQ(QrnUci_ReadPackage("p", buffer.data(), buffer.size(), nullptr), 14u) << "it would be cut";
}

TEST_F(Replace, KeepsOwnerPermissionsLinksAndTheFirstFolder)
{
    ASSERT_EQ(QrnUci_ReplacePackage("p", nullptr, kOld), 0u);
    struct stat status = {};
    ASSERT_EQ(stat("/etc/config/p", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    std::filesystem::rename("/etc/config/p", "/etc/real");
    std::filesystem::create_symlink("/etc/real", "/etc/config/p");
    ASSERT_EQ(chmod("/etc/real", 0644), 0);
    EXPECT_EQ(QrnUci_ReplacePackage("p", kOld, kNew), 0u);
    EXPECT_TRUE(std::filesystem::is_symlink("/etc/config/p"));
    ASSERT_EQ(stat("/etc/real", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644u);
    EXPECT_EQ(get("p.s.a"), "2");
    EXPECT_EQ(QrnUci_ReplacePackage("p", kNew, nullptr), 0u);
    EXPECT_FALSE(std::filesystem::is_symlink("/etc/config/p"));

    if (std::system("mkdir -p /var/run && mount -t tmpfs none /var/run") != 0) {
        GTEST_SKIP() << "no mount tool";
    }
    put_config("p", kOld);
    std::filesystem::create_directories("/var/run/uci");
    write_file("/var/run/uci/p", kOther);
    EXPECT_EQ(QrnUci_ReplacePackage("p", kOld, kNew), 11u);
    EXPECT_EQ(QrnUci_ReplacePackage("p", kOther, kNew), 0u);
    EXPECT_EQ(read_file("/var/run/uci/p"), kNew);
    EXPECT_EQ(config("p"), kOld);
    std::filesystem::remove_all("/var/run/uci");
}

TEST_F(Replace, ThatFailsIsACodeAndALineAndChangesNothing)
{
    const struct {
        const char* before;
        const char* after;
        const char* call;
        int skipped;
        int error;
        const char* line;
    } cases[] = {
        {kOld, kNew, "open64", 0, EACCES, "open /etc/config/p: Permission denied\n"},
        {kOld, kNew, "pread64", 0, EIO, "read /etc/config/p: Input/output error\n"},
        {kOld, kNew, "pread64", 1, EIO, "read /tmp/.uci/p: Input/output error\n"},
        {kOld, kNew, "mkostemp64", 0, ENOSPC,
         "create a file beside /etc/config/p: No space left on device\n"},
        {kOld, kNew, "fflush", 0, ENOSPC, "write /etc/config/.p.qrnuci-"},
        {kOld, kNew, "fsync", 0, EIO, "write /etc/config/.p.qrnuci-"},
        {kOld, kNew, "rename", 0, EBUSY, "replace /etc/config/p: Device or resource busy\n"},
        {kOld, nullptr, "unlink", 0, EROFS, "remove /etc/config/p: Read-only file system\n"},
        {nullptr, kNew, "link", 0, EPERM, "create /etc/config/p: Operation not permitted\n"},
        {nullptr, kNew, "fchmod", 0, EPERM, "write /etc/config/.p.qrnuci-"},
    };
    for (const auto& [before, after, call, skipped, error, line] : cases) {
        SetUp();
        if (before != nullptr) {
            put_config("p", before);
        }
        put_staged("p", "p.s.a='theirs'\n");
        {
            SystemCalls calls;
            calls.fail(call, skipped, error);
            EXPECT_EQ(QrnUci_ReplacePackage("p", before, after), 14u) << line;
            EXPECT_TRUE(calls.has_happened()) << line;
            EXPECT_TRUE(calls.log().starts_with(line)) << line << calls.log();
            EXPECT_EQ(std::count(calls.log().begin(), calls.log().end(), '\n'), 1) << line;
        }
        EXPECT_EQ(config("p"), before != nullptr ? before : "") << line;
        const auto files = std::distance(std::filesystem::directory_iterator{"/etc/config"}, {});
        EXPECT_EQ(files, before != nullptr ? 1 : 0) << line;
        EXPECT_EQ(QrnUci_ReplacePackage("p", before, after), 0u) << line << "again";
        EXPECT_EQ(staged("p"), "p.s.a='theirs'\n") << line;
    }
}

TEST_F(Replace, OnAFullDeviceChangesNothingUntilThereIsRoom)
{
    if (std::system("mount -t tmpfs -o size=12k none /etc/config") != 0) {
        GTEST_SKIP() << "no small file system here";
    }
    const std::string large = std::string{kNew} + std::string(9000, '#') + "\n";
    for (const char* const before : {kOld, static_cast<const char*>(nullptr)}) {
        std::filesystem::remove("/etc/config/p");
        if (before != nullptr) {
            put_config("p", before);
        }
        put_config("ballast", std::string(4096, 'b'));
        EXPECT_EQ(QrnUci_ReplacePackage("p", before, large.c_str()), 14u);
        EXPECT_EQ(config("p"), before != nullptr ? before : "");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator{"/etc/config"}, {}),
                  before != nullptr ? 2 : 1);
        std::filesystem::remove("/etc/config/ballast");
        EXPECT_EQ(QrnUci_ReplacePackage("p", before, kNew), 0u);
    }
}

TEST_F(Replace, IsOnTheStorageWhenItIsAcknowledged)
{
    put_config("p", kOld);
    const struct {
        const char* before;
        const char* after;
        const char* steps;
    } cases[] = {
        {kOld, kNew, "fsync rename fsync"},
        {kOld, kNew, "fsync"}, // it is there already; who has put it there may have been killed on the way
        {kNew, nullptr, "unlink fsync"},
        {nullptr, kOld, "fsync link unlink fsync"},
    };
    for (const auto& [before, after, steps] : cases) {
        const SystemCalls calls;
        EXPECT_EQ(QrnUci_ReplacePackage("p", before, after), 0u);
        EXPECT_EQ(calls.sequence({"fsync", "fdatasync", "rename", "link", "unlink"}), steps);
    }
}
