// SPDX-License-Identifier: Apache-2.0
// The clients of the socket: how they come and go, and the lines that they send and are sent.
#include <algorithm>
#include <cerrno>

#include <sys/epoll.h>
#include <sys/socket.h>

#include "tools/qscd/Server.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// Lines of one client that are taken before it is another one's turn.
constexpr u32 kLinesInTurn = 16;

/// Clients of one user who is not the daemon's master.
constexpr std::size_t kMostOfUser = 16;

/// Bytes that all clients together may have waiting here.
constexpr std::size_t kMostQueued = 16 * kLongestLine;

} // namespace

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
            turn_away(socket, kBusy, sentence_of(kBusy));
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
    answer.begin();
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
            answer.begin();
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

/// The connection that a call came over; null: it is closed, or there was none.
Client* Server::client_of(const Call& call)
{
    Client* const client = call.slot < clients_.size() ? &clients_[call.slot] : nullptr;
    return client != nullptr && client->is_open() && client->number() == call.client ? client : nullptr;
}

void Server::send(std::size_t slot, std::string_view line)
{
    Client& client = clients_[slot];
    counters_.bytes_out += line.size();
    if (!client.send(line)) {
        close_client(slot, "it takes no answers");
    }
}

} // namespace qscd
