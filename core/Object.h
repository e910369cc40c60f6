// SPDX-License-Identifier: Apache-2.0
// An object of the tree: its rows, and what they have in common. The exported parameter tables are made from
// the rows when the library is compiled.
#pragma once

#include <cstddef>
#include <span>

#include "core/Row.h"
#include "core/Tables.h"

namespace qsc
{

struct GrowingList;
struct Source;
struct Tool;

struct Object {
    const char* path; ///< as requests name it; "{i}" stands for an instance number
    // NOLINTNEXTLINE(readability-redundant-member-init): otherwise every object would have to name it
    std::span<const Row> rows{};
    const Qsc_ParamEntry* table = nullptr;  ///< exported; null: the rows alone are walked
    Qsc_Handler handler = nullptr;          ///< that of the table's entries which are rows
    const Source* source = nullptr;         ///< the file that defines it, for log lines
    const char* area = nullptr;             ///< in event records: "set AREA NAME VALUE by WHO"
    const char* section = nullptr;          ///< what relative keys begin with, such as "network.wan."
    const char* section_type = nullptr;     ///< as which that section is made for the first value, if missing
    const Tool* tool = nullptr;             ///< what kJsonPath rows read
    const GrowingList* list = nullptr;      ///< its instances come and go
    const GrowingList* counted = nullptr;   ///< the list that kCount rows count
    i32 instances = 0;                      ///< instances 1 to this one exist
    bool (*exists)(i32 instance) = nullptr; ///< where they have gaps; up to `instances`
};

/// One parameter in the walk of an object.
struct Parameter {
    const char* name;
    Qsc_Handler handler; ///< null: the row serves it, or nothing does
    u64 param;
    const Row* row; ///< null: a handler that no row describes
};

/// Reads a parameter by its number. False: there are not so many.
[[nodiscard]] bool parameter_at(const Object& object, std::size_t number, Parameter& parameter);

/// The row of that name, or null.
[[nodiscard]] const Row* find_row(const Object& object, std::string_view name);

/// Whether some of its parameters are rows that the engine serves.
[[nodiscard]] inline bool has_rows(const Object& object)
{
    return object.table == nullptr || object.handler != nullptr;
}

/// Whether requests for the object choose one of several instances.
[[nodiscard]] bool has_instances(const Object& object);

/// The instance number that a path has where the object's has "{i}"; 0: none.
[[nodiscard]] i32 instance_in_path(const Object& object, std::string_view path);

/// The most instances that any object has.
inline constexpr std::size_t kMostInstances = 256;

/// The numbers of the instances that exist, rising. EFAULT: they cannot be read; none, then.
[[nodiscard]] u32 find_instances(const Object& object, std::span<u32, kMostInstances> numbers, u32& count);

/// Serves an entry of an exported table that is a row, for callers that come past the dispatcher.
u32 serve_entry(const Object& object, const char* name, json_object* value, u32 oper, u32 argument,
                i64 context, u64 param);

template <std::size_t Count>
struct ParameterTable {
    Qsc_ParamEntry entries[Count + 1];
};

/// Makes the exported table. A row's `param` is its number; handlers of the plain shape get 0.
template <std::size_t Count>
consteval ParameterTable<Count> make_table(const Row (&rows)[Count], Qsc_Handler handler)
{
    ParameterTable<Count> table{};
    for (std::size_t i = 0; i < Count; ++i) {
        const bool is_plain = rows[i].place == Place::kHandler;
        const auto id = static_cast<u32>(rows[i].id == kOwnNumber ? i : rows[i].id);
        table.entries[i] = {id, rows[i].name.text, is_plain ? rows[i].handler : handler, 0, is_plain ? 0 : i};
    }
    table.entries[Count] = kTableEnd;
    return table;
}

/// Whether a row has a function. Where null pointers are sanitized, the address of a function that is defined
/// elsewhere is no constant, but it is one of a function.
template <typename Function>
consteval bool is_given(Function* function)
{
    return __builtin_constant_p(function != nullptr) ? function != nullptr : true;
}

/// Names are unique, and every row has what its place and kind need.
template <std::size_t Count>
consteval bool is_sound(const Row (&rows)[Count])
{
    for (std::size_t i = 0; i < Count; ++i) {
        const Row& row = rows[i];
        for (std::size_t j = 0; j < i; ++j) {
            if (std::string_view{row.name.text} == rows[j].name.text) {
                return false;
            }
        }
        const bool is_word = row.kind == Kind::kWord || row.kind == Kind::kStoredWord;
        const bool is_set = row.access != Access::kRead;
        const bool is_read = row.access != Access::kWrite;
        const bool is_complete =
            row.place == Place::kHandler ? is_given(row.handler)
            : row.place == Place::kFunction
                ? (!is_read || is_given(row.get)) && (!is_set || is_given(row.set))
            : row.place == Place::kCount || row.place == Place::kNumbers || row.place == Place::kSection
                ? !is_set
            : row.place == Place::kInstance
                ? is_given(row.check)
                : row.key != nullptr && (!is_set || row.place == Place::kOption || row.place == Place::kList);
        if (!is_complete || (is_word && is_set && row.limits == nullptr)) {
            return false;
        }
    }
    return true;
}

} // namespace qsc

/// Defines an object without an exported table: its name, path and rows, then what else it has. Objects are
/// declared in core/Objects.h.
#define QSC_OBJECT(NAME, PATH, ROWS, ...)                                                                    \
    static_assert(qsc::is_sound(ROWS));                                                                      \
    constinit const qsc::Object qsc::objects::NAME{                                                          \
        .path = (PATH), .rows = (ROWS), .source = &kSource __VA_OPT__(, ) __VA_ARGS__};

/// Defines an object whose rows describe handlers of the plain shape, and exports their table.
#define QSC_DESCRIBED_OBJECT(NAME, PATH, TABLE, ROWS, ...)                                                   \
    static_assert(qsc::is_sound(ROWS));                                                                      \
    QSC_EXPORT_ROWS(TABLE, ROWS, nullptr)                                                                    \
    constinit const qsc::Object qsc::objects::NAME{                                                          \
        .path = (PATH), .rows = (ROWS), .table = (TABLE), .source = &kSource __VA_OPT__(, ) __VA_ARGS__};

/// The header's array gets its length from the rows, so it is defined by its symbol.
#define QSC_EXPORT_ROWS(TABLE, ROWS, HANDLER)                                                                \
    QSC_API extern const qsc::ParameterTable<std::size(ROWS)> TABLE##OfRows asm(#TABLE);                     \
    constinit const qsc::ParameterTable<std::size(ROWS)> TABLE##OfRows = qsc::make_table(ROWS, HANDLER);

/// Defines an object of rows that the engine serves, and exports their table.
#define QSC_EXPORTED_OBJECT(NAME, PATH, TABLE, ROWS, ...)                                                    \
    static uint32_t NAME##_Do(const char* name, json_object* value, uint32_t oper, uint32_t argument,        \
                              int64_t context, uint64_t param)                                               \
    {                                                                                                        \
        return qsc::serve_entry(qsc::objects::NAME, name, value, oper, argument, context, param);            \
    }                                                                                                        \
    static_assert(qsc::is_sound(ROWS));                                                                      \
    QSC_EXPORT_ROWS(TABLE, ROWS, NAME##_Do)                                                                  \
    constinit const qsc::Object qsc::objects::NAME{.path = (PATH),                                           \
                                                   .rows = (ROWS),                                           \
                                                   .table = (TABLE),                                         \
                                                   .handler = NAME##_Do,                                     \
                                                   .source = &kSource __VA_OPT__(, ) __VA_ARGS__};
