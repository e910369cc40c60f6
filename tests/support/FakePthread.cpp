// SPDX-License-Identifier: Apache-2.0
#include "support/FakePthread.h"

#include <dlfcn.h>

using test::fake_pthread;

namespace
{

/// Records a call on a watched object and returns the configured result; forwards all other calls.
template <typename Function, typename Object, typename... More>
int call(const char* name, Object* object, More... more)
{
    const auto& fake = fake_pthread();
    if (object != fake.mutex && object != fake.condition) {
        return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name))(object, more...);
    }
    const std::string step = name + sizeof "pthread_" - 1;
    fake_pthread().calls.push_back(step);
    const auto failure = fake.failures.find(step);
    return failure == fake.failures.end() ? 0 : failure->second;
}

/// Returns the configured failure, or forwards the call.
template <typename Function, typename... All>
int call_unwatched(const char* name, All... all)
{
    const auto& failures = fake_pthread().failures;
    const auto failure = failures.empty() ? failures.end() : failures.find(name + sizeof "pthread_" - 1);
    return failure != failures.end() ? failure->second
                                     : reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name))(all...);
}

} // namespace

namespace test
{

FakePthread& fake_pthread()
{
    static FakePthread fake;
    return fake;
}

void watch(void* mutex, void* condition)
{
    fake_pthread() = {};
    fake_pthread().mutex = mutex;
    fake_pthread().condition = condition;
}

} // namespace test

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept
{
    return call<decltype(pthread_mutex_init)>("pthread_mutex_init", mutex, attributes);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept
{
    return call<decltype(pthread_mutex_destroy)>("pthread_mutex_destroy", mutex);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    return call<decltype(pthread_mutex_lock)>("pthread_mutex_lock", mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    return call<decltype(pthread_mutex_unlock)>("pthread_mutex_unlock", mutex);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept
{
    return call<decltype(pthread_cond_init)>("pthread_cond_init", condition, attributes);
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept
{
    return call<decltype(pthread_cond_destroy)>("pthread_cond_destroy", condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    return call<decltype(pthread_cond_wait)>("pthread_cond_wait", condition, mutex);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept
{
    return call<decltype(pthread_cond_signal)>("pthread_cond_signal", condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    return call<decltype(pthread_cond_broadcast)>("pthread_cond_broadcast", condition);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                   void* argument) noexcept
{
    return call_unwatched<decltype(pthread_create)>("pthread_create", thread, attributes, routine, argument);
}

int pthread_attr_init(pthread_attr_t* attributes) noexcept
{
    return call_unwatched<decltype(pthread_attr_init)>("pthread_attr_init", attributes);
}

int pthread_attr_setdetachstate(pthread_attr_t* attributes, int state) noexcept
{
    return call_unwatched<decltype(pthread_attr_setdetachstate)>("pthread_attr_setdetachstate", attributes,
                                                                 state);
}

int pthread_attr_setstacksize(pthread_attr_t* attributes, std::size_t size) noexcept
{
    return call_unwatched<decltype(pthread_attr_setstacksize)>("pthread_attr_setstacksize", attributes, size);
}

int pthread_attr_destroy(pthread_attr_t* attributes) noexcept
{
    return call_unwatched<decltype(pthread_attr_destroy)>("pthread_attr_destroy", attributes);
}

} // extern "C"
