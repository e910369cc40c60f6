// SPDX-License-Identifier: Apache-2.0
// qsc, the command-line commander: says get, set, commit and service to the library.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "include/qslog.h"
#include "include/qsyscmdhal.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Options.h"
#include "tools/qsc/Report.h"

using namespace qsc;

static ExitCode run(const Options& options)
{
    if (options.verbose) {
        Qslog_SetLogLevel(7);
    } else {
        Qslog_SubProperty(QSLOG_STDERR);
    }
    QSysCmdHal_Init(nullptr,
                    QSC_INIT_LOG | QSC_INIT_FOUNDATION | QSC_INIT_UCI | QSC_INIT_EVENTS | QSC_INIT_JOURNAL);
    const ExitCode result = execute(options);
    QSysCmdHal_Close();
    return result;
}

int main(int count, char** arguments)
{
    Options options;
    const ExitCode result = parse_options(count, arguments, options) ? run(options) : kUsage;
    if (std::ferror(stdout) != 0 || std::fflush(stdout) != 0) {
        return failure("standard output cannot be written: %s", std::strerror(errno));
    }
    return result;
}
