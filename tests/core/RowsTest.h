// SPDX-License-Identifier: Apache-2.0
// Objects of rows on the real configuration library, whose files are in folders of the test program's own.
#pragma once

#include <filesystem>

#include "core/Dispatch.h"
#include "core/ServeRow.h"
#include "support/Outside.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"

namespace test
{

inline constexpr qsc::Source kSource{"Module", "File.cpp", sizeof "File.cpp"};

/// An object from its description, which stands in an array of its own.
template <const auto& Plain>
inline constexpr qsc::Object kObject{Plain[0], qsc::kCells<Plain>.data()};

class RowsTest : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        if (!enter_private_folders()) {
            GTEST_SKIP() << "the kernel allows no private mount namespace here";
        }
        std::filesystem::remove_all("/etc/config");
        std::filesystem::remove_all("/tmp/.uci");
        std::filesystem::create_directories("/etc/config");
        outside().has_real_uci = true;
        outside().has_real_commands = true;
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

    static Answer send(const qsc::Subtree& subtree, const std::string& path, uint32_t oper,
                       const std::string& object, uint32_t commander = QSC_COMMANDER_CLI)
    {
        outside().done.clear();
        outside().events.clear();
        outside().logs.clear();
        const Json value{object};
        const uint32_t code = qsc::dispatch(path.c_str(), value.get(), oper, commander, 0, 0, subtree);
        return {code, value.text()};
    }

    /// What was done, but for the ends of handlers; `ends`: how many there were.
    static Lines steps(size_t* ends = nullptr)
    {
        Lines result = outside().done;
        const size_t ended = std::erase(result, "callback 4");
        if (ends != nullptr) {
            *ends = ended;
        }
        return result;
    }

    static Lines messages()
    {
        constexpr std::string_view kMessage = R"("Msg":")";
        Lines result;
        for (const std::string& event : outside().events) {
            const size_t begin = event.find(kMessage) + kMessage.size();
            result.push_back(event.substr(begin, event.find('"', begin) - begin));
        }
        return result;
    }
};

} // namespace test
