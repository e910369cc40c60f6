// SPDX-License-Identifier: Apache-2.0
// What the methods of applies share: reading what waits, answering, and telling of events.
#pragma once

#include "tools/qscd/Methods.h"

namespace qscd
{

/// What an apply needs of every path.
inline constexpr u32 kApplyRights = qsc::access::kSet | qsc::access::kCommit | qsc::access::kService;

/// Makes a call the one that the stages of the thread's apply are about, for as long as it lives.
class Announced
{
  public:
    explicit Announced(Call& call);
    Announced(const Announced&) = delete;
    Announced& operator=(const Announced&) = delete;
    ~Announced();
};

[[nodiscard]] json_object* new_text(std::string_view text);
[[nodiscard]] i64 number_in(json_object* object, const char* name);
/// Empty: there is no such text.
[[nodiscard]] std::string_view text_in(json_object* object, const char* name);

/// Gives a call without a path what log lines name it by.
[[nodiscard]] bool name_call(Call& call, std::string_view subject);

/// What waits to be confirmed; null: nothing. `all` gets what became of the last as well.
[[nodiscard]] qsc::JsonRef window(qsc::JsonRef* all = nullptr);

/// Has the subscribers hear of a change once the call has come back.
void add_event(Call& call, const char* type, std::string_view id, u32 commander, const char* why = "",
               i64 seconds = 0);

void tell_result(Call& call, const char* name, json_object* value, const char* more = nullptr,
                 json_object* other = nullptr);

/// Answers with all that a plan or report refuses, or with the library's sentence.
void tell_refused(Call& call, json_object* report);

/// Takes what waits back, and tells how that has ended.
qsc::JsonRef take_back(Call& call, json_object* waiting, const char* why);

// ApplyRequests.cpp: reading the parameters.
[[nodiscard]] bool prepare_apply(Call& call, const Caller& caller);
[[nodiscard]] bool prepare_rollback(Call& call, const Caller& caller);
[[nodiscard]] bool prepare_id(Call& call, const Caller& caller);
[[nodiscard]] bool prepare_pending(Call& call, const Caller& caller);
[[nodiscard]] bool prepare_journal(Call& call, const Caller& caller);

// Decisions.cpp
void execute_confirm(Call& call);
void execute_extend(Call& call);
void execute_cancel(Call& call);
void execute_pending(Call& call);

} // namespace qscd
