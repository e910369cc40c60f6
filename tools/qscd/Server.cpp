// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Server.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include <json-c/json.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "include/bacl.h"
#include "include/qslog.h"
#include "tools/qscd/Signals.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr const char* kModule = "qscd";

// What epoll tells them apart by; smaller numbers are slots of clients.
constexpr u64 kListenerMark = 1000;
constexpr u64 kWakeMark = 1001;
constexpr u64 kFilesMark = 1002;
constexpr u64 kNetworkMark = 1003;
constexpr u64 kUbusMark = 1004;

/// Requests of ubus that may wait for workers.
constexpr u32 kMostOfUbus = 64;

/// Lines of one client that are taken before it is another one's turn.
constexpr u32 kLinesInTurn = 16;

/// Clients of one user who is not the daemon's master.
constexpr std::size_t kMostOfUser = 16;

/// Bytes that all clients together may have waiting here.
constexpr std::size_t kMostQueued = 16 * kLongestLine;

constexpr u64 kTick = 1000;
constexpr u64 kLogPause = 100;

/// A get that took so long has waited for a lock. Then workers wait, not the thread that reads the sockets.
constexpr u64 kSlowMs = 20;
constexpr u64 kSlowFor = 5000;

/// When the ordered thread has not come back for so long, a new daemon is better than this one.
constexpr u64 kHopeless = 60'000;

constexpr int kDepth = 32;
constexpr u32 kStopLimitMs = 1200;

/// A place in the table of what needs tools; equal ones only make a worker serve what needed none.
std::size_t hash_of(const Place& place)
{
    std::size_t hash = place.entry != nullptr ? place.entry->id : 0;
    for (const char c : place.entry != nullptr ? place.name.view() : place.object.view()) {
        hash = hash * 31 + static_cast<unsigned char>(c);
    }
    return hash % 256;
}

/// The id of a message, as it is answered; empty: it is no id.
std::string_view id_text(json_object* id, Answer& scratch)
{
    const bool is_number = json_object_is_type(id, json_type_int) != 0;
    const i64 number = json_object_get_int64(id);
    // Larger numbers are not read as they are, so they could not be given back.
    const bool is_exact = !is_number || (number < INT64_MAX && number > INT64_MIN);
    if (id != nullptr && (!is_exact || (!is_number && json_object_is_type(id, json_type_string) == 0 &&
                                        json_object_is_type(id, json_type_double) == 0))) {
        return {};
    }
    scratch.append_value(id);
    return scratch.line();
}

const char* text_of_error(ErrorCode code)
{
    return code == kEnding ? "the daemon is being ended" : "the daemon has too many clients; come again";
}

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
        log_.add("%s: %s; nobody but root and the own user may anything", options_.access_file,
                 error.c_str());
    }
}

bool Server::serve()
{
    std::array<epoll_event, 32> events;
    while (!is_ending_) {
        const int count =
            epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), next_wait());
        for (int i = 0; i < count; ++i) {
            const auto mark = static_cast<std::size_t>(events[static_cast<std::size_t>(i)].data.u64);
            const u32 what = events[static_cast<std::size_t>(i)].events;
            if (mark == kListenerMark) {
                accept_all();
            } else if (mark == kWakeMark) {
                u64 number = 0;
                (void)!read(wake_.get(), &number, sizeof number);
                take_signals();
                take_done();
            } else if (mark == kFilesMark || mark == kNetworkMark) {
                watch_.drain(mark == kFilesMark ? watch_.files() : watch_.network(), BaCL_GetTimestampMSHQ());
            } else if (mark == kUbusMark) {
                ubus_.handle((what & (EPOLLHUP | EPOLLERR)) != 0);
            } else if (clients_[mark].is_open()) {
                const bool is_stuck =
                    (what & EPOLLOUT) != 0 && !clients_[mark].flush(BaCL_GetTimestampMSHQ());
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
        const u64 now = BaCL_GetTimestampMSHQ();
        if (now >= next_tick_) {
            tick(now);
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
            answer.begin("null");
            answer.fail(kEnding, text_of_error(kEnding));
            (void)clients_[slot].send(answer.line(), 0);
        }
        clients_[slot].close();
    }
    log_.add("ended after %" PRIu64 " requests, %u dropped", counters_.requests + queue_.served(),
             queue_.dropped());
    return log_.stop() == 0 && is_whole;
}

