// SPDX-License-Identifier: Apache-2.0
// The one engine behind all dispatchers, and the description of a subtree that it works from.
#pragma once

#include <span>

#include "base/Types.h"
#include "include/qsc_types.h"

namespace qsc
{

/// What stands before " get" and so on in a subtree's log lines. A null label is the path form, which
/// starts with the request's path; an empty one stands for no label at all.
struct Labels {
    const char* get = nullptr;
    const char* set = nullptr;
    const char* commit = nullptr;
    const char* service = nullptr;
    const char* unsupported = nullptr;
};

/// One label for requests, another for commit and service.
constexpr Labels split_label(const char* text, const char* commit_and_service)
{
    return {text, text, commit_and_service, commit_and_service, text};
}

/// A table that a subtree walks instead of its main one for some paths.
struct TableChoice {
    enum Rule { kPathHolds, kPathIs } rule;
    const char* text;
    const Qsc_ParamEntry* table;
};

/// A dispatcher that walks parameter tables: all that it differs in from the next.
struct Subtree {
    const char* name;               ///< the dispatcher's
    i32 line;                       ///< where it is defined, for log lines
    const char* label = nullptr;    ///< of every line; null: the path form
    const Labels* labels = nullptr; ///< where the lines differ in it
    const Qsc_ParamEntry* table;
    /// The first that fits the path wins over `table`.
    // NOLINTNEXTLINE(readability-redundant-member-init): otherwise every row would have to name it
    std::span<const TableChoice> choices{};
    u32 served = QSC_OPER_GET | QSC_OPER_SET;
    Qsc_Handler commit = nullptr;
    u32 (*service)(const char* path, json_object* request) = nullptr;
    const char* after_service = nullptr; ///< shell command started after a successful service
};

/// A dispatcher whose requests name one entry of the table to call, in "Action". The entry's `param` is the
/// only way to hand the request on to a handler of the common shape, so it is written there.
struct Actions {
    const char* name;
    i32 line;
    Qsc_ParamEntry* table;
};

/// A dispatcher of a list's instances, one or all. Without routines there is nothing to answer, which is no
/// error.
struct InstanceRoutines {
    const char* name;
    i32 line;
    const char* prefix; ///< the path up to the instance number
    Qsc_Handler all = nullptr;
    Qsc_IndexFunction* index = nullptr;
};

/// Serves a request by a dispatcher's description. It comes last, so that the arguments of a dispatcher stay
/// where they came in.
u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const Subtree& subtree);
u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const Actions& actions);
u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const InstanceRoutines& routines);

} // namespace qsc
