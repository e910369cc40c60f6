// SPDX-License-Identifier: Apache-2.0
// The steps of reading, staging and committing: their order, and what comes of it when one of them fails.
#include <cerrno>
#include <filesystem>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

namespace
{

constexpr const char* kConfig = "config t s\n\toption a '1'\n";

uint32_t stage()
{
    return QrnUci_SetNewString("p.s.a", "3", 0, 1);
}

uint32_t commit()
{
    return QrnUci_CommitPackage("p");
}

} // namespace

class Steps : public UciTest
{
  protected:
    /// A package that has something staged, and of which the library knows nothing.
    void SetUp() override
    {
        UciTest::SetUp();
        put_config("p", kConfig);
        put_staged("p", "p.s.a='2'\n");
        QrnUci_Close();
    }

    static uint32_t read() { return get("p.s.a") == "2" ? 0 : 14; }
};

TEST_F(Steps, ACommitIsOnTheStorageBeforeAnythingIsForgotten)
{
    const SystemCalls calls;
    EXPECT_EQ(commit(), 0u);
    EXPECT_EQ(calls.sequence({"fsync", "fdatasync", "rename"}),
              "fsync fdatasync rename fdatasync rename fsync")
        << "the new file; the copy of what is staged; the emptied staging file; the new file's folder";
}

TEST_F(Steps, AChangeIsOnTheStorageBeforeItIsAcknowledged)
{
    const SystemCalls calls;
    EXPECT_EQ(stage(), 0u);
    EXPECT_EQ(calls.sequence({"write", "pwrite64", "fsync", "fdatasync"}), "pwrite64 fdatasync");
}

TEST_F(Steps, OneThatFailsIsACodeAndALineAndLosesNothing)
{
    constexpr const char* kNone = "";
    const struct {
        uint32_t (*act)();
        const char* call;
        int after;
        int error;
        uint32_t code;
        const char* line;
    } cases[] = {
        {read, "open64", 0, EACCES, 14, "open /etc/config/p: Permission denied\n"},
        {read, "open64", 1, EACCES, 14, "open /tmp/.uci/p: Permission denied\n"},
        {read, "flock", 0, ENOLCK, 14, "lock /etc/config/p: No locks available\n"},
        {read, "flock", 1, EINTR, 0, kNone},
        {read, "flock", 1, EWOULDBLOCK, 0, kNone},
        {read, "pread64", 0, EIO, 14, "read /etc/config/p: Input/output error\n"},
        {read, "pread64", 1, EIO, 14, "read /tmp/.uci/p: Input/output error\n"},
        {read, "pread64", 0, EINTR, 0, kNone},
        {stage, "open64", 1, EROFS, 14, "open /tmp/.uci/p: Read-only file system\n"},
        {stage, "flock", 1, ENOLCK, 14, "lock /tmp/.uci/p: No locks available\n"},
        {stage, "pwrite64", 0, ENOSPC, 14, "write /tmp/.uci/p: No space left on device\n"},
        {stage, "pwrite64", 0, EINTR, 0, kNone},
        {stage, "fdatasync", 0, EIO, 14, "write /tmp/.uci/p: Input/output error\n"},
        {commit, "realpath", 0, EIO, 0, kNone},
        {commit, "realpath", 1, EIO, 14, "resolve /etc/config/p: Input/output error\n"},
        {commit, "mkostemp64", 0, EROFS, 14, "create a file beside /etc/config/p: Read-only file system\n"},
        {commit, "fdopen", 0, EINVAL, 14, "open /etc/config/.p.qrnuci-"},
        {commit, "fchown", 0, EPERM, 14, "write /etc/config/.p.qrnuci-"},
        {commit, "fchmod", 0, EPERM, 14, "write /etc/config/.p.qrnuci-"},
        {commit, "fflush", 0, ENOSPC, 14, "write /etc/config/.p.qrnuci-"},
        {commit, "fsync", 0, EIO, 14, "write /etc/config/.p.qrnuci-"},
        {commit, "fdatasync", 0, EIO, 0, "write /tmp/.uci/.p.qrnuci-new: Input/output error\n"},
        {commit, "rename", 0, EIO, 0, "write /tmp/.uci/.p.qrnuci-new: Input/output error\n"},
        {commit, "ftruncate64", 0, EIO, 14, "write /tmp/.uci/p: Input/output error\n"},
        {commit, "fdatasync", 1, EIO, 14, "write /tmp/.uci/p: Input/output error\n"},
        {commit, "rename", 1, EBUSY, 14, "replace /etc/config/p: Device or resource busy\n"},
        {commit, "unlink", 0, EIO, 0, "remove /tmp/.uci/.p.qrnuci-copy: Input/output error\n"},
        {commit, "opendir", 0, EACCES, 0, kNone},
        {commit, "fsync", 1, EINVAL, 0, kNone},
    };
    for (const auto& [act, call, after, error, code, line] : cases) {
        SetUp();
        const long before = open_descriptors();
        const std::string what = std::string{call} + " " + std::to_string(after) + " " + line;
        {
            SystemCalls calls;
            calls.fail(call, after, error);
            EXPECT_EQ(act(), code) << what;
            EXPECT_TRUE(calls.has_happened()) << what;
            EXPECT_TRUE(calls.log().starts_with(line)) << what << calls.log();
            EXPECT_EQ(std::count(calls.log().begin(), calls.log().end(), '\n'), *line == '\0' ? 0 : 1);
        }
        if (code != 0) {
            EXPECT_EQ(config("p"), kConfig) << what;
            EXPECT_EQ(staged("p"), "p.s.a='2'\n") << what;
            EXPECT_EQ(act(), 0u) << what << "again";
        }
        QrnUci_Close();
        EXPECT_EQ(open_descriptors(), before) << what;
        const char* const value = act == stage ? "3" : "2";
        EXPECT_EQ(get("p.s.a"), value) << what;
        EXPECT_EQ(commit(), 0u) << what;
        EXPECT_EQ(config("p"), std::string{"\nconfig t 's'\n\toption a '"} + value + "'\n\n") << what;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator{"/etc/config"}, {}), 1) << what;
    }
}

TEST_F(Steps, AStagingFolderOrATornEndThatCannotBeMadeRightIsACodeAndALine)
{
    put_staged("p", "p.s.b='1'\np.s.c='torn");
    {
        SystemCalls calls;
        calls.fail("ftruncate64", 0, EIO);
        EXPECT_EQ(stage(), 14u);
        EXPECT_EQ(calls.log(), "write /tmp/.uci/p: Input/output error\n");
    }
    EXPECT_EQ(stage(), 0u);
    EXPECT_EQ(staged("p"), "p.s.b='1'\np.s.a='3'\n");
    std::filesystem::remove_all("/tmp/.uci");
    {
        SystemCalls calls;
        calls.fail("mkdir", 0, EACCES);
        EXPECT_EQ(stage(), 14u);
        EXPECT_EQ(calls.log(), "create /tmp/.uci: Permission denied\n");
    }
    {
        SystemCalls calls;
        calls.on("mkdir", 0, [] {
            std::filesystem::create_directory("/tmp/.uci"); // somebody was faster
            return EEXIST;
        });
        EXPECT_EQ(stage(), 0u);
        EXPECT_TRUE(calls.has_happened());
    }
    EXPECT_EQ(staged("p"), "p.s.a='3'\n");
}
