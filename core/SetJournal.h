// SPDX-License-Identifier: Apache-2.0
// What plain sets leave in the journal.
#pragma once

#include "base/Json.h"
#include "core/Dispatch.h"

namespace qsc
{

/// A set that is recorded: what its parameters hold is read before it is done.
class SetJournal
{
  public:
    /// Answers a get of the same path.
    using Get = u32 (*)(void* context, json_object* request);

    /// Does nothing unless sets are recorded.
    SetJournal(const Subtree& subtree, const char* path, json_object* request, u32 oper, Get get,
               void* context);

    /// The set has ended; its sentence is that of the thread.
    void finish(u32 commander, u32 code);

  private:
    JsonRef changes_; ///< null: it is not recorded
};

/// Has sets recorded, or not.
void want_journal(bool wanted);

} // namespace qsc
