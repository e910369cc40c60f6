// SPDX-License-Identifier: Apache-2.0
// One connection: the lines that come in, and the answers that wait to go out.
#pragma once

#include "base/FileDescriptor.h"
#include "tools/access/Peer.h"
#include "tools/qscd/Answer.h"

namespace qscd
{

class Client
{
  public:
    /// Requests of one client that are being served or wait for it. More stay unread in its socket.
    static constexpr u32 kMostInFlight = 16;
    /// With so many bytes unread by a client, nothing more is read from it.
    static constexpr std::size_t kHighWater = std::size_t{64} * 1024;

    enum class Line {
        kNone, ///< not whole yet
        kWhole,
        kTooLong, ///< its rest is thrown away
    };

    void open(int socket, qsc::u64 number, const qsc::access::Peer& peer);
    void close();

    [[nodiscard]] bool is_open() const { return socket_.is_open(); }
    [[nodiscard]] int socket() const { return socket_.get(); }
    [[nodiscard]] qsc::u64 number() const { return number_; }
    [[nodiscard]] const qsc::access::Peer& peer() const { return peer_; }

    /// Reads what there is. False: the other end sends no more, or has closed.
    [[nodiscard]] bool read();

    /// Whether the other end has closed both directions, and takes no answers either.
    [[nodiscard]] bool has_hung_up() const;

    /// The next line, without its end; valid until forget_lines().
    [[nodiscard]] Line next_line(std::string_view& line);
    void forget_lines();

    /// Whether it may have more served now.
    [[nodiscard]] bool is_welcome() const { return in_flight < kMostInFlight && out_.size() < kHighWater; }
    /// Whether an event may be sent to it now.
    [[nodiscard]] bool has_room() const { return out_.size() < kHighWater; }
    [[nodiscard]] bool has_output() const { return out_.size() != 0; }
    [[nodiscard]] std::size_t queued() const { return in_.size() + out_.size(); }

    /// Sends a line, or keeps what cannot be sent yet. False: it takes no more, or has closed.
    [[nodiscard]] bool send(std::string_view line);
    /// Sends what was kept. False: it has closed.
    [[nodiscard]] bool flush();

    u32 in_flight = 0;
    u32 events = 0;           ///< what epoll watches
    qsc::u64 stuck_since = 0; ///< when the client stopped reading its answers; 0: it reads
    bool may_have_lines = false;
    bool has_ended = false;   ///< it sends no more, and waits for its answers
    bool is_watching = false; ///< it has subscriptions

  private:
    qsc::FileDescriptor socket_{-1};
    qsc::u64 number_ = 0;
    qsc::access::Peer peer_;
    Buffer in_{kLongestLine + 1};
    Buffer out_{2 * kLongestLine};
    std::size_t taken_ = 0;   ///< of in_, by lines that were handed out
    std::size_t scanned_ = 0; ///< of in_, without an end of line after taken_
    bool is_skipping_ = false;
};

} // namespace qscd
