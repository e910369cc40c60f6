// SPDX-License-Identifier: Apache-2.0
// Sets of rows: judged whole before the first write, and staged whole or not at all.
#include <cerrno>

#include <json-c/json.h>

#include "base/UciOptional.h"
#include "core/GrowingList.h"
#include "core/RowParts.h"

namespace qsc
{

namespace
{

bool is_in_configuration(const PackedRow& row)
{
    return row.place == Place::kOption || row.place == Place::kList;
}

/// Whether the value is well formed.
u32 check_form(const RowCall& call, RowText& stored)
{
    return call.row.access == Access::kRead ? refuse_operation(call) : take_stored(call, stored);
}

/// Whether it is right beside the object's other values.
u32 check_sense(const RowCall& call, std::string_view stored)
{
    const RowTake check = keeps_secret(call.row, stored) ? nullptr : call.row.check();
    return check != nullptr ? check(call, stored) : 0;
}

void record(const RowCall& call, std::string_view stored)
{
    const Object& object = call.request.object;
    Text<126> place;
    place.append(object.area() != nullptr ? object.area() : object.path);
    if (call.request.instance > 0) {
        place.append(" [").append_number(call.request.instance).append("]");
    }
    if (object.rows_by() != nullptr) {
        const std::string_view row = rest_of_path(object, call.request.path);
        place.append(row.empty() ? "" : " ").append(row);
    }
    if (call.row.place == Place::kInstance) {
        if (stored == "1") {
            QSC_EVENT(call, "%s %s by %s", call.row.kind == Kind::kAdd ? "add" : "delete", place.c_str(),
                      commander(call));
        }
        return;
    }
    if ((call.row.marks & kSecret) != 0 || call.row.kind == Kind::kLines) {
        QSC_EVENT(call, "set %s %s by %s", place.c_str(), call.row.name, commander(call));
        return;
    }
    RowText spoken;
    speak(call.row, stored, spoken);
    QSC_EVENT(call, "set %s %s %s by %s", place.c_str(), call.row.name, shown(spoken.c_str()),
              commander(call));
}

/// Calls use(call, scratch) for each row that a set names, up to the first that answers with a code.
template <typename Use>
u32 for_each_named(RowRequest& request, const char*& name, Use use)
{
    Parameter parameter;
    for (std::size_t i = 0; parameter_at(request.object, i, parameter); ++i) {
        json_object* value = nullptr;
        if (parameter.handler != nullptr || parameter.row == nullptr ||
            !find_member(request.root, parameter.name, value)) {
            continue;
        }
        name = parameter.name;
        RowText scratch;
        if (const u32 code = use(call_for(request, *parameter.row, value), scratch)) {
            return code;
        }
    }
    return 0;
}

/// Judges every value that a set names, the first refused one as its handler would.
u32 judge(RowRequest& request, const char*& refused)
{
    const auto end = [](const RowCall& call, u32 code) {
        return code == 0               ? 0
               : call.request.is_trial ? record_result(call.value, code)
                                       : finish(call.value, code);
    };
    // The sense of a value may depend on others, so first each is known to be well formed.
    const u32 code = for_each_named(request, refused, [&](const RowCall& call, RowText& stored) -> u32 {
        if (!is_object(call.value)) {
            return refuse(EINVAL, "it is not a JSON object");
        }
        return end(call, request.found != 0 ? say_missing(request) : check_form(call, stored));
    });
    if (code != 0) {
        return code;
    }
    const u32 senseless = for_each_named(request, refused, [&](const RowCall& call, RowText& stored) {
        const u32 malformed = take_stored(call, stored);
        return end(call, malformed != 0 ? malformed : check_sense(call, stored.view()));
    });
    request.is_checked = senseless == 0;
    if (refused == nullptr && request.found != 0 && has_instances(request.object)) {
        return say_missing(request); // it names nothing that could be refused in its place
    }
    return senseless;
}

/// What fails once every value is right is the result of one parameter all the same.
u32 refuse_for(RowRequest& request, const char* name, u32 code)
{
    json_object* value = nullptr;
    return code != 0 && name != nullptr && find_member(request.root, name, value) ? finish(value, code)
                                                                                  : code;
}

/// The packages that a set of the object has to itself; empty: none.
const char* packages_of(const Object& object)
{
    return object.package() != nullptr ? object.package()
           : object.list() != nullptr  ? object.list()->package
                                       : "";
}

/// Has the object's packages to itself. They are begun in the order of their names, so that no one waits in a
/// circle, whichever others are changed with them.
u32 begin_change(RowRequest& request)
{
    // Without it, what a device's own library can do is staged value by value.
    const bool is_simple = request.object.list() == nullptr && request.object.arrange() == nullptr;
    if (QrnUci_BeginChange == nullptr && is_simple) {
        return 0;
    }
    Text<126> package;
    for (;;) {
        std::string_view next;
        (void)for_each_word(packages_of(request.object), [&](std::string_view word) -> u32 {
            next = word > package.view() && (next.empty() || word < next) ? word : next;
            return 0;
        });
        if (next.empty()) {
            return 0;
        }
        package.clear();
        package.append(next);
        if (const u32 code = call_optional(QrnUci_BeginChange, package.c_str())) {
            return is_installed(next) ? code : say_uninstalled(code, request.object.source()->module, next);
        }
        request.is_change = true;
    }
}

u32 arrange(RowRequest& request, bool is_written)
{
    const Arrange own = request.object.arrange();
    return own != nullptr && request.is_change ? own(request, is_written) : 0;
}

/// The changes are staged together, or not at all.
u32 end_change(RowRequest& request, u32 code)
{
    const u32 arranged = code == 0 ? arrange(request, true) : 0;
    request.is_change = false;
    const u32 ended = call_optional(QrnUci_EndChange, code == 0 && arranged == 0 ? 1U : 0U);
    return arranged != 0 ? arranged
           : ended != 0  ? refuse(ended, "%s could not be changed", packages_of(request.object))
                         : 0;
}

} // namespace

u32 set_row(const RowCall& call)
{
    RowText stored;
    if (const u32 code = check_form(call, stored)) {
        return code;
    }
    if (!call.request.is_checked) {
        if (const u32 code = check_sense(call, stored.view())) {
            return code;
        }
    }
    if (!keeps_secret(call.row, stored.view())) {
        const u32 code = is_in_configuration(call.row) ? write_stored(call, stored.view()) : 0;
        if (code != 0) {
            return code;
        }
        if (const RowTake follow = call.row.set()) {
            if (const u32 failed = follow(call, stored.view())) {
                return failed;
            }
        }
    }
    if (!call.request.is_change) {
        record(call, stored.view());
    }
    return 0;
}

u32 begin_set(RowRequest& request, const char*& refused)
{
    const bool is_list = request.object.list() != nullptr;
    if (!is_list) {
        const u32 begun = begin_change(request);
        begin_get(request);
        request.found = request.found != 0 ? request.found : begun;
    } else {
        (void)request.section.assign("");
        if (request.instance == 0) {
            request.instance = instance_in_path(request.object, request.path);
        }
        const bool may_be = request.instance >= 1 && request.instance <= kHighestInstance;
        request.found = may_be ? begin_change(request) : u32{EINVAL};
        request.found = request.found != 0 ? request.found : find_or_begin(request);
    }
    u32 code = judge(request, refused);
    if (code == 0 && is_list) {
        code = add_or_delete(request);
        if (code != 0) {
            refused = request.is_new ? kAddRow.name.text : kDeleteRow.name.text;
            (void)refuse_for(request, refused, code);
        }
    }
    if (code == 0) {
        code = refuse_for(request, refused, arrange(request, false));
    }
    return code != 0 ? end_set(request, code, refused) : 0;
}

u32 end_set(RowRequest& request, u32 code, const char*& refused)
{
    if (request.is_change) {
        const u32 ended = end_change(request, code);
        if (code == 0 && ended == 0) {
            (void)for_each_named(request, refused, [](const RowCall& call, RowText& stored) -> u32 {
                if (take_stored(call, stored) == 0) {
                    record(call, stored.view());
                }
                return 0;
            });
        }
        code = code != 0 ? code : ended != 0 ? refuse_for(request, refused, ended) : 0;
    }
    return code;
}

u32 check_set(RowRequest& request, const char*& refused)
{
    request.is_trial = true;
    begin_get(request);
    if (request.object.list() != nullptr) {
        request.is_new = request.found != 0;
        request.found = request.found == EINVAL && adds(request) ? 0 : request.found;
    }
    return judge(request, refused);
}

} // namespace qsc
