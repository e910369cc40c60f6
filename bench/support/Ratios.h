// SPDX-License-Identifier: Apache-2.0
// What every benchmark program ends with: ratios of measures of one run, and whether their bounds held.
#pragma once

#include <initializer_list>
#include <span>
#include <string>

namespace bench
{

/// One measure over another.
struct Ratio {
    const char* name;
    const char* over;
    const char* under;
    const char* against;        ///< what `under` is
    double bound = 0;           ///< 0: for information
    const char* note = nullptr; ///< said instead of a verdict, where the bound does not speak of this run
};

/// Gives the program folders of its own in the place of these, in memory; ends it where the kernel does not
/// allow that.
void enter_private_folders(const char* program, std::initializer_list<const char*> folders);

std::string read_file(const std::string& path);

/// Puts a device's configuration, time zone and NTP status into private /etc and /tmp, and waits until the
/// clock that marks files has moved on, because a fresh file is looked at more closely.
void install_device();

/// Runs all registered benchmarks, each several times in random order, and prints the ratios of their best
/// times: noise only ever adds. Answers what main() returns: 1 if a benchmark failed.
int run(int count, char** arguments, std::span<const Ratio> ratios);

} // namespace bench
