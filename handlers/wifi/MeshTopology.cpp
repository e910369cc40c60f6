// SPDX-License-Identifier: Apache-2.0
#include "handlers/wifi/MeshTopology.h"

#include <cstdio>

#include <fcntl.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Json.h"
#include "base/ProcessLock.h"
#include "base/SafeFile.h"

namespace qsc::wifi
{

namespace
{

constexpr const char* kDump = "/tmp/dump.txt";
constexpr const char* kCopy = "/tmp/dumptmep.txt";

/// Held while the copy is made and read, because all readers share the one copy.
constexpr const char* kLock = "/tmp/.qsc-mesh.lock";
constinit pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;

json_object* member_of(const Call& call, json_object* object, const char* name)
{
    json_object* member = nullptr;
    (void)find_member(object, name, member);
    if (member == nullptr) {
        QSC_LOG_CALL(call, kLogError, "Can't get %s form mesh info\n", name);
    }
    return member;
}

json_object* element_of(json_object* array, std::size_t index)
{
    return json_object_is_type(array, json_type_array) != 0 ? json_object_array_get_idx(array, index)
                                                            : nullptr;
}

/// The first element of a member that is an array.
json_object* first_of(const Call& call, json_object* object, const char* name)
{
    json_object* const array = member_of(call, object, name);
    json_object* const element = element_of(array, 0);
    if (array != nullptr && element == nullptr) {
        QSC_LOG_CALL(call, kLogError, "Can't get index 0 form %s\n", name);
    }
    return element;
}

u32 search_name(const Call& call, json_object* dump, WifiText& name)
{
    json_object* const topology = first_of(call, dump, "topology information");
    json_object* const radio = topology != nullptr ? first_of(call, topology, "Radio Info") : nullptr;
    json_object* const networks = radio != nullptr ? member_of(call, radio, "BSSINFO") : nullptr;
    if (networks == nullptr) {
        return EFAULT;
    }
    json_object* const network = element_of(networks, 1); // the second entry has the name
    if (network == nullptr) {
        QSC_LOG_CALL(call, kLogError, "Can't get Index form mesh info\n");
        return EFAULT;
    }
    json_object* const ssid = member_of(call, network, "SSID");
    if (ssid == nullptr) {
        return EFAULT;
    }
    std::string_view text;
    if (text_of(ssid, text) != 0 || !name.assign(text)) {
        QSC_LOG_CALL(call, kLogError, "snprintf mesh client number fail\n");
        return EFAULT;
    }
    return 0;
}

} // namespace

u32 find_mesh_name(const Call& call, json_object* dump, WifiText& name)
{
    const u32 code = search_name(call, dump, name);
    return code == 0 ? 0 : refuse(code, "the mesh topology holds no name");
}

namespace
{

/// stat() without following a link.
bool get_status(const char* path, struct stat& status)
{
    return lstat(path, &status) == 0;
}

/// Copies the dump, because the agent may rewrite it at any time.
bool copy_dump()
{
    struct stat stale = {};
    if (get_status(kCopy, stale)) {
        (void)std::remove(kCopy);
        sync();
    }
    // Created here, so that nobody can plant a link and have cp overwrite another file.
    if (!open_file(kCopy, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600).is_open()) {
        return false;
    }
    CommandText command;
    command.append("/bin/cp ").append(kDump).append(" ").append(kCopy);
    (void)run_shell(command.c_str()); // without a copy there is nothing to parse
    return true;
}

} // namespace

u32 read_mesh_name(const Call& call, WifiText& name)
{
    struct stat status = {};
    if (!get_status(kDump, status) || !S_ISREG(status.st_mode)) {
        QSC_LOG_CALL(call, kLogError, "dump mesh topology information fail\n");
        return refuse(EFAULT, "the mesh topology cannot be read");
    }
    const ProcessLock lock{g_mutex, kLock};
    if (lock.code() != 0) {
        QSC_LOG_CALL(call, kLogError, "%s not locked, error %d\n", kLock, static_cast<i32>(lock.code()));
        return refuse(EFAULT, "the mesh topology cannot be read");
    }
    FileText text;
    const bool is_read = status.st_size <= static_cast<off_t>(kSafeFileSize) && copy_dump() &&
                         read_safe_file(kCopy, text) == 0;
    const JsonRef dump{is_read ? json_tokener_parse(text.c_str()) : nullptr};
    if (dump == nullptr) {
        QSC_LOG_CALL(call, kLogError, "read dump topology information fail\n");
        return refuse(EFAULT, "the mesh topology cannot be read");
    }
    return find_mesh_name(call, dump.get(), name);
}

} // namespace qsc::wifi
