// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Watch.h"

#include <algorithm>
#include <cstring>

#include <json-c/json.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/Parse.h"
#include "include/bacl.h"
#include "tools/qscd/Methods.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// Where the configuration is changed: committed, and staged.
constexpr const char* kFolders[] = {"/etc/config", "/tmp/.uci"};

/// Several changes that come together are read once, in milliseconds.
constexpr u64 kGather = 50;
/// For so long, a change by others waits for what the daemon itself is setting, to be told apart from it.
constexpr u64 kMostWait = 1000;
constexpr u32 kLeastInterval = 1000;
constexpr int kRetry = 100;

constexpr Method kSample = {"sample", Lane::kGet, 0, QSC_OPER_GET, nullptr, execute_sample, {}};

json_object* member(json_object* object, const char* name)
{
    json_object* value = nullptr;
    return json_object_object_get_ex(object, name, &value) != 0 ? value : nullptr;
}

bool has_key(json_object* object, const char* name)
{
    return json_object_object_get_ex(object, name, nullptr) != 0;
}

/// What stands above a parameter's path.
std::string_view object_of(std::string_view path)
{
    const std::size_t dot = path.rfind('.');
    return {path.data(), dot == std::string_view::npos ? 0 : dot};
}

/// Whether a path ends in the number of an instance.
bool is_instance(std::string_view path)
{
    path.remove_prefix(object_of(path).size());
    path.remove_prefix(path.starts_with('.') ? 1 : 0);
    return !path.empty() && std::ranges::all_of(path, is_digit);
}

/// Whether an object of values has any below a path.
bool has_below(json_object* values, std::string_view path)
{
    json_object_object_foreach(values, key, value)
    {
        (void)value;
        if (is_at_or_below(key, path)) {
            return true;
        }
    }
    return false;
}

/// Whether a value is among those that an item reads.
bool is_read_by(const Item& item, std::string_view path)
{
    const Place& place = item.place;
    std::string_view object = without_dot(place.object.view());
    const bool is_list = object.ends_with('*');
    object.remove_suffix(is_list ? 2 : 0);
    if (place.is_partial || is_list) {
        return is_at_or_below(path, object);
    }
    std::string_view name = path;
    name.remove_prefix(object_of(path).size() + 1);
    return object_of(path) == object && (place.name.view().empty() || place.name.view() == name);
}

bool covers(const Subscription& subscription, std::string_view path, bool is_operation)
{
    return std::any_of(subscription.paths.begin(), subscription.paths.begin() + subscription.path_count,
                       [&](const PathText& own) {
                           return is_at_or_below(path, own.view()) ||
                                  (is_operation && is_at_or_below(without_dot(own.view()), path));
                       });
}

std::string_view text_of(json_object* value)
{
    return {json_object_get_string(value), static_cast<std::size_t>(json_object_get_string_len(value))};
}

} // namespace

bool Watch::subscribe(Call& call)
{
    Subscription* const free = std::ranges::find(subscriptions_, 0U, &Subscription::client);
    const auto own = std::ranges::count(subscriptions_, call.client, &Subscription::client);
    if (free == subscriptions_.end() || own >= 8) {
        call.answer.fail(kBusy, "there are too many subscriptions");
        return false;
    }
    json_object* const one = member(call.params, "path");
    json_object* const many = member(call.params, "paths");
    const std::size_t count = one != nullptr ? 1 : json_object_array_length(many);
    if (count > Subscription::kMostPaths) {
        call.answer.fail(kBadParams, "paths: a subscription has at most 16");
        return false;
    }
    Subscription& subscription = *free;
    subscription = {};
    if (!take_number(call, "interval", 86'400'000, subscription.interval)) {
        return false;
    }
    if (subscription.interval != 0) {
        subscription.interval = std::max(subscription.interval, kLeastInterval);
    }
    for (std::size_t i = 0; i < count; ++i) {
        (void)subscription.paths[i].assign(
            text_of(one != nullptr ? one : json_object_array_get_idx(many, i)));
    }
    subscription.path_count = static_cast<u32>(count);
    subscription.client = call.client;
    ++count_;
    subscription.slot = call.slot;
    subscription.number = ++last_number_;
    call.subscription = subscription.number;
    open_sources();
    return true;
}

