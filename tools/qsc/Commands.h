// SPDX-License-Identifier: Apache-2.0
// The commands of the program. Each takes the words after its name and answers the exit code.
#pragma once

#include <span>

#include "tools/qsc/Options.h"
#include "tools/qsc/Report.h"

namespace qsc
{

using Words = std::span<const char* const>;

/// Runs the command that the words name, in a library that is up.
ExitCode execute(const Options& options);

ExitCode batch(const Options& options, Words words);
ExitCode get(const Options& options, Words words);
ExitCode set(const Options& options, Words words);
ExitCode add_instance(const Options& options, Words words);
ExitCode delete_instances(const Options& options, Words words);
ExitCode plan(const Options& options, Words words);
ExitCode apply_changes(const Options& options, Words words);
ExitCode commit(const Options& options, Words words);
ExitCode service(const Options& options, Words words);
ExitCode request(const Options& options, Words words);
ExitCode list(const Options& options, Words words);
ExitCode confirm(const Options& options, Words words);
ExitCode extend(const Options& options, Words words);
ExitCode cancel(const Options& options, Words words);
ExitCode pending(const Options& options, Words words);
ExitCode log(const Options& options, Words words);
ExitCode watch(const Options& options, Words words);
ExitCode audit(const Options& options, Words words);
ExitCode history(const Options& options, Words words);
ExitCode show(const Options& options, Words words);
ExitCode rollback(const Options& options, Words words);
ExitCode stats(const Options& options, Words words);
ExitCode access_command(const Options& options, Words words);
ExitCode version(const Options& options, Words words);

} // namespace qsc
