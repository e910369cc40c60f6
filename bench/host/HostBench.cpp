// SPDX-License-Identifier: Apache-2.0
// The services for host processes as ratios:
//   message        sending and receiving 256 bytes, against bare msgsnd and msgrcv of the same bytes
//   ring           pushing and popping 4 KiB, against two copies and two pairs of lock and unlock
//   ring_wakeup    from a push to the consumer and back, against a bare condition variable
//   daemon_direct  a request through qscd and back, against calling the library
//   daemon_spawn   the same, against starting one process
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <json-c/json.h>
#include <spawn.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/support/Ratios.h"
#include "include/bacl_ring_buffer.h"
#include "include/qsc_handlers.h"
#include "include/qscbase.h"
#include "tools/queue/Payload.h"
#include "tools/queue/Protocol.h"

namespace
{

constexpr uint16_t kPayload = 256;
constexpr uint32_t kBlock = 4096;

void message(benchmark::State& state)
{
    const auto queue = static_cast<uint32_t>(msgget(IPC_PRIVATE, 0600));
    unsigned char payload[kPayload] = {};
    unsigned char buffer[kPayload + QSCBASE_HEADER_SIZE];
    for (auto _ : state) {
        QSCBase_Send(queue, 0, 1, 0, payload, kPayload, 0);
        QSCBase_Receive(queue, 0, 1, buffer, sizeof buffer);
        benchmark::DoNotOptimize(buffer);
    }
    msgctl(static_cast<int>(queue), IPC_RMID, nullptr);
}

void bare_message(benchmark::State& state)
{
    const int queue = msgget(IPC_PRIVATE, 0600);
    struct {
        long type;
        unsigned char text[kPayload + 16];
    } sent{1, {}}, received{};
    for (auto _ : state) {
        msgsnd(queue, &sent, sizeof sent.text, 0);
        benchmark::DoNotOptimize(msgrcv(queue, &received, sizeof received.text, 1, 0));
    }
    msgctl(queue, IPC_RMID, nullptr);
}

void ring(benchmark::State& state)
{
    BaCL_RingBuffer ring;
    BaCL_RingBuf_Init(&ring);
    BaCL_RingBuf_AllocateBuffer(&ring, 4 * kBlock);
    BaCL_RingBuf_SetState(&ring, BACL_RING_ENABLED);
    static unsigned char in[kBlock];
    static unsigned char out[kBlock];
    for (auto _ : state) {
        BaCL_RingBuf_Push(&ring, in, kBlock);
        BaCL_RingBuf_Pop(&ring, out, kBlock);
        benchmark::ClobberMemory();
    }
    BaCL_RingBuf_Close(&ring, 0);
}

/// The same library copy as ours: the size is not known when this is compiled.
void bare_copies(benchmark::State& state)
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static unsigned char in[kBlock];
    static unsigned char out[kBlock];
    volatile size_t block = kBlock;
    auto* const storage = static_cast<unsigned char*>(std::malloc(4 * kBlock));
    size_t place = 0;
    for (auto _ : state) {
        pthread_mutex_lock(&mutex);
        std::memcpy(storage + place, in, block);
        pthread_mutex_unlock(&mutex);
        pthread_mutex_lock(&mutex);
        std::memcpy(out, storage + place, block);
        pthread_mutex_unlock(&mutex);
        benchmark::ClobberMemory();
        place = (place + block) % (4 * kBlock);
    }
    std::free(storage);
}

/// Two threads that hand a byte to and fro; wait() and post() are one direction.
template <typename Channel>
void ping_pong(benchmark::State& state)
{
    Channel there;
    Channel back;
    std::thread echo{[&] {
        while (there.wait() == 1) {
            back.post(1);
        }
    }};
    for (auto _ : state) {
        there.post(1);
        benchmark::DoNotOptimize(back.wait());
    }
    there.post(2);
    echo.join();
}

class RingChannel
{
  public:
    RingChannel()
    {
        BaCL_RingBuf_Init(&ring_);
        BaCL_RingBuf_AllocateBuffer(&ring_, 16);
        BaCL_RingBuf_SetState(&ring_, BACL_RING_ENABLED);
        BaCL_RingBuf_SetThreshold(&ring_, 1);
    }
    RingChannel(const RingChannel&) = delete;
    RingChannel& operator=(const RingChannel&) = delete;
    ~RingChannel() { BaCL_RingBuf_Close(&ring_, 0); }

