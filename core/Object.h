// SPDX-License-Identifier: Apache-2.0
// An object of the tree: its rows, and what they have in common. The exported parameter tables are made from
// the rows when the library is compiled.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

#include "core/PackedRow.h"
#include "core/Tables.h"

namespace qsc
{

struct GrowingList;
struct RowRequest;
struct Source;
struct Tool;

/// Makes what a set that is right needs before its values are written, or brings in line what depends on
/// them afterwards.
using Arrange = u32 (*)(RowRequest& request, bool is_written);

/// Whether an instance exists.
using HasInstance = bool (*)(i32 instance);

/// How many instances there are.
using CountInstances = i32 (*)();

/// Says where the values of the request's instance are: in `section`, and `suffix` at the end of their keys.
using LocateInstance = void (*)(RowRequest& request);

/// One of the members that an object may leave out.
union ObjectCell {
    Qsc_Handler handler;
    const Source* source;
    const char* text;
    const Tool* tool;
    const GrowingList* list;
    HasInstance exists;
    CountInstances count;
    LocateInstance locate;
    Arrange arrange;
};

/// An object as it is written down.
struct ObjectDescription {
    const char* path; ///< as requests name it; "{i}" stands for an instance number
    // NOLINTNEXTLINE(readability-redundant-member-init): otherwise every object would have to name it
    std::span<const PackedRow> rows{};
    const Qsc_ParamEntry* table = nullptr; ///< exported; null: the rows alone are walked
    Qsc_Handler handler = nullptr;         ///< that of the table's entries which are rows
    const Source* source = nullptr;        ///< the file that defines it, for log lines
    const char* area = nullptr;            ///< in event records: "set AREA NAME VALUE by WHO"
    const char* section = nullptr;         ///< what relative keys begin with, such as "network.wan."
    const char* section_type = nullptr;    ///< as which that section is made for the first value, if missing
    const Tool* tool = nullptr;            ///< what kJsonPath rows read
    const GrowingList* list = nullptr;     ///< its instances come and go
    const GrowingList* counted = nullptr;  ///< the list that kCount rows count
    u16 instances = 0;                     ///< instances 1 to this one exist
    HasInstance exists = nullptr;          ///< where they have gaps; up to `instances`
    CountInstances count = nullptr;        ///< where only the device knows; up to `instances`
    /// The packages that a set has to itself, with blanks between them: what it writes in them is
    /// staged together or not at all. Null: that of its list, if it has one.
    const char* package = nullptr;
    Arrange arrange = nullptr;       ///< where it changes packages as a whole
    LocateInstance locate = nullptr; ///< where their values are not all in `section`
    const char* rows_by = nullptr;   ///< what may come after the path: "number", "address"

    using Cell = ObjectCell;
    enum Part : u16 {
        kHandler = 0x1,
        kSource = 0x2,
        kArea = 0x4,
        kSection = 0x8,
        kSectionType = 0x10,
        kTool = 0x20,
        kList = 0x40,
        kCounted = 0x80,
        kExists = 0x100,
        kPackage = 0x200,
        kLocate = 0x400,
        kArrange = 0x800,
        kCount = 0x1000,
        kRowsBy = 0x2000,
    };
    template <typename Use>
    constexpr void for_each_cell(Use use) const
    {
        use_member(use, kHandler, handler, Cell{.handler = handler});
        use_member(use, kSource, source, Cell{.source = source});
        use_member(use, kArea, area, Cell{.text = area});
        use_member(use, kSection, section, Cell{.text = section});
        use_member(use, kSectionType, section_type, Cell{.text = section_type});
        use_member(use, kTool, tool, Cell{.tool = tool});
        use_member(use, kList, list, Cell{.list = list});
        use_member(use, kCounted, counted, Cell{.list = counted});
        use_member(use, kExists, exists, Cell{.exists = exists});
        use_member(use, kPackage, package, Cell{.text = package});
        use_member(use, kLocate, locate, Cell{.locate = locate});
        use_member(use, kArrange, arrange, Cell{.arrange = arrange});
        use_member(use, kCount, count, Cell{.count = count});
        use_member(use, kRowsBy, rows_by, Cell{.text = rows_by});
    }
};

/// An object as the library keeps it.
class Object : Sparse<ObjectCell, u16>
{
    using Plain = ObjectDescription;

  public:
    constexpr Object(const Plain& plain, const ObjectCell* cells)
        : Sparse(plain, cells), row_count_(static_cast<u8>(plain.rows.size())), instances(plain.instances),
          path(plain.path), table(plain.table), rows_(plain.rows.data())
    {
    }

  private:
    u8 row_count_; // here, where it leaves no gap

  public:
    u16 instances;
    const char* path;
    const Qsc_ParamEntry* table;

