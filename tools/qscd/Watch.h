// SPDX-License-Identifier: Apache-2.0
// Subscriptions: what the subscribers' paths hold now, and the events that report how it changes.
//
// There is one picture of all values that are watched. Whenever something may have changed them - a set
// through the daemon, a write to the configuration by others, the kernel's word of links and addresses, or
// the time that a subscriber asked for - they are read again, once for all, and what differs is told to whom
// it concerns.
#pragma once

#include <array>

#include "tools/access/Access.h"
#include "tools/qscd/Call.h"
#include "tools/qscd/Sources.h"

namespace qscd
{

/// One subscription of a client.
struct Subscription {
    static constexpr std::size_t kMostPaths = 16;

    u64 client = 0; ///< number of the connection; 0: free
    u32 slot = 0;
    u32 number = 0;
    u64 sequence = 0; ///< of the last event, sent or lost
    u64 lost = 0;     ///< since the last that was sent
    u32 interval = 0; ///< milliseconds; 0: it asked for none
    u32 path_count = 0;
    std::array<PathText, kMostPaths> paths;
    bool is_ready = false; ///< it has its snapshot
};

/// What the server does for the subscriptions.
struct WatchHooks {
    void* owner;
    /// Sends an event's line; false: the client has no room for it now.
    bool (*send)(void* owner, u32 slot, u64 client, std::string_view line);
    /// What a client may do at a path.
    qsc::access::Grant (*grant)(void* owner, u32 slot, std::string_view path);
    /// Has a call served like a get.
    void (*submit)(void* owner, Call* call);
};

class Watch
{
  public:
    static constexpr std::size_t kMost = 64;

    explicit Watch(const WatchHooks& hooks) : hooks_(hooks) {}

    /// Reads the parameters of "subscribe" and keeps a place; the call is then to be served like a get, and
    /// answered by finish_subscribe(). False: the answer is written.
    [[nodiscard]] bool subscribe(Call& call);
    void finish_subscribe(Call& call);
    void unsubscribe(Call& call);
    void forget_client(u64 client);

    /// Something was set, committed or restarted through the daemon.
    void note_change(const Call& call);

    /// Has every subscriber hear what has become of a change that waits: an array of objects, or null.
    void tell_window(json_object* events);

    /// What has been read by a call that submit() was given; is_changing: as for look().
    void take_sample(Call& call, bool is_changing);

    /// Looks after it all; is_changing: the daemon itself is setting something. @return milliseconds until it
    /// has to look again; -1: there is nothing to look for
    [[nodiscard]] int look(u64 now, bool is_changing);

    /// Descriptors that show changes by others; -1: not open. Readable ones are given to drain().
    [[nodiscard]] int files() const { return sources_.files(); }
    [[nodiscard]] int network() const { return sources_.network(); }
    void drain(int descriptor, u64 now);

    [[nodiscard]] u32 count() const { return count_; }

    /// Whether these descriptors are new since the last call.
    [[nodiscard]] bool take_new_descriptors() { return sources_.take_new(); }

  private:
    /// Who did what, until the next sample shows it.
    struct Hint {
        PathText path;
        u32 commander = 0;
        const char* event = nullptr; ///< that follows the values; null: it only says who set them
    };

    // The types of events that are not found by comparing.
    static constexpr const char* kChanged = "changed"; ///< a secret
    static constexpr const char* kCommitted = "committed";
    static constexpr const char* kRestarted = "restarted";

    static constexpr std::string_view kHiddenValues = R"(,"old":"***","new":"***")";

    void note(const Call& call, std::string_view object, std::string_view name, const char* event);
    void note_secrets(const Call& call, std::string_view object, std::string_view name);
    [[nodiscard]] Subscription* find(const Call& call);
    void release(Subscription& subscription);
    void look_for_folders();
    void sample();
    void compare(json_object* now, const Call& call);
    void tell_value(std::string_view path, json_object* before, json_object* after);
    void tell(std::string_view type, std::string_view path, std::string_view more, const char* by,
              bool is_operation = false);
    [[nodiscard]] const char* author_of(std::string_view path) const;
    void tell_lost(Subscription& subscription);
    void send_event(Subscription& subscription, std::string_view type, std::string_view members);

    WatchHooks hooks_;
    std::array<Subscription, kMost> subscriptions_;
    std::array<Hint, 64> hints_;
    u32 hint_count_ = 0;
    bool is_put_off_ = false; ///< the last sample was read once more
    qsc::JsonRef values_;     ///< path to value, of all that is watched
    Sources sources_;
    u32 count_ = 0; ///< of subscriptions
    u32 last_number_ = 0;
    u64 due_ = 0;        ///< when to sample; 0: nothing has happened
    u64 next_round_ = 0; ///< of the sampling that subscribers asked for
    bool is_sampling_ = false;
};

} // namespace qscd
