// SPDX-License-Identifier: Apache-2.0
// The one engine behind all dispatchers, and the description of a subtree that it works from.
#pragma once

#include <span>

#include "core/Object.h"

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

/// An object that a subtree serves instead of its main one for some paths.
struct ObjectChoice {
    enum Rule { kPathHolds, kPathIs } rule;
    const char* text;
    const Object* object;
};

/// The two routines of a list that has its own: one instance, and all of them.
struct ListRoutines {
    Qsc_Handler all;
    Qsc_IndexFunction* index;
};

/// A row of the command table: all that its dispatcher differs in from the next. Which object serves a path,
/// and who commits and restarts for it, is said here alone.
struct Subtree {
    const char* name;               ///< the dispatcher's
    i32 line;                       ///< where it is defined, for log lines
    const char* label = nullptr;    ///< of every line; null: the path form
    const Labels* labels = nullptr; ///< where the lines differ in it
    const Object* object;
    /// The first that fits the path wins over `object`.
    // NOLINTNEXTLINE(readability-redundant-member-init): otherwise every row would have to name it
    std::span<const ObjectChoice> choices{};
    u32 served = QSC_OPER_GET | QSC_OPER_SET;
    const char* packages = nullptr; ///< what a commit writes, in order, with blanks between them
    const char* scripts = nullptr;  ///< the init scripts of a service, in order, with blanks between them
    Qsc_Handler commit = nullptr;   ///< commits in place of the engine
    u32 (*service)(const char* path, json_object* request) = nullptr; ///< serves in place of the engine
    const char* after_service = nullptr; ///< shell command started after a successful service
    const char* applied_by = nullptr;    ///< path of the subtree that commits and restarts in its place

    /// Of a list in the indexed form: the path up to the instance number. Without routines its object is a
    /// growing list.
    const char* list = nullptr;
    const ListRoutines* routines = nullptr;

    /// Of the action form: the table whose entry a request names in "Action". The entry's `param` is the only
    /// way to hand the request on to a handler of the common shape, so it is written there.
    Qsc_ParamEntry* actions = nullptr;
};

/// Serves a request by a dispatcher's description. It comes last, so that the arguments of a dispatcher stay
/// where they came in.
u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const Subtree& subtree);

/// The subtrees, in the order of the command table.
[[nodiscard]] std::span<const Subtree* const> subtrees();

/// The object that a path of the subtree leads to.
[[nodiscard]] const Object& object_at(const Subtree& subtree, const char* path);

/// Judges a set without doing it. @return the code that it would end with
u32 check_only(const Subtree& subtree, const char* path, json_object* object, u32 argument);

} // namespace qsc
