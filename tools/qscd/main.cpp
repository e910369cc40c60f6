// SPDX-License-Identifier: Apache-2.0
// qscd, the service daemon: serves requests of other programs, over a socket and over a message queue.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include "include/qsc_stats.h"
#include "include/qslog.h"
#include "include/qsyscmdhal.h"
#include "tools/qscd/Listener.h"
#include "tools/qscd/Options.h"
#include "tools/qscd/Restore.h"
#include "tools/qscd/Server.h"

namespace
{

/// What the command "version" answers; the table is made to be written there.
void tell_version()
{
    static const Qsc_VersionRecord record{.fwver = nullptr, .progver = QSC_VERSION};
    for (Qsc_CommandEntry* row = QSysCmdHal_GetFunList(); row->id != QSC_TABLE_END; ++row) {
        if (std::strcmp(row->path, "version") == 0) {
            row->reserved = reinterpret_cast<std::uintptr_t>(&record);
        }
    }
}

/// The tools that we start have no input, and nothing that we open becomes a standard stream.
void prepare_streams()
{
    const int nothing = open("/dev/null", O_RDWR);
    (void)dup2(nothing, STDIN_FILENO);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0) {
            (void)dup2(nothing, stream);
        }
    }
    if (nothing > STDERR_FILENO) {
        (void)close(nothing);
    }
}

/// Its own, because it is too large for a stack.
alignas(qscd::Server) unsigned char g_server[sizeof(qscd::Server)];

} // namespace

int main(int count, char** arguments)
{
    qscd::Options options;
    if (!qscd::parse_options(count, arguments, options)) {
        return 2;
    }
    if (options.is_help) {
        qscd::print_help();
        return 0;
    }
    if (options.descriptor < 0 && !options.is_restore) {
        options.descriptor = qscd::inherited_descriptor();
    }
    prepare_streams();
    (void)umask(022);
#ifdef M_ARENA_MAX
    // A heap for each worker would keep what each has once needed.
    (void)mallopt(M_ARENA_MAX, 1);
#endif
    QSysCmdHal_Init(nullptr, QSC_INIT_LOG | QSC_INIT_FOUNDATION | QSC_INIT_UCI | QSC_INIT_EVENTS |
                                 (options.has_journal ? QSC_INIT_JOURNAL : 0));
    (void)QSysCmdHal_CountStats(1); // without memory for it, there are no statistics
    if (options.is_verbose) {
        Qslog_SetLogLevel(7);
    } else {
        Qslog_SubProperty(QSLOG_STDERR);
        Qslog_SetLogLevel(6);
    }
    if (options.is_restore) {
        const bool is_restored = qscd::restore();
        QSysCmdHal_Close();
        return is_restored ? 0 : 1;
    }
    tell_version();
    auto* const server = new (g_server) qscd::Server{options};
    const bool is_fine = server->start() && server->serve();
    const bool is_whole = server->end();
    if (!is_whole) {
        // A thread that does not come back still uses what we would take down.
        _exit(is_fine ? 0 : 1);
    }
    server->~Server();
    QSysCmdHal_Close();
    return is_fine ? 0 : 1;
}
