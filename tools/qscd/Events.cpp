// SPDX-License-Identifier: Apache-2.0
// The events of subscriptions: what differs between two readings, who did it, and whom it concerns.
#include <algorithm>

#include <json-c/json.h>

#include "base/Parse.h"
#include "tools/qscd/Values.h"
#include "tools/qscd/Watch.h"

using namespace qsc;

namespace qscd
{

namespace
{

bool has_key(json_object* object, const char* name)
{
    return json_object_object_get_ex(object, name, nullptr) != 0;
}

/// The object of a parameter's path.
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

} // namespace

const char* Watch::author_of(std::string_view path) const
{
    for (u32 i = hint_count_; i-- > 0;) {
        if (hints_[i].event == nullptr && is_at_or_below(path, hints_[i].path.view())) {
            return QSysCmdHal_GetCommanderName(static_cast<i32>(hints_[i].commander));
        }
    }
    return "others";
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
    // What was not read this time stays, unless it is not watched any more.
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

/// Sends an event to the subscribers of the path who may see it.
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
        Answer members;
        members.text().append(R"(,"path":")").append(path).append("\"");
        members.text().append(is_hidden && (rights & access::kSecrets) == 0 ? kHiddenValues : more);
        members.text().append(R"(,"by":)");
        members.append_text(by);
        send_event(subscription, type, members.line());
    }
}

void Watch::send_event(Subscription& subscription, std::string_view type, std::string_view members)
{
    ++subscription.sequence;
    Answer event;
    event.text().append(R"({"jsonrpc":"2.0","method":"event","params":{"subscription":)");
    event.append_number(subscription.number);
    event.text().append(R"(,"sequence":)");
    event.append_number(static_cast<i64>(subscription.sequence));
    event.text().append(R"(,"type":")").append(type).append("\"").append(members).append("}}\n");
    // After one that was lost, all are, until the client knows of the gap.
    if (subscription.lost != 0 ||
        !hooks_.send(hooks_.owner, subscription.slot, subscription.client, event.line())) {
        ++subscription.lost;
    }
}

void Watch::tell_window(json_object* events)
{
    for (std::size_t i = 0; events != nullptr && i < json_object_array_length(events); ++i) {
        json_object* const each = json_object_array_get_idx(events, i);
        Answer members;
        json_object_object_foreach(each, name, value)
        {
            if (std::string_view{name} != "type") {
                members.text().append(",");
                members.append_text(name);
                members.text().append(":");
                members.append_value(value);
            }
        }
        for (Subscription& subscription : subscriptions_) {
            if (subscription.client != 0 && subscription.is_ready) {
                send_event(subscription, text_of(member(each, "type")), members.line());
            }
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

} // namespace qscd
