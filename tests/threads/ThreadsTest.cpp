// SPDX-License-Identifier: Apache-2.0
// What threads may do concurrently; mainly for the thread sanitizer.
#include <atomic>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <json-c/json.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bacl_regular_job.h"
#include "bacl_ring_buffer.h"
#include "qrnuci.h"
#include "qsc_handlers.h"
#include "qslog.h"
#include "qsyscmdhal.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"

using namespace test;

namespace
{

std::atomic<bool> g_is_refused{false};

} // namespace

// What is written here need not reach any disk.
extern "C" void sync(void) {}

// Tells when somebody has found a lock taken.
extern "C" int flock(int descriptor, int operation)
{
    const auto result = static_cast<int>(syscall(SYS_flock, descriptor, operation));
    if (result != 0) {
        g_is_refused = true;
    }
    return result;
}

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

TEST_F(Threads, OneCopyOfTheMeshTopologyServesEverybody)
{
    put_config("mtkwireless", "config mesh mesh\n\toption enable '1'\n");
    write_file("/tmp/dump.txt",
               R"({"topology information":[{"Radio Info":[{"BSSINFO":[{},{"SSID":"mesh"}]}]}]})");
    const auto read_names = [](int) {
        int failures = 0;
        for (int i = 0; i < 10; ++i) {
            json_object* const request = json_tokener_parse(R"({"SSID":{}})");
            failures +=
                QSysCmdHal_Do_Device_WiFi_SSID("Device.WiFi.SSID.1", request, QSC_OPER_GET, 8, 0, 0) != 0;
            json_object_put(request);
        }
        return failures;
    };
    std::vector<pid_t> children;
    for (int i = 0; i < 3; ++i) {
        children.push_back(fork());
        if (children.back() == 0) {
            _exit(read_names(i));
        }
    }
    std::atomic<int> failures{0};
    run_threads(3, [&](int number) { failures += read_names(number); });
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(failures, 0);
}

