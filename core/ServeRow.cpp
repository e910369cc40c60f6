// SPDX-License-Identifier: Apache-2.0
#include "core/ServeRow.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <json-c/json.h>

#include "base/Parse.h"
#include "base/UciOptional.h"
#include "core/GrowingList.h"

namespace qsc
{

namespace
{

QSC_MODULE("QscRows");

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

bool is_in_configuration(const PackedRow& row)
{
    return row.place == Place::kOption || row.place == Place::kList;
}

bool is_on(const PackedRow& row, std::string_view stored)
{
    return is_switched_on(stored) != ((row.marks & kInverted) != 0);
}

/// A list's items, with commas between them.
u32 read_items(const char* key, RowText& stored)
{
    std::array<char, 2048> items;
    u32 count = 0;
    const u32 code = call_optional(QrnUci_GetList, key, items.data(), static_cast<u32>(items.size()), &count);
    const char* item = items.data();
    for (u32 i = 0; code == 0 && i < count; ++i, item += std::strlen(item) + 1) {
        stored.append(stored.view().empty() ? "" : ",").append(item);
    }
    return code;
}

void replace_all(RowText& text, char from, char to)
{
    std::replace(text.data(), text.data() + text.view().size(), from, to);
}

u32 say_unwritten(const RowCall& call, const char* key, u32 code)
{
    if (code == EFAULT && !is_installed(std::string_view{key}.substr(0, std::string_view{key}.find('.')))) {
        const std::string_view package = std::string_view{key}.substr(0, std::string_view{key}.find('.'));
        const auto length = static_cast<int>(package.size());
        QSC_LOG_CALL(call, kLogError, "%.*s is not installed\n", length, package.data());
        return refuse(code, "%.*s is not installed", length, package.data());
    }
    QSC_LOG_CALL(call, kLogError, "%s not stored, error %u\n", key, code);
    return refuse(code, "%s could not be stored", key);
}

/// "lan" of "network.lan.".
std::string_view section_name(std::string_view section)
{
    section.remove_prefix(std::min(section.find('.') + 1, section.size()));
    return section.substr(0, section.find('.'));
}

/// Makes an object's section of its own for its first value, if it has none yet.
void add_missing_section(const RowRequest& request)
{
    if (request.object.section_type() == nullptr) {
        return;
    }
    std::string_view rest = request.section.view();
    Text<126> package;
    Text<126> name;
    package.append(rest.substr(0, rest.find('.')));
    name.append(section_name(rest));
    // Where it is there already, nothing is added.
    (void)call_optional(QrnUci_AddSection, package.c_str(), request.object.section_type(), name.c_str(),
                        static_cast<char*>(nullptr), 0U);
}

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

/// How a value or several are spoken, to everybody but MQTT.
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

u32 set(const RowCall& call)
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

u32 say_missing(const RowRequest& request)
{
    return request.found == EINVAL ? refuse(EINVAL, "there is no instance %d", request.instance)
                                   : refuse(request.found, "the configuration cannot be changed");
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
    return finish(value, is_get ? get(call) : is_set ? set(call) : refuse_operation(call));
}

namespace
{

/// The packages that a set of the object has to itself; empty: none.
const char* packages_of(const Object& object)
{
    return object.package() != nullptr ? object.package()
           : object.list() != nullptr  ? object.list()->package
                                       : "";
}

/// Has the object's packages to itself. They are begun in the order of their names, so that nobody waits in a
/// circle, whichever others are changed with them.
u32 begin_change(RowRequest& request)
{
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
            return is_installed(next) ? code : refuse(code, "%s is not installed", package.c_str());
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

void append_key(const RowRequest& request, const PackedRow& row, Text<254>& key)
{
    const std::string_view written = or_empty(row.key());
    const bool is_whole = written.find('.') != std::string_view::npos;
    const std::size_t star = std::min(written.find('*'), written.size());
    key.append(is_whole ? "" : request.section.view()).append(written.substr(0, star));
    if (star < written.size()) {
        key.append(section_name(request.section.view())).append(written.substr(star + 1));
    }
    key.append(is_whole ? "" : request.suffix.view());
}

u32 read_stored(RowRequest& request, const PackedRow& row, RowText& stored)
{
    stored.clear();
    Text<254> key;
    append_key(request, row, key);
    u32 code = 0;
    if (row.place == Place::kList) {
        code = read_items(key.c_str(), stored);
    } else {
        code = uci_peek(key.c_str(), stored);
        if ((row.marks & kMany) != 0) {
            replace_all(stored, ' ', ',');
        }
    }
    if (stored.view().empty()) {
        stored.append(or_empty(row.fallback()));
    }
    return code == EFAULT ? 0 : code;
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

namespace
{

/// Whether what is stored says the same, in whichever spelling.
bool is_unchanged(const RowCall& call, const char* key, std::string_view stored)
{
    RowText before;
    RowText was;
    RowText is;
    if (read_stored(call.request, call.row, before) != 0) {
        return false;
    }
    speak(call.row, before.view(), was);
    speak(call.row, stored, is);
    // A value that is too long to be read is another one.
    const bool may_be_missing = before.view() == or_empty(call.row.fallback());
    return was.view() == is.view() && (!may_be_missing || uci_peek(key, before) == 0 || uci_is_missing(key));
}

} // namespace

u32 write_items(const char* key, RowText& stored)
{
    constexpr std::size_t kMost = 256;
    std::array<const char*, kMost> items;
    u32 count = 0;
    // Each comma ends an item in place.
    const char* const end = stored.data() + stored.view().size();
    std::replace(stored.data(), stored.data() + stored.view().size(), ',', '\0');
    for (const char* item = stored.c_str(); item < end; item += std::strlen(item) + 1) {
        if (count == kMost) {
            return refuse(EFAULT, "it has more than %zu items", kMost);
        }
        items[count++] = item;
    }
    return call_optional(QrnUci_SetList, key, items.data(), count);
}

u32 write_stored(const RowCall& call, std::string_view stored)
{
    Text<254> key;
    append_key(call.request, call.row, key);
    if (is_unchanged(call, key.c_str(), stored)) {
        return 0;
    }
    RowText value;
    if (!value.assign(stored)) {
        return EFAULT;
    }
    if ((call.row.marks & kOmitted) != 0 && stored == or_empty(call.row.fallback())) {
        value.clear();
    }
    u32 code = 0;
    add_missing_section(call.request);
    if (call.row.place == Place::kList) {
        code = write_items(key.c_str(), value);
    } else {
        if ((call.row.marks & (kMany | kCommas)) == kMany) {
            replace_all(value, ',', ' ');
        }
        code = uci_write(key.c_str(), value.c_str());
    }
    return code != 0 ? say_unwritten(call, key.c_str(), code) : 0;
}

} // namespace qsc
