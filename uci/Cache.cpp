// SPDX-License-Identifier: Apache-2.0
#include "uci/Cache.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <utility>

#include <pthread.h>
#include <unistd.h>

#include "uci/ByteHash.h"
#include "uci/ConfigFile.h"
#include "uci/StagingFile.h"

namespace qrnuci
{

namespace
{

/// A device has a dozen packages that are asked for again and again.
constexpr int kMostPackages = 16;

/// Longer than the longest tick of the clocks that mark files, and than the coarsest steps in which some file
/// systems of flash memory keep the marks.
constexpr i64 kTickNanoseconds = 40'000'000;
constexpr i64 kCoarseTickNanoseconds = 2'040'000'000;

constinit pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
constinit pthread_once_t g_fork_handlers = PTHREAD_ONCE_INIT;
constinit CachedPackage* g_packages = nullptr;
constinit u64 g_uses = 0;

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
    const bool has_whole_seconds = status.st_mtim.tv_nsec == 0 && status.st_ctim.tv_nsec == 0;
    const i64 tick = has_whole_seconds ? kCoarseTickNanoseconds : kTickNanoseconds;
    return age(status.st_mtim) > tick && age(status.st_ctim) > tick;
}

/// The place in the list that leads to a package of this name, or to its end.
CachedPackage** find_place(std::string_view name)
{
    CachedPackage** place = &g_packages;
    while (*place != nullptr && (*place)->name.view() != name) {
        place = &(*place)->next;
    }
    return place;
}

OwnedPackage unlink(CachedPackage** place)
{
    CachedPackage* const package = *place;
    *place = package != nullptr ? package->next : nullptr;
    return OwnedPackage{package};
}

/// Drops the package that nobody has asked for longest, if there are too many.
void trim()
{
    int count = 0;
    CachedPackage** oldest = &g_packages;
    for (CachedPackage** place = &g_packages; *place != nullptr; place = &(*place)->next, ++count) {
        oldest = (*place)->last_use < (*oldest)->last_use ? place : oldest;
    }
    if (count > kMostPackages) {
        unlink(oldest).reset();
    }
}

} // namespace

Snapshot::~Snapshot()
{
    close();
}

void Snapshot::close()
{
    // A host that closed every descriptor it knew nothing of may have another file under this number by now.
    struct stat now = {};
    if (descriptor_.is_open() && (fstat(descriptor_.get(), &now) != 0 || now.st_ino != status_.st_ino ||
                                  now.st_dev != status_.st_dev)) {
        descriptor_.forget();
    }
    (void)descriptor_.close();
}

void Snapshot::take(LockedFile& file, std::string_view text)
{
    close();
    if (!file.is_open()) {
        return;
    }
    status_ = file.status();
    is_settled_ = qrnuci::is_settled(status_);
    if (!is_settled_) {
        hash_ = hash_bytes(text);
    }
    descriptor_.replace(file.release());
}

bool Snapshot::holds_same_bytes() const
{
    char part[4096];
    ByteHash hash;
    off_t offset = 0;
    while (offset < status_.st_size) {
        const ssize_t count = pread(descriptor_.get(), part, sizeof part, offset);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        hash.add({part, static_cast<std::size_t>(count)});
        offset += count;
    }
    return hash.value() == hash_;
}

/// Whether the folder has the marks that it had when the file was last looked for, and these are enough; else
/// notes them. Asked before the file is looked for again: what appears later gives the folder new marks.
bool Absence::is_settled_since(const struct stat& now)
{
    if (is_settled_ && has_same_marks(now, folder_)) {
        return true;
    }
    is_settled_ = is_settled(now);
    folder_ = now;
    return false;
}

// One look at the folder answers for all its files. File systems in memory remember what they have, not what
// they have not, so looking for an absent file takes them twice as long.

bool Absence::of_first_file(const char* path)
{
    struct stat now = {};
    if (stat(kFirstFolder, &now) != 0) {
        return true;
    }
    if (is_settled_since(now) || stat(path, &now) != 0) {
        return true;
    }
    is_settled_ = false; // the marks say nothing of a file that is there
    return false;
}

bool Absence::of_staging_file(const char* path)
{
    struct stat now = {};
    if (lstat(kStagingFolder, &now) != 0) {
        return errno == ENOENT;
    }
    if (is_settled_since(now) || !is_trusted_folder(now)) {
        return true;
    }
    if (lstat(path, &now) != 0 ? errno == ENOENT : !S_ISREG(now.st_mode)) {
        return true;
    }
    is_settled_ = false;
    return false;
}

bool Snapshot::is_current(const char* path)
{
    struct stat now = {};
    if (stat(path, &now) != 0 || !has_same_marks(now, status_)) {
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

bool CachedPackage::is_current()
{
    if (!config.is_there() || !config.is_current(config_path.c_str())) {
        return false;
    }
    const bool is_first = config_path.view() == first_path.view();
    return (is_first || first_absence.of_first_file(first_path.c_str())) &&
           (delta.is_there() ? delta.is_current(delta_path.c_str())
                             : delta_absence.of_staging_file(delta_path.c_str()));
}

bool CachedPackage::find_files()
{
    config_path = first_absence.of_first_file(first_path.c_str()) ? usual_path(name.view()) : first_path;
    return !delta_absence.of_staging_file(delta_path.c_str());
}

void FreePackage::operator()(CachedPackage* package) const
{
    if (package->views > 0) {
        package->is_dropped = true;
        return;
    }
    package->~CachedPackage();
    std::free(package);
}

OwnedPackage make_package(std::string_view name)
{
    void* const place = std::malloc(sizeof(CachedPackage));
    if (place == nullptr) {
        return nullptr;
    }
    // cppcheck-suppress legacyUninitvar  // false alarm on placement new
    auto* const package = new (place) CachedPackage{};
    package->name.append(name);
    package->first_path = first_path(name);
    package->delta_path = delta_path(name);
    return OwnedPackage{package};
}

CacheLock::CacheLock()
{
    // A child gets the cache whole and unlocked, whatever other threads were doing.
    (void)pthread_once(&g_fork_handlers, [] { (void)pthread_atfork(lock, unlock, unlock); });
    lock();
}

void CacheLock::lock()
{
    (void)pthread_mutex_lock(&g_mutex);
}

void CacheLock::unlock()
{
    (void)pthread_mutex_unlock(&g_mutex);
}

CachedPackage* CacheLock::find(std::string_view name)
{
    CachedPackage* const package = *find_place(name);
    if (package != nullptr) {
        package->last_use = ++g_uses;
    }
    return package;
}

void CacheLock::give_back(CachedPackage& package)
{
    if (--package.views == 0 && package.is_dropped) {
        OwnedPackage{&package}.reset();
    }
}

OwnedPackage CacheLock::take_out(const CachedPackage& package)
{
    return unlink(find_place(package.name.view()));
}

CachedPackage& CacheLock::put_in(OwnedPackage package)
{
    unlink(find_place(package->name.view())).reset(); // another thread was faster
    package->last_use = ++g_uses;
    package->next = g_packages;
    g_packages = package.release();
    CachedPackage& added = *g_packages;
    trim();
    return added;
}

void CacheLock::clear()
{
    while (g_packages != nullptr) {
        unlink(&g_packages).reset();
    }
}

} // namespace qrnuci
