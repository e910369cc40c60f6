// SPDX-License-Identifier: Apache-2.0
// The object "qsc" on ubus: the same methods, rights and workers as over the socket. Without libubus in the
// build it is never open (UbusAbsent.cpp).
#pragma once

#include <string_view>
#include <utility>

#include "base/Json.h"
#include "base/Types.h"
#include "tools/access/Peer.h"

namespace qscd
{

/// One request of ubus that waits for its answer.
struct UbusRequest;

class Ubus
{
  public:
    /// Takes a request with the object of its parameters. It is answered with answer() in the end.
    using Take = void (*)(void* owner, const char* method, qsc::JsonRef params, const qsc::access::Peer& peer,
                          UbusRequest* request);

    Ubus(void* owner, Take taker) : owner_(owner), take_(taker) {}
    Ubus(const Ubus&) = delete;
    Ubus& operator=(const Ubus&) = delete;
    ~Ubus(); // NOLINT(performance-trivially-destructible): with ubus it is not

    /// Joins the bus where there is one; it is tried again by look(). Null path: ubus's own.
    void open(const char* path);

    /// Its descriptor, for handle() when it is readable; -1: there is no bus.
    [[nodiscard]] int descriptor() const;
    void handle(bool has_hung_up);

    /// Joins the bus again after it was lost. @return milliseconds until it has to look again; -1: not at all
    [[nodiscard]] int look(qsc::u64 now);

    /// Whether there is a new descriptor since the last call.
    [[nodiscard]] bool take_descriptor_changed();

    /// Answers with a line of the socket's protocol; the request is freed.
    void answer(UbusRequest* request, std::string_view line);

    /// Which connection to the bus this is, counted from 1.
    [[nodiscard]] qsc::u64 connection() const;

    /// Gives a request to its owner.
    void take(const char* method, qsc::JsonRef params, const qsc::access::Peer& peer, UbusRequest* request)
    {
        take_(owner_, method, std::move(params), peer, request);
    }

  private:
    struct Bus;
    void* owner_;
    Take take_;
    Bus* bus_ = nullptr;
};

} // namespace qscd
