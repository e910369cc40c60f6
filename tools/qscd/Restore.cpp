// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Restore.h"

#include <cerrno>
#include <cstdio>

#include <json-c/json.h>

#include "base/Json.h"
#include "include/qsc_apply.h"
#include "include/qsc_describe.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

bool restore()
{
    // The services start on what is there by then, so none is restarted.
    const u32 recovered = QSysCmdHal_RecoverApply();
    json_object* found = nullptr;
    const u32 code = QSysCmdHal_GetWindow(&found);
    const JsonRef window{found};
    if (code != 0 || json_object_get_boolean(member(window.get(), "is_of_this_boot")) != 0) {
        return recovered == 0 && (code == 0 || code == ENODATA);
    }
    json_object* made = nullptr;
    const u32 restored = QSysCmdHal_RestoreCheckpoint("the device was restarted", 0, &made);
    const JsonRef report{made};
    std::printf("%s %s\n", json_object_get_string(member(window.get(), "id")),
                restored == 0 ? "was not confirmed and is taken back" : QSysCmdHal_LastError());
    for (const char* kind : {"packages", "files"}) {
        json_object* const items = member(report.get(), kind);
        if (json_object_is_type(items, json_type_object) == 0) {
            continue;
        }
        json_object_object_foreach(items, name, outcome)
        {
            std::printf("%s: %s\n", name, json_object_get_string(outcome));
        }
    }
    return restored == 0;
}

} // namespace qscd
