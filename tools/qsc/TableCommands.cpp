// SPDX-License-Identifier: Apache-2.0
// list: what the tables of the library hold.
#include <cstdio>
#include <string_view>

#include <json-c/json.h>

#include "core/JsonRef.h"
#include "tools/qsc/Answers.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Lookup.h"
#include "tools/qsc/Tables.h"

namespace qsc
{

namespace
{

u32 count_parameters(const Qsc_CommandEntry& entry)
{
    u32 count = 0;
    for (const Qsc_ParamEntry* parameter = parameters_of(entry, entry.path); parameter->id != QSC_TABLE_END;
         ++parameter) {
        ++count;
    }
    return count;
}

JsonRef described(u32 id, const char* name)
{
    JsonRef object{json_object_new_object()};
    json_object_object_add(object.get(), "id", json_object_new_int64(id));
    json_object_object_add(object.get(), "name", json_object_new_string(name));
    return object;
}

ExitCode list_parameters(const Options& options, const Qsc_CommandEntry& entry)
{
    const JsonRef all{json_object_new_array()};
    for (const Qsc_ParamEntry* parameter = parameters_of(entry, entry.path); parameter->id != QSC_TABLE_END;
         ++parameter) {
        if (options.as_json) {
            json_object_array_add(all.get(), described(parameter->id, parameter->name).release());
        } else {
            std::printf("%4u  %s\n", parameter->id, parameter->name);
        }
    }
    if (options.as_json) {
        print_json(all.get());
    } else if (count_parameters(entry) == 0) {
        std::printf("%s has no parameters in this library\n", entry.path);
    }
    return kDone;
}

} // namespace

ExitCode list(const Options& options, Words words)
{
    const std::string_view prefix = words.empty() ? "" : words[0];
    const JsonRef all{json_object_new_array()};
    const Qsc_CommandEntry* last = nullptr;
    u32 count = 0;
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        if (std::string_view{entry->path}.starts_with(prefix)) {
            last = entry;
            ++count;
        }
    }
    if (count == 0 || (count == 1 && !prefix.empty())) {
        Target target;
        if (last != nullptr) {
            return list_parameters(options, *last);
        }
        return find_target(words[0], target) ? list_parameters(options, *target.entry) : kUsage;
    }
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        if (!std::string_view{entry->path}.starts_with(prefix)) {
            continue;
        }
        if (options.as_json) {
            json_object_array_add(all.get(), described(entry->id, entry->path).release());
        } else {
            std::printf("%4u  %-56s %3u\n", entry->id, entry->path, count_parameters(*entry));
        }
    }
    if (options.as_json) {
        print_json(all.get());
    }
    return kDone;
}

} // namespace qsc
