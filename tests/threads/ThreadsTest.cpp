// SPDX-License-Identifier: Apache-2.0
// What several threads may do at once; meant for the thread sanitizer above all.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <json-c/json.h>

#include "platform/PrivateFolders.h"
#include "qrnuci.h"
#include "qslog.h"
#include "qsyscmdhal.h"

using namespace test;

class Threads : public UciTest
{
  protected:
    template <typename Work>
    static void run_threads(int count, Work work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i) {
            threads.emplace_back(work, i);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
};

TEST_F(Threads, RequestsWhileTheLogIsSwitched)
{
    put_config("system", "config system\n\toption log_port '514'\n");
    Qslog_SetProperty(1);
    std::atomic<int> failures{0};
    run_threads(4, [&](int number) {
        for (int i = 0; i < 50; ++i) {
            Qslog_SetLogLevel(static_cast<uint32_t>(number));
            Qslog_AddProperty(2);
            json_object* const request = json_object_new_object();
            const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList();
            while (std::string{entry->path} != "Device.X_QRN_RemoteLog") {
                ++entry;
            }
            const uint32_t code = entry->dispatcher(entry->path, request, QSC_OPER_GET, 8, 0, 0);
            failures += code != 0 || json_object_object_length(request) != 5 ? 1 : 0;
            json_object_put(request);
        }
    });
    EXPECT_EQ(failures, 0);
}

TEST_F(Threads, ConfigurationChangesOfEachThreadAreKept)
{
    put_config("p", "config t s\n");
    std::atomic<int> failures{0};
    run_threads(4, [&](int number) {
        const std::string key = "p.s.o" + std::to_string(number);
        for (int i = 1; i <= 25; ++i) {
            const std::string value = std::to_string(i);
            failures += QrnUci_SetNewString(key.c_str(), value.c_str(), 0, 1) != 0 || get(key) != value ||
                                QrnUci_CommitPackage("p") != 0
                            ? 1
                            : 0;
        }
    });
    EXPECT_EQ(failures, 0);
    for (int number = 0; number < 4; ++number) {
        EXPECT_EQ(get("p.s.o" + std::to_string(number)), "25");
    }
}
