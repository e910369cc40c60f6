// SPDX-License-Identifier: Apache-2.0
// What every benchmark program ends with: ratios of measures of one run, and whether their bounds held.
#pragma once

#include <span>

namespace bench
{

/// One measure over another.
struct Ratio {
    const char* name;
    const char* over;
    const char* under;
    double bound;               ///< 0: for information
    const char* note = nullptr; ///< said instead of a verdict, where the bound does not speak of this run
};

/// Gives the program an /etc and a /tmp of its own, in memory; ends it where the kernel does not allow that.
void enter_private_folders(const char* program);

/// Runs all registered benchmarks, each several times in random order, and prints the ratios of their best
/// times: noise only ever adds. Answers what main() returns.
int run(int count, char** arguments, const char* baseline, std::span<const Ratio> ratios);

} // namespace bench
