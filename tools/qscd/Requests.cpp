// SPDX-License-Identifier: Apache-2.0
// Requests from their lines to their answers: understood, served at once or by the workers, and answered.
#include <algorithm>
#include <utility>

#include <json-c/json.h>

#include "include/bacl.h"
#include "tools/qscd/Server.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// Requests of ubus that may wait for workers.
constexpr u32 kMostOfUbus = 64;

/// While the configuration makes gets wait, workers wait, not the thread that reads the sockets.
constexpr u64 kSlowFor = 5000;

/// A place in the table of what needs tools; equal ones only make a worker serve what needed none.
std::size_t hash_of(const Place& place)
{
    std::size_t hash = place.entry != nullptr ? place.entry->id : 0;
    for (const char c : place.entry != nullptr ? place.name.view() : place.object.view()) {
        hash = hash * 31 + static_cast<unsigned char>(c);
    }
    return hash % 256;
}

/// Whether one of a list of calls is ordered.
bool has_ordered(const Call* list)
{
    while (list != nullptr && lane_of(*list) != Lane::kOrdered) {
        list = list->next;
    }
    return list != nullptr;
}

} // namespace

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

/// Reads a line as far as the id that its answer begins with; false: the answer says what is wrong with it.
bool Server::understand(Call& call, std::string_view line)
{
    json_tokener_reset(tokener_);
    call.message.reset(json_tokener_parse_ex(tokener_, line.data(), static_cast<int>(line.size())));
    const json_tokener_error error = json_tokener_get_error(tokener_);
    json_object* id = nullptr;
    call.is_notification = json_object_object_get_ex(call.message.get(), "id", &id) == 0;
    const bool is_id = call.answer.begin(id);
    if (error != json_tokener_success) {
        call.answer.fail(kParseError, error == json_tokener_continue ? "the line ends within a value"
                                                                     : json_tokener_error_desc(error));
    } else if (json_object_is_type(call.message.get(), json_type_object) == 0) {
        call.answer.fail(kInvalidRequest,
                         "a request is an object; there are no batches, send one line for each");
    } else if (!is_id) {
        call.answer.fail(kInvalidRequest, "an id is a text, a number of 64 bits or null");
    } else {
        return true;
    }
    call.is_notification = false; // whether it was one is not known
    return false;
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
void Server::take_ubus(void* server, const char* method, JsonRef params, const access::Peer& peer,
                       UbusRequest* request)
{
    auto& self = *static_cast<Server*>(server);
    ++self.counters_.requests;
    std::unique_ptr<Call, DeleteCall> call{new_call()};
    if (call == nullptr || self.ubus_waiting_ >= kMostOfUbus) {
        Answer busy;
        busy.begin();
        busy.fail(kBusy, sentence_of(kBusy));
        self.ubus_.answer(request, busy.line());
        return;
    }
    call->ubus = request;
    call->user = peer.user;
    call->slot = kMostClients; // none of them
    call->came = BaCL_GetTimestampMSHQ();
    call->message.reset(json_object_new_object());
    json_object_object_add(call->message.get(), "jsonrpc", json_object_new_string("2.0"));
    json_object_object_add(call->message.get(), "method", json_object_new_string(method));
    json_object_object_add(call->message.get(), "params", params.release());
    call->answer.begin();
    self.ubus_waiting_ += self.admit(std::move(call), peer) ? 1 : 0;
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
    if (lane == Lane::kOrdered || lane == Lane::kBeside || call.came < slow_until_ ||
        std::ranges::any_of(items, wants_tool)) {
        return false;
    }
    const bool is_served = attempt(call);
    const u64 now = BaCL_GetTimestampMSHQ();
    slow_until_ = now - call.came > kAttemptMs ? now + kSlowFor : slow_until_;
    counters_.direct += is_served ? 1 : 0;
    if (is_served && call.subscription != 0) {
        watch_.finish_subscribe(call);
    }
    if (!is_served && items.size() == 1 && now - call.came <= kAttemptMs) {
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
            watch_.take_sample(done, workers_.is_changing() || has_ordered(call));
            continue;
        }
        log_call(done);
        window_.note(done);
        if (lane_of(done) == Lane::kOrdered) {
            if (done.started != 0) {
                watch_.note_change(done);
                watch_.tell_window(done.events.get());
            }
        } else if (done.subscription != 0) {
            watch_.finish_subscribe(done);
        }
        if (done.is_late) {
            write_late(done, done.answer);
        }
        if (!done.is_answered && !done.has_word) {
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

void Server::log_call(const Call& call)
{
    const bool is_news = !is_errand(call) || call.events != nullptr;
    if (call.queue == nullptr && is_news && (call.operation & QSC_OPER_GET) == 0) {
        log_.add("%s %s %s: %u, for user %u", QSysCmdHal_GetCommanderName(static_cast<i32>(call.commander)),
                 call.method->name, call.items[0].place.object.c_str(), call.code, call.user);
    }
}

void Server::submit_errand(void* server, Call* call)
{
    auto& self = *static_cast<Server*>(server);
    call->came = BaCL_GetTimestampMSHQ();
    self.workers_.submit(call, lane_of(*call) == Lane::kOrdered);
}

/// On the thread that serves the call.
void Server::announce(void* server, Call& call)
{
    static_cast<Server*>(server)->workers_.announce(call);
}

/// Tells a client that nothing speaks against what it has asked for, before the line to it may be cut.
void Server::answer_early(Call& call)
{
    if (!call.has_word && call.queue == nullptr && !call.is_notification) {
        json_object* id = nullptr;
        (void)json_object_object_get_ex(call.message.get(), "id", &id);
        Answer answer;
        (void)answer.begin(id);
        tell_accepted(call, answer);
        if (call.ubus != nullptr) {
            ubus_.answer(call.ubus, answer.line());
        } else if (client_of(call) != nullptr) {
            send(call.slot, answer.line());
            update_events(call.slot);
        }
    }
    workers_.answered(call);
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
    if (call->came >= self.slow_until_ && attempt(*call)) {
        const std::unique_ptr<Call, DeleteCall> owner{call};
        self.watch_.take_sample(*call, self.workers_.is_changing());
        return;
    }
    call->run.may_start = true;
    call->run.was_refused = false;
    self.workers_.submit(call, false);
}

} // namespace qscd