int Server::next_wait()
{
    int wait = workers_.supervise({this, warn_overdue, end_late, give_up});
    const auto at_most = [&](u64 milliseconds) {
        wait = wait < 0 ? static_cast<int>(milliseconds) : std::min(wait, static_cast<int>(milliseconds));
    };
    const int watch_wait = watch_.look(BaCL_GetTimestampMSHQ(), workers_.is_changing());
    if (watch_.take_descriptors_changed()) {
        (void)add_to_epoll(watch_.files(), kFilesMark);
        (void)add_to_epoll(watch_.network(), kNetworkMark);
    }
    const int ubus_wait = ubus_.look(BaCL_GetTimestampMSHQ());
    if (ubus_.take_descriptor_changed()) {
        (void)add_to_epoll(ubus_.descriptor(), kUbusMark);
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
    if (with_output_ != 0 || queue_.is_open() || options_.watchdog_seconds != 0) {
        at_most(kTick);
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

void Server::report()
{
    const auto clients =
        std::ranges::count_if(clients_, [](const Client& client) { return client.is_open(); });
    Qslog_Log(6, kModule, __LINE__, __func__,
              "alive: %td clients, %" PRIu64 " requests, %" PRIu64
              " failed; queue: %u served, %u dropped, %u expired\n",
              clients, counters_.requests, counters_.failed, queue_.served(), queue_.dropped(),
              queue_.expired());
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

/// Finds out which clients have left before their turn to be read has come.
void Server::free_places()
{
    for (std::size_t slot = 0; slot < clients_.size(); ++slot) {
        for (u32 i = 0; i < 4 && clients_[slot].is_open() && clients_[slot].has_hung_up(); ++i) {
            read_client(slot);
        }
    }
}

void Server::accept_all()
{
    for (;;) {
        const int socket = listener_.accept();
        if (socket < 0) {
            if (errno == EMFILE) {
                ++counters_.refused;
                continue;
            }
            return;
        }
        ++counters_.connections;
        access::Peer peer;
        const bool is_known = access::peer_of_socket(socket, peer) && access_.knows(peer);
        const auto own = std::ranges::count_if(clients_, [&](const Client& client) {
            return client.is_open() && client.peer().user == peer.user;
        });
        const auto is_free = [](const Client& client) { return !client.is_open(); };
        Client* free = std::ranges::find_if(clients_, is_free);
        if (free == clients_.end()) {
            free_places();
            free = std::ranges::find_if(clients_, is_free);
        }
        if (!is_known) {
            turn_away(socket, kDenied, "you may do nothing here: no rule of the access file speaks of you");
        } else if (free == clients_.end() ||
                   (!access_.is_master(peer) && static_cast<std::size_t>(own) >= kMostOfUser)) {
            turn_away(socket, kBusy, text_of_error(kBusy));
        } else {
            const auto slot = static_cast<std::size_t>(free - clients_.begin());
            free->open(socket, ++numbers_, peer);
            if (!add_to_epoll(socket, slot)) {
                close_client(slot, "it cannot be watched");
            }
            free->events = EPOLLIN;
        }
    }
}

void Server::turn_away(int socket, ErrorCode code, std::string_view sentence)
{
    ++counters_.refused;
    const FileDescriptor closed{socket};
    Answer answer;
    answer.begin("null");
    answer.fail(code, sentence);
    (void)!::send(socket, answer.line().data(), answer.line().size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

void Server::close_client(std::size_t slot, const char* why)
{
    if (why != nullptr) {
        ++counters_.dropped;
        log_.add("disconnected a client of user %u, process %d: %s", clients_[slot].peer().user,
                 clients_[slot].peer().process, why);
    }
    watch_.forget_client(clients_[slot].number());
    clients_[slot].close();
    with_lines_ &= ~(u64{1} << slot);
    with_output_ &= ~(u64{1} << slot);
}

void Server::update_events(std::size_t slot)
{
    Client& client = clients_[slot];
    const u64 bit = u64{1} << slot;
    with_lines_ = client.may_have_lines ? with_lines_ | bit : with_lines_ & ~bit;
    with_output_ = client.has_output() ? with_output_ | bit : with_output_ & ~bit;
    if (client.is_open() && client.has_ended && client.in_flight == 0 && !client.has_output() &&
        !client.may_have_lines && !client.is_watching) {
        close_client(slot, nullptr);
        return;
    }
    const bool is_read = client.is_welcome() && !client.may_have_lines && !client.has_ended;
    const u32 wanted = (is_read ? u32{EPOLLIN} : 0) | (client.has_output() ? u32{EPOLLOUT} : 0);
    if (client.is_open() && wanted != client.events) {
        client.events = wanted;
        epoll_event event{};
        event.events = wanted;
        event.data.u64 = slot;
        (void)epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, client.socket(), &event);
    }
}

void Server::read_client(std::size_t slot)
{
    Client& client = clients_[slot];
    if (!client.read()) {
        // It may have closed one direction only, as a pipe into a socket does, and wait for what it has
        // asked.
        client.has_ended = true;
        if (client.has_hung_up()) {
            close_client(slot, nullptr);
        } else {
            update_events(slot);
        }
        return;
    }
    std::size_t queued = 0;
    if (client.queued() > kLongestLine / 16) {
        for (const Client& each : clients_) {
            queued += each.queued();
        }
    }
    if (queued > kMostQueued) {
        close_client(slot, "too much is waiting");
        return;
    }
    serve_lines(slot);
}

void Server::serve_lines(std::size_t slot)
{
    Client& client = clients_[slot];
    std::string_view line;
    for (u32 i = 0; i < kLinesInTurn && client.is_open() && client.is_welcome(); ++i) {
        const Client::Line found = client.next_line(line);
        if (found == Client::Line::kNone) {
            break;
        }
        if (found == Client::Line::kTooLong) {
            Answer answer;
            answer.begin("null");
            answer.fail(kInvalidRequest, "the line is longer than 1 MiB");
            send(slot, answer.line());
        } else {
            take_line(slot, line);
        }
    }
    if (client.is_open()) {
        client.forget_lines();
        update_events(slot);
    }
}

void Server::take_line(std::size_t slot, std::string_view line)
{
    line.remove_suffix(line.ends_with('\r') ? 1 : 0);
    if (line.empty()) {
        return;
    }
    ++counters_.requests;
    counters_.bytes_in += line.size();
    Call* const call = new_call();
    if (call == nullptr) {
        close_client(slot, "there is no memory for its requests");
        return;
    }
    std::unique_ptr<Call, DeleteCall> owner{call};
    call->client = clients_[slot].number();
    call->slot = static_cast<u32>(slot);
    call->came = BaCL_GetTimestampMSHQ();
    call->user = clients_[slot].peer().user;
    if (!understand(*call, line)) {
        answer(*call);
    } else if (admit(std::move(owner), clients_[slot].peer())) {
        ++clients_[slot].in_flight;
    }
}

/// Serves a request or hands it to the workers; true: that is where it is now.
bool Server::admit(std::unique_ptr<Call, DeleteCall> call, const access::Peer& peer)
{
    if (prepare(*call, {access_, peer}) && (call->method->execute != execute_sample || subscribe(*call)) &&
        !serve_at_once(*call)) {
        call->run.may_start = true;
        call->run.was_refused = false;
        const bool is_ordered = lane_of(*call) == Lane::kOrdered;
        workers_.submit(call.release(), is_ordered);
        return true;
    }
    answer(*call);
    return false;
}

bool Server::subscribe(Call& call)
{
    Client* const client = client_of(call);
    const bool is_noted = client != nullptr && watch_.subscribe(call);
    if (is_noted) {
        client->is_watching = true;
    }
    return is_noted;
}

/// A request of ubus: as one of the socket, but for where it came from.
void Server::take_ubus(void* server, const char* method, std::string_view params, const access::Peer& peer,
                       UbusRequest* request)
{
    auto& self = *static_cast<Server*>(server);
    ++self.counters_.requests;
    std::unique_ptr<Call, DeleteCall> call{new_call()};
    Answer line;
    if (call == nullptr || self.ubus_waiting_ >= kMostOfUbus) {
        line.begin("0");
        line.fail(kBusy, text_of_error(kBusy));
        self.ubus_.answer(request, line.line());
        return;
    }
    call->ubus = request;
    call->user = peer.user;
    call->slot = kMostClients; // none of them
    call->came = BaCL_GetTimestampMSHQ();
    line.text().append(R"({"jsonrpc":"2.0","id":0,"method":")").append(method).append(R"(","params":)");
    line.text().append(params).append("}");
    if (!self.understand(*call, line.line())) {
        self.answer(*call);
        return;
    }
    self.ubus_waiting_ += self.admit(std::move(call), peer) ? 1 : 0;
}

/// The connection that a call came over; null: it is gone, or there was none.
Client* Server::client_of(const Call& call)
{
    Client* const client = call.slot < clients_.size() ? &clients_[call.slot] : nullptr;
    return client != nullptr && client->is_open() && client->number() == call.client ? client : nullptr;
}

/// Reads a line as far as the id that its answer begins with; false: the answer says what is wrong with it.
bool Server::understand(Call& call, std::string_view line)
{
    json_tokener_reset(tokener_);
    call.message.reset(json_tokener_parse_ex(tokener_, line.data(), static_cast<int>(line.size())));
    const json_tokener_error error = json_tokener_get_error(tokener_);
    Answer scratch;
    json_object* id = nullptr;
    call.is_notification = json_object_object_get_ex(call.message.get(), "id", &id) == 0;
    const std::string_view text = id_text(id, scratch);
    call.answer.begin(text.empty() ? "null" : text);
    if (error != json_tokener_success) {
        call.answer.fail(kParseError, error == json_tokener_continue ? "the line ends within a value"
                                                                     : json_tokener_error_desc(error));
    } else if (json_object_is_type(call.message.get(), json_type_object) == 0) {
        call.answer.fail(kInvalidRequest,
                         "a request is an object; there are no batches, send one line for each");
    } else if (text.empty()) {
        call.answer.fail(kInvalidRequest, "an id is a text, a number of 64 bits or null");
    } else {
        return true;
    }
    call.is_notification = false; // nobody could tell that it was one
    return false;
}

/// False: a worker has to serve it.
bool Server::serve_at_once(Call& call)
{
    const Lane lane = lane_of(call);
    if (lane == Lane::kFront) {
        execute_here(call);
        return true;
    }
    const std::span items{call.items.get(), call.item_count};
    const auto wants_tool = [&](const Item& item) { return wants_tool_[hash_of(item.place)]; };
    if (lane == Lane::kOrdered || call.came < slow_until || std::ranges::any_of(items, wants_tool)) {
        return false;
    }
    const bool is_served = attempt(call);
    const u64 now = BaCL_GetTimestampMSHQ();
    slow_until = now - call.came > kSlowMs ? now + kSlowFor : slow_until;
    counters_.direct += is_served ? 1 : 0;
    if (is_served && call.subscription != 0) {
        watch_.finish_subscribe(call);
    }
    if (!is_served && items.size() == 1) {
        wants_tool_[hash_of(items[0].place)] = true;
    }
    return is_served;
}

void Server::execute_here(Call& call)
{
    if (call.method->execute != nullptr) {
        call.method->execute(call);
    } else if (call.method->members[0] != nullptr) {
        watch_.unsubscribe(call);
    } else {
        write_stats(call);
    }
}

bool Server::attempt(Call& call)
{
    call.run.may_start = false;
    {
        const ToolScope scope{call.run};
        call.method->execute(call);
    }
    if (!call.run.was_refused) {
        return true;
    }
    call.answer.restart();
    return false;
}

void Server::take_done()
{
    for (Call* call = workers_.take_done(); call != nullptr;) {
        const std::unique_ptr<Call, DeleteCall> owner{std::exchange(call, call->next)};
        Call& done = *owner;
        if (done.method->execute == execute_sample && done.subscription == 0) {
            watch_.take_sample(done);
            continue;
        }
        log_call(done);
        if (lane_of(done) == Lane::kOrdered) {
            watch_.note_change(done);
        } else if (done.subscription != 0) {
            watch_.finish_subscribe(done);
        }
        if (done.is_late) {
            write_late(done, done.answer);
        }
        if (!done.is_answered) {
            answer(done);
        }
        if (Client* const client = client_of(done)) {
            --client->in_flight;
            update_events(done.slot);
        }
        ubus_waiting_ -= done.ubus != nullptr ? 1 : 0;
    }
}

void Server::answer(Call& call)
{
    if (call.queue != nullptr) {
        return;
    }
    counters_.failed += call.answer.has_failed() ? 1 : 0;
    if (call.ubus != nullptr) {
        ubus_.answer(call.ubus, call.answer.line());
    } else if (client_of(call) != nullptr && !call.is_notification) {
        send(call.slot, call.answer.line());
    }
}

void Server::send(std::size_t slot, std::string_view line)
{
    Client& client = clients_[slot];
    counters_.bytes_out += line.size();
    if (!client.send(line, BaCL_GetTimestampMSHQ())) {
        close_client(slot, "it takes no answers");
    }
}

/// Writes the error of a request that was ended, in the place of its answer.
void Server::write_late(const Call& call, Answer& answer) const
{
    if (is_ending_) {
        answer.fail(kEnding, text_of_error(kEnding));
        return;
    }
    Text<254> sentence;
    Answer data;
    data.text().append(R"({"tool":)");
    data.append_text(call.late_tool);
    data.text().append(R"(,"cwmp":9002,"usp":7003})");
    if (call.late_tool[0] != '\0') {
        sentence.append("the request took too long; the tool ").append(call.late_tool).append(" was ended");
    } else {
        sentence.append("the request took too long");
    }
    answer.fail(kDeadline, sentence.view(), data.line());
}

void Server::log_call(const Call& call)
{
    if (call.queue == nullptr && (call.operation & QSC_OPER_GET) == 0) {
        log_.add("%s %s %s: %u, for user %u", QSysCmdHal_GetCommanderName(static_cast<i32>(call.commander)),
                 call.method->name, call.items[0].place.object.c_str(), call.code, call.user);
    }
}

bool Server::send_event(void* server, u32 slot, u64 client, std::string_view line)
{
    auto& self = *static_cast<Server*>(server);
    const bool has_room = self.clients_[slot].number() == client && self.clients_[slot].has_room();
    if (has_room) {
        self.send(slot, line);
        self.update_events(slot);
    }
    return has_room;
}

access::Grant Server::grant(void* server, u32 slot, std::string_view path)
{
    const auto& self = *static_cast<Server*>(server);
    return self.access_.grant(self.clients_[slot].peer(), path);
}

void Server::submit_sample(void* server, Call* call)
{
    auto& self = *static_cast<Server*>(server);
    call->came = BaCL_GetTimestampMSHQ();
    if (call->came >= self.slow_until && attempt(*call)) {
        const std::unique_ptr<Call, DeleteCall> owner{call};
        self.watch_.take_sample(*call);
        return;
    }
    call->run.may_start = true;
    call->run.was_refused = false;
    self.workers_.submit(call, false);
}

void Server::warn_overdue(void* server, Call& call)
{
    char tool[64];
    copy_tool(call.run, tool);
    static_cast<Server*>(server)->log_.add("warning: overdue: %s %s runs %s for %" PRIu64 " ms",
                                           call.method->name, call.items[0].place.object.c_str(),
                                           tool[0] != '\0' ? tool : "no tool",
                                           BaCL_GetTimestampMSHQ() - call.started);
}

void Server::end_late(void* server, Call& call)
{
    auto& self = *static_cast<Server*>(server);
    ++self.counters_.late;
    self.log_.add("warning: deadline: %s %s was ended, and with it %s", call.method->name,
                  call.items[0].place.object.c_str(), call.late_tool[0] != '\0' ? call.late_tool : "no tool");
}

void Server::give_up(void* server, Call& call)
{
    auto& self = *static_cast<Server*>(server);
    self.log_.add("warning: %s %s does not come back", call.method->name, call.items[0].place.object.c_str());
    if (call.queue != nullptr || call.is_notification ||
        (self.client_of(call) == nullptr && call.ubus == nullptr)) {
        return;
    }
    // The call's own answer is still its worker's.
    json_object* id = nullptr;
    (void)json_object_object_get_ex(call.message.get(), "id", &id);
    Answer scratch;
    Answer answer;
    answer.begin(id_text(id, scratch));
    self.write_late(call, answer);
    if (call.ubus != nullptr) {
        self.ubus_.answer(call.ubus, answer.line());
    } else {
        self.send(call.slot, answer.line());
        self.update_events(call.slot);
    }
}

void Server::write_stats(Call& call)
{
    const auto clients =
        std::ranges::count_if(clients_, [](const Client& client) { return client.is_open(); });
    const struct {
        const char* name;
        u64 number;
    } rows[] = {
        {"uptime", (BaCL_GetTimestampMSHQ() - started_) / 1000},
        {"clients", static_cast<u64>(clients)},
        {"connections", counters_.connections},
        {"refused", counters_.refused},
        {"disconnected", counters_.dropped},
        {"requests", counters_.requests},
        {"direct", counters_.direct},
        {"failed", counters_.failed},
        {"late", counters_.late},
        {"running", workers_.running()},
        {"waiting", workers_.waiting()},
        {"subscriptions", watch_.count()},
        {"bytesIn", counters_.bytes_in},
        {"bytesOut", counters_.bytes_out},
        {"queueServed", queue_.served()},
        {"queueDropped", queue_.dropped()},
        {"queueExpired", queue_.expired()},
    };
    call.answer.start_result();
    for (const auto& [name, number] : rows) {
        call.answer.text().append(name == rows[0].name ? "{\"" : ",\"").append(name).append("\":");
        call.answer.append_number(static_cast<i64>(number));
    }
    call.answer.text().append("}");
    call.answer.end();
}

} // namespace qscd
