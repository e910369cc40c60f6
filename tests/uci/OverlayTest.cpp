// SPDX-License-Identifier: Apache-2.0
// Private overlays: what a thread stages there is seen by that thread alone, and commits nothing.
#include <array>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
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
        std::set<std::string> sorted;
        for (const char* name = names.data(); count > 0; --count, name += std::strlen(name) + 1) {
            sorted.insert(name);
        }
        std::string all = code == 0 ? "" : "code " + std::to_string(code);
        for (const std::string& name : sorted) {
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

TEST_F(Overlay, KeepsOrForgetsAChangeAndIsEndedOnItsOwn)
{
    EXPECT_EQ(QrnUci_EndOverlay(), 14u) << "none";
    EXPECT_EQ(listed(), "code 14");
    EXPECT_EQ(text(QrnUci_ReadPackageBefore), "code 14");
    ASSERT_EQ(QrnUci_BeginView(), 0u);
    EXPECT_EQ(QrnUci_BeginOverlay(kFolder), 14u) << "amid a view";
    ASSERT_EQ(QrnUci_EndView(), 0u);
    ASSERT_EQ(QrnUci_BeginChange("p"), 0u);
    EXPECT_EQ(QrnUci_BeginOverlay(kFolder), 14u) << "amid a change";
    ASSERT_EQ(QrnUci_EndChange(0), 0u);
    ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u);
    EXPECT_EQ(QrnUci_BeginOverlay(kFolder), 14u) << "amid another";

    EXPECT_EQ(set("p.s.a", "2"), 0u);
    for (const uint32_t keep : {0U, 1U}) {
        ASSERT_EQ(QrnUci_BeginChange("p"), 0u);
        ASSERT_EQ(QrnUci_BeginChange("q"), 0u);
        EXPECT_EQ(QrnUci_BeginChange("p"), 14u);
        EXPECT_EQ(set("p.s.a", "3"), 0u);
        EXPECT_EQ(QrnUci_AddSection("p", "t", "more", nullptr, 0), 0u);
        EXPECT_EQ(QrnUci_RenameSection("p.more", "most"), 0u);
        EXPECT_EQ(QrnUci_SetListItem("p.most.l", 1, "x"), 0u);
        EXPECT_EQ(set("q.s.a", "1"), 0u);
        EXPECT_EQ(get("p.s.a"), "3");
        EXPECT_EQ(QrnUci_CommitPackage("p"), 14u);
        EXPECT_EQ(QrnUci_ReplacePackage("p", kConfig, kConfig), 14u);
        EXPECT_EQ(QrnUci_EndOverlay(), 14u) << "the change is ended first";
        EXPECT_EQ(QrnUci_EndChange(keep), 0u);
        EXPECT_EQ(QrnUci_EndChange(keep), 14u);
        EXPECT_EQ(get("p.s.a"), keep != 0 ? "3" : "2");
        EXPECT_EQ(get("q.s.a"), keep != 0 ? "1" : "code 14");
        EXPECT_EQ(item("p.most.l", 1), keep != 0 ? "x" : "code 14");
    }
    EXPECT_EQ(text(), "\nconfig t 's'\n\toption a '3'\n\nconfig t 'most'\n\tlist l ''\n\tlist l 'x'\n\n");
    EXPECT_EQ(listed(), "p q");
}

