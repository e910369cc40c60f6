// SPDX-License-Identifier: Apache-2.0
// The thread calls that the library makes on one mutex, its condition and the attributes of threads:
// recorded, and failing on demand. Calls on any other mutex go to libc. For tests on one thread.
#pragma once

#include <map>
#include <string>

#include <pthread.h>

#include "support/FakeDevice.h"

namespace test
{

struct FakePthread {
    const void* mutex = nullptr;         ///< the one that is watched; nobody else has it
    const void* condition = nullptr;     ///< the one that is watched; waiting for it ends at once
    Lines calls;                         ///< those on the two, without "pthread_"
    std::map<std::string, int> failures; ///< what calls answer in place of doing their work, by that name
};

/// The one of the program.
FakePthread& fake_pthread();

/// Starts anew, with this mutex and condition.
void watch(void* mutex, void* condition = nullptr);

} // namespace test
