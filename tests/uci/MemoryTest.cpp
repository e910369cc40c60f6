// SPDX-License-Identifier: Apache-2.0
// Memory that fails: each allocation of a call is refused once, one after the other. The call answers a code
// and works when memory is back, and nothing is lost.
#include <array>
#include <cerrno>
#include <filesystem>
#include <utility>

#include "qrnuci.h"
#include "uci/PrivateFolders.h"

using namespace test;

namespace
{

const std::string kLong(9000, 'x'); // fits into no chunk of memory with others

const std::string kLongPackage = "config t\n\toption a '" + kLong + "'\n";

long g_until_failure = -1; ///< allocations that still succeed; negative: all

bool is_refused()
{
    if (g_until_failure < 0 || --g_until_failure >= 0) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

uint32_t read_often()
{
    for (int round = 0; round < 20; ++round) { // the index is made on the way, and done without if need be
        std::array<char, 10000> buffer{};
        if (const uint32_t code = QrnUci_GetString("p.s.a", buffer.data(), buffer.size())) {
            return code;
        }
    }
    return 0;
}

uint32_t read_in_view()
{
    QrnUci_BeginView();
    const uint32_t code = read_often();
    QrnUci_EndView();
    return code;
}

uint32_t change()
{
    uint32_t code = QrnUci_BeginChange("p");
    if (code == 0) {
        code = QrnUci_AddSection("p", "t", "fresh", nullptr, 0);
        code = code != 0 ? code : QrnUci_SetNewString("p.fresh.a", "new", 0, 1);
        code = code != 0 ? code : QrnUci_SetListItem("p.fresh.l", 2, kLong.c_str());
        const uint32_t kept = QrnUci_EndChange(code == 0 ? 1 : 0);
        code = code != 0 ? code : kept;
    }
    return code;
}

uint32_t stage_in_overlay()
{
    uint32_t code = QrnUci_BeginOverlay("/tmp/overlay");
    if (code != 0) {
        return code;
    }
    static std::array<char, 20000> text;
    code = QrnUci_SetNewString("p.s.a", kLong.c_str(), 0, 1);
    code = code != 0 ? code : QrnUci_AddSection("p", "t", nullptr, nullptr, 0);
    code = code != 0 ? code : QrnUci_CommitPackage("p");
    code = code != 0 ? code : read_often();
    code = code != 0 ? code : QrnUci_ReadPackage("p", text.data(), text.size(), nullptr);
    const uint32_t ended = QrnUci_EndOverlay();
    return code != 0 ? code : ended;
}

uint32_t replace()
{
    return QrnUci_ReplacePackage("p", "config t s\n\toption a '1'\n", "config t s\n\toption b '1'\n");
}

uint32_t compare()
{
    const auto call = [](const Qrn_UciDifference*, void*) -> uint32_t { return 0; };
    return QrnUci_ComparePackages(kLongPackage.c_str(), "config t\nconfig t\n\tlist a 'x'\n", call, nullptr);
}

} // namespace

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size)
{
    return is_refused() ? nullptr : __libc_malloc(size);
}

void* realloc(void* memory, size_t size)
{
    return is_refused() ? nullptr : __libc_realloc(memory, size);
}

} // extern "C"

using Memory = UciTest;

TEST_F(Memory, EveryCallAnswersACodeAndLosesNothing)
{
    const struct {
        const char* what;
        uint32_t (*act)();
        const char* file; ///< what the package's file holds in the end, after the next commit
    } cases[] = {
        {"read", read_often, "\toption a '2'\n\tlist l 'x'\n\n"},
        {"view", read_in_view, "\toption a '2'\n\tlist l 'x'\n\n"},
        {"set", [] { return QrnUci_SetNewString("p.s.a", "3", 0, 1); }, "\toption a '3'\n\tlist l 'x'\n\n"},
        {"item", [] { return QrnUci_SetListItem("p.s.l", 1, "y"); },
         "\toption a '2'\n\tlist l 'x'\n\tlist l 'y'\n\n"},
        {"commit", [] { return QrnUci_CommitPackage("p"); }, "\toption a '2'\n\tlist l 'x'\n\n"},
        {"overlay", stage_in_overlay, "\toption a '2'\n\tlist l 'x'\n\n"},
        {"replace", replace, "\toption b '1'\n\toption a '2'\n\tlist l 'x'\n\n"},
        {"compare", compare, "\toption a '2'\n\tlist l 'x'\n\n"},
        {"change", change, nullptr},
    };
    for (const auto& [what, act, file] : cases) {
        bool is_through = false;
        for (long allocation = 0; !is_through; ++allocation) {
            SetUp();
            std::filesystem::remove_all("/tmp/overlay");
            put_config("p", "config t s\n\toption a '1'\n");
            // Longer than a chunk of memory, so that applying it takes another.
            std::string lines;
            for (int option = 0; option < 150; ++option) {
                lines += "p.s.x" + std::to_string(option) + "='1'\n";
            }
            for (int option = 0; option < 150; ++option) {
                lines += "-p.s.x" + std::to_string(option) + "\n";
            }
            put_staged("p", lines + "p.s.a='2'\n|p.s.l='x'\n");
            QrnUci_Close();
            g_until_failure = allocation;
            const uint32_t code = act();
            is_through = std::exchange(g_until_failure, -1) >= 0;
            // libc's own calls, such as to open a folder, fail with a code of theirs or are done without.
            ASSERT_TRUE(code == 12 || code == 14 || code == 0) << what << allocation << code;
            ASSERT_EQ(code != 0 ? act() : 0, 0u) << what << allocation;
            ASSERT_EQ(QrnUci_CommitPackage("p"), 0u) << what << allocation;
            ASSERT_EQ(staged("p"), "");
            const std::string after =
                file != nullptr ? file
                                : "\toption a '2'\n\tlist l 'x'\n\nconfig t 'fresh'\n\toption a 'new'\n"
                                  "\tlist l ''\n\tlist l ''\n\tlist l '" +
                                      kLong + "'\n\n";
            ASSERT_EQ(config("p"), "\nconfig t 's'\n" + after) << what << allocation;
        }
    }
}
