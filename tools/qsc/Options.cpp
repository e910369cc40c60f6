// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Options.h"

#include <cstdlib>
#include <cstring>

#include <getopt.h>
#include <strings.h>

#include "include/qsyscmdhal.h"
#include "tools/client/qsc_client.h"
#include "tools/qsc/Lookup.h"
#include "tools/qsc/Queue.h"
#include "tools/qsc/Report.h"
#include "tools/qsc/Suggestion.h"

namespace qsc
{

namespace
{

enum LongOption : int {
    kJson = 256,
    kAs,
    kApply,
    kQueue,
    kSocket,
    kCount,
    kHash,
    kId,
    kConfirm,
    kCheck,
    kRetries
};

constexpr option kLongOptions[] = {
    {"json", no_argument, nullptr, kJson},
    {"as", required_argument, nullptr, kAs},
    {"apply", no_argument, nullptr, kApply},
    {"quiet", no_argument, nullptr, 'q'},
    {"verbose", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {"queue", required_argument, nullptr, kQueue},
    {"socket", optional_argument, nullptr, kSocket},
    {"count", required_argument, nullptr, kCount},
    {"hash", required_argument, nullptr, kHash},
    {"id", required_argument, nullptr, kId},
    {"confirm", required_argument, nullptr, kConfirm},
    {"check", required_argument, nullptr, kCheck},
    {"retries", required_argument, nullptr, kRetries},
    {},
};

/// Takes a commander's name, in any letter case, or its number.
bool parse_commander(const char* text, u32& commander)
{
    Suggestion nearest{text};
    for (const Qsc_CommanderName* entry = g_QSCCommander; entry->id != 0; ++entry) {
        if (strcasecmp(entry->name, text) == 0) {
            commander = entry->id;
            return true;
        }
        nearest.consider(entry->name);
    }
    if (parse_number(text, commander)) {
        return true;
    }
    wrong_usage("there is no commander '%s'%s A number such as 0x80 is taken as well.", text,
                Hint{nearest}.c_str());
    return false;
}

} // namespace

bool parse_options(int count, char** arguments, Options& options)
{
    opterr = 0;
    optind = 0; // a batch parses one line after the other
    for (;;) {
        const int found = getopt_long(count, arguments, ":qvh", kLongOptions, nullptr);
        switch (found) {
        case -1:
            options.words = {arguments + optind, arguments + count};
            return true;
        case kJson:
            options.as_json = true;
            break;
        case kAs:
            if (!parse_commander(or_empty(optarg), options.commander)) {
                return false;
            }
            break;
        case kApply:
            options.apply = true;
            break;
        case kQueue:
            options.by_queue = find_queue(optarg, options.queue);
            if (!options.by_queue) {
                return false;
            }
            break;
        case kSocket:
            // A path after a blank is meant for it as well: no command begins like one.
            options.socket = optarg != nullptr ? optarg
                             : optind < count && (arguments[optind][0] == '/' || arguments[optind][0] == '.')
                                 ? arguments[optind++]
                                 : QSC_CLIENT_SOCKET;
            break;
        case kCount:
            if (!parse_number(or_empty(optarg), options.count)) {
                wrong_usage("'%s' is no number of events", optarg);
                return false;
            }
            break;
        case kHash:
            options.hash = optarg;
            break;
        case kId:
            options.id = optarg;
            break;
        case kConfirm:
        case kRetries:
            if (!parse_number(or_empty(optarg), found == kConfirm ? options.confirm : options.retries)) {
                wrong_usage("'%s' is no number", optarg);
                return false;
            }
            break;
        case kCheck:
            if (options.check_count == options.checks.size()) {
                wrong_usage("there are at most %zu checks", options.checks.size());
                return false;
            }
            options.checks[options.check_count++] = optarg;
            break;
        case 'q':
            options.quiet = true;
            break;
        case 'v':
            options.verbose = true;
            break;
        case 'h':
            options.help = true;
            break;
        case ':':
            wrong_usage("the option %s needs a value, as in --as WEB", arguments[optind - 1]);
            return false;
        default: {
            const char* const given = arguments[optind - 1];
            Suggestion nearest{given};
            for (const char* known : {"--json", "--as", "--apply", "--hash", "--id", "--confirm", "--check",
                                      "--retries", "--queue", "--quiet", "--socket", "--verbose", "--help"}) {
                nearest.consider(known);
            }
            wrong_usage("there is no option '%s'%s See qsc --help.", given, Hint{nearest}.c_str());
            return false;
        }
        }
    }
}

} // namespace qsc