Subscription* Watch::find(const Call& call)
{
    Subscription* const found = std::ranges::find_if(subscriptions_, [&](const Subscription& each) {
        return each.client == call.client && each.number == call.subscription;
    });
    return found != subscriptions_.end() ? found : nullptr;
}

void Watch::finish_subscribe(Call& call)
{
    Subscription* const subscription = find(call);
    if (subscription == nullptr) {
        return; // its client is gone
    }
    if (call.is_late || call.sample == nullptr) {
        release(*subscription);
        return;
    }
    compare(call.sample.get(), call);
    subscription->is_ready = true;
    call.answer.start_result();
    call.answer.text().append(R"({"subscription":)");
    call.answer.append_number(subscription->number);
    call.answer.text().append(R"(,"sequence":0,"values":)");
    const auto shows_secrets = [&](const char* path) {
        return (hooks_.grant(hooks_.owner, call.slot, path).rights & access::kSecrets) != 0;
    };
    json_object_object_foreach(call.sample.get(), path, value)
    {
        (void)value;
        if (is_secret(path) && !shows_secrets(path)) {
            json_object_object_add(call.sample.get(), path, json_object_new_string("***"));
        }
    }
    call.answer.append_value(call.sample.get());
    call.answer.text().append("}");
    call.answer.end();
    if (call.answer.has_failed()) {
        release(*subscription);
    }
}

void Watch::unsubscribe(Call& call)
{
    u32 number = 0;
    if (!take_number(call, "subscription", UINT32_MAX, number)) {
        return;
    }
    call.subscription = number;
    Subscription* const subscription = find(call);
    if (subscription == nullptr) {
        call.answer.fail(kBadParams, "subscription: you have none of that number");
        return;
    }
    release(*subscription);
    call.answer.start_result();
    call.answer.text().append("{}");
    call.answer.end();
}

void Watch::forget_client(u64 client)
{
    for (Subscription& subscription : subscriptions_) {
        if (count_ != 0 && subscription.client == client) {
            release(subscription);
        }
    }
}

void Watch::release(Subscription& subscription)
{
    subscription.client = 0;
    --count_;
}

void Watch::note_change(const Call& call)
{
    if (count_ == 0) {
        return;
    }
    due_ = due_ == 0 ? BaCL_GetTimestampMSHQ() : due_;
    const bool is_set = (call.operation & QSC_OPER_SET) != 0;
    const bool is_commit = (call.operation & QSC_OPER_COMMIT) != 0;
    for (u32 i = 0; i < call.item_count && (is_set || call.code == 0); ++i) {
        const Place& place = call.items[i].place;
        Hint& hint = hints_[std::min<std::size_t>(hint_count_, hints_.size() - 1)];
        hint_count_ = std::min(hint_count_ + 1, static_cast<u32>(hints_.size()));
        hint.path.clear();
        hint.path.append(without_dot(place.object.view()));
        hint.path.append(place.name.view().empty() ? "" : ".").append(place.name.view());
        hint.commander = call.commander;
        hint.event = is_set ? nullptr : is_commit ? "committed" : "restarted";
    }
}

const char* Watch::author_of(std::string_view path) const
{
    for (u32 i = hint_count_; i-- > 0;) {
        if (hints_[i].event == nullptr && is_at_or_below(path, hints_[i].path.view())) {
            return QSysCmdHal_GetCommanderName(static_cast<i32>(hints_[i].commander));
        }
    }
    return "others";
}

void Watch::take_sample(Call& call)
{
    is_sampling_ = false;
    if (call.sample != nullptr && !call.is_late) {
        compare(call.sample.get(), call);
    }
    for (u32 i = 0; i < std::min(hint_count_, call.hint_count); ++i) {
        if (hints_[i].event != nullptr) {
            const char* const by = QSysCmdHal_GetCommanderName(static_cast<i32>(hints_[i].commander));
            tell(hints_[i].event, hints_[i].path.view(), {}, by, true);
        }
    }
    const u32 kept = hint_count_ - std::min(hint_count_, call.hint_count);
    std::move(hints_.begin() + (hint_count_ - kept), hints_.begin() + hint_count_, hints_.begin());
    hint_count_ = kept;
}

