// SPDX-License-Identifier: Apache-2.0
// Lists in the indexed form: each instance answers by its number, or all of them at once as children of the
// request, named by their paths.
#pragma once

#include "core/Object.h"
#include "core/Request.h"

namespace qsc
{

/// Serves one instance.
u32 serve_instance(const Call& call, const Object& list, i64 context, QSCBase_ParamId* record);

/// Serves a get of all instances: a child of the root for each, by the list's own index routine if it has
/// one.
u32 serve_instances(const Call& call, const Object& list, i64 context, Qsc_IndexFunction* index);

/// The instance that a handler of a list works on: the one of its record, or the first without one.
[[nodiscard]] i32 instance_of(const Call& call);

} // namespace qsc

/// Defines the exported routines of a list, INDEX for one instance and ALL for all of them.
#define QSC_INSTANCE_HANDLERS(INDEX, ALL, LIST)                                                              \
    uint32_t INDEX(const char* name, json_object* instance, uint32_t oper, uint32_t argument,                \
                   int64_t context, uint64_t param, json_object*, QSCBase_ParamId* record)                   \
    {                                                                                                        \
        const qsc::Call call{kSource, #INDEX, __LINE__, name, instance, oper, argument, param};              \
        return qsc::serve_instance(call, LIST, context, record);                                             \
    }                                                                                                        \
    uint32_t ALL(const char* name, json_object* root, uint32_t oper, uint32_t argument, int64_t context,     \
                 uint64_t param)                                                                             \
    {                                                                                                        \
        const qsc::Call call{kSource, #ALL, __LINE__, name, root, oper, argument, param};                    \
        return qsc::serve_instances(call, LIST, context, INDEX);                                             \
    }
