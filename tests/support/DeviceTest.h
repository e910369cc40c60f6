// SPDX-License-Identifier: Apache-2.0
// The library on real files, in an /etc and a /tmp of the test program's own, with programs that are faked.
#pragma once

#include <filesystem>

#include <sys/mount.h>

#include "qrnuci.h"
#include "qsc_describe.h"
#include "support/Outside.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"

namespace test
{

/// An empty folder in the place of one of the kernel's, such as /proc. A fixture's members are made before
/// its SetUp(), so this enters the private folders itself: nothing is ever mounted over what the machine
/// uses.
class FakeFolder
{
  public:
    explicit FakeFolder(const char* path)
        : path_(path), is_mounted_(enter_private_folders() && mount("none", path, "tmpfs", 0, nullptr) == 0)
    {
    }
    FakeFolder(const FakeFolder&) = delete;
    FakeFolder& operator=(const FakeFolder&) = delete;
    ~FakeFolder()
    {
        if (is_mounted_) {
            umount2(path_, MNT_DETACH);
        }
    }

    /// Writes a file and makes the folders on its way.
    static void put(const std::string& path, const std::string& text)
    {
        std::filesystem::create_directories(std::filesystem::path{path}.parent_path());
        write_file(path, text);
    }

  private:
    const char* path_;
    bool is_mounted_;
};

class DeviceTest : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        if (!enter_private_folders()) {
            GTEST_SKIP() << "the kernel allows no private mount namespace here";
        }
        for (const char* folder : {"/etc", "/tmp"}) {
            for (const auto& entry : std::filesystem::directory_iterator{folder}) {
                std::filesystem::remove_all(entry);
            }
        }
        std::filesystem::create_directories("/etc/config");
        outside().has_real_uci = true;
        outside().has_private_files = true;
        g_QSysCmdHalCb = [](uint64_t event, uint64_t) {
            outside().done.push_back("callback " + std::to_string(event));
            return uint64_t{0};
        };
    }

    static void put(const std::string& package, const std::string& text)
    {
        write_file("/etc/config/" + package, text);
    }

    /// The package's file after a commit, without empty lines and tabs.
    static Lines committed(const std::string& package)
    {
        QrnUci_CommitPackage(package.c_str());
        std::istringstream text{read_file("/etc/config/" + package)};
        Lines lines;
        for (std::string line; std::getline(text, line);) {
            std::erase(line, '\t');
            if (!line.empty()) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    /// What was done since it was last asked, but for the ends of handlers; `ends`: how many there were.
    static Lines steps(size_t* ends = nullptr)
    {
        Lines result = std::exchange(outside().done, {});
        const size_t ended = std::erase(result, "callback 4");
        if (ends != nullptr) {
            *ends = ended;
        }
        return result;
    }

    /// The messages of the event records since it was last asked.
    static Lines messages()
    {
        constexpr std::string_view kMessage = R"("Msg":")";
        Lines result;
        for (const std::string& event : std::exchange(outside().events, {})) {
            const size_t begin = event.find(kMessage) + kMessage.size();
            result.push_back(event.substr(begin, event.find('"', begin) - begin));
        }
        return result;
    }

    /// The values of a request: "Name=x y Enable=1".
    static std::string named(const std::string& words)
    {
        std::istringstream in{words};
        std::string request;
        std::string text;
        const auto end_value = [&] { request += request.empty() ? "" : value_of("\"" + text + "\""); };
        for (std::string word; in >> word;) {
            const auto is_name = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
            const auto equals = std::ranges::find_if_not(word, is_name);
            const size_t at =
                equals != word.end() && *equals == '=' ? equals - word.begin() : std::string::npos;
            if (at != std::string::npos) {
                end_value();
                request += (request.empty() ? "\"" : ",\"") + word.substr(0, at) + "\":";
            }
            text = at == std::string::npos ? text + " " + word : word.substr(at + 1);
        }
        end_value();
        return "{" + request + "}";
    }

    /// Sets the values of a path. @return "", or why they are refused
    static std::string change(const std::string& path, const std::string& words)
    {
        const Answer answer = send(path, kSet, named(words));
        const std::string_view whole = QSysCmdHal_LastError();
        EXPECT_EQ(answer.code, whole.empty() ? 0 : uint32_t{EFAULT});
        return std::string{whole.substr(std::min(whole.size(), whole.empty() ? 0 : path.size() + 2))};
    }

    /// The values of a path that are named with blanks between them, as JSON.
    static std::string values(const std::string& path, const std::string& names)
    {
        std::istringstream in{names};
        std::string result;
        for (std::string name; in >> name;) {
            const Answer answer = read(path, name);
            result += (result.empty() ? "" : " ") +
                      (answer.code == 0 ? answer.json : "code " + std::to_string(answer.code));
        }
        return result;
    }
};

} // namespace test
