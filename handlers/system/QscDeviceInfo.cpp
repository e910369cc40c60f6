// SPDX-License-Identifier: Apache-2.0
// "Device.DeviceInfo": what the router is.
#include "core/Objects.h"
#include "core/ServeRow.h"
#include "include/qsc_handlers.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscDeviceInfo");

/// The maker's half of the factory address. An address that can be set would make the router somebody else's.
u32 answer_oui(const RowCall& call)
{
    RowText address;
    (void)read_places(call.request.sources, "env ethaddr", call.source.module, address);
    Text<6, 8> digits;
    if (is_mac_address(address.view())) {
        for (const std::size_t part : {0U, 3U, 6U}) {
            append_upper(digits, address.view().substr(part, 2));
        }
    }
    return answer_stored(call, digits.view());
}

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRows[] = {
    {.name = "Manufacturer",
     .place = Place::kSource,
     .key = "env manufacturer|/etc/device_info DEVICE_MANUFACTURER|/etc/openwrt_release DISTRIB_ID"},
    {.name = "ManufacturerOUI", .place = Place::kFunction, .get = answer_oui},
    {.name = "ModelName",
     .place = Place::kSource,
     .key = "env model|/etc/device_info DEVICE_PRODUCT|/tmp/sysinfo/model"},
    {.name = "Description", .place = Place::kSource, .key = "/etc/openwrt_release DISTRIB_DESCRIPTION"},
    {.name = "ProductClass",
     .place = Place::kSource,
     .key = "/tmp/sysinfo/board_name|/etc/device_info DEVICE_PRODUCT"},
    {.name = "SerialNumber", .place = Place::kSource, .key = "env serial"},
    {.name = "HardwareVersion", .place = Place::kSource, .key = "/etc/device_info DEVICE_REVISION"},
    {.name = "SoftwareVersion", .place = Place::kSource, .key = "/etc/openwrt_release DISTRIB_RELEASE"},
    {.name = "AdditionalSoftwareVersion",
     .place = Place::kSource,
     .marks = kMany,
     .key = "/proc/sys/kernel/osrelease"},
    {.name = "UpTime",
     .kind = Kind::kUnsigned,
     .place = Place::kSource,
     .unit = Unit::kSeconds,
     .key = "/proc/uptime"},
    {.name = "ProvisioningCode", .access = kReadWrite, .limits = ":64", .key = "provisioning"},
    {.name = "HostName",
     .kind = Kind::kHostName,
     .access = kReadWrite,
     .marks = kNeeded,
     .limits = "1:63",
     .key = "hostname"},
    {.name = "FriendlyName", .access = kReadWrite, .limits = ":32", .key = "description"},
};

} // namespace

QSC_EXPORTED_OBJECT(kDeviceInfo, "Device.DeviceInfo", g_QscDeviceInfoCmd, kRows, .area = "device info",
                    .section = "system.@system[0].")
