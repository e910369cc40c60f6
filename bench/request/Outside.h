// SPDX-License-Identifier: Apache-2.0
// What stands around the library while requests are measured: commands are faked, configuration reads are
// real, and what one request asked for can be asked for again without the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench
{

/// One configuration read or command.
struct Step {
    enum Kind { kString, kListItem, kCommand } kind;
    std::string text; ///< the key, or the command
    uint32_t item = 0;
    uint32_t size = 0;
};

/// Whether commands really run.
void set_real_commands(bool are_real);

/// Begins to note what is asked for.
void start_recording();

/// Ends that. @return what was asked for since
std::vector<Step> stop_recording();

/// Asks for it again: plain reads, and each command's pipe read to its end.
void replay(const std::vector<Step>& steps);

} // namespace bench
