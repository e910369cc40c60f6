// SPDX-License-Identifier: Apache-2.0
// log and version: gets and sets of the subtrees that are the library's own.
#include <cstdio>

#include "tools/qsc/Commands.h"
#include "tools/qsc/Lookup.h"

namespace qsc
{

ExitCode log(const Options& options, Words words)
{
    if (words.size() == 2) {
        u32 number = 0;
        if (!parse_number(words[1], number)) {
            return wrong_usage("'%s' is no number; a level is 0 to 7, properties are a sum of 1, 2 and 4",
                               words[1]);
        }
        Text<254> assignment;
        assignment.append(words[0]).append(":=");
        char digits[16];
        (void)std::snprintf(digits, sizeof digits, "%u", number);
        assignment.append(digits);
        const char* const set_words[] = {"syslog", assignment.c_str()};
        if (const ExitCode result = set(options, set_words)) {
            return result;
        }
    }
    const char* const get_words[] = {"syslog", words.empty() ? nullptr : words[0]};
    return get(options, Words{get_words}.first(words.empty() ? 1 : 2));
}

ExitCode version(const Options& options, Words)
{
    static const Qsc_VersionRecord record{.fwver = nullptr, .progver = QSC_VERSION};
    const char* const words[] = {"version"};
    for (Qsc_CommandEntry* row = QSysCmdHal_GetFunList(); row->id != QSC_TABLE_END; ++row) {
        if (std::string_view{row->path} == words[0]) {
            row->reserved = reinterpret_cast<std::uintptr_t>(&record);
        }
    }
    return get(options, words);
}

} // namespace qsc
