// SPDX-License-Identifier: Apache-2.0
// Private overlays: what a thread stages there is seen by that thread alone, and commits nothing.
#include <array>
#include <cstring>
#include <filesystem>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

#include "qrnuci.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"
#include "uci/System.h"

using namespace test;

namespace
{

constexpr const char* kFolder = "/tmp/overlay";
constexpr const char* kConfig = "# theirs\nconfig t 's'\n\toption a '1'\n";

} // namespace

class Overlay : public UciTest
{
  protected:
    void SetUp() override
    {
        UciTest::SetUp();
        std::filesystem::remove_all(kFolder);
        put_config("p", kConfig);
        put_staged("p", "p.s.a='theirs'\n");
        put_config("q", "config t 's'\n");
    }

    void TearDown() override { (void)QrnUci_EndOverlay(); }

    static std::string text(uint32_t (*read)(const char*, char*, uint32_t, uint32_t*) = QrnUci_ReadPackage)
    {
        std::array<char, 512> buffer{};
        const uint32_t code = read("p", buffer.data(), buffer.size(), nullptr);
        return code == 0 ? buffer.data() : "code " + std::to_string(code);
    }

    static std::string listed()
    {
        std::array<char, 64> names{};
        uint32_t count = 0;
        const uint32_t code = QrnUci_ListOverlay(names.data(), names.size(), &count);
        std::string all = code == 0 ? "" : "code " + std::to_string(code);
        for (const char* name = names.data(); count > 0; --count, name += std::strlen(name) + 1) {
            all.append(all.empty() ? "" : " ").append(name);
        }
        return all;
    }
};

TEST_F(Overlay, ShowsTheThreadAloneWhatItStagesAndCommitsNothing)
{
    ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u);
    EXPECT_EQ(get("p.s.a"), "1") << "what others have staged is not seen";
    EXPECT_EQ(text(), kConfig) << "byte for byte where nothing is staged";
    EXPECT_EQ(set("p.s.a", "mine"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("p"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("q"), 0u);
    EXPECT_EQ(QrnUci_CommitPackage("missing"), 14u);
    EXPECT_EQ(get("p.s.a"), "mine");
    EXPECT_EQ(text(), "\nconfig t 's'\n\toption a 'mine'\n\n");
    EXPECT_EQ(text(QrnUci_ReadPackageBefore), kConfig);
    EXPECT_EQ(listed(), "p q");
    std::thread{[] { EXPECT_EQ(get("p.s.a"), "theirs"); }}.join();
    EXPECT_EQ(QrnUci_EndOverlay(), 0u);
    EXPECT_EQ(get("p.s.a"), "theirs");
    EXPECT_EQ(config("p"), kConfig);
    EXPECT_EQ(staged("p"), "p.s.a='theirs'\n");

    ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u) << "it may be begun again";
    EXPECT_EQ(get("p.s.a"), "mine");
    EXPECT_EQ(listed(), "p q");
}
