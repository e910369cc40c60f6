// SPDX-License-Identifier: Apache-2.0
#include "platform/Cache.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include <pthread.h>
#include <unistd.h>

#include "platform/ConfigFile.h"
#include "platform/Delta.h"

namespace qrnuci
{

namespace
{

/// A device has a dozen packages that are asked for again and again.
constexpr int kMostPackages = 16;

/// Longer than the longest tick of the clocks that mark files.
constexpr i64 kTickNanoseconds = 40'000'000;

constinit pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
constinit pthread_once_t g_fork_handlers = PTHREAD_ONCE_INIT;
constinit CachedPackage* g_packages = nullptr;
constinit u64 g_uses = 0;

void lock_cache()
{
    (void)pthread_mutex_lock(&g_mutex);
}

void unlock_cache()
{
    (void)pthread_mutex_unlock(&g_mutex);
}

/// A child gets the cache whole and unlocked, whatever other threads were doing.
void install_fork_handlers()
{
    (void)pthread_atfork(lock_cache, unlock_cache, unlock_cache);
}

bool is_same_time(const timespec& one, const timespec& other)
{
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

bool has_same_marks(const struct stat& one, const struct stat& other)
{
    return one.st_ino == other.st_ino && one.st_dev == other.st_dev && one.st_size == other.st_size &&
           is_same_time(one.st_mtim, other.st_mtim) && is_same_time(one.st_ctim, other.st_ctim);
}

/// Whether a change now would get other marks than the last one did.
bool is_settled(const struct stat& status)
{
    timespec now = {};
    if (clock_gettime(CLOCK_REALTIME_COARSE, &now) != 0) {
        return false;
    }
    const auto age = [&](const timespec& mark) {
        return (i64{now.tv_sec} - mark.tv_sec) * 1'000'000'000 + (now.tv_nsec - mark.tv_nsec);
    };
    return age(status.st_mtim) > kTickNanoseconds && age(status.st_ctim) > kTickNanoseconds;
}

/// Goes on with a hash, eight bytes at a time; only the last part may have a size that is no multiple of
/// them.
u64 hash_more(u64 hash, std::string_view bytes)
{
    while (!bytes.empty()) {
        u64 word = 0;
        const std::size_t size = std::min(bytes.size(), sizeof word);
        std::memcpy(&word, bytes.data(), size);
        hash = (hash ^ word ^ size) * 0x9E3779B97F4A7C15;
        hash ^= hash >> 29;
        bytes.remove_prefix(size);
    }
    return hash;
}

constexpr u64 kEmptyHash = 0xCBF29CE484222325;

CachedPackage* unlink_package(const CachedPackage* package)
{
    CachedPackage** place = &g_packages;
    while (*place != package) {
        place = &(*place)->next;
    }
    CachedPackage* const found = *place;
    *place = found->next;
    return found;
}

} // namespace

Snapshot::~Snapshot()
{
    // A host that closed every descriptor it knew nothing of may have another file under this number by now.
    struct stat now = {};
    if (descriptor_.is_open() && (fstat(descriptor_.get(), &now) != 0 || now.st_ino != status_.st_ino ||
                                  now.st_dev != status_.st_dev)) {
        descriptor_.forget();
    }
}

void Snapshot::take(LockedFile& file, std::string_view text)
{
    is_there_ = file.is_open();
    if (!is_there_) {
        return;
    }
    status_ = file.status();
    is_settled_ = qrnuci::is_settled(status_);
    hash_ = hash_more(kEmptyHash, text);
    descriptor_.replace(file.release());
}

bool Snapshot::holds_same_bytes() const
{
    char part[4096];
    u64 hash = kEmptyHash;
    off_t offset = 0;
    for (;;) {
        const ssize_t count = pread(descriptor_.get(), part, sizeof part, offset);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == 0 && hash == hash_;
        }
        hash = hash_more(hash, {part, static_cast<std::size_t>(count)});
        offset += count;
    }
}

bool Snapshot::is_current(const char* path)
{
    struct stat now = {};
    if (stat(path, &now) != 0) {
        return !is_there_ && errno == ENOENT;
    }
    if (!is_there_ || !has_same_marks(now, status_)) {
        return false;
    }
    if (is_settled_) {
        return true;
    }
    // Asked before the bytes are compared: what happens in between gets new marks or is compared.
    const bool settles = qrnuci::is_settled(status_);
    if (!holds_same_bytes()) {
        return false;
    }
    is_settled_ = settles;
    return true;
}

CacheLock::CacheLock()
{
    (void)pthread_once(&g_fork_handlers, install_fork_handlers);
    lock_cache();
}

CacheLock::~CacheLock()
{
    unlock_cache();
}

CachedPackage* CacheLock::find(std::string_view name)
{
    CachedPackage* package = g_packages;
    while (package != nullptr && package->name.view() != name) {
        package = package->next;
    }
    if (package == nullptr) {
        return nullptr;
    }
    if (!package->config.is_current(package->config_path.c_str()) ||
        !package->delta.is_current(package->delta_path.c_str())) {
        drop(package);
        return nullptr;
    }
    package->last_use = ++g_uses;
    return package;
}

CachedPackage* CacheLock::make(std::string_view name)
{
    int count = 0;
    CachedPackage* oldest = g_packages;
    for (CachedPackage* package = g_packages; package != nullptr; package = package->next, ++count) {
        oldest = package->last_use < oldest->last_use ? package : oldest;
    }
    if (count >= kMostPackages) {
        drop(oldest);
    }
    void* const place = std::malloc(sizeof(CachedPackage));
    if (place == nullptr) {
        return nullptr;
    }
    // cppcheck-suppress legacyUninitvar  // false alarm on placement new
    auto* const package = new (place) CachedPackage{};
    package->name.append(name);
    package->config_path = config_path(name);
    package->delta_path = delta_path(name);
    package->last_use = ++g_uses;
    package->next = g_packages;
    g_packages = package;
    return package;
}

void CacheLock::drop(CachedPackage* package)
{
    CachedPackage* const unlinked = unlink_package(package);
    unlinked->~CachedPackage();
    std::free(unlinked);
}

void CacheLock::clear()
{
    while (g_packages != nullptr) {
        drop(g_packages);
    }
}

} // namespace qrnuci