    void post(unsigned char byte) { BaCL_RingBuf_Push(&ring_, &byte, 1); }
    unsigned char wait()
    {
        unsigned char byte = 0;
        BaCL_RingBuf_ThreadMuxLock(&ring_, 1);
        while (ring_.DataSize == 0) {
            BaCL_RingBuf_ThreadCondWait(&ring_);
        }
        BaCL_RingBuf_Pop_WM(&ring_, &byte, 1, 0);
        BaCL_RingBuf_ThreadMuxLock(&ring_, 0);
        return byte;
    }

  private:
    BaCL_RingBuffer ring_;
};

class BareChannel
{
  public:
    void post(unsigned char byte)
    {
        pthread_mutex_lock(&mutex_);
        byte_ = byte;
        pthread_cond_signal(&condition_);
        pthread_mutex_unlock(&mutex_);
    }
    unsigned char wait()
    {
        pthread_mutex_lock(&mutex_);
        while (byte_ == 0) {
            pthread_cond_wait(&condition_, &mutex_);
        }
        const unsigned char byte = byte_;
        byte_ = 0;
        pthread_mutex_unlock(&mutex_);
        return byte;
    }

  private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
    unsigned char byte_ = 0;
};

void direct(benchmark::State& state)
{
    for (auto _ : state) {
        json_object* const request = json_object_new_object();
        json_object_object_add(request, "level", json_object_new_object());
        benchmark::DoNotOptimize(QSysCmdHal_Do_SysLog("syslog", request, QSC_OPER_GET, 8, 0, 0));
        json_object_put(request);
    }
}

/// A daemon of our own, for as long as the program runs.
uint32_t start_daemon(const char* program, pid_t& pid)
{
    int out[2];
    if (pipe(out) != 0) {
        return QSCBASE_NO_QUEUE;
    }
    pid = fork();
    if (pid == 0) {
        dup2(out[1], STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        execl(program, program, "--socket", "", "--folder", "/tmp", "--queue",
              std::to_string(0x20000 + getpid()).c_str(), nullptr);
        _exit(127);
    }
    close(out[1]);
    FILE* const words = fdopen(out[0], "r");
    uint32_t queue = QSCBASE_NO_QUEUE;
    if (fscanf(words, "queue %u", &queue) != 1) {
        queue = QSCBASE_NO_QUEUE;
    }
    fclose(words);
    return queue;
}

void through_daemon(benchmark::State& state, uint32_t queue)
{
    qsc::queue::Payload payload;
    json_object* const root = json_tokener_parse(R"({"Path":"syslog","Request":{"level":{}}})");
    if (!payload.write(root, QSC_OPER_GET, 8, 0)) {
        state.SkipWithError("no payload");
    }
    json_object_put(root);
    qsc::queue::Received answer;
    for (auto _ : state) {
        QSCBase_Send(queue, 0, qsc::queue::kRequestType, 2, payload.data(),
                     static_cast<uint16_t>(payload.length()), qsc::queue::kRequestKind);
        if (answer.receive(queue, 2) != 0) {
            state.SkipWithError("no answer");
            break;
        }
    }
}

void spawn(benchmark::State& state)
{
    char name[] = "true";
    char* arguments[] = {name, nullptr};
    for (auto _ : state) {
        pid_t pid = -1;
        posix_spawn(&pid, "/bin/true", nullptr, nullptr, arguments, environ);
        waitpid(pid, nullptr, 0);
    }
}

} // namespace

int main(int count, char** arguments)
{
    pid_t pid = -1;
    const uint32_t queue = start_daemon(QSC_DAEMON, pid);
    benchmark::RegisterBenchmark("message", message);
    benchmark::RegisterBenchmark("bare_message", bare_message);
    benchmark::RegisterBenchmark("ring", ring);
    benchmark::RegisterBenchmark("bare_copies", bare_copies);
    benchmark::RegisterBenchmark("ring_ping_pong", ping_pong<RingChannel>)->UseRealTime();
    benchmark::RegisterBenchmark("bare_ping_pong", ping_pong<BareChannel>)->UseRealTime();
    benchmark::RegisterBenchmark("direct", direct)->UseRealTime();
    benchmark::RegisterBenchmark("daemon", [queue](benchmark::State& state) {
        through_daemon(state, queue);
    })->UseRealTime();
    benchmark::RegisterBenchmark("spawn", spawn)->UseRealTime();
    const bench::Ratio ratios[] = {
        {"message", "message", "bare_message", "msgsnd and msgrcv of the same bytes", 1.1},
        {"ring", "ring", "bare_copies", "two copies, two pairs of lock and unlock", 1.3},
        {"ring_wakeup", "ring_ping_pong", "bare_ping_pong", "a bare condition variable"},
        {"daemon_direct", "daemon", "direct", "calling the library"},
        {"daemon_spawn", "daemon", "spawn", "starting one process"},
    };
    const int result = bench::run(count, arguments, ratios);
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    return result;
}
