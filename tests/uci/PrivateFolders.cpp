// SPDX-License-Identifier: Apache-2.0
#include "uci/PrivateFolders.h"

#include <array>
#include <cerrno>
#include <filesystem>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "qrnuci.h"
#include "support/TemporaryFolder.h"

namespace test
{

namespace
{

bool enter()
{
    const std::string user = std::to_string(getuid());
    if (unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return false;
        }
        write_file("/proc/self/setgroups", "deny");
        write_file("/proc/self/uid_map", "0 " + user + " 1");
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", "/etc", "tmpfs", 0, nullptr) == 0 && mount("none", "/tmp", "tmpfs", 0, nullptr) == 0;
}

} // namespace

bool enter_private_folders()
{
    static const bool is_private = enter();
    return is_private;
}

void UciTest::SetUp()
{
    if (!enter_private_folders()) {
        GTEST_SKIP() << "the kernel allows no private mount namespace here";
    }
    for (const char* folder : {"/etc/config", "/tmp/.uci"}) {
        while (umount2(folder, MNT_DETACH) == 0) { // what the test before has mounted there
        }
    }
    std::filesystem::remove_all("/etc/config");
    std::filesystem::remove_all("/tmp/.uci");
    std::filesystem::create_directories("/etc/config");
}

std::string UciTest::get(const std::string& key)
{
    std::array<char, 256> buffer{};
    const uint32_t code = QrnUci_GetString(key.c_str(), buffer.data(), buffer.size());
    return code == 0 ? buffer.data() : "code " + std::to_string(code);
}

uint32_t UciTest::set(const std::string& key, const char* value)
{
    return QrnUci_SetNewString(key.c_str(), value, 0, 1);
}

std::string UciTest::item(const std::string& key, uint32_t index)
{
    std::array<char, 256> buffer{};
    const uint32_t code = QrnUci_GetListItem(key.c_str(), index, buffer.data(), buffer.size());
    return code == 0 ? buffer.data() : "code " + std::to_string(code);
}

std::string UciTest::config(const std::string& package)
{
    return read_file("/etc/config/" + package);
}

std::string UciTest::staged(const std::string& package)
{
    return read_file("/tmp/.uci/" + package);
}

uint32_t UciTest::replace_value(const std::string& key, const char* value)
{
    const std::string folder = "/tmp/overlay" + std::to_string(getpid());
    std::array<char, 8192> before{};
    std::array<char, 8192> after{};
    uint32_t code = EAGAIN;
    while (code == EAGAIN) {
        code = QrnUci_BeginOverlay(folder.c_str());
        code |= set(key, value);
        code |= QrnUci_ReadPackageBefore("p", before.data(), before.size(), nullptr);
        code |= QrnUci_ReadPackage("p", after.data(), after.size(), nullptr);
        code |= QrnUci_EndOverlay();
        code = code != 0 ? code : QrnUci_ReplacePackage("p", before.data(), after.data());
    }
    return code;
}

long UciTest::open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator{"/proc/self/fd"}, {});
}

void UciTest::put_config(const std::string& package, const std::string& text)
{
    write_file("/etc/config/" + package, text);
}

void UciTest::put_staged(const std::string& package, const std::string& text)
{
    std::filesystem::create_directories("/tmp/.uci");
    write_file("/tmp/.uci/" + package, text);
}

} // namespace test
