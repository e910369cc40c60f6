// SPDX-License-Identifier: Apache-2.0
// The one engine behind all dispatchers, and the description of a subtree that it works from.
#pragma once

#include <span>

#include "base/Types.h"
#include "include/qsc_types.h"

namespace qsc
{

/// What a dispatcher was called with.
struct Request {
    const char* dispatcher;
    const char* path;
    json_object* object;
    u32 oper;
    u32 argument;
    i64 context;
    u64 value;
};

/// What stands before " get" and so on in a subtree's log lines. A null label is the path form, which
/// starts with the request's path; an empty one stands for no label at all.
struct Labels {
    const char* get = nullptr;
    const char* set = nullptr;
    const char* commit = nullptr;
    const char* service = nullptr;
    const char* unsupported = nullptr;
};

/// The same label in every line.
constexpr Labels label(const char* text)
{
    return {text, text, text, text, text};
}

/// One label for requests, another for commit and service.
constexpr Labels label(const char* text, const char* commit_and_service)
{
    return {text, text, commit_and_service, commit_and_service, text};
}

/// Every line in the path form.
constexpr Labels kByPath{};

/// A table that a subtree walks instead of its main one for some paths.
struct TableChoice {
    enum Rule { kPathHolds, kPathIs } rule;
    const char* text;
    const Qsc_ParamEntry* table;
};

/// All that one dispatcher differs in from the next.
struct Subtree {
    Labels labels;
    const Qsc_ParamEntry* table;
    std::span<const TableChoice> choices{}; ///< the first that fits the path wins over `table`
    u32 served = QSC_OPER_GET | QSC_OPER_SET;
    Qsc_Handler commit = nullptr;
    u32 (*service)(const char* path, json_object* request) = nullptr;
    const char* after_service = nullptr; ///< shell command started after a successful service
};

/// Serves a request by walking the subtree's parameter table.
u32 dispatch(const Subtree& subtree, const Request& request);

/// Serves a request whose "Action" names the one entry of the table to call. The entry's `param` is the
/// only way to hand the request on to a handler of the common shape, so it is written here.
u32 dispatch_action(Qsc_ParamEntry* table, const Request& request);

/// A list of instances. Without routines there is nothing to answer, which is no error.
struct InstanceRoutines {
    const char* prefix; ///< the path up to the instance number
    Qsc_Handler all = nullptr;
    Qsc_IndexFunction* index = nullptr;
};

/// Serves a request for one or all of a list's instances.
u32 dispatch_list(const InstanceRoutines& routines, const Request& request);

} // namespace qsc