/// Tells what differs from the picture, and makes what was read the picture.
void Watch::compare(json_object* now, const Call& call)
{
    if (values_ == nullptr) {
        return; // the last subscriber has left while it was read
    }
    JsonRef picture{json_object_new_object()};
    PathText instance;
    const auto is_new_instance = [&](std::string_view path) {
        const bool is_new = is_instance(path) && instance.view() != path;
        (void)instance.assign(path);
        return is_new;
    };
    // What was not read this time stays, unless nobody watches it any more.
    json_object_object_foreach(values_.get(), old_path, old_value)
    {
        const auto reads = [&](const Item& item) { return is_read_by(item, old_path); };
        const bool was_asked = std::any_of(call.items.get(), call.items.get() + call.item_count, reads);
        if (has_key(now, old_path)) {
            continue;
        }
        PathText above;
        above.append(object_of(old_path));
        if (!was_asked ? call.subscription != 0 : has_key(call.unread.get(), above.c_str())) {
            json_object_object_add(picture.get(), old_path, json_object_get(old_value));
        } else if (was_asked && is_instance(above.view()) && !has_below(now, above.view())) {
            if (is_new_instance(above.view())) {
                tell("deleted", above.view(), {}, author_of(above.view()));
            }
        } else if (was_asked) {
            tell_value(old_path, old_value, nullptr);
        }
    }
    instance.clear();
    json_object_object_foreach(now, path, value)
    {
        json_object* before = nullptr;
        const bool is_known = json_object_object_get_ex(values_.get(), path, &before) != 0;
        const std::string_view above = object_of(path);
        if (!is_known && is_new_instance(above) && !has_below(values_.get(), above)) {
            tell("created", above, {}, author_of(above));
        }
        if (!is_known || json_object_equal(before, value) == 0) {
            tell_value(path, before, value);
        }
        json_object_object_add(picture.get(), path, json_object_get(value));
    }
    values_ = std::move(picture);
}

void Watch::tell_value(std::string_view path, json_object* before, json_object* after)
{
    Answer open;
    open.text().append(R"(,"old":)");
    open.append_value(before);
    open.text().append(R"(,"new":)");
    open.append_value(after);
    tell("changed", path, open.line(), author_of(path));
}

/// Tells everybody whom it concerns, and who may see it.
void Watch::tell(std::string_view type, std::string_view path, std::string_view more, const char* by,
                 bool is_operation)
{
    const bool is_hidden = !more.empty() && is_secret(path);
    for (Subscription& subscription : subscriptions_) {
        if (subscription.client == 0 || !subscription.is_ready || !covers(subscription, path, is_operation)) {
            continue;
        }
        const u32 rights = hooks_.grant(hooks_.owner, subscription.slot, path).rights;
        if ((rights & access::kWatch) == 0) {
            continue;
        }
        ++subscription.sequence;
        Answer event;
        event.text().append(R"({"jsonrpc":"2.0","method":"event","params":{"subscription":)");
        event.append_number(subscription.number);
        event.text().append(R"(,"sequence":)");
        event.append_number(static_cast<i64>(subscription.sequence));
        event.text().append(R"(,"type":")").append(type).append(R"(","path":")").append(path).append("\"");
        event.text().append(is_hidden && (rights & access::kSecrets) == 0 ? R"(,"old":"***","new":"***")"
                                                                          : more);
        event.text().append(R"(,"by":)");
        event.append_text(by);
        event.text().append("}}\n");
        // After one that was lost, all are until that has been told: nobody may take a gap for the order.
        if (subscription.lost != 0 ||
            !hooks_.send(hooks_.owner, subscription.slot, subscription.client, event.line())) {
            ++subscription.lost;
        }
    }
}

void Watch::tell_lost(Subscription& subscription)
{
    Answer event;
    event.text().append(R"({"jsonrpc":"2.0","method":"event","params":{"subscription":)");
    event.append_number(subscription.number);
    event.text().append(R"(,"sequence":)");
    event.append_number(static_cast<i64>(subscription.sequence));
    event.text().append(R"(,"type":"lost","count":)");
    event.append_number(static_cast<i64>(subscription.lost));
    event.text().append("}}\n");
    if (hooks_.send(hooks_.owner, subscription.slot, subscription.client, event.line())) {
        subscription.lost = 0;
    }
}

void Watch::open_sources()
{
    if (files_.is_open()) {
        return;
    }
    files_.replace(FileDescriptor{inotify_init1(IN_CLOEXEC | IN_NONBLOCK)});
    network_.replace(
        FileDescriptor{socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)});
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE;
    if (network_.is_open() &&
        bind(network_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        (void)network_.close();
    }
    descriptors_changed_ = true;
    values_.reset(json_object_new_object());
    watch_folders();
}

