// SPDX-License-Identifier: Apache-2.0
// The small routines that take texts apart: the daylight-saving cut, version comparison, hexadecimal digits,
// paths. A byte chooses the routine, the text follows.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/support/FuzzDevice.h"
#include "include/bacl.h"
#include "include/qsc_device_time.h"

namespace
{

void expect(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

void cut_zone(std::string zone)
{
    const std::string before = zone.c_str();
    const uint32_t code = Qsc_TZ_RemoveDaylightSavingTime(zone.data());
    expect(before.starts_with(zone.c_str()) && (code == 0 || before == zone.c_str()));
    std::vector<char> buffer(8 + before.size() % 64);
    Qsc_TZ_FindTimeZone(before.c_str(), buffer.data(), static_cast<uint32_t>(buffer.size()));
    expect(std::memchr(buffer.data(), '\0', buffer.size()) != nullptr);
}

void compare_versions(const std::string& text)
{
    const size_t middle = text.size() / 2;
    std::string first = text.substr(0, middle);
    std::string second = text.substr(middle);
    std::string first_again = first;
    std::string second_again = second;
    const int32_t order = BaCL_VersionCompare(first.data(), second.data(), ".-");
    expect(order >= -1 && order <= 1 &&
           BaCL_VersionCompare(second_again.data(), first_again.data(), ".-") == -order);
}

void convert_hex(const std::string& text)
{
    std::vector<uint8_t> bytes(text.size() / 2 + 1);
    auto length = static_cast<int32_t>(bytes.size());
    if (BaCL_HexString2Binary(bytes.data(), &length, text.c_str()) == 0) {
        std::vector<char> again(2 * bytes.size() + 1);
        expect(BaCL_Binary2HexString(again.data(), static_cast<int32_t>(again.size()), bytes.data(),
                                     length) == 0);
        expect(std::strlen(again.data()) == 2 * static_cast<size_t>(length));
    }
}

void look_at_path(std::string path)
{
    BaCL_GetPathProperty(path.c_str());
    BaCL_GetFileSize(path.c_str());
    BaCL_TrimLTWhiteSpace(path.data());
    BaCL_RemoveLineFeed(path.data(), static_cast<int32_t>(path.size()));
    for (uint32_t type = 0; type < 10; ++type) {
        expect(BaCL_IsStringType(path.c_str(), type) <= 1);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::reset_device();
    if (size == 0) {
        return 0;
    }
    const std::string text{reinterpret_cast<const char*>(data + 1), size - 1};
    switch (data[0] % 4) {
    case 0:
        cut_zone(text);
        break;
    case 1:
        compare_versions(text);
        break;
    case 2:
        convert_hex(text);
        break;
    default:
        look_at_path(text);
    }
    return 0;
}
