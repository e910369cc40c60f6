// SPDX-License-Identifier: Apache-2.0
#include "base/SafeFile.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/ReplaceFile.h"
#include "support/ClosedStdio.h"
#include "support/TemporaryFolder.h"

using namespace test;

class SafeFile : public testing::Test
{
  protected:
    TemporaryFolder folder_;
};

TEST_F(SafeFile, WholeContentUpToTheLimit)
{
    const std::string path = folder_ / "file";
    for (const size_t size : {0u, 1u, 255u, 256u, 4097u, 1024u * 1024u}) {
        std::string content(size, 'x');
        if (size != 0) {
            content.back() = '\0';
        }
        write_file(path, content);
        qsc::FileText text;
        ASSERT_EQ(qsc::read_safe_file(path.c_str(), text), 0u) << size;
        EXPECT_EQ(text.view(), content);
        EXPECT_EQ(text.c_str()[size], '\0');
    }
    qsc::FileText text;
    write_file(path, "12345");
    EXPECT_EQ(qsc::read_safe_file(path.c_str(), text, 5), 0u);
    EXPECT_EQ(qsc::read_safe_file(path.c_str(), text, 4), uint32_t{EFBIG});
    EXPECT_EQ(text.view(), "12345") << "unchanged on failure";
    EXPECT_EQ(qsc::read_safe_file("/proc/self/status", text), 0u) << "reports size 0";
    EXPECT_EQ(text.view().substr(0, 5), "Name:");
    EXPECT_EQ(qsc::read_safe_file("/proc/self/status", text, 100), uint32_t{EFBIG});
    ASSERT_EQ(qsc::read_safe_file("/proc/version", text), 0u);
    const size_t size = text.view().size();
    EXPECT_EQ(qsc::read_safe_file("/proc/version", text, size), 0u);
    EXPECT_EQ(qsc::read_safe_file("/proc/version", text, size - 1), uint32_t{EFBIG});
}

TEST_F(SafeFile, OnlyRegularFiles)
{
    write_file(folder_ / "file", "secret");
    ASSERT_EQ(symlink((folder_ / "file").c_str(), (folder_ / "link").c_str()), 0);
    ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
    const struct {
        std::string path;
        int code;
    } cases[] = {
        {folder_ / "link", ELOOP}, {folder_ / "pipe", EINVAL}, {folder_ / "", EINVAL},
        {"/dev/zero", EINVAL},     {folder_ / "none", ENOENT},
    };
    for (const auto& [path, code] : cases) {
        qsc::FileText text;
        EXPECT_EQ(qsc::read_safe_file(path.c_str(), text), static_cast<uint32_t>(code)) << path;
        EXPECT_EQ(text.view(), "");
    }
}

TEST_F(SafeFile, DescriptorsOfFilesAreAboveStandardError)
{
    const std::string path = folder_ / "file";
    for (const int access : {O_RDONLY | O_CREAT, O_RDWR}) {
        EXPECT_TRUE(holds_without_stdio([&] {
            const qsc::FileDescriptor file = qsc::open_file(path.c_str(), access, 0600);
            return file.get() > STDERR_FILENO && (fcntl(file.get(), F_GETFD) & FD_CLOEXEC) != 0 &&
                   is_stdio_closed();
        })) << access;
    }
    EXPECT_TRUE(
        holds_without_stdio([&] { return qsc::open_file("/none", O_RDWR).get() < 0 && errno == ENOENT; }));
    for (const int stream : {0, 1, 2}) {
        EXPECT_TRUE(holds_without_stdio(
            [&] {
                const qsc::StdioReserve reserve;
                return open(path.c_str(), O_RDONLY | O_CLOEXEC) > STDERR_FILENO;
            },
            {stream}))
            << stream;
    }
}

TEST_F(SafeFile, TextsAreTerminatedWhereverTheyComeFrom)
{
    qsc::FileText text;
    EXPECT_STREQ(text.c_str(), "");
    for (const char* whole : {"abc", "abcabc"}) {
        ASSERT_TRUE(text.append("abc"));
        EXPECT_STREQ(text.c_str(), whole);
        EXPECT_EQ(text.view(), whole);
    }
}

TEST_F(SafeFile, FilesAreReplacedWholeOrNotAtAll)
{
    const std::string path = folder_ / "file";
    const auto names = [&] { return std::distance(std::filesystem::directory_iterator{folder_ / ""}, {}); };
    struct stat before = {};
    struct stat after = {};
    EXPECT_EQ(qsc::replace_file(path.c_str(), "one", 0640), 0u);
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    EXPECT_EQ(before.st_mode & 07777, 0640u);
    // What somebody who was killed has left, or put there.
    write_file(folder_ / "target", "untouched");
    std::filesystem::create_symlink(folder_ / "target", path + ".qrn-new");
    EXPECT_EQ(qsc::replace_file(path.c_str(), "two", 0600), 0u);
    EXPECT_EQ(read_file(path), "two");
    EXPECT_EQ(read_file(folder_ / "target"), "untouched");
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_NE(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode & 07777, 0600u);
    EXPECT_EQ(names(), 2);
    std::filesystem::create_directory(folder_ / "folder");
    EXPECT_EQ(qsc::replace_file((folder_ / "folder").c_str(), "x", 0600), uint32_t{EISDIR});
    EXPECT_EQ(names(), 3);
    std::filesystem::create_directory(path + ".qrn-new");
    EXPECT_EQ(qsc::replace_file(path.c_str(), "three", 0600), uint32_t{EEXIST});
    EXPECT_EQ(read_file(path), "two");
    EXPECT_EQ(qsc::replace_file((folder_ / "none/file").c_str(), "x", 0600), uint32_t{ENOENT});
    EXPECT_EQ(qsc::replace_file((folder_ / std::string(250, 'x')).c_str(), "x", 0600),
              uint32_t{ENAMETOOLONG});
}

// While one thread occupies the closed descriptors, another one must not take them for open.
TEST_F(SafeFile, ThreadsShareTheReservation)
{
    EXPECT_TRUE(holds_without_stdio([] {
        std::atomic<bool> ok = true;
        const auto open_often = [&ok] {
            for (int i = 0; i < 2000; ++i) {
                const qsc::StdioReserve reserve;
                const int descriptor = open("/dev/null", O_WRONLY | O_CLOEXEC);
                ok = ok && descriptor > STDERR_FILENO;
                close(descriptor);
            }
        };
        std::thread other{open_often};
        open_often();
        other.join();
        return ok && is_stdio_closed();
    }));
}
