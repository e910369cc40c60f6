// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "bacl.h"
#include "support/TemporaryFolder.h"

using namespace test;

namespace
{

int g_syncs = 0;

} // namespace

extern "C" void sync() noexcept
{
    ++g_syncs;
}

class Files : public testing::Test
{
  protected:
    /// Creates a socket, which exists but cannot be opened. @return its path
    std::string make_socket(const std::string& name)
    {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        (folder_ / name).copy(address.sun_path, sizeof address.sun_path - 1);
        const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
        EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(listener);
        return folder_ / name;
    }

    TemporaryFolder folder_;
};

TEST_F(Files, SizeAndKindOfPaths)
{
    write_file(folder_ / "file", "12345");
    mkfifo((folder_ / "fifo").c_str(), 0600);
    make_socket("socket");

    const struct {
        std::string path;
        int64_t size;
        uint32_t property, exists;
    } cases[] = {
        {folder_ / "file", 5, 1, 1},
        {folder_ / "missing", 0, 3, 0},
        {folder_ / "fifo", 0, 3, 1},
        {folder_ / "socket", 0, 2, 1},
        {"", 0, 2, 0},
        {folder_ / "file/below", 0, 3, 0},
    };
    for (const auto& [path, size, property, exists] : cases) {
        EXPECT_EQ(BaCL_GetFileSize(path.c_str()), size) << path;
        EXPECT_EQ(BaCL_GetPathProperty(path.c_str()), property) << path;
        EXPECT_EQ(BaCL_IsFileExist(path.c_str()), exists) << path;
    }
    EXPECT_EQ(BaCL_GetPathProperty("/"), 2u);
    EXPECT_EQ(BaCL_GetFileSize(nullptr), 0);
    EXPECT_EQ(BaCL_GetPathProperty(nullptr), 0u);
    EXPECT_EQ(BaCL_IsFileExist(nullptr), 0u);
}

TEST_F(Files, CopyReplacesTheContent)
{
    for (const size_t size : {0u, 1u, 511u, 512u, 513u, 5000u}) {
        std::string content(size, '\0');
        for (size_t i = 0; i < size; ++i) {
            content[i] = static_cast<char>(i * 7);
        }
        write_file(folder_ / "from", content);
        write_file(folder_ / "to", std::string(9000, 'x'));
        g_syncs = 0;
        EXPECT_EQ(BaCL_CopyFile((folder_ / "from").c_str(), (folder_ / "to").c_str()), 0u);
        EXPECT_EQ(g_syncs, 1);
        EXPECT_EQ(read_file(folder_ / "to"), content);
    }
}

TEST_F(Files, CopyNeverDestroysItsSource)
{
    write_file(folder_ / "from", "precious");
    const std::string from = folder_ / "from";
    ASSERT_EQ(symlink(from.c_str(), (folder_ / "same").c_str()), 0);
    EXPECT_EQ(BaCL_CopyFile(from.c_str(), (folder_ / "same").c_str()), 22u);
    EXPECT_EQ(BaCL_CopyFile(from.c_str(), from.c_str()), 22u);
    ASSERT_EQ(link(from.c_str(), (folder_ / "name").c_str()), 0);
    EXPECT_EQ(BaCL_CopyFile(from.c_str(), (folder_ / "name").c_str()), 22u);
    EXPECT_EQ(read_file(from), "precious");
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(BaCL_CopyFile("/proc/self/exe", program.c_str()), 22u)
        << "even though it cannot be opened for writing";
}

TEST_F(Files, CopyFailures)
{
    write_file(folder_ / "from", "12345");
    const std::string from = folder_ / "from";
    EXPECT_EQ(BaCL_CopyFile(nullptr, from.c_str()), 22u);
    EXPECT_EQ(BaCL_CopyFile(from.c_str(), ""), 22u);
    EXPECT_EQ(BaCL_CopyFile((folder_ / "missing").c_str(), from.c_str()), 22u);
    EXPECT_EQ(BaCL_CopyFile(from.c_str(), (folder_ / "no/such/folder").c_str()), 14u);
    EXPECT_EQ(BaCL_CopyFile(from.c_str(), "/dev/full"), 14u);
    EXPECT_EQ(BaCL_CopyFile("/proc", (folder_ / "to").c_str()), 14u) << "a directory, of size 0";
    EXPECT_EQ(BaCL_CopyFile(make_socket("socket").c_str(), (folder_ / "to").c_str()), 14u);
    EXPECT_EQ(BaCL_CopyFile("/proc/self/status", (folder_ / "to").c_str()), 14u) << "longer than its size";
}

TEST_F(Files, MakesAllMissingParents)
{
    umask(0);
    const std::string deep = folder_ / "a//b/c/";
    EXPECT_EQ(BaCL_MakeDirectory(deep.c_str()), 0u);
    EXPECT_EQ(BaCL_MakeDirectory(deep.c_str()), 0u);
    struct stat status = {};
    ASSERT_EQ(stat((folder_ / "a/b/c").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0775u);

    EXPECT_EQ(BaCL_MakeDirectory("/"), 0u);
    EXPECT_EQ(BaCL_MakeDirectory(""), 22u);
    EXPECT_EQ(BaCL_MakeDirectory(nullptr), 22u);
    write_file(folder_ / "file", "");
    EXPECT_EQ(BaCL_MakeDirectory((folder_ / "file/below").c_str()), 14u);
    EXPECT_EQ(BaCL_MakeDirectory("/proc/none/below"), 14u);

    ASSERT_EQ(chdir((folder_ / "a").c_str()), 0);
    EXPECT_EQ(BaCL_MakeDirectory("x/y"), 0u) << "relative paths, too";
    EXPECT_EQ(BaCL_GetPathProperty((folder_ / "a/x/y").c_str()), 2u);
    ASSERT_EQ(chdir("/"), 0);
}
