// SPDX-License-Identifier: Apache-2.0
// What an apply leaves behind: its entry in the journal, and what undoes it.
#include <cerrno>
#include <span>

#include <json-c/json.h>

#include "apply/Apply.h"
#include "include/qsc_journal.h"
#include "include/qsyscmdhal.h"
#include "log/Log.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kModule = "Apply";

/// Names that a member of a change gets in another list of changes.
struct Renamed {
    const char* from;
    const char* name;
};

/// Adds changes to an entry, with their members by other names.
u32 add_changes(json_object* entry, json_object* changes, std::span<const Renamed> members)
{
    json_object* const list = put_array(entry, "changes");
    const std::size_t count =
        json_object_is_type(changes, json_type_array) != 0 ? json_object_array_length(changes) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        json_object* const each = json_object_array_get_idx(changes, i);
        JsonRef change{json_object_new_object()};
        u32 code = 0;
        for (const auto& [from, name] : members) {
            json_object* value = nullptr;
            if (code == 0 && find_member(each, from, value) && value != nullptr) {
                code = add_named_member(change.get(), name, json_object_get(value));
            }
        }
        code = code != 0 ? code : append_to(list, change.release());
        if (code != 0) {
            return code;
        }
    }
    return list != nullptr ? 0 : ENOMEM;
}

/// What an apply that is taken back has changed, the other way round.
u32 add_reversed_changes(const Session& session, json_object* entry)
{
    constexpr Renamed kMembers[] = {
        {"path", "path"}, {"parameter", "parameter"}, {"new", "old"}, {"old", "new"}};
    const JsonRef filter{json_object_new_object()};
    json_object* entries = nullptr;
    u32 code = put_text(filter.get(), "id", session.undoes.view());
    code = code != 0 ? code : add_named_member(filter.get(), "limit", json_object_new_int(1));
    code = code != 0 ? code : QSysCmdHal_JournalRead(filter.get(), &entries);
    const JsonRef owner{entries};
    json_object* const undone =
        code == 0 && json_object_array_length(entries) != 0 ? json_object_array_get_idx(entries, 0) : nullptr;
    return code == ENOMEM ? code : add_changes(entry, json_object_object_get(undone, "changes"), kMembers);
}

/// What was asked for, in the journal's words.
u32 add_changes(const Session& session, json_object* report, json_object* entry)
{
    constexpr Renamed kMembers[] = {
        {"path", "path"}, {"parameter", "parameter"}, {"old", "old"}, {"value", "new"}};
    return session.given != nullptr ? add_reversed_changes(session, entry)
                                    : add_changes(entry, json_object_object_get(report, "changes"), kMembers);
}

/// A copy, because the journal shortens what is too long.
u32 add_configuration(json_object* entry, json_object* report)
{
    json_object* copy = nullptr;
    json_object* const differences = json_object_object_get(report, "configuration");
    if (differences != nullptr && json_object_deep_copy(differences, &copy, nullptr) != 0) {
        return ENOMEM;
    }
    return add_named_member(entry, "configuration", copy != nullptr ? copy : json_object_new_array());
}

u32 fill_entry(const Session& session, json_object* report, json_object* entry)
{
    json_object* const result = json_object_object_get(report, "result");
    json_object* const refused = json_object_array_get_idx(json_object_object_get(report, "refused"), 0);
    const char* const peer = member_text(session.options.get(), "peer");
    const char* const error = member_text(refused, "error");
    const auto put_if = [&](const char* name, const char* text) {
        return *text != '\0' ? put_text(entry, name, text) : 0;
    };
    u32 code = put_text(entry, "id", session.id.view());
    code = code != 0 ? code : put_text(entry, "kind", session.given != nullptr ? "rollback" : "apply");
    code = code != 0 ? code : put_if("undoes", session.undoes.c_str());
    code = code != 0 ? code
                     : put_text(entry, "commander",
                                QSysCmdHal_GetCommanderName(static_cast<i32>(session.commander)));
    code = code != 0 ? code : put_if("peer", peer);
    code = code != 0 ? code
                     : add_named_member(entry, "result",
                                        result != nullptr ? json_object_get(result) : json_object_new_int(0));
    code = code != 0 ? code : put_if("error", error);
    code = code != 0 ? code : add_changes(session, report, entry);
    return code != 0 ? code : add_configuration(entry, report);
}

} // namespace

JsonRef make_record(const Session& session, json_object* report)
{
    if (json_object_get_boolean(json_object_object_get(session.options.get(), "trial")) != 0 ||
        report == nullptr) {
        return {};
    }
    JsonRef record{json_object_new_object()};
    json_object* const entry = put_object(record.get(), "entry");
    const u32 code = add_named_member(record.get(), "services", json_object_get(session.services.get()));
    if (code != 0 || entry == nullptr || fill_entry(session, report, entry) != 0) {
        QSC_LOG(kLogWarning, "%s is not in the journal: out of memory\n", session.id.c_str());
        return {};
    }
    return record;
}

void put_record(json_object* record, json_object* texts)
{
    json_object* entry = nullptr;
    if (!find_member(record, "entry", entry) || !is_object(entry)) {
        return;
    }
    if (json_object_get_int64(json_object_object_get(entry, "result")) == 0) {
        keep_undo(member_text(entry, "id"), json_object_object_get(record, "services"), texts);
    }
    (void)QSysCmdHal_JournalAdd(entry); // it has logged that it failed
}

} // namespace qsc::apply
