// SPDX-License-Identifier: Apache-2.0
// qscd, the service daemon: dispatches the requests that other programs send through a message queue.
#include <cstdio>
#include <cstring>

#include <getopt.h>

#include "base/Parse.h"
#include "include/qslog.h"
#include "include/qsyscmdhal.h"
#include "tools/qscd/Daemon.h"
#include "tools/queue/Protocol.h"

namespace
{

constexpr const char* kHelp =
    "Usage: qscd [OPTION...]\n\n"
    "Serves the requests that arrive in a System V message queue, and answers them there. The queue's "
    "identifier\n"
    "and key are printed at the start; 'qsc --queue ID' or 'qsc --queue 0xKEY' sends through it.\n\n"
    "Options:\n"
    "  --key NUMBER        the queue's key (0x51534344)\n"
    "  --folder PATH       where its lock is (/var/run)\n"
    "  --mode OCTAL        who may use the queue (0600: the owner and root). Whoever may, configures the "
    "device\n"
    "                      as root does: widen it for a group of trusted programs only, as with 0660.\n"
    "  --watchdog SECONDS  how often to write a line of statistics to the system log (60; 0: never)\n"
    "  --patience SECONDS  how long an answer waits to be taken before it is thrown away (30)\n"
    "  -v, --verbose       let the library's log through to the terminal\n"
    "  -h, --help          show this\n\n"
    "SIGTERM and SIGINT end it and remove its queue.";

enum LongOption : int { kKey = 256, kFolder, kMode, kWatchdog, kPatience };

constexpr option kLongOptions[] = {
    {"key", required_argument, nullptr, kKey},
    {"folder", required_argument, nullptr, kFolder},
    {"mode", required_argument, nullptr, kMode},
    {"watchdog", required_argument, nullptr, kWatchdog},
    {"patience", required_argument, nullptr, kPatience},
    {"verbose", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {},
};

struct CommandLine {
    qscd::Options options{.key = qsc::queue::kDefaultKey};
    bool is_verbose = false;
    bool is_help = false;
};

/// Takes a number of at most `most`; octal ones need no prefix.
bool take_number(const char* text, bool is_octal, qsc::u32 most, qsc::u32& number)
{
    qsc::i32 parsed = 0;
    qsc::u32 octal = 0;
    const bool is_number = is_octal ? qsc::parse_whole(text, octal, 8) : qsc::parse_any_base(text, parsed);
    const qsc::u32 value = is_octal ? octal : static_cast<qsc::u32>(parsed);
    if (!is_number || parsed < 0 || value > most) {
        std::fprintf(stderr, "qscd: '%s' is no %snumber up to %u; see qscd --help\n", text,
                     is_octal ? "octal " : "", most);
        return false;
    }
    number = value;
    return true;
}

bool parse(int count, char** arguments, CommandLine& line)
{
    for (;;) {
        bool is_fine = true;
        switch (getopt_long(count, arguments, "vh", kLongOptions, nullptr)) {
        case -1:
            if (optind < count) {
                std::fprintf(stderr, "qscd: it takes no arguments, but there is '%s'; see qscd --help\n",
                             arguments[optind]);
            }
            return optind == count;
        case kKey:
            is_fine = take_number(optarg, false, INT32_MAX, line.options.key);
            break;
        case kFolder:
            line.options.folder = optarg;
            break;
        case kMode:
            is_fine = take_number(optarg, true, 0777, line.options.mode);
            break;
        case kWatchdog:
            is_fine = take_number(optarg, false, 86'400, line.options.watchdog_seconds);
            break;
        case kPatience:
            is_fine = take_number(optarg, false, 86'400, line.options.patience_seconds);
            break;
        case 'v':
            line.is_verbose = true;
            break;
        case 'h':
            line.is_help = true;
            break;
        default:
            return false;
        }
        if (!is_fine) {
            return false;
        }
    }
}

} // namespace

int main(int count, char** arguments)
{
    CommandLine line;
    if (!parse(count, arguments, line)) {
        return 2;
    }
    if (line.is_help) {
        std::puts(kHelp);
        return 0;
    }
    QSysCmdHal_Init(nullptr, QSC_INIT_LOG | QSC_INIT_FOUNDATION | QSC_INIT_UCI | QSC_INIT_EVENTS);
    if (line.is_verbose) {
        Qslog_SetLogLevel(7);
    } else {
        Qslog_SubProperty(QSLOG_STDERR);
        Qslog_SetLogLevel(6);
    }
    bool is_served = false;
    {
        qscd::Daemon daemon{line.options};
        if (daemon.start()) {
            is_served = daemon.serve();
        }
    }
    QSysCmdHal_Close();
    return is_served ? 0 : 1;
}
