// SPDX-License-Identifier: Apache-2.0
// set: values of one object or of several.
#include <json-c/json.h>

#include "tools/qsc/Answers.h"
#include "tools/qsc/Assignments.h"
#include "tools/qsc/Changes.h"
#include "tools/qsc/Json.h"

namespace qsc
{

ExitCode set(const Options& options, Words words)
{
    const JsonRef plan{json_object_new_object()};
    const ExitCode result = read_assignments(words, plan.get());
    return result != kDone ? result : make_changes(options, plan.get());
}

} // namespace qsc