void Watch::close_sources()
{
    (void)files_.close();
    (void)network_.close();
    folders_.fill(-1);
    values_.reset();
    due_ = next_round_ = 0;
}

/// The staging folder may come and go.
void Watch::watch_folders()
{
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        if (folders_[i] < 0) {
            // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): both arrays have one entry a folder
            folders_[i] = inotify_add_watch(files_.get(), kFolders[i],
                                            IN_CLOSE_WRITE | IN_MODIFY | IN_MOVED_TO | IN_CREATE | IN_DELETE |
                                                IN_DELETE_SELF | IN_ONLYDIR);
            due_ = folders_[i] >= 0 && due_ == 0 ? BaCL_GetTimestampMSHQ() + kGather : due_;
        }
    }
}

void Watch::drain(int descriptor, u64 now)
{
    alignas(inotify_event) char text[4096];
    ssize_t count = 0;
    while ((count = read(descriptor, text, sizeof text)) > 0) {
        for (ssize_t at = 0; descriptor == files_.get() && at < count;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(text + at);
            if ((event->mask & IN_IGNORED) != 0) {
                std::ranges::replace(folders_, event->wd, -1);
            }
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
        due_ = due_ == 0 ? now + kGather : due_;
    }
}

int Watch::look(u64 now, bool is_changing)
{
    if (count_ == 0) {
        if (files_.is_open()) {
            close_sources();
        }
        return -1;
    }
    watch_folders();
    u32 slowest = 0;
    bool has_lost = false;
    for (Subscription& each : subscriptions_) {
        if (each.client != 0) {
            slowest = std::max(slowest, each.interval);
            if (each.lost != 0) {
                tell_lost(each);
            }
            has_lost = has_lost || each.lost != 0;
        }
    }
    if (slowest == 0) {
        next_round_ = 0;
    } else if (next_round_ == 0) {
        next_round_ = now + slowest;
    } else if (now >= next_round_) {
        next_round_ = now + slowest;
        due_ = due_ == 0 ? now : due_;
    }
    const u64 due = due_ == 0 ? 0 : is_changing && hint_count_ == 0 ? due_ + kMostWait : due_;
    if (due != 0 && now >= due && !is_sampling_) {
        sample();
    }
    int wait = folders_[1] < 0 ? 1000 : -1;
    const auto until = [&](u64 time) {
        const int left = time > now ? static_cast<int>(std::min<u64>(time - now, 86'400'000)) : 0;
        wait = wait < 0 ? left : std::min(wait, left);
    };
    if (due_ != 0 && !is_sampling_) {
        until(due);
    }
    if (next_round_ != 0) {
        until(next_round_);
    }
    if (has_lost) {
        until(now + kRetry);
    }
    return wait;
}

/// Has all that is watched read, once for all.
void Watch::sample()
{
    Call* const call = new_call();
    std::unique_ptr<Call, DeleteCall> owner{call};
    const std::size_t most = kMost * Subscription::kMostPaths;
    if (call == nullptr ||
        (call->items.reset(static_cast<Item*>(std::malloc(most * sizeof(Item)))), call->items == nullptr)) {
        return;
    }
    const auto is_there = [&](const Place& place) {
        return std::any_of(call->items.get(), call->items.get() + call->item_count, [&](const Item& item) {
            return item.place.object.view() == place.object.view() &&
                   item.place.name.view() == place.name.view() && item.place.is_partial == place.is_partial;
        });
    };
    for (const Subscription& each : subscriptions_) {
        for (u32 i = 0; each.client != 0 && each.is_ready && i < each.path_count; ++i) {
            Item& item = *std::construct_at(&call->items[call->item_count]);
            if (find_place(each.paths[i].view(), item.place) == nullptr && !is_there(item.place)) {
                ++call->item_count;
            }
        }
    }
    due_ = 0;
    if (call->item_count == 0) {
        return;
    }
    call->method = &kSample;
    call->operation = QSC_OPER_GET;
    call->commander = QSC_COMMANDER_OTHER;
    call->hint_count = hint_count_;
    is_sampling_ = true;
    hooks_.submit(hooks_.owner, owner.release());
}

} // namespace qscd
