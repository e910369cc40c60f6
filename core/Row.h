// SPDX-License-Identifier: Apache-2.0
// A parameter as one row: what it is called, what it may hold, where it is kept. Checks, answers, records,
// the exported tables and every listing are made from it.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/Sparse.h"
#include "include/qsc_types.h"

namespace qsc
{

class Object;
struct RowCall;

/// What a value is: how it is spoken, and what a set takes.
enum class Kind : u8 {
    kText,
    kBoolean,      ///< 0 or 1; MQTT hears "true" and "false"
    kInteger,      ///< within `limits`
    kUnsigned,     ///< within `limits`, else 0 to 4294967295
    kUnsignedLong, ///< 64 bits
    kWord,         ///< one of the words in `limits`
    kStoredWord,   ///< the same, stored in the spelling that follows; see QSC_STORED_WORDS
    kIPv4,
    kIPv6,
    kIPAddress, ///< either
    kIPPrefix,  ///< an address of either kind and a length
    kNetmask,   ///< contiguous, as "255.255.255.0"
    kMacAddress,
    kPort,
    kHostName,  ///< RFC 1123
    kHost,      ///< a host's name or address
    kHexBinary, ///< hexadecimal digits; limits count bytes
    kTimeOfDay, ///< "HH:MM"
    kDateTime,  ///< "2026-11-21T05:48:39Z"
    kReference, ///< the path of another object
    kAction,    ///< an entry of an action table; `limits` are the members that go with it
    kJson,      ///< JSON text
    kLines,     ///< a text of several lines, of any length: the row's functions take it from the call
    kAdd,       ///< 1 adds the instance; see GrowingList.h
    kDelete,    ///< 1 deletes it
};

enum class Access : u8 { kRead, kReadWrite, kWrite };

enum class Unit : u8 {
    kNone,
    kSeconds,
    kMinutes,
    kMilliseconds,
    kPercent,
    kBytes,
    kKiB,
    kPackets,
    kBitPerSecond,
    kKbitPerSecond,
    kMbitPerSecond,
    kDbm,
};

/// Where a value is kept or comes from.
enum class Place : u8 {
    kOption,   ///< the option `key`, of the object's section unless the key names a whole one; "*" in it
               ///< means that section's name
    kList,     ///< the items of the list `key`
    kSection,  ///< the name of the object's section
    kSource,   ///< the first of the places in `key` that has something; see RowSource.h
    kJsonPath, ///< the member `key` of what the object's tool prints
    kConstant, ///< `key` itself
    kCount,    ///< how many instances the list has that the object counts
    kNumbers,  ///< their numbers
    kInstance, ///< whether the instance itself is there
    kFunction, ///< the row's functions know; without `get`, the option `key` answers
    kHandler,  ///< a handler of the plain shape does everything; the rest of the row describes it
};

using Marks = u8;
inline constexpr Marks kSecret = 0x1;   ///< reads as "", is recorded without its value, "" leaves it as it is
inline constexpr Marks kNeeded = 0x2;   ///< is never empty; a new instance cannot be without it
inline constexpr Marks kInverted = 0x4; ///< a boolean that is stored as its opposite
inline constexpr Marks kMany = 0x8;     ///< several values, with commas between them
inline constexpr Marks kOmitted = 0x20; ///< the fallback is stored by leaving the option out
inline constexpr Marks kFinal = 0x10;   ///< what a set does cannot be undone
inline constexpr Marks kCommas = 0x40;  ///< several values in an option have commas between them, not blanks

/// A row's name, and the line of the source file that log lines about it show.
struct RowName {
    const char* text;
    u16 line;

    // NOLINTNEXTLINE(google-explicit-constructor): so that a row begins with nothing but its name
    consteval RowName(const char* name, u16 at = static_cast<u16>(__builtin_LINE())) : text(name), line(at) {}
};

/// Answers in place of a row.
using RowGet = u32 (*)(const RowCall& call);
/// Judges or stores a value, which is in the spelling in which it is stored.
using RowTake = u32 (*)(const RowCall& call, std::string_view stored);

/// One of the members that a row may leave out.
union RowCell {
    const char* text;
    RowGet get;
    RowTake take;
};

/// The id of a row that is known by its place in the table.
inline constexpr u8 kOwnNumber = 0xFF;

/// A row as it is written down: every member but the name may be left out. See PackedRow.h for what the
/// library keeps of it.
struct Row {
    [[no_unique_address]] RowName name;
    Kind kind = Kind::kText;
    Access access = Access::kRead;
    Place place = Place::kOption;
    Unit unit = Unit::kNone;
    Marks marks = 0;
    u8 id = kOwnNumber; ///< in the exported table

    /// "least:most" of a number, or of a text's characters (either end may be missing); "One|Two" of words.
    const char* limits = nullptr;
    const char* key = nullptr;
    /// What a get takes for a missing value, as it would be stored.
    const char* fallback = nullptr;
    /// The file outside the configuration that a set changes.
    const char* outside = nullptr;

    /// kHandler: serves the parameter.
    Qsc_Handler handler = nullptr;
    /// Answers in place of the row.
    RowGet get = nullptr;
    /// Judges a value that is well formed.
    RowTake check = nullptr;
    /// kFunction: stores it. Otherwise: what follows once it is stored, such as telling the driver.
    RowTake set = nullptr;

    using Cell = RowCell;
    enum Part : u8 {
        kLimits = 0x1,
        kKey = 0x2,
        kFallback = 0x4,
        kOutside = 0x8,
        kGet = 0x10,
        kCheck = 0x20,
        kSet = 0x40,
    };
    template <typename Use>
    constexpr void for_each_cell(Use use) const
    {
        use_member(use, kLimits, limits, Cell{.text = limits});
        use_member(use, kKey, key, Cell{.text = key});
        use_member(use, kFallback, fallback, Cell{.text = fallback});
        use_member(use, kOutside, outside, Cell{.text = outside});
        use_member(use, kGet, get, Cell{.get = get});
        use_member(use, kCheck, check, Cell{.take = check});
        use_member(use, kSet, set, Cell{.take = set});
    }
};

/// A row for a handler of the plain shape.
consteval Row handled(RowName name, Kind kind, Access access, Qsc_Handler handler,
                      const char* limits = nullptr, Marks marks = 0, u8 id = kOwnNumber)
{
    Row row{.name = name};
    row.kind = kind;
    row.access = access;
    row.place = Place::kHandler;
    row.marks = marks;
    row.id = id;
    row.limits = limits;
    row.handler = handler;
    return row;
}

/// "Status" of what can be switched on, which a function knows.
consteval Row status_row(RowName name, RowGet get, const char* words = "Disabled|Enabled|Error")
{
    Row row{.name = name};
    row.kind = Kind::kWord;
    row.place = Place::kFunction;
    row.limits = words;
    row.get = get;
    return row;
}

/// The limits of a kStoredWord: its words, and how each is stored, in the same order.
#define QSC_STORED_WORDS(WORDS, STORED) WORDS "\0" STORED

} // namespace qsc
