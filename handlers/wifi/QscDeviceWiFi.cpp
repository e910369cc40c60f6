// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi": how much of everything there is, and commit and service for all of the Wi-Fi.
#include <unistd.h>

#include "base/UciOptional.h"
#include "core/Objects.h"
#include "core/RunTool.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/wifi/MacAddresses.h"
#include "handlers/wifi/Security.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFi");

u32 answer_addresses(const RowCall& call)
{
    constexpr const char* kDigits = "0123456789ABCDEF";
    RowText base;
    RowText list;
    const bool has_base =
        read_places(call.request.sources, "env ethaddr", kModule, base) && is_mac_address(base.view());
    for (u32 number = 0; has_base && number < kMadeAddresses; ++number) {
        const char* separator = number == 0 ? "" : ",";
        for (const u8 byte : make_address(parse_address(base.view()), number)) {
            list.append(separator).append({kDigits + (byte >> 4), 1}).append({kDigits + (byte & 0xF), 1});
            separator = ":";
        }
    }
    return answer_stored(call, list.view());
}

constexpr Kind kUnsigned = Kind::kUnsigned;
constexpr Place kConstant = Place::kConstant;

constexpr Row kRows[] = {
    {.name = "RadioNumberOfEntries", .kind = kUnsigned, .place = kConstant, .key = "2"},
    {.name = "SSIDNumberOfEntries", .kind = kUnsigned, .place = kConstant, .key = "16"},
    {.name = "AccessPointNumberOfEntries", .kind = kUnsigned, .place = kConstant, .key = "16"},
    {.name = "EndPointNumberOfEntries", .kind = kUnsigned, .place = kConstant, .key = "1"},
    {.name = "X_QRN_MACAddresses",
     .kind = Kind::kMacAddress,
     .place = Place::kFunction,
     .marks = kMany,
     .get = answer_addresses},
};

/// Devices without the init script have the command that it would run.
u32 run_wifi(std::string_view action)
{
    constexpr const char* kProgram = "/sbin/wifi";
    const bool is_stop = action == "stop";
    if (!is_stop && action != "start" && action != "restart" && action != "reload") {
        return refuse(EFAULT, "the Wi-Fi knows no such action");
    }
    const char* const arguments[] = {kProgram, is_stop ? "down" : "reload", nullptr};
    const u32 code = run_tool({.arguments = arguments, .deadline = 0}, kModule);
    return code == 0 ? 0 : refuse(EFAULT, "%s %s failed", kProgram, arguments[1]);
}

} // namespace

u32 qsc::wifi::commit(const char*, json_object* request, u32, u32, i64, u64)
{
    u32 code = 0;
    {
        const UciView view;
        code = is_object(request) ? check_all_security() : EINVAL;
    }
    return code != 0 ? finish(request, code) : serve_packages(request, "mtkwireless");
}

u32 qsc::wifi::serve_wifi(const char*, json_object* request)
{
    return access("/etc/init.d/wifi", X_OK) == 0 ? serve_scripts(request, "wifi")
                                                 : serve_action(request, run_wifi);
}

QSC_OBJECT(kWiFi, "Device.WiFi", kRows, .area = "WiFi")
