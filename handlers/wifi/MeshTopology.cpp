// SPDX-License-Identifier: Apache-2.0
#include "handlers/wifi/MeshTopology.h"

#include <cstdio>

#include <json-c/json.h>
#include <unistd.h>

#include "core/JsonRef.h"
#include "include/bacl.h"

namespace qsc::wifi
{

namespace
{

constexpr const char* kDump = "/tmp/dump.txt";
constexpr const char* kCopy = "/tmp/dumptmep.txt";

/// Nothing is there, or something that could not be copied in finite time.
constexpr u32 kNoFile = 3;

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

/// The first element of the array that is a member.
json_object* first_of(const Call& call, json_object* object, const char* name)
{
    json_object* const array = member_of(call, object, name);
    json_object* const element = element_of(array, 0);
    if (array != nullptr && element == nullptr) {
        QSC_LOG_CALL(call, kLogError, "Can't get index 0 form %s\n", name);
    }
    return element;
}

} // namespace

u32 find_mesh_name(const Call& call, json_object* dump, WifiText& name)
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

u32 read_mesh_name(const Call& call, WifiText& name)
{
    if (BaCL_GetPathProperty(kDump) == kNoFile) {
        QSC_LOG_CALL(call, kLogError, "dump mesh topology information fail\n");
        return EFAULT;
    }
    // The agent rewrites the dump at any time: only a copy of our own is read.
    if (BaCL_IsFileExist(kCopy) != 0) {
        (void)std::remove(kCopy);
        sync();
    }
    CommandText command;
    command.append("/bin/cp ").append(kDump).append(" ").append(kCopy);
    (void)run_shell(command.c_str());
    const JsonRef dump{json_object_from_file(kCopy)};
    if (dump == nullptr) {
        QSC_LOG_CALL(call, kLogError, "read dump topology information fail\n");
        return EFAULT;
    }
    return find_mesh_name(call, dump.get(), name);
}

} // namespace qsc::wifi
