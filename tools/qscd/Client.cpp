// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Client.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "include/bacl.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr std::size_t kRead = 4096;

} // namespace

void Client::open(int socket, u64 number, const access::Peer& peer)
{
    socket_.replace(FileDescriptor{socket});
    number_ = number;
    peer_ = peer;
    in_flight = 0;
    events = 0;
    stuck_since = 0;
    may_have_lines = false;
    has_ended = false;
    is_watching = false;
    is_skipping_ = false;
}

void Client::close()
{
    (void)socket_.close();
    in_.take(in_.size());
    out_.take(out_.size());
    in_.cut(0);
    out_.cut(0);
    taken_ = 0;
    scanned_ = 0;
    may_have_lines = false;
}

bool Client::read()
{
    const std::size_t room = std::min(std::max(kRead, in_.size()), in_.limit() - in_.size());
    char* const place = in_.reserve(room);
    if (place == nullptr || room == 0) {
        return place != nullptr;
    }
    const ssize_t count = recv(socket_.get(), place, room, MSG_DONTWAIT);
    if (count > 0) {
        in_.grow(static_cast<std::size_t>(count));
        may_have_lines = true;
    }
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

bool Client::has_hung_up() const
{
    pollfd waiting{socket_.get(), 0, 0};
    return poll(&waiting, 1, 0) == 1 && (waiting.revents & (POLLHUP | POLLERR)) != 0;
}

Client::Line Client::next_line(std::string_view& line)
{
    std::string_view rest = in_.view();
    rest.remove_prefix(scanned_);
    const std::size_t length = rest.find('\n');
    if (length == std::string_view::npos) {
        scanned_ = in_.size();
        const bool is_too_long = scanned_ - taken_ >= kLongestLine;
        may_have_lines = false;
        if (is_skipping_ || is_too_long) {
            taken_ = scanned_; // its rest is on its way
        }
        const bool is_new = is_too_long && !is_skipping_;
        is_skipping_ = is_skipping_ || is_too_long;
        return is_new ? Line::kTooLong : Line::kNone;
    }
    const bool was_skipping = std::exchange(is_skipping_, false);
    line = in_.view();
    line.remove_prefix(taken_);
    line.remove_suffix(line.size() - (scanned_ - taken_ + length));
    scanned_ += length + 1;
    taken_ = scanned_;
    return was_skipping ? next_line(line) : Line::kWhole;
}

void Client::forget_lines()
{
    if (taken_ != 0) {
        in_.take(taken_);
        scanned_ -= taken_;
        taken_ = 0;
    }
}

bool Client::send(std::string_view line)
{
    if (out_.size() == 0) {
        const ssize_t sent = ::send(socket_.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0 && errno != EAGAIN && errno != EINTR) {
            return false;
        }
        line.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
        stuck_since = line.empty() ? 0 : BaCL_GetTimestampMSHQ();
    }
    return out_.append(line).fits();
}

bool Client::flush()
{
    const ssize_t sent = ::send(socket_.get(), out_.view().data(), out_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent > 0) {
        out_.take(static_cast<std::size_t>(sent));
        stuck_since = out_.size() != 0 ? BaCL_GetTimestampMSHQ() : 0;
    }
    return sent >= 0 || errno == EAGAIN || errno == EINTR;
}

} // namespace qscd
