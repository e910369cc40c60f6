// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Server.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include <json-c/json_tokener.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "include/bacl.h"
#include "tools/qscd/Signals.h"

using namespace qsc;

namespace qscd
{

namespace
{

// The marks of descriptors in epoll; smaller numbers are slots of clients.
constexpr u64 kListenerMark = 1000;
constexpr u64 kWakeMark = 1001;
constexpr u64 kFilesMark = 1002;
constexpr u64 kNetworkMark = 1003;
constexpr u64 kUbusMark = 1004;

constexpr u64 kTick = 1000;
constexpr u64 kLogPause = 100;

/// When the ordered thread has not come back for so long, a new daemon is better than this one.
constexpr u64 kHopeless = 60'000;

constexpr int kDepth = 32;
constexpr u32 kStopLimitMs = 1200;

} // namespace

Server::~Server()
{
    if (tokener_ != nullptr) {
        json_tokener_free(tokener_);
    }
}

bool Server::add_to_epoll(int descriptor, u64 mark)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = mark;
    return epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

bool Server::start()
{
    started_ = BaCL_GetTimestampMSHQ();
    next_report_ = started_ + u64{options_.watchdog_seconds} * 1000;
    wake_.replace(FileDescriptor{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)});
    epoll_.replace(FileDescriptor{epoll_create1(EPOLL_CLOEXEC)});
    tokener_ = json_tokener_new_ex(kDepth);
    catch_signals(wake_.get());
    u32 code = wake_.is_open() && epoll_.is_open() && tokener_ != nullptr ? 0 : u32{ENOMEM};
    if (code == 0) {
        json_tokener_set_flags(tokener_, JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
        code = log_.start(options_.log_file);
    }
    if (code == 0) {
        code = workers_.start(options_.deadlines, wake_.get());
    }
    if (code != 0) {
        std::fprintf(stderr, "qscd: it cannot be started: %s\n", std::strerror(static_cast<int>(code)));
        return false;
    }
    load_access();
    watch_applies(announce, this);
    window_.start();
    if (*options_.ubus != '-') {
        ubus_.open(*options_.ubus != '\0' ? options_.ubus : nullptr);
    }
    const bool is_listening = options_.descriptor >= 0
                                  ? listener_.inherit(options_.descriptor)
                                  : *options_.socket == '\0' || listener_.open(options_.socket);
    if (!is_listening || (options_.has_queue && !queue_.start(wake_.get())) ||
        !add_to_epoll(wake_.get(), kWakeMark) ||
        (listener_.get() >= 0 && !add_to_epoll(listener_.get(), kListenerMark))) {
        return false;
    }
    if (listener_.get() >= 0) {
        std::printf("socket %s\n", options_.descriptor >= 0 ? "inherited" : options_.socket);
    }
    if (queue_.is_open()) {
        std::printf("queue %u key 0x%x\n", queue_.queue(), options_.key);
        log_.add("serving queue %u, key 0x%x, mode %04o", queue_.queue(), options_.key, options_.mode);
    }
    std::fflush(stdout);
    return true;
}

void Server::load_access()
{
    Text<254> error;
    if (!access_.load(options_.access_file, error)) {
        log_.add("%s: %s; only root and the own user have rights", options_.access_file, error.c_str());
    }
}

bool Server::serve()
{
    std::array<epoll_event, 32> events;
    for (u64 now = started_; !is_ending_; now = BaCL_GetTimestampMSHQ()) {
        if (now >= next_tick_) {
            tick(now);
        }
        const int count =
            epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), next_wait(now));
        for (int i = 0; i < count; ++i) {
            const auto mark = static_cast<std::size_t>(events[static_cast<std::size_t>(i)].data.u64);
            const u32 what = events[static_cast<std::size_t>(i)].events;
            if (mark == kListenerMark) {
                accept_all();
            } else if (mark == kWakeMark) {
                u64 number = 0;
                (void)!read(wake_.get(), &number, sizeof number);
                take_signals();
                if (Call* const call = workers_.announced()) {
                    answer_early(*call);
                }
                take_done();
            } else if (mark == kFilesMark || mark == kNetworkMark) {
                watch_.drain(mark == kFilesMark ? watch_.files() : watch_.network(), BaCL_GetTimestampMSHQ());
            } else if (mark == kUbusMark) {
                ubus_.handle((what & (EPOLLHUP | EPOLLERR)) != 0);
            } else if (clients_[mark].is_open()) {
                const bool is_stuck = (what & EPOLLOUT) != 0 && !clients_[mark].flush();
                const bool is_gone = (what & (EPOLLHUP | EPOLLERR)) != 0 &&
                                     (clients_[mark].has_ended || !clients_[mark].is_welcome());
                if (is_stuck || is_gone) {
                    close_client(mark, nullptr);
                } else if ((what & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
                    read_client(mark);
                } else {
                    update_events(mark);
                }
            }
        }
        for (u64 rest = with_lines_; rest != 0; rest &= rest - 1) {
            const auto slot = static_cast<std::size_t>(std::countr_zero(rest));
            if (clients_[slot].is_welcome()) {
                serve_lines(slot);
            }
        }
    }
    return !has_failed_;
}

