// SPDX-License-Identifier: Apache-2.0
// What a request asked of the device, to be asked for again without the library.
#pragma once

#include <string>
#include <vector>

#include "support/FakeDevice.h"

namespace bench
{

struct Recording {
    std::vector<test::Read> reads;
    std::vector<std::string> commands;
};

/// Commands are faked and the configuration is real; nothing is recorded.
void use_device();

/// Runs this and records what it asks for.
template <typename Work>
Recording record(Work work)
{
    test::outside().keeps_records = true;
    work();
    Recording recording{test::outside().reads, {}};
    for (const std::string& step : test::outside().commands()) {
        recording.commands.push_back(step.substr(step.find(' ') + 1));
    }
    use_device();
    return recording;
}

/// Asks for it again: plain reads, and each command's pipe read to its end.
void replay(const Recording& recording);

} // namespace bench