TEST_F(Overlay, FindsEverythingHoweverOftenItHasChanged)
{
    // Searches are by an index from some number on; what comes, goes or is renamed must be found all the
    // same.
    ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u);
    const auto section = [](int number) { return "p.n" + std::to_string(number); };
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(QrnUci_AddSection("p", "u", ("n" + std::to_string(i)).c_str(), nullptr, 0), 0u);
        for (int option = 0; option < 4; ++option) {
            ASSERT_EQ(set(section(i) + ".o" + std::to_string(option), std::to_string(i + option).c_str()),
                      0u);
        }
        ASSERT_EQ(get("p.@u[-1].o3"), std::to_string(i + 3));
        ASSERT_EQ(get(section(i / 2) + ".o1"), std::to_string(i / 2 + 1));
    }
    ASSERT_EQ(QrnUci_DeleteSection("p.n0"), 0u);
    EXPECT_EQ(get("p.@u[0].o0"), "1");
    ASSERT_EQ(QrnUci_DeleteOption("p.n1.o0"), 0u);
    EXPECT_EQ(get("p.n1.o0"), "code 14");
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(get("p.n2.o0"), "2");
    }
    ASSERT_EQ(QrnUci_RenameSection("p.n2", "renamed"), 0u);
    EXPECT_EQ(get("p.n2.o0"), "code 14");
    EXPECT_EQ(get("p.renamed.o0"), "2");
    ASSERT_EQ(QrnUci_MoveSection("p.renamed", 0), 0u);
    EXPECT_EQ(get("p.@u[0].o0"), "2");
}

TEST_F(Overlay, LooksAtThePackagesFilesOnceUntilItIsRenewed)
{
    ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u);
    EXPECT_EQ(set("p.s.b", "mine"), 0u);
    const std::string theirs = "config t 's'\n\toption a 'committed'\n";
    put_config("p", theirs);
    EXPECT_EQ(get("p.s.a"), "1");
    EXPECT_EQ(text(QrnUci_ReadPackageBefore), kConfig);
    EXPECT_EQ(QrnUci_ReplacePackage("p", kConfig, text().c_str()), 11u) << "it has moved";
    EXPECT_EQ(get("p.s.a"), "committed") << "and is looked at again";
    put_config("p", kConfig);
    EXPECT_EQ(QrnUci_RenewView(), 0u);
    EXPECT_EQ(get("p.s.a"), "1");
    EXPECT_EQ(get("p.s.b"), "mine");
    ASSERT_EQ(QrnUci_EndOverlay(), 0u);
    put_config("p", theirs);
    ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u);
    EXPECT_EQ(text(), "\nconfig t 's'\n\toption a 'committed'\n\toption b 'mine'\n\n");
    std::filesystem::remove("/etc/config/p");
    EXPECT_EQ(QrnUci_RenewView(), 0u);
    EXPECT_EQ(get("p.s.b"), "code 14");
    EXPECT_EQ(text(), "code 2");
}

TEST_F(Overlay, SeesItsFolderAsItIsWheneverItBegins)
{
    const auto stage = [](const char* value) {
        EXPECT_EQ(QrnUci_BeginOverlay(kFolder), 0u);
        EXPECT_EQ(set("p.s.b", value), 0u);
        EXPECT_EQ(QrnUci_CommitPackage("q"), 0u);
        EXPECT_EQ(QrnUci_EndOverlay(), 0u);
    };
    const std::string file = std::string{kFolder} + "/p";
    const struct {
        const char* what;
        std::function<void()> act;
        const char* value;
        const char* list;
    } cases[] = {
        {"nothing has happened", [] {}, "1", "p q"},
        {"another thread begins it", [&] { std::thread{[&] { stage("thread"); }}.join(); }, "thread", "p q"},
        {"another folder comes between",
         [] {
             EXPECT_EQ(QrnUci_BeginOverlay("/tmp/another"), 0u);
             EXPECT_EQ(QrnUci_EndOverlay(), 0u);
         },
         "1", "p q"},
        {"the library is closed", [] { QrnUci_Close(); }, "1", "p q"},
        {"a file is written anew", [&] { write_file(file, "p.s.b='theirs'\n"); }, "theirs", "p q"},
        {"a file goes", [&] { std::filesystem::remove(file); }, "code 14", "q"},
        {"the notes go", [] { std::filesystem::remove("/tmp/overlay/.committed"); }, "1", "p"},
        {"the folder goes", [] { std::filesystem::remove_all(kFolder); }, "code 14", ""},
        {"another has its name",
         [] {
             std::filesystem::rename(kFolder, "/tmp/moved");
             std::filesystem::create_directory(kFolder);
             EXPECT_EQ(chmod(kFolder, 0700), 0);
         },
         "code 14", ""},
    };
    for (const auto& [what, act, value, list] : cases) {
        std::filesystem::remove_all("/tmp/moved");
        std::filesystem::remove_all(kFolder);
        stage("1");
        act();
        ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u) << what;
        EXPECT_EQ(get("p.s.b"), value) << what;
        EXPECT_EQ(listed(), list) << what;
        ASSERT_EQ(QrnUci_EndOverlay(), 0u);
    }
    const long before = open_descriptors();
    QrnUci_Close();
    EXPECT_LT(open_descriptors(), before) << "what was kept of it is given back";
}

