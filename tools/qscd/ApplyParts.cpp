// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/ApplyParts.h"

#include <cstring>

#include <json-c/json.h>
#include <unistd.h>

#include "include/qsc_apply.h"
#include "tools/qscd/Applies.h"
#include "tools/qscd/Parameters.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

thread_local Call* t_call = nullptr;

struct Announcement {
    void (*announce)(void* owner, Call& call);
    void* owner;
};

constinit Announcement g_announcement{};

/// The answer has time to leave the device before its network is restarted.
constexpr useconds_t kHeadStart = 200'000;

void take_stage(const char* stage, const char* id, void*)
{
    if (t_call != nullptr && t_call->wants_word && std::strcmp(stage, "accepted") == 0) {
        t_call->accepted.append(id);
        g_announcement.announce(g_announcement.owner, *t_call);
        (void)usleep(kHeadStart);
    }
}

} // namespace

Announced::Announced(Call& call)
{
    t_call = &call;
}

Announced::~Announced()
{
    t_call = nullptr;
}

json_object* new_text(std::string_view text)
{
    return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
}

bool name_call(Call& call, std::string_view subject)
{
    if (!make_items(call, 1)) {
        return false;
    }
    std::construct_at(call.items.get())->place.object.append(subject);
    return true;
}

void add_event(Call& call, const char* type, std::string_view id, u32 commander, const char* why, i64 seconds)
{
    if (call.events == nullptr) {
        call.events.reset(json_object_new_array());
    }
    json_object* const event = json_object_new_object();
    json_object_object_add(event, "type", json_object_new_string(type));
    json_object_object_add(event, "id", new_text(id));
    if (seconds != 0) {
        json_object_object_add(event, "seconds", json_object_new_int64(seconds));
    }
    if (*why != '\0') {
        json_object_object_add(event, "why", json_object_new_string(why));
    }
    json_object_object_add(event, "by",
                           json_object_new_string(QSysCmdHal_GetCommanderName(static_cast<i32>(commander))));
    json_object_array_add(call.events.get(), event);
}

JsonRef window(JsonRef* all)
{
    json_object* found = nullptr;
    const u32 code = QSysCmdHal_GetWindow(&found);
    JsonRef owner{found};
    if (all != nullptr) {
        all->reset(json_object_get(found));
    }
    return code == 0 ? std::move(owner) : nullptr;
}

i64 number_in(json_object* object, const char* name)
{
    return json_object_get_int64(member(object, name));
}

std::string_view text_in(json_object* object, const char* name)
{
    json_object* const value = member(object, name);
    return json_object_is_type(value, json_type_string) != 0 ? text_of(value) : std::string_view{};
}

void tell_result(Call& call, const char* name, json_object* value, const char* more, json_object* other)
{
    call.answer.start_result();
    call.answer.text().append("{\"").append(name).append("\":");
    call.answer.append_value(value);
    if (more != nullptr && other != nullptr) {
        call.answer.text().append(",\"").append(more).append("\":");
        call.answer.append_value(other);
    }
    call.answer.text().append("}");
    call.answer.end();
}

void tell_refused(Call& call, json_object* report)
{
    Failures failures;
    json_object* const refused = member(report, "refused");
    const std::size_t count =
        json_object_is_type(refused, json_type_array) != 0 ? json_object_array_length(refused) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        json_object* const each = json_object_array_get_idx(refused, i);
        Text<510> path;
        path.append(text_in(each, "path"));
        const std::string_view parameter = text_in(each, "parameter");
        path.append(parameter.empty() ? "" : ".").append(parameter);
        failures.add(path.view(), fault_of(static_cast<u32>(number_in(each, "code")), true),
                     text_in(each, "error"));
    }
    if (count == 0) {
        const std::string_view id = text_in(call.params, "id");
        failures.add(call.operation != 0 || id.empty() ? std::string_view{"apply"} : id,
                     fault_of(call.code, true), last_sentence());
    }
    failures.tell(call.answer);
}

JsonRef take_back(Call& call, json_object* waiting, const char* why)
{
    const Announced announced{call};
    const auto commander = static_cast<u32>(number_in(waiting, "commander"));
    json_object* made = nullptr;
    call.code = QSysCmdHal_RestoreCheckpoint(why, 1, &made);
    add_event(call, call.code == 0 ? "restored" : "failed", text_in(waiting, "id"), commander,
              call.code == 0 ? why : last_sentence());
    return JsonRef{made};
}

void tell_accepted(const Call& call, Answer& answer)
{
    answer.start_result();
    answer.text().append(R"({"accepted":)");
    answer.append_text(call.accepted.view());
    answer.text().append("}");
    answer.end();
}

void watch_applies(void (*announce)(void* owner, Call& call), void* owner)
{
    g_announcement = {announce, owner};
    QSysCmdHal_WatchApply(take_stage, nullptr);
}

} // namespace qscd
