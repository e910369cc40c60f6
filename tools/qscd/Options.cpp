// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Options.h"

#include <cstdio>
#include <cstring>

#include <getopt.h>

#include "base/Parse.h"

namespace qscd
{

namespace
{

constexpr const char* kHelp =
    "Usage: qscd [OPTION...]\n\n"
    "Serves requests of the parameter tree: JSON-RPC 2.0 over a Unix socket, one message a line, and, if "
    "asked to,\n"
    "messages of a System V queue. 'qsc --socket' and 'qsc --queue' send through it.\n\n"
    "Options:\n"
    "  --socket PATH       the socket (/var/run/qscd.sock); empty: none\n"
    "  --fd NUMBER         a socket that listens already; LISTEN_FDS of a supervisor is heeded as well\n"
    "  --access FILE       who may do what (/etc/qscd.access); without it only root and the own user, "
    "everything\n"
    "  --deadline SECONDS  how long a request may run before its tools are killed (30)\n"
    "  --service-deadline SECONDS\n"
    "                      the same for services (120)\n"
    "  --ubus PATH         the socket of ubus, where the build has it (ubus's own); -: none\n"
    "  --queue KEY         serve the queue of this key, such as 0x51534344, as well\n"
    "  --folder PATH       where the queue's lock is (/var/run)\n"
    "  --mode OCTAL        who may use the queue (0600: the owner and root). Who may use it configures the "
    "device\n"
    "                      as root does: widen it for a group of trusted programs only, as with 0660.\n"
    "  --patience SECONDS  how long an answer waits in the queue before it is thrown away, and a client "
    "that\n"
    "                      takes no answers before it is disconnected (30)\n"
    "  --log FILE          write the daemon's log there, not to standard error; SIGHUP opens it anew\n"
    "  --watchdog SECONDS  how often to write a line of statistics to the system log (60; 0: never)\n"
    "  --no-journal        do not record sets in the journal\n"
    "  --restore           take back a change that nobody has confirmed before the device was restarted, and "
    "end:\n"
    "                      for an init script that runs before the network starts\n"
    "  -v, --verbose       let the library's log through to the terminal\n"
    "  -h, --help          show this\n\n"
    "SIGTERM and SIGINT end it; SIGHUP reads the access file and opens the log anew.";

enum LongOption : int {
    kSocket = 256,
    kDescriptor,
    kAccess,
    kDeadline,
    kServiceDeadline,
    kQueue,
    kUbus,
    kFolder,
    kMode,
    kPatience,
    kLog,
    kWatchdog,
    kNoJournal,
    kRestore
};

constexpr option kLongOptions[] = {
    {"socket", required_argument, nullptr, kSocket},
    {"fd", required_argument, nullptr, kDescriptor},
    {"access", required_argument, nullptr, kAccess},
    {"deadline", required_argument, nullptr, kDeadline},
    {"service-deadline", required_argument, nullptr, kServiceDeadline},
    {"ubus", required_argument, nullptr, kUbus},
    {"queue", required_argument, nullptr, kQueue},
    {"folder", required_argument, nullptr, kFolder},
    {"mode", required_argument, nullptr, kMode},
    {"patience", required_argument, nullptr, kPatience},
    {"log", required_argument, nullptr, kLog},
    {"watchdog", required_argument, nullptr, kWatchdog},
    {"no-journal", no_argument, nullptr, kNoJournal},
    {"restore", no_argument, nullptr, kRestore},
    {"verbose", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {},
};

/// Takes a number within bounds; octal ones need no prefix.
bool take_number(const char* text, bool is_octal, u32 least, u32 most, u32& number)
{
    qsc::i32 parsed = 0;
    u32 octal = 0;
    const bool is_number = is_octal ? qsc::parse_whole(text, octal, 8) : qsc::parse_any_base(text, parsed);
    const u32 value = is_octal ? octal : static_cast<u32>(parsed);
    if (!is_number || parsed < 0 || value < least || value > most) {
        std::fprintf(stderr, "qscd: '%s' is no %snumber from %u to %u; see qscd --help\n", text,
                     is_octal ? "octal " : "", least, most);
        return false;
    }
    number = value;
    return true;
}

bool take_seconds(const char* text, u32& milliseconds)
{
    u32 seconds = 0;
    const bool is_fine = take_number(text, false, 1, 86'400, seconds);
    milliseconds = is_fine ? seconds * 1000 : milliseconds;
    return is_fine;
}

bool take(int found, Options& options)
{
    u32 number = 0;
    switch (found) {
    case kSocket:
        options.socket = optarg;
        return true;
    case kDescriptor:
        if (!take_number(optarg, false, 0, 65'535, number)) {
            return false;
        }
        options.descriptor = static_cast<int>(number);
        return true;
    case kAccess:
        options.access_file = optarg;
        return true;
    case kDeadline:
        return take_seconds(optarg, options.deadlines.request);
    case kServiceDeadline:
        return take_seconds(optarg, options.deadlines.service);
    case kUbus:
        options.ubus = optarg;
        return true;
    case kQueue:
        options.has_queue = true;
        return take_number(optarg, false, 1, INT32_MAX, options.key);
    case kFolder:
        options.folder = optarg;
        return true;
    case kMode:
        return take_number(optarg, true, 0, 0777, options.mode);
    case kPatience:
        return take_number(optarg, false, 0, 86'400, options.patience_seconds);
    case kLog:
        options.log_file = optarg;
        return true;
    case kWatchdog:
        return take_number(optarg, false, 0, 86'400, options.watchdog_seconds);
    case kNoJournal:
        options.has_journal = false;
        return true;
    case kRestore:
        options.is_restore = true;
        return true;
    case 'v':
        options.is_verbose = true;
        return true;
    case 'h':
        options.is_help = true;
        return true;
    default:
        return false;
    }
}

} // namespace

void print_help()
{
    std::puts(kHelp);
}

bool parse_options(int count, char** arguments, Options& options)
{
    for (int found = 0; (found = getopt_long(count, arguments, "vh", kLongOptions, nullptr)) != -1;) {
        if (!take(found, options)) {
            return false;
        }
    }
    if (optind < count) {
        std::fprintf(stderr, "qscd: it takes no arguments, but there is '%s'; see qscd --help\n",
                     arguments[optind]);
    }
    return optind == count;
}

} // namespace qscd