    [[nodiscard]] std::span<const PackedRow> rows() const { return {rows_, row_count_}; }
    [[nodiscard]] Qsc_Handler handler() const { return at<&ObjectCell::handler>(Plain::kHandler); }
    [[nodiscard]] const Source* source() const { return at<&ObjectCell::source>(Plain::kSource); }
    [[nodiscard]] const char* area() const { return at<&ObjectCell::text>(Plain::kArea); }
    [[nodiscard]] const char* section() const { return at<&ObjectCell::text>(Plain::kSection); }
    [[nodiscard]] const char* section_type() const { return at<&ObjectCell::text>(Plain::kSectionType); }
    [[nodiscard]] const Tool* tool() const { return at<&ObjectCell::tool>(Plain::kTool); }
    [[nodiscard]] const GrowingList* list() const { return at<&ObjectCell::list>(Plain::kList); }
    [[nodiscard]] const GrowingList* counted() const { return at<&ObjectCell::list>(Plain::kCounted); }
    [[nodiscard]] HasInstance exists() const { return at<&ObjectCell::exists>(Plain::kExists); }
    [[nodiscard]] CountInstances count() const { return at<&ObjectCell::count>(Plain::kCount); }
    [[nodiscard]] const char* package() const { return at<&ObjectCell::text>(Plain::kPackage); }
    [[nodiscard]] LocateInstance locate() const { return at<&ObjectCell::locate>(Plain::kLocate); }
    [[nodiscard]] Arrange arrange() const { return at<&ObjectCell::arrange>(Plain::kArrange); }
    [[nodiscard]] const char* rows_by() const { return at<&ObjectCell::text>(Plain::kRowsBy); }

  private:
    const PackedRow* rows_;
};
static_assert(sizeof(Object) <= 4 * sizeof(void*) + 8);

/// One parameter in the walk of an object.
struct Parameter {
    const char* name;
    Qsc_Handler handler; ///< null: the row serves it, or nothing does
    u64 param;
    const PackedRow* row; ///< null: a handler that no row describes
};

/// Reads a parameter by its number. False: there are not so many.
[[nodiscard]] bool parameter_at(const Object& object, std::size_t number, Parameter& parameter);

/// The row of that name, or null.
[[nodiscard]] const PackedRow* find_row(const Object& object, std::string_view name);

/// Whether some of its parameters are rows that the engine serves.
[[nodiscard]] bool has_rows(const Object& object);

/// Whether requests for the object choose one of several instances.
[[nodiscard]] bool has_instances(const Object& object);

/// The instance number that a path has where the object's has "{i}"; 0: none.
[[nodiscard]] i32 instance_in_path(const Object& object, std::string_view path);

/// What a path has after the object's own, without the dot between them; empty: nothing.
[[nodiscard]] std::string_view rest_of_path(const Object& object, std::string_view path);

/// Whether an object whose instances neither come nor go has this one.
[[nodiscard]] bool has_instance(const Object& object, i32 number);

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

/// Names are unique, and every row has what its place and kind need.
template <std::size_t Count>
consteval bool is_sound(const Row (&rows)[Count])
{
    static_assert(Count <= UINT8_MAX);
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
                ? (!is_read || is_given(row.get) || row.key != nullptr) && (!is_set || is_given(row.set))
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

/// Whether a row describes a handler of the plain shape. Only an exported table says which.
template <std::size_t Count>
consteval bool names_handlers(const Row (&rows)[Count])
{
    return std::ranges::find(rows, Place::kHandler, &Row::place) != std::end(rows);
}

} // namespace qsc

/// Defines an object: its name, then what it has. Objects are declared in core/Objects.h.
#define QSC_DEFINE_OBJECT(NAME, ...)                                                                         \
    static constexpr qsc::ObjectDescription NAME##Plain[] = {{__VA_ARGS__}};                                 \
    constinit const qsc::Object qsc::objects::NAME{NAME##Plain[0], qsc::kCells<NAME##Plain>.data()};

/// Defines an object without an exported table: its name, path and rows, then what else it has.
#define QSC_OBJECT(NAME, PATH, ROWS, ...)                                                                    \
    static_assert(qsc::is_sound(ROWS) && !qsc::names_handlers(ROWS));                                        \
    QSC_DEFINE_OBJECT(NAME, .path = (PATH), .rows = qsc::kPacked<qsc::PackedRow, ROWS>,                      \
                      .source = &kSource __VA_OPT__(, ) __VA_ARGS__)

/// Defines an object whose rows describe handlers of the plain shape, and exports their table.
#define QSC_DESCRIBED_OBJECT(NAME, PATH, TABLE, ROWS, ...)                                                   \
    static_assert(qsc::is_sound(ROWS));                                                                      \
    QSC_EXPORT_ROWS(TABLE, ROWS, nullptr)                                                                    \
    QSC_DEFINE_OBJECT(NAME, .path = (PATH), .rows = qsc::kPacked<qsc::PackedRow, ROWS>, .table = (TABLE),    \
                      .source = &kSource __VA_OPT__(, ) __VA_ARGS__)

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
    QSC_DEFINE_OBJECT(NAME, .path = (PATH), .rows = qsc::kPacked<qsc::PackedRow, ROWS>, .table = (TABLE),    \
                      .handler = NAME##_Do, .source = &kSource __VA_OPT__(, ) __VA_ARGS__)
