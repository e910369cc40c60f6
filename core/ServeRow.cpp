// SPDX-License-Identifier: Apache-2.0
#include "core/RowParts.h"

#include <algorithm>
#include <cerrno>

#include <json-c/json.h>

#include "base/Parse.h"
#include "core/GrowingList.h"

namespace qsc
{

namespace
{

QSC_MODULE("QscRows");

/// How many instances a list has, or which.
u32 read_numbers(const RowCall& call, RowText& text)
{
    ListedSections sections;
    if (const u32 code = sections.read(*call.request.object.counted())) {
        return refuse(code, "the list cannot be read");
    }
    if (call.row.place == Place::kCount) {
        text.append_number(sections.count());
        return 0;
    }
    for (i32 number = sections.next(0); number != 0; number = sections.next(number)) {
        text.append(text.view().empty() ? "" : ",").append_number(number);
    }
    return 0;
}

/// The texts of an array, with commas between them.
void append_items(json_object* array, RowText& text)
{
    for (std::size_t i = 0; i < json_object_array_length(array); ++i) {
        std::string_view item;
        if (text_of(json_object_array_get_idx(array, i), item) == 0) {
            text.append(text.view().empty() ? "" : ",").append(item);
        }
    }
}

u32 get(const RowCall& call)
{
    const PackedRow& row = call.row;
    if (const RowGet own = row.get()) {
        return own(call);
    }
    if (row.access == Access::kWrite) {
        return answer_stored(call, "");
    }
    RowText stored;
    switch (row.place) {
    case Place::kSource:
        if (!read_places(call.request.sources, or_empty(row.key()), call.source.module, stored)) {
            (void)stored.assign(or_empty(row.fallback()));
        }
        break;
    case Place::kJsonPath: {
        json_object* const root = call.request.sources.json(*call.request.object.tool(), call.source.module);
        std::string_view text;
        json_object* const member = find_in_json(root, or_empty(row.key()));
        if ((row.marks & kMany) != 0 && json_object_is_type(member, json_type_array) != 0) {
            append_items(member, stored);
        } else if (member != nullptr && text_of(member, text) == 0) {
            (void)stored.assign(text);
        }
        if (stored.view().empty()) {
            (void)stored.assign(or_empty(row.fallback()));
        }
        break;
    }
    case Place::kConstant:
        (void)stored.assign(or_empty(row.key()));
        break;
    case Place::kCount:
    case Place::kNumbers:
        if (const u32 code = read_numbers(call, stored)) {
            return code;
        }
        break;
    case Place::kSection:
        (void)stored.assign(section_name(call.request.section.view()));
        break;
    default:
        if (const u32 code = read_stored(call.request, row, stored)) {
            QSC_LOG_CALL(call, kLogError, "not read, error %u\n", code);
            return refuse(code, "the configuration cannot be read");
        }
    }
    return answer_stored(call, stored.view());
}

/// What a tool would know that had to be ended is no answer.
u32 get_known(const RowCall& call)
{
    const u32 code = get(call);
    return code == 0 && call.request.sources.take_ended() ? EFAULT : code;
}

/// Finds the instance. @return EINVAL: there is none
u32 find_instance(RowRequest& request)
{
    if (!has_instances(request.object)) {
        return 0;
    }
    if (request.instance == 0) {
        request.instance = instance_in_path(request.object, request.path);
    }
    return request.object.list() != nullptr                 ? find_section(request)
           : has_instance(request.object, request.instance) ? 0
                                                            : EINVAL;
}

} // namespace

RowCall call_for(RowRequest& request, const PackedRow& row, json_object* value)
{
    const Source* const source = request.object.source();
    return {{source != nullptr ? *source : kSource, row.name, row.line, request.path, value, request.oper,
             request.argument, 0},
            request,
            row};
}

bool is_switch(const PackedRow& row)
{
    return row.kind == Kind::kBoolean || row.kind == Kind::kAdd || row.kind == Kind::kDelete;
}

bool is_number(const PackedRow& row)
{
    return row.kind == Kind::kInteger || row.kind == Kind::kUnsigned || row.kind == Kind::kUnsignedLong ||
           row.kind == Kind::kPort;
}

bool is_on(const PackedRow& row, std::string_view stored)
{
    return is_switched_on(stored) != ((row.marks & kInverted) != 0);
}

/// How a value or several are spoken, to all commanders but MQTT.
void speak(const PackedRow& row, std::string_view stored, RowText& spoken)
{
    if (is_switch(row)) {
        spoken.append(is_on(row, stored) ? "1" : "0");
    } else if ((row.marks & kMany) == 0) {
        to_spoken(row, stored, spoken);
    } else {
        (void)for_each_item(stored, [&](std::string_view item) -> u32 {
            spoken.append(spoken.view().empty() ? "" : ",");
            to_spoken(row, item, spoken);
            return 0;
        });
    }
}

/// Takes what the caller sent, in the spelling in which it is stored.
u32 take_stored(const RowCall& call, RowText& stored)
{
    std::string_view text;
    if (const u32 code = take_text(call.value, text)) {
        return code;
    }
    if (is_number(call.row) &&
        json_object_is_type(json_object_object_get(call.value, "ParamValue"), json_type_boolean) != 0) {
        text = text == "true" ? "1" : "0";
    }
    return to_stored(call.row, text, stored);
}

/// A secret that is sent back as it was read stays what it is.
bool keeps_secret(const PackedRow& row, std::string_view stored)
{
    return (row.marks & kSecret) != 0 && stored.empty();
}

u32 say_missing(const RowRequest& request)
{
    return request.found == EINVAL ? refuse(EINVAL, "there is no instance %d", request.instance)
                                   : refuse(request.found, "the configuration cannot be changed");
}

void begin_get(RowRequest& request)
{
    (void)request.section.assign(or_empty(request.object.section()));
    request.found = find_instance(request);
    const LocateInstance locate = request.object.locate();
    if (request.found == 0 && locate != nullptr) {
        locate(request);
    }
}

u32 serve_row(RowRequest& request, const PackedRow& row, json_object* value)
{
    if (!is_object(value)) {
        return refuse(EINVAL, "it is not a JSON object");
    }
    if (request.found != 0) {
        return finish(value, say_missing(request));
    }
    const RowCall call = call_for(request, row, value);
    const bool is_get = (request.oper & QSC_OPER_GET) != 0;
    const bool is_set = (request.oper & QSC_OPER_SET) != 0;
    return finish(value, is_get ? get_known(call) : is_set ? set_row(call) : refuse_operation(call));
}

u32 answer_stored(const RowCall& call, std::string_view stored)
{
    if ((call.row.marks & kSecret) != 0) {
        return answer_text(call.value, "");
    }
    if (is_switch(call.row)) {
        const bool on = is_on(call.row, stored);
        return call.argument == QSC_COMMANDER_MQTT ? answer_text(call.value, on ? "true" : "false")
                                                   : answer_int(call.value, on ? 1 : 0);
    }
    if (is_number(call.row) && (call.row.marks & kMany) == 0) {
        i64 number = 0;
        (void)parse_leading(stored, number);
        return answer_number(call, number);
    }
    RowText spoken;
    speak(call.row, stored, spoken);
    return answer_text(call.value, spoken.c_str());
}

u32 answer_number(const RowCall& call, i64 number)
{
    return answer_int64(call.value, number);
}

bool is_named(const RowCall& call, const char* name)
{
    json_object* value = nullptr;
    return find_member(call.request.root, name, value);
}

u32 read_outcome(const RowCall& call, const char* name, RowText& stored)
{
    const PackedRow* const row = find_row(call.request.object, name);
    json_object* value = nullptr;
    if (row == nullptr) {
        return EINVAL;
    }
    if (find_member(call.request.root, name, value)) {
        if (const u32 code = take_stored(call_for(call.request, *row, value), stored)) {
            return code;
        }
        return keeps_secret(*row, stored.view()) && !call.request.is_new
                   ? read_stored(call.request, *row, stored)
                   : 0;
    }
    if (call.request.is_new) {
        return stored.assign(or_empty(row->fallback())) ? 0 : EFAULT;
    }
    return read_stored(call.request, *row, stored);
}

} // namespace qsc
