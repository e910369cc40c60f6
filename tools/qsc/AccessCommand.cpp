// SPDX-License-Identifier: Apache-2.0
// access: explains what the service daemon would let a user do.
#include <cstdio>

#include "include/qsyscmdhal.h"
#include "tools/access/Access.h"
#include "tools/qsc/Commands.h"

namespace qsc
{

namespace
{

/// Names rights, with commas; those that are there, or those that are not.
Text<510> names_of(access::Grant grant, bool is_there)
{
    Text<510> names;
    for (u32 right = 1; right <= access::kAllRights; right <<= 1) {
        if (((grant.rights & right) != 0) == is_there) {
            names.append(names.view().empty() ? "" : ", ")
                .append(access::name_of(static_cast<access::Right>(right)));
        }
    }
    for (const Qsc_CommanderName* entry = g_QSCCommander; is_there && entry->id != 0; ++entry) {
        if ((grant.commanders & entry->id) != 0 && grant.commanders != ~0U) {
            names.append(names.view().empty() ? "as:" : ", as:").append(entry->name);
        }
    }
    names.append(is_there && grant.commanders == ~0U ? ", as everybody" : "");
    return names;
}

} // namespace

ExitCode access_command(const Options&, Words words)
{
    access::Peer peer;
    if (!access::peer_of_user(words[0], peer)) {
        return failure("there is no user '%s'", words[0]);
    }
    static access::Table table{0};
    Text<254> error;
    if (!table.load(access::kDefaultFile, error)) {
        return failure("%s: %s; only root may do anything", access::kDefaultFile, error.c_str());
    }
    const access::Grant grant = table.grant(peer, words[1]);
    if (table.is_master(peer)) {
        std::printf("%s may do everything, without a rule\n", words[0]);
        return kDone;
    }
    table.explain(peer, words[1], [&](const access::Table::Rule& rule) {
        std::printf("%s may %s %s (%s, line %u)\n", words[0], names_of(rule.grant, true).c_str(), words[1],
                    access::kDefaultFile, rule.line);
    });
    const Text<510> missing = names_of(grant, false);
    if (!missing.view().empty()) {
        std::printf("%s may not %s%s%s\n", words[0], missing.c_str(), grant.rights == 0 ? " " : "",
                    grant.rights == 0 ? words[1] : "");
    }
    return kDone;
}

} // namespace qsc
