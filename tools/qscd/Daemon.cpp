// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Daemon.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <json-c/json.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include "base/Text.h"
#include "core/CommandTable.h"
#include "include/bacl.h"
#include "include/qslog.h"
#include "include/qsyscmdhal.h"
#include "tools/queue/Protocol.h"

using namespace qsc;
using namespace qsc::queue;

namespace qscd
{

namespace
{

constexpr const char* kModule = "qscd";
constexpr u32 kStartLimitMs = 5000;

/// Whoever sent a request that is older than this has given up on it.
constexpr u32 kOldestRequest = 60;

/// The queue that a signal removes: whoever waits for a message, here or in a client, then learns it at once.
/// The programs that a request starts have their signals as they should be, which a blocked signal would not
/// give.
volatile std::sig_atomic_t g_queue = -1;
volatile std::sig_atomic_t g_is_ended = 0;

void end(int)
{
    const int kept = errno;
    g_is_ended = 1;
    (void)msgctl(g_queue, IPC_RMID, nullptr);
    errno = kept;
}

void catch_signals(u32 queue)
{
    g_queue = static_cast<int>(queue);
    struct sigaction action = {};
    action.sa_handler = end;
    action.sa_flags = SA_RESTART;
    (void)sigaction(SIGTERM, &action, nullptr);
    (void)sigaction(SIGINT, &action, nullptr);
}

/// A request that has been understood.
struct Understood {
    const char* path;
    json_object* object;
    u32 operations;
    u32 commander;
};

bool understand(const Received& message, json_object* root, Understood& request)
{
    json_object* const header = member_of(root, kHeader);
    json_object* const path = member_of(root, kPath);
    request.path = json_object_get_string(path);
    request.object = member_of(root, kRequest);
    return message.kind() == kRequestKind && message.user_value() >= kFirstAnswerType &&
           message.user_value() <= kLastAnswerType && json_object_is_type(path, json_type_string) != 0 &&
           std::strlen(request.path) == static_cast<std::size_t>(json_object_get_string_len(path)) &&
           json_object_is_type(request.object, json_type_object) != 0 &&
           read_number(header, kOperations, request.operations) &&
           read_number(header, kCommander, request.commander);
}

} // namespace

Daemon::~Daemon()
{
    if (housekeeper_.State != 0) {
        BaCL_RegInfo_Close(&housekeeper_);
    }
    log_.stop();
    if (queue_ != QSCBASE_NO_QUEUE) {
        (void)msgctl(static_cast<int>(queue_), IPC_RMID, nullptr);
    }
}

/// The lock tells a daemon that runs from a queue that one has left behind.
bool Daemon::take_lock()
{
    Text<510> path;
    char name[32];
    (void)std::snprintf(name, sizeof name, "/qscd-%08x.lock", options_.key);
    path.append(options_.folder).append(name);
    lock_.replace(FileDescriptor{open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)});
    char pid[16] = {};
    if (lock_.is_open() && flock(lock_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        const bool is_known = pread(lock_.get(), pid, sizeof pid - 1, 0) > 0;
        std::fprintf(stderr, "qscd: %s: a qscd is running%s%.*s; give this one another --key\n", path.c_str(),
                     is_known ? " as process " : "", static_cast<int>(std::strspn(pid, "0123456789")), pid);
        return false;
    }
    const int length = std::snprintf(pid, sizeof pid, "%d\n", static_cast<int>(getpid()));
    if (!path.fits() || !lock_.is_open() || ftruncate(lock_.get(), 0) != 0 ||
        !write_all(lock_.get(), {pid, static_cast<std::size_t>(length)})) {
        std::fprintf(stderr, "qscd: %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

bool Daemon::make_queue()
{
    const auto key = static_cast<key_t>(options_.key);
    const int left_behind = msgget(key, 0);
    if (left_behind >= 0) {
        (void)msgctl(left_behind, IPC_RMID, nullptr);
    }
    const int queue = msgget(key, IPC_CREAT | IPC_EXCL | static_cast<int>(options_.mode));
    if (queue < 0) {
        std::fprintf(stderr, "qscd: the queue of key 0x%x cannot be made: %s\n", options_.key,
                     std::strerror(errno));
        return false;
    }
    queue_ = static_cast<u32>(queue);
    return true;
}

bool Daemon::start()
{
    if (!take_lock() || !make_queue()) {
        return false;
    }
    catch_signals(queue_);
    u32 code = log_.start();
    if (code == 0) {
        code = BaCL_RegInfo_Init(&housekeeper_);
    }
    if (code == 0) {
        housekeeper_.PtrParam = this;
        last_report_ = BaCL_GetTimestampSec();
        BaCL_RegInfo_SetState(&housekeeper_, BACL_JOB_AVAILABLE);
        code = BaCL_RegInfo_CreateThread(&housekeeper_, housekeep, 64 * 1024, kStartLimitMs);
    }
    if (code != 0) {
        std::fprintf(stderr, "qscd: its threads cannot be started: %s\n",
                     std::strerror(static_cast<int>(code)));
        return false;
    }
    std::printf("queue %u key 0x%x\n", queue_, options_.key);
    std::fflush(stdout);
    log_.add("serving queue %u, key 0x%x, mode %04o", queue_, options_.key, options_.mode);
    return true;
}

bool Daemon::serve()
{
    Received message;
    bool is_ended = false;
    for (;;) {
        const u32 code = message.receive(queue_, kRequestType);
        if (code == 0) {
            handle(message);
        } else if (code == E2BIG) {
            drop("a message that is too long");
        } else if (code != EINTR) {
            is_ended = g_is_ended != 0;
            if (!is_ended) {
                log_.add("the queue cannot be used any more: %s", std::strerror(static_cast<int>(code)));
            }
            break;
        }
    }
    log_.add("ended after %u requests, %u dropped", served_.load(), dropped_.load());
    return is_ended;
}

/// What a message holds is nobody else's business: only that it was dropped is logged.
void Daemon::drop(const char* why)
{
    ++dropped_;
    log_.add("dropped %s", why);
}

void Daemon::handle(const Received& message)
{
    if (BaCL_GetTimestampSec() - message.send_time() > kOldestRequest) {
        drop("a request that is too old");
        return;
    }
    const JsonRef root = message.parse();
    Understood request{};
    if (root == nullptr || !understand(message, root.get(), request)) {
        drop("a malformed message");
        return;
    }
    ++served_;
    const Qsc_CommandEntry* const entry = find_command_for(request.path);
    u32 code = EINVAL;
    if (entry != nullptr) {
        code = entry->dispatcher(request.path, request.object, request.operations, request.commander, 0, 0);
    } else {
        json_object_object_add(root.get(), kError, json_object_new_string("there is no such path"));
    }
    log_.add("%s 0x%x %s: %u", QSCBase_GetCommanderName(static_cast<i32>(request.commander)),
             request.operations, request.path, code);
    answer(root.get(), request.operations, request.commander, code, message.user_value());
}

void Daemon::answer(json_object* root, u32 operations, u32 commander, u32 code, u32 type)
{
    Payload payload;
    if (!payload.write(root, operations, commander, code)) {
        // The request was served; only its answer cannot travel, and that is what the sender must know.
        Text<254> error;
        error.append("served, but the answer of ").append_number(static_cast<i64>(payload.length()));
        error.append(" bytes is longer than a message, which takes ").append_number(QSCBASE_PAYLOAD_MAX);
        json_object_object_del(root, kRequest);
        json_object_object_del(root, kPath);
        json_object_object_add(root, kError, json_object_new_string(error.c_str()));
        if (!payload.write(root, operations, commander, EMSGSIZE)) {
            log_.add("no memory for an answer");
            return;
        }
    }
    // A full queue is not waited for: the sender may be dead.
    constexpr u16 kAttempts = 10;
    constexpr u16 kPauseMs = 10;
    const u32 sent = QSCBase_Send_NB(queue_, type, 0, payload.data(), static_cast<u16>(payload.length()),
                                     kAnswerKind, kAttempts, kPauseMs);
    if (sent != 0) {
        ++dropped_;
        log_.add("an answer of type %u could not be sent: %s", type, std::strerror(static_cast<int>(sent)));
    }
}

void* Daemon::housekeep(void* record)
{
    auto* const job = static_cast<BaCL_RegularInfo*>(record);
    auto* const daemon = static_cast<Daemon*>(job->PtrParam);
    BaCL_RegInfo_SetFlag(job, BACL_JOB_RUNNING | BACL_JOB_ACKNOWLEDGED);
    constexpr useconds_t kPass = 100'000;
    while ((BaCL_RegInfo_GetFlag(job) & BACL_JOB_STOP) == 0) {
        usleep(kPass);
        daemon->tick();
    }
    BaCL_RegInfo_SetFlag(job, BACL_JOB_ACKNOWLEDGED);
    return nullptr;
}

void Daemon::tick()
{
    expired_ += answers_.expire(queue_);
    const u32 now = BaCL_GetTimestampSec();
    if (options_.watchdog_seconds != 0 && now - last_report_ >= options_.watchdog_seconds) {
        last_report_ = now;
        report();
    }
}

void Daemon::report()
{
    msqid_ds status{};
    if (msgctl(static_cast<int>(queue_), IPC_STAT, &status) != 0) {
        return;
    }
    Qslog_Log(6, kModule, __LINE__, __func__,
              "alive: %u served, %u dropped, %u expired, %lu messages waiting\n", served_.load(),
              dropped_.load(), expired_.load(), static_cast<unsigned long>(status.msg_qnum));
}

} // namespace qscd