TEST_F(Overlay, TrustsNoFolderButItsOwn)
{
    const std::string folder = kFolder;
    const struct {
        const char* what;
        std::function<void()> make;
        std::string path;
        uint32_t code;
        std::string line;
    } cases[] = {
        {"a link", [] { std::filesystem::create_directory_symlink("/etc/config", kFolder); }, folder, 14,
         "open " + folder + ": Not a directory\n"},
        {"a file", [] { write_file(kFolder, ""); }, folder, 14, "open " + folder + ": Not a directory\n"},
        {"others' too", [] { (void)!(mkdir(kFolder, 0755) + chmod(kFolder, 0770)); }, folder, 14,
         folder + " is not a folder for us alone; nothing there is used\n"},
        {"another's", [] { (void)!(mkdir(kFolder, 0700) + chown(kFolder, 1, 1)); }, folder, 14,
         folder + " is not a folder for us alone; nothing there is used\n"},
        {"nowhere", [] {}, folder + "/not/there", 14,
         "create " + folder + "/not/there: No such file or directory\n"},
        {"too long", [] {}, "/" + std::string(220, 'x'), 14,
         "open an overlay's folder: File name too long\n"},
        {"relative", [] {}, "overlay", 22, ""},
        {"a staged link",
         [] {
             EXPECT_EQ(mkdir(kFolder, 0700), 0);
             std::filesystem::create_symlink("/tmp/.uci/p", "/tmp/overlay/p");
         },
         folder, 14, "open " + folder + "/p: Too many levels of symbolic links\n"},
    };
    for (const auto& [what, make, path, code, line] : cases) {
        std::filesystem::remove_all(kFolder);
        make();
        struct stat status = {};
        if (stat(kFolder, &status) == 0 && std::string{what} == "another's" && status.st_uid == geteuid()) {
            continue; // the namespace has no other user
        }
        const SystemCalls calls;
        EXPECT_EQ(QrnUci_BeginOverlay(path.c_str()), code) << what;
        EXPECT_EQ(calls.log(), line) << what;
        EXPECT_EQ(QrnUci_EndOverlay(), 14u) << what;
    }
}

TEST_F(Overlay, ThatCannotBeWrittenEndsAllTheSame)
{
    for (const char* const value : {"1", "2"}) { // a new file, and one that is added to
        ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u);
        EXPECT_EQ(set("p.s.b", value), 0u);
        SystemCalls calls;
        calls.fail("write", 0, ENOSPC);
        EXPECT_EQ(QrnUci_EndOverlay(), 14u);
        EXPECT_EQ(calls.log(), "write /tmp/overlay/p: No space left on device\n");
        EXPECT_EQ(get("p.s.a"), "theirs") << "back to normal";
        EXPECT_EQ(QrnUci_EndOverlay(), 14u);
        std::filesystem::remove_all(kFolder);
        ASSERT_EQ(QrnUci_BeginOverlay(kFolder), 0u);
        EXPECT_EQ(listed(), "") << "a new one has nothing of it";
        EXPECT_EQ(set("p.s.b", "0"), 0u);
        ASSERT_EQ(QrnUci_EndOverlay(), 0u);
    }
}
