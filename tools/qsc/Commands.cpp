// SPDX-License-Identifier: Apache-2.0
// The commands by name, and what --help says.
#include <cstdio>
#include <cstring>

#include "tools/qsc/Commands.h"
#include "tools/qsc/Options.h"
#include "tools/qsc/Report.h"
#include "tools/qsc/Suggestion.h"

namespace qsc
{

namespace
{

struct Command {
    const char* name;
    const char* arguments;
    const char* help;
    std::size_t least, most; ///< number of arguments
    ExitCode (*run)(const Options& options, Words words);
    bool can_apply = false;
};

constexpr std::size_t kAny = 1000;

constexpr Command kCommands[] = {
    {"get", "PATH [NAME...]...",
     "print parameters of a path, or of everything below one that ends with a dot", 1, kAny, get},
    {"set", "PATH NAME=VALUE...", "store values; NAME:=JSON for a value that is no text", 1, kAny, set, true},
    {"add", "LIST [NAME=VALUE...]", "add an instance, whose path is printed", 1, kAny, add_instance, true},
    {"delete", "PATH...", "delete instances", 1, kAny, delete_instances, true},
    {"plan", "[set|add|delete WORD...]",
     "show what a set would do, and with --apply its commit and service; without words: what 'apply' would "
     "do",
     0, kAny, plan, true},
    {"apply", "", "make the changes of standard input as one: PATH.NAME=VALUE, add LIST ..., delete PATH", 0,
     0, apply_changes},
    {"commit", "PATH [PACKAGE...]", "make stored values permanent", 1, kAny, commit},
    {"service", "PATH ACTION", "run the subtree's init scripts, such as with restart", 2, 2, service},
    {"list", "[PATH]", "show the objects, or one's parameters with types and limits", 0, 1, list},
    {"request", "PATH OPER", "send a raw request object from standard input", 2, 2, request},
    {"batch", "", "run commands from standard input, one a line, up to the first failure", 0, 0, batch},
    {"confirm", "ID", "keep a change that waits in a running qscd", 1, 1, confirm},
    {"extend", "ID SECONDS", "let it wait for so long from now on", 2, 2, extend},
    {"cancel", "ID", "take it back", 1, 1, cancel},
    {"pending", "", "show what waits to be confirmed", 0, 0, pending},
    {"log", "[level|property] [VALUE]", "show or set the library's log for this call", 0, 2, log},
    {"watch", "[PATH...]", "show what paths hold and how it changes, through a running qscd", 0, 16, watch},
    {"audit", "[PATH]", "show who changed what, below a path or everywhere", 0, 1, audit},
    {"history", "", "show the sets and applies that the journal has, one a line", 0, 0, history},
    {"show", "ID", "show one of them whole", 1, 1, show},
    {"rollback", "ID", "take an apply back, as an apply of its own", 1, 1, rollback},
    {"stats", "", "show what a running qscd has done, and where its time went", 0, 0, stats},
    {"access", "USER PATH", "explain what a running qscd lets a user do", 2, 2, access_command},
    {"version", "", "show the versions", 0, 0, version},
};

void print_help()
{
    std::puts("Usage: qsc [OPTION...] COMMAND [ARGUMENT...]\n\nCommands:");
    for (const Command& command : kCommands) {
        char usage[64];
        (void)std::snprintf(usage, sizeof usage, "%s %s", command.name, command.arguments);
        std::printf("  %-36s %s\n", usage, command.help);
    }
    std::puts(
        "\nOptions:\n"
        "  --apply        after set, add and delete: commit, then service restart, up to the first failure\n"
        "  --hash H       apply nothing unless the plan still has this hash\n"
        "  --id ID        what an apply is called\n"
        "  --confirm N    take an apply back unless it is confirmed within N seconds, by a running qscd\n"
        "  --check CHECK  have the device judge an apply: gateway, dns, url:ADDRESS, or a program; several "
        "are taken\n"
        "  --retries N    try the checks again so often (0)\n"
        "  --json         print the answered requests as JSON\n"
        "  -q, --quiet    print values, names or numbers alone, one a line\n"
        "  --as NAME      speak as another commander (TR69, WEB, MQTT, ...), or by its number\n"
        "  --socket PATH  send through a running qscd, whose socket it is (/var/run/qscd.sock)\n"
        "  --queue ID     send through a running qscd: its queue's number, or its key as 0x...\n"
        "  --count N      end a watch after so many events; of the journal: the newest so many entries\n"
        "  -v, --verbose  let the library's log through to the terminal\n"
        "  -h, --help     show this, or one command's usage\n\n"
        "A set takes effect for readers at once; only commit makes it last, and only service makes\n"
        "running programs follow. The exit code is 0 when it is done, 1 when the library refused or\n"
        "failed, 2 when the command line is wrong.");
}

const Command* find_command(const char* name)
{
    Suggestion nearest{name};
    for (const Command& command : kCommands) {
        if (std::strcmp(command.name, name) == 0) {
            return &command;
        }
        nearest.consider(command.name);
    }
    wrong_usage("there is no command '%s'%s See qsc --help.", name, Hint{nearest}.c_str());
    return nullptr;
}

} // namespace

ExitCode execute(const Options& options)
{
    if (options.words.empty() || std::strcmp(options.words[0], "help") == 0) {
        if (options.help || !options.words.empty()) {
            print_help();
            return kDone;
        }
        return wrong_usage(
            "a command is missing, such as 'qsc list' or 'qsc get Device.X_QRN_RemoteLog'; see qsc --help");
    }
    const Command* const command = find_command(options.words[0]);
    if (command == nullptr) {
        return kUsage;
    }
    const Words words = options.words.subspan(1);
    if (options.help) {
        std::printf("Usage: qsc %s %s\n%s\n", command->name, command->arguments, command->help);
        return kDone;
    }
    if (words.size() < command->least || words.size() > command->most) {
        return wrong_usage("%s takes other arguments: qsc %s %s", command->name, command->name,
                           command->arguments);
    }
    const bool is_for_apply = options.confirm != 0 || options.check_count != 0 || options.retries != 0;
    if (is_for_apply && command->run != apply_changes && command->run != rollback) {
        return wrong_usage("--confirm, --check and --retries are for apply and rollback");
    }
    if (options.apply && !command->can_apply) {
        return wrong_usage("--apply is for set, add and delete: qsc set PATH NAME=VALUE... --apply");
    }
    return command->run(options, words);
}

} // namespace qsc
