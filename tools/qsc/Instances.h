// SPDX-License-Identifier: Apache-2.0
// Which instances of an object exist.
#pragma once

#include <cstdlib>
#include <memory>
#include <span>

#include "tools/qsc/Options.h"
#include "tools/qsc/Tables.h"

namespace qsc
{

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// The numbers of the instances that exist, rising.
class Instances
{
  public:
    /// What it ends with if they cannot be found has been printed.
    [[nodiscard]] ExitCode find(const Options& options, const Object& object);

    [[nodiscard]] std::span<const u32> numbers() const { return {numbers_.get(), count_}; }

  private:
    [[nodiscard]] ExitCode find_here(const Object& object);
    [[nodiscard]] ExitCode ask(const Options& options, const Object& object);
    [[nodiscard]] bool make_room(u32 count);

    std::unique_ptr<u32, FreeMemory> numbers_;
    u32 count_ = 0;
};

} // namespace qsc
