// SPDX-License-Identifier: Apache-2.0
// What tools learn of the objects and parameters: read from the same rows and subtrees that serve them.
#include "include/qsc_describe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "base/Text.h"
#include "base/UciOptional.h"
#include "core/CommandTable.h"
#include "core/Dispatch.h"
#include "core/Objects.h"
#include "core/Refusal.h"
#include "core/RowValue.h"

using namespace qsc;

namespace
{

/// The limits of what can be set, where the type alone does not say them.
const char* shown_limits(const PackedRow& row)
{
    const bool is_implied = row.kind == Kind::kInteger || row.kind == Kind::kUnsigned ||
                            row.kind == Kind::kUnsignedLong || row.access == Access::kRead ||
                            row.place == Place::kHandler;
    return or_empty(is_implied ? row.limits() : limits_of(row));
}

/// The subtree of an entry of the command table.
const Subtree& subtree_of(const Qsc_CommandEntry& entry)
{
    return subtrees()[static_cast<std::size_t>(&entry - g_QSysCmdHalCmd)];
}

const Subtree* find_subtree(std::string_view path)
{
    const Qsc_CommandEntry* const entry = find_command_for(path);
    return entry != nullptr ? &subtree_of(*entry) : nullptr;
}

u32 access_of(const Parameter& parameter)
{
    if (parameter.row == nullptr) {
        return QSC_OPER_GET | QSC_OPER_SET;
    }
    switch (parameter.row->access) {
    case Access::kRead:
        return QSC_OPER_GET;
    case Access::kWrite:
        return QSC_OPER_SET;
    default:
        return QSC_OPER_GET | QSC_OPER_SET;
    }
}

u32 count_parameters(const Object& object)
{
    u32 count = 0;
    Parameter parameter;
    while (parameter_at(object, count, parameter)) {
        ++count;
    }
    return count;
}

Qsc_ObjectInfo describe(const Qsc_CommandEntry& entry, const Object& object)
{
    const Subtree& subtree = subtree_of(entry);
    const char* const other = subtree.applied_by();
    const Subtree* const by = other != nullptr ? find_subtree(other) : &subtree;
    const char* const by_path = other != nullptr ? other : entry.path;
    const bool commits = by->commit() != nullptr || by->packages() != nullptr;
    const bool restarts = by->service() != nullptr || by->scripts() != nullptr;
    const char* const packages = subtree.packages() != nullptr ? subtree.packages() : by->packages();
    const bool has_own_path = *object.path != '\0';
    return {.path = has_own_path ? object.path : entry.path,
            .entry = &entry,
            .commit = commits ? by_path : "",
            .service = restarts ? by_path : "",
            .packages = or_empty(packages),
            .parameters = count_parameters(object),
            .access = subtree.served & u32{QSC_OPER_GET | QSC_OPER_SET},
            .flags = (has_instances(object) ? QSC_OBJECT_INSTANCES : 0) |
                     (find_row(object, "X_QRN_Add") != nullptr ? QSC_OBJECT_GROWS : 0) |
                     (subtree.actions() != nullptr ? QSC_OBJECT_ACTIONS : 0) |
                     (object.rows_by() != nullptr ? QSC_OBJECT_ROWS : 0),
            .object = &object};
}

} // namespace

uint32_t QSysCmdHal_DescribeObject(uint32_t number, Qsc_ObjectInfo* object)
{
    if (object == nullptr) {
        return EINVAL;
    }
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        const Subtree& subtree = subtree_of(*entry);
        if (number-- == 0) {
            *object = describe(*entry, *subtree.object);
            return 0;
        }
        for (const ObjectChoice& choice : subtree.choices()) {
            if (choice.object != &objects::kUnserved && number-- == 0) {
                *object = describe(*entry, *choice.object);
                return 0;
            }
        }
    }
    return EFAULT;
}

uint32_t QSysCmdHal_FindObject(const char* path, Qsc_ObjectInfo* object)
{
    if (path == nullptr || object == nullptr) {
        return EINVAL;
    }
    const Qsc_CommandEntry* const entry = find_command_for(path);
    if (entry == nullptr) {
        return EFAULT;
    }
    *object = describe(*entry, object_at(subtree_of(*entry), path));
    return 0;
}

uint32_t QSysCmdHal_DescribeParameter(const Qsc_ObjectInfo* object, uint32_t number,
                                      Qsc_ParameterInfo* parameter)
{
    if (object == nullptr || object->object == nullptr || parameter == nullptr) {
        return EINVAL;
    }
    Parameter found;
    if (!parameter_at(*static_cast<const Object*>(object->object), number, found)) {
        return EFAULT;
    }
    if (found.row == nullptr) {
        *parameter = {found.name, "string", "", "", "", access_of(found), 0};
        return 0;
    }
    const PackedRow& row = *found.row;
    *parameter = {.name = found.name,
                  .type = type_name(row),
                  .units = unit_name(row.unit),
                  .values = shown_limits(row),
                  .outside = or_empty(row.outside()),
                  .access = access_of(found),
                  .flags = ((row.marks & kMany) != 0 ? QSC_PARAM_LIST : 0) |
                           ((row.marks & kSecret) != 0 ? QSC_PARAM_SECRET : 0) |
                           ((row.marks & kNeeded) != 0 ? QSC_PARAM_NEEDED : 0) |
                           (row.outside() != nullptr ? QSC_PARAM_OUTSIDE : 0) |
                           ((row.marks & kFinal) != 0 ? QSC_PARAM_FINAL : 0)};
    return 0;
}

uint32_t QSysCmdHal_FindInstances(const Qsc_ObjectInfo* object, uint32_t* numbers, uint32_t size,
                                  uint32_t* count)
{
    if (object == nullptr || object->object == nullptr || count == nullptr ||
        (numbers == nullptr && size != 0) || (object->flags & QSC_OBJECT_INSTANCES) == 0) {
        return EINVAL;
    }
    const UciView view;
    std::array<u32, kMostInstances> found;
    if (find_instances(*static_cast<const Object*>(object->object), found, *count) != 0) {
        return EFAULT;
    }
    std::copy_n(found.begin(), std::min(size, *count), numbers);
    return 0;
}

uint32_t QSysCmdHal_Check(const char* path, json_object* request, uint32_t commander)
{
    forget_refusal();
    const Subtree* const subtree = path != nullptr ? find_subtree(path) : nullptr;
    u32 code = EINVAL;
    if (subtree == nullptr) {
        (void)refuse(code, "nothing serves this path");
    } else {
        code = check_only(*subtree, path, request, commander);
    }
    if (code != 0) {
        name_refusal(path, nullptr, code);
    }
    return code;
}
