// SPDX-License-Identifier: Apache-2.0
// The staging file parser, over a small package. What counts as sound must give the same package when it is
// read alone, because the next change is written behind it. Without what is superseded, the package is the
// same.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/uci/Written.h"
#include "uci/Delta.h"

using namespace qrnuci;

namespace
{

std::string applied(std::string delta, DeltaState& state)
{
    std::string config = "config t s\n\toption a '1'\n\tlist l 'x'\n\tlist l 'y'\nconfig t\nconfig u v\n";
    Package package;
    u32 line = 0;
    if (parse_config("p", config.data(), config.size(), package, line) != 0 ||
        apply_delta(delta.data(), delta.size(), "p", package, state) != 0) {
        std::abort();
    }
    return written(package);
}

/// The changes that make a difference.
std::string compacted(std::string delta)
{
    Arena arena;
    Growing lines;
    if (compact_delta(delta.data(), delta.size(), "p", arena, lines) != 0) {
        std::abort();
    }
    return std::string{lines.view()};
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
    DeltaState compact;
    const std::string needed = compacted(delta.substr(0, state.sound));
    if (applied(needed, compact) != alone || compacted(needed).size() > needed.size()) {
        std::abort();
    }
    return 0;
}
