// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Watch.h"

#include <algorithm>
#include <cstring>

#include <json-c/json.h>

#include "include/bacl.h"
#include "tools/qscd/Parameters.h"
#include "tools/qscd/Values.h"
#include "tools/queue/Protocol.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// Several changes that come together are read once, in milliseconds.
constexpr u64 kGather = 50;
/// For so long, a change by others waits for what the daemon itself is setting, to be distinguished from it.
constexpr u64 kMostWait = 1000;
constexpr u32 kLeastInterval = 1000;
constexpr int kRetry = 100;
/// How often a folder is looked for that is not there.
constexpr int kSearch = 1000;

constexpr Method kSample = {"sample", Lane::kGet, 0, QSC_OPER_GET, nullptr, execute_sample, {}};

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
    sources_.open();
    look_for_folders();
    if (values_ == nullptr) {
        values_.reset(json_object_new_object());
    }
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
        return; // its client has left
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
    for (u32 i = 0; i < call.item_count; ++i) {
        const Place& place = call.items[i].place;
        const std::string_view object = without_dot(place.object.view());
        if ((call.operation & QSC_OPER_SET) != 0) {
            note(call, object, place.name.view(), nullptr);
        }
        if (call.code != 0) {
            continue;
        }
        if ((call.operation & QSC_OPER_SET) != 0) {
            note_secrets(call, object, place.name.view());
        }
        if ((call.operation & QSC_OPER_COMMIT) != 0) {
            note(call, object, {}, kCommitted);
        }
        if ((call.operation & QSC_OPER_SERVICE) != 0) {
            note(call, object, {}, kRestarted);
        }
    }
}

void Watch::note(const Call& call, std::string_view object, std::string_view name, const char* event)
{
    Hint& hint = hints_[std::min<std::size_t>(hint_count_, hints_.size() - 1)];
    hint_count_ = std::min(hint_count_ + 1, static_cast<u32>(hints_.size()));
    hint.path.clear();
    hint.path.append(object).append(name.empty() ? "" : ".").append(name);
    hint.commander = call.commander;
    hint.event = event;
}

/// A secret reads as the same before and after it is set, so the set itself is what is known of the change.
void Watch::note_secrets(const Call& call, std::string_view object, std::string_view name)
{
    const auto note_secret = [&](std::string_view parameter) {
        PathText path;
        path.append(object).append(".").append(parameter);
        if (is_secret(path.view())) {
            note(call, object, parameter, kChanged);
        }
    };
    if (!name.empty()) {
        note_secret(name);
        return;
    }
    json_object* const request =
        call.queue != nullptr ? member(call.message.get(), queue::kRequest) : member(call.params, "request");
    if (json_object_is_type(request, json_type_object) != 0) {
        json_object_object_foreach(request, parameter, value)
        {
            (void)value;
            note_secret(parameter);
        }
    }
}

void Watch::take_sample(Call& call, bool is_changing)
{
    is_sampling_ = false;
    // What is being set meanwhile may have been read already, but not yet who sets it.
    is_put_off_ = is_changing && hint_count_ == 0 && !is_put_off_;
    if (is_put_off_) {
        due_ = due_ == 0 ? BaCL_GetTimestampMSHQ() : due_;
        return;
    }
    if (call.sample != nullptr && !call.is_late) {
        compare(call.sample.get(), call);
    }
    for (u32 i = 0; i < std::min(hint_count_, call.hint_count); ++i) {
        if (hints_[i].event != nullptr) {
            const char* const by = QSysCmdHal_GetCommanderName(static_cast<i32>(hints_[i].commander));
            const bool is_change = hints_[i].event == kChanged;
            tell(hints_[i].event, hints_[i].path.view(), is_change ? kHiddenValues : std::string_view{}, by,
                 !is_change);
        }
    }
    const u32 kept = hint_count_ - std::min(hint_count_, call.hint_count);
    std::move(hints_.begin() + (hint_count_ - kept), hints_.begin() + hint_count_, hints_.begin());
    hint_count_ = kept;
}

void Watch::look_for_folders()
{
    if (sources_.find_folders() && due_ == 0) {
        due_ = BaCL_GetTimestampMSHQ() + kGather;
    }
}

void Watch::drain(int descriptor, u64 now)
{
    if (sources_.drain(descriptor) && due_ == 0) {
        due_ = now + kGather;
    }
}

int Watch::look(u64 now, bool is_changing)
{
    if (count_ == 0) {
        if (sources_.are_open()) {
            sources_.close();
            values_.reset();
            due_ = next_round_ = 0;
        }
        return -1;
    }
    look_for_folders();
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
    int wait = sources_.lacks_folders() ? kSearch : -1;
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
