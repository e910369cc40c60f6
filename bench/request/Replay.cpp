// SPDX-License-Identifier: Apache-2.0
#include "bench/request/Replay.h"

#include <array>
#include <cstdio>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "include/qrnuci.h"

namespace bench
{

void use_device()
{
    test::outside() = test::Outside{};
    test::outside().keeps_records = false;
    test::outside().has_real_uci = true;
    test::outside().any_output = "36\n";
}

void replay(const Recording& recording)
{
    std::array<char, 4096> text;
    for (const test::Read& read : recording.reads) {
        benchmark::DoNotOptimize(
            read.is_item ? QrnUci_GetListItem(read.key.c_str(), read.index, text.data(), read.size)
                         : QrnUci_GetString(read.key.c_str(), text.data(), read.size));
    }
    for (const std::string& command : recording.commands) {
        FILE* const pipe = popen(command.c_str(), "r");
        while (std::fgets(text.data(), text.size(), pipe) != nullptr) {
        }
        benchmark::DoNotOptimize(pclose(pipe));
        sync();
    }
}

} // namespace bench
