// SPDX-License-Identifier: Apache-2.0
// What lies below the files: links, full and read-only file systems, descriptors that run out.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qrnuci.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

class Storage : public UciTest
{
};

TEST_F(Storage, LinksStayLinks)
{
    put_config("real", "config t s\n");
    std::filesystem::rename("/etc/config/real", "/etc/real");
    std::filesystem::create_symlink("/etc/real", "/etc/config/p");
    EXPECT_EQ(set("p.s.a", "1"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_TRUE(std::filesystem::is_symlink("/etc/config/p"));
    EXPECT_EQ(get("p.s.a"), "1");
}

TEST_F(Storage, FailedWritesLoseNothing)
{
    put_config("p", "config t s\n\toption a '1'\n");
    EXPECT_EQ(set("p.s.a", "2"), 0u);
    std::filesystem::create_directory("/etc/target");
    std::filesystem::rename("/etc/config/p", "/etc/target/p");
    std::filesystem::create_symlink("/etc/target/p", "/etc/config/p");
    if (std::system("mount -t tmpfs -o size=8k none /etc/target && "
                    "printf \"config t s\\n\\toption a '1'\\n\" >/etc/target/p") != 0) {
        GTEST_SKIP() << "no mount tool";
    }
    put_config("../target/full", std::string(4096, 'x'));
    put_config("../target/.p.qrnuci-killed", "");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 14u);
    EXPECT_FALSE(std::filesystem::exists("/etc/target/.p.qrnuci-killed")) << "what a killed commit left";
    EXPECT_EQ(config("p"), "config t s\n\toption a '1'\n");
    EXPECT_EQ(get("p.s.a"), "2") << "still staged";
    std::filesystem::remove("/etc/target/full");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig t 's'\n\toption a '2'\n\n");
    EXPECT_EQ(QrnUci_Close(), 0u);
    ASSERT_EQ(std::system("umount /etc/target"), 0) << "Close keeps no file open";
}

TEST_F(Storage, AReadOnlyFileSystemLosesNothingThatIsStaged)
{
    put_config("p", "config t s\n\toption o 'old'\n");
    EXPECT_EQ(set("p.s.o", "new"), 0u);
    const auto remount = [](const char* folder, const char* how) {
        return std::system(("mount -o bind,remount," + std::string{how} + " " + folder).c_str());
    };
    if (std::system("mount --bind /etc/config /etc/config && mount --bind /tmp/.uci /tmp/.uci") != 0 ||
        remount("/etc/config", "ro") != 0) {
        GTEST_SKIP() << "no bind mounts here";
    }
    EXPECT_EQ(QrnUci_CommitPackage("p"), 14u);
    EXPECT_EQ(get("p.s.o"), "new");
    EXPECT_EQ(set("p.s.o", "newer"), 0u) << "staging is elsewhere";
    ASSERT_EQ(remount("/tmp/.uci", "ro"), 0);
    EXPECT_EQ(set("p.s.o", "newest"), 14u);
    EXPECT_EQ(get("p.s.o"), "newer");
    ASSERT_EQ(remount("/etc/config", "rw") + remount("/tmp/.uci", "rw"), 0);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(config("p"), "\nconfig t 's'\n\toption o 'newer'\n\n");
}

TEST_F(Storage, AFileInTheFirstFolderComesBeforeThePackagesOwn)
{
    if (std::system("mkdir -p /var/run && mount -t tmpfs none /var/run") != 0) {
        GTEST_SKIP() << "no mount tool";
    }
    const std::string first = "/var/run/uci/p";
    put_config("p", "config t s\n\toption a 'own'\n");
    EXPECT_EQ(get("p.s.a"), "own");
    std::filesystem::create_directories("/var/run/uci");
    EXPECT_EQ(get("p.s.a"), "own");
    write_file(first, "config t s\n\toption a 'first'\n");
    EXPECT_EQ(get("p.s.a"), "first") << "it has come";
    EXPECT_EQ(set("p.s.b", "2"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(read_file(first), "\nconfig t 's'\n\toption a 'first'\n\toption b '2'\n\n");
    EXPECT_EQ(config("p"), "config t s\n\toption a 'own'\n");
    std::filesystem::remove(first);
    EXPECT_EQ(get("p.s.a"), "own") << "it has gone";
    std::filesystem::remove_all("/var/run/uci");
    EXPECT_EQ(get("p.s.a"), "own");
    std::filesystem::create_directories("/var/run/uci");
    write_file("/var/run/uci/q", "config t s\n\toption a 'alone'\n");
    EXPECT_EQ(get("q.s.a"), "alone");
    EXPECT_EQ(set("q.s.a", "2"), 0u);
    std::filesystem::remove_all("/var/run/uci");
}

TEST_F(Storage, NoFileTakesAStandardStreamNorIsOneWrittenThatIsOnlyReadOrLocked)
{
    put_config("p", "config t s\n\toption a '1'\n");
    const pid_t child = fork();
    if (child == 0) {
        QrnUci_Close();
        for (int descriptor = 0; descriptor < 3; ++descriptor) {
            close(descriptor);
        }
        SystemCalls calls;
        bool is_kept_off = true;
        const auto look = [&] {
            for (int descriptor = 0; descriptor < 3; ++descriptor) {
                const int flags = fcntl(descriptor, F_GETFL);
                is_kept_off = is_kept_off && (flags < 0 || (flags & O_PATH) != 0);
            }
            return 0;
        };
        uint32_t code = 0;
        for (const char* const call : {"flock", "fsync", "fdatasync", "rename"}) {
            calls.on(call, 0, look);
            code |= set("p.s.a", call);
            code |= QrnUci_CommitPackage("p");
            is_kept_off = is_kept_off && calls.has_happened() && get("p.s.a") == call;
        }
        look();
        _exit(code == 0 && is_kept_off ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);

    // Where the file cannot be written, as on a medium that is read-only, reading and locking it still work.
    const SystemCalls calls;
    EXPECT_EQ(get("p.s.a"), "rename");
    EXPECT_EQ(set("p.s.a", "2"), 0u);
    EXPECT_EQ(calls.sequence({"writing /etc/config/p"}), "");
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(calls.sequence({"writing /etc/config/p"}), "writing /etc/config/p")
        << "once, to give those who wait for it the new text";
}

TEST_F(Storage, WithoutDescriptorsOrMemoryAReadFailsAndSaysSo)
{
    put_config("p", "config t s\n\toption a '1'\n");
    for (const int error : {EMFILE, ENFILE, ENOMEM}) {
        QrnUci_Close();
        SystemCalls calls;
        calls.fail("open64", 0, error);
        EXPECT_EQ(get("p.s.a"), "code 12");
        EXPECT_EQ(calls.log(), "open /etc/config/p: " + std::string{strerror(error)} + "\n");
        EXPECT_EQ(get("p.s.a"), "1");
    }
}