TEST_F(Threads, ALockedPackageKeepsNobodyFromReadingAnother)
{
    put_config("locked", "config t s\n\toption o '1'\n");
    put_config("other", "config t s\n\toption o '2'\n");
    const int holder = open("/etc/config/locked", O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(holder, LOCK_EX), 0);
    g_is_refused = false;
    std::string value;
    std::thread waiting{[&] { value = get("locked.s.o"); }};
    while (!g_is_refused) {
        sched_yield();
    }
    EXPECT_EQ(get("other.s.o"), "2");
    close(holder);
    waiting.join();
    EXPECT_EQ(value, "1") << "it did not have to wait for long";
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

TEST_F(Threads, RingsWithProducersConsumersAndPrinters)
{
    BaCL_RingBuffer ring;
    ASSERT_EQ(BaCL_RingBuf_Init(&ring), 0u);
    ASSERT_EQ(BaCL_RingBuf_AllocateBuffer(&ring, 64), 0u);
    BaCL_RingBuf_SetState(&ring, BACL_RING_ENABLED);
    BaCL_RingBuf_SetStateFlag(&ring, BACL_RING_NO_OVERWRITE);
    BaCL_RingBuf_SetThreshold(&ring, 8);
    Qslog_SetLogLevel(0);
    constexpr int kBytes = 20'000;
    std::atomic<int> pushed{0};
    std::atomic<int> popped{0};
    std::atomic<int> sum{0};
    run_threads(5, [&](int number) {
        if (number < 2) {
            const unsigned char bytes[4] = {1, 1, 1, 1};
            while (pushed < kBytes) {
                if (BaCL_RingBuf_Push(&ring, bytes, 4) == 0) {
                    pushed += 4;
                }
            }
        } else if (number < 4) {
            unsigned char bytes[16];
            while (pushed < kBytes || popped < pushed) {
                const uint32_t count = BaCL_RingBuf_PopAvailable(&ring, bytes, sizeof bytes);
                for (uint32_t i = 0; i < count; ++i) {
                    sum += bytes[i];
                }
                popped += static_cast<int>(count);
            }
        } else {
            while (pushed < kBytes) {
                BaCL_RingBuf_Print(&ring, "watched");
                BaCL_RingBuf_SetThreshold(&ring, BaCL_RingBuf_GetDataSize(&ring));
            }
        }
    });
    // The rest that was pushed after the consumers had finished.
    unsigned char rest[64];
    const uint32_t count = BaCL_RingBuf_PopAvailable(&ring, rest, sizeof rest);
    popped += static_cast<int>(count);
    sum = std::accumulate(rest, rest + count, sum.load());
    EXPECT_EQ(popped, pushed);
    EXPECT_EQ(sum, pushed) << "no byte is lost or made up";
    EXPECT_EQ(BaCL_RingBuf_Close(&ring, 0), 0u);
}

TEST_F(Threads, AClosedRingReleasesAllThreads)
{
    Qslog_SetLogLevel(0);
    BaCL_RingBuffer ring;
    ASSERT_EQ(BaCL_RingBuf_Init(&ring), 0u);
    ASSERT_EQ(BaCL_RingBuf_AllocateBuffer(&ring, 16), 0u);
    BaCL_RingBuf_SetState(&ring, BACL_RING_ENABLED);
    BaCL_RingBuf_SetThreshold(&ring, 16);
    std::atomic<int> left{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            // Waits like a consumer: under the mutex, while the ring is enabled and holds too few bytes.
            while (BaCL_RingBuf_ThreadMuxLock(&ring, 1) == 0) {
                const bool is_waiting = ring.DataSize < 16 && BaCL_RingBuf_ThreadCondWait(&ring) == 0;
                BaCL_RingBuf_ThreadMuxLock(&ring, 0);
                if (!is_waiting) {
                    break;
                }
            }
            ++left;
        });
        threads.emplace_back([&] {
            while (BaCL_RingBuf_Push(&ring, "x", 1) == 0 && BaCL_RingBuf_GetDataSize(&ring) < 15) {
            }
            ++left;
        });
    }
    while (left < 2) {
        sched_yield();
    }
    EXPECT_EQ(BaCL_RingBuf_ClearState(&ring, BACL_RING_ENABLED), 0u);
    EXPECT_EQ(pthread_cond_broadcast(&ring.Condition), 0);
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(BaCL_RingBuf_Close(&ring, 0), 0u);
}

TEST_F(Threads, AJobIsObservedWhileItRunsAndStops)
{
    Qslog_SetLogLevel(0);
    BaCL_RegularInfo info;
    ASSERT_EQ(BaCL_RegInfo_Init(&info), 0u);
    BaCL_RegInfo_SetState(&info, BACL_JOB_AVAILABLE);
    const auto routine = [](void* record) -> void* {
        auto* const job = static_cast<BaCL_RegularInfo*>(record);
        BaCL_RegInfo_SetFlag(job, 3);
        while ((BaCL_RegInfo_GetFlag(job) & BACL_JOB_STOP) == 0) {
            sched_yield();
        }
        BaCL_RegInfo_SetFlag(job, BACL_JOB_ACKNOWLEDGED);
        return nullptr;
    };
    ASSERT_EQ(BaCL_RegInfo_CreateThread(&info, routine, 0, 10'000), 0u);
    run_threads(3, [&](int number) {
        for (int i = 0; i < 200; ++i) {
            BaCL_RegInfo_GetState(&info);
            BaCL_RegInfo_Print(&info, "watched");
            if (number == 0) {
                BaCL_RegInfo_SetState(&info, 2);
            }
        }
    });
    EXPECT_EQ(BaCL_RegInfo_CloseThread(&info, 10'000, 0), 0u);
    // The thread may still hold the mutex when it has acknowledged; locking it waits for that.
    EXPECT_EQ(BaCL_RegInfo_ClearExeFlag(&info), 0u);
    EXPECT_EQ(BaCL_RegInfo_Close(&info), 0u);
}
