// SPDX-License-Identifier: Apache-2.0
// The sentence that says why a thread's request was refused.
#pragma once

#include "base/Types.h"

struct json_object;

namespace qsc
{

/// Says why the thread's request is refused, unless something closer to the cause did. The sentence must not
/// hold a secret. @return the code
[[gnu::format(printf, 2, 3)]] u32 refuse(u32 code, const char* format, ...);

/// What refuse() was told; empty: nothing.
[[nodiscard]] const char* refusal();

/// A request begins: nothing is refused yet.
void forget_refusal();

/// Puts the path and the parameter before the sentence; null: there is none. A refusal that has no sentence
/// gets one from its code.
void name_refusal(const char* path, const char* parameter, u32 code);

/// Adds the sentence to a refused parameter's object, where the host has asked for it.
void add_refusal(json_object* value, u32 code);

/// Has add_refusal() do something, or nothing.
void want_refusals(bool wanted);

} // namespace qsc