bool Server::end()
{
    is_ending_ = true;
    listener_.close();
    const bool is_whole = workers_.stop(kStopLimitMs);
    take_done();
    queue_.stop();
    for (std::size_t slot = 0; slot < clients_.size(); ++slot) {
        if (clients_[slot].is_open() && clients_[slot].in_flight != 0) {
            Answer answer;
            answer.begin();
            answer.fail(kEnding, sentence_of(kEnding));
            (void)clients_[slot].send(answer.line());
        }
        clients_[slot].close();
    }
    log_.add("ended after %" PRIu64 " requests, %u dropped", counters_.requests + queue_.served(),
             queue_.dropped());
    return log_.stop() == 0 && is_whole;
}

int Server::next_wait(u64 now)
{
    int wait = workers_.supervise({this, warn_overdue, end_late, give_up});
    const auto at_most = [&](u64 milliseconds) {
        wait = wait < 0 ? static_cast<int>(milliseconds) : std::min(wait, static_cast<int>(milliseconds));
    };
    const int watch_wait = watch_.look(now, workers_.is_changing());
    if (watch_.take_new_descriptors()) {
        (void)add_to_epoll(watch_.files(), kFilesMark);
        (void)add_to_epoll(watch_.network(), kNetworkMark);
    }
    const int ubus_wait = ubus_.look(now);
    if (ubus_.take_descriptor_changed()) {
        (void)add_to_epoll(ubus_.descriptor(), kUbusMark);
    }
    if (const int window_wait = window_.look(); window_wait >= 0) {
        at_most(static_cast<u64>(window_wait));
    }
    if (ubus_wait >= 0) {
        at_most(static_cast<u64>(ubus_wait));
    }
    if (watch_wait >= 0) {
        at_most(static_cast<u64>(watch_wait));
    }
    for (u64 rest = with_lines_; rest != 0; rest &= rest - 1) {
        if (clients_[static_cast<std::size_t>(std::countr_zero(rest))].is_welcome()) {
            return 0;
        }
    }
    if (log_.has_lines()) {
        at_most(kLogPause);
    }
    if (with_output_ != 0 || queue_.is_open()) {
        at_most(kTick);
    }
    if (options_.watchdog_seconds != 0) {
        const u64 next = std::max(next_report_, next_tick_);
        at_most(next > now ? next - now : 0);
    }
    return wait;
}

void Server::tick(u64 now)
{
    next_tick_ = now + (log_.has_lines() ? kLogPause : kTick);
    log_.flush();
    if (queue_.is_open()) {
        queue_.expire();
    }
    for (std::size_t slot = 0; slot < clients_.size(); ++slot) {
        if (clients_[slot].stuck_since != 0 &&
            now - clients_[slot].stuck_since > u64{options_.patience_seconds} * 1000) {
            close_client(slot, "it takes no answers");
        }
    }
    if (options_.watchdog_seconds != 0 && now >= next_report_) {
        next_report_ = now + u64{options_.watchdog_seconds} * 1000;
        report();
    }
    if (workers_.lost_for() > kHopeless) {
        log_.add("a request does not come back; ending, so that a new daemon can begin");
        is_ending_ = has_failed_ = true;
    }
}

void Server::take_signals()
{
    if (take_reopen()) {
        log_.ask_reopen();
        load_access();
        log_.add("log and access file are opened anew");
    }
    if (queue_.has_failed()) {
        has_failed_ = true;
    }
    is_ending_ = is_ending_ || is_end_wanted() || has_failed_;
}

} // namespace qscd
