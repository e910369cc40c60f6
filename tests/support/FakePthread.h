// SPDX-License-Identifier: Apache-2.0
// Fakes for the pthread calls on one mutex, its condition and thread attributes: they are recorded and fail
// on demand. Calls on other mutexes go to libc. For single-threaded tests.
#pragma once

#include <map>
#include <string>

#include <pthread.h>

#include "support/FakeDevice.h"

namespace test
{

struct FakePthread {
    const void* mutex = nullptr;         ///< the watched mutex; it is never really locked
    const void* condition = nullptr;     ///< the watched condition; waiting returns at once
    Lines calls;                         ///< recorded calls, without "pthread_"
    std::map<std::string, int> failures; ///< results of calls that fail, by name
};

/// The only instance.
FakePthread& fake_pthread();

/// Resets the fake and watches this mutex and condition.
void watch(void* mutex, void* condition = nullptr);

} // namespace test
