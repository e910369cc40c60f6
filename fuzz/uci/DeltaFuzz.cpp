// SPDX-License-Identifier: Apache-2.0
// The staging file parser, over a small package. What counts as sound must give the same package when it is
// read alone, because the next change is written behind it.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/uci/Written.h"
#include "platform/Delta.h"

using namespace qrnuci;

namespace
{

std::string applied(std::string delta, DeltaState& state)
{
    std::string config = "config t s\n\toption a '1'\n\tlist l 'x'\n\tlist l 'y'\nconfig t\nconfig u v\n";
    Package package;
    u32 line = 0;
    if (parse_config("p", config.data(), config.size(), package, line) != 0 ||
        apply_delta(delta.data(), delta.size(), "p", 7, package, state) != 0) {
        std::abort();
    }
    return written(package);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string delta{reinterpret_cast<const char*>(data), size};
    DeltaState state;
    (void)applied(delta, state);
    if (state.sound > size) {
        std::abort();
    }
    DeltaState sound;
    const std::string alone = applied(delta.substr(0, state.sound), sound);
    DeltaState again;
    if (sound.sound != state.sound || applied(delta.substr(0, state.sound), again) != alone) {
        std::abort();
    }
    return 0;
}
