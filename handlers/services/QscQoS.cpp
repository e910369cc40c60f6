// SPDX-License-Identifier: Apache-2.0
// "Device.QoS": queues of sqm that keep the line short of its limit, one for the WAN and one for each zone
// that has a limit of its own.
#include <unistd.h>

#include "core/Objects.h"
#include "core/RunTool.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/LiveInterface.h"
#include "handlers/network/Zones.h"
#include "handlers/services/Package.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscQoS");

constexpr Package kSqm{"sqm"};
constexpr const char* kWan = "wan";
constexpr const char* kQueue = "queue";
constexpr const char* kFairQueues = "fq_codel";

Text<30> zone_queue(i32 zone)
{
    Text<30> name;
    name.append("zone").append_number(zone);
    return name;
}

/// The zone whose queue this is; 0: it is none of a zone.
i32 zone_of_queue(std::string_view queue)
{
    i32 zone = 0;
    const bool is_zone = queue.starts_with("zone");
    queue.remove_prefix(is_zone ? 4 : 0);
    return is_zone && parse_whole(queue, zone) ? zone : 0;
}

bool is_on()
{
    return kSqm.holds(kWan, "enabled", "1");
}

/// What all queues have in common. A script serves one discipline alone.
u32 keep_common(std::string_view queue, std::string_view device)
{
    RowText discipline;
    RowText interface;
    interface.append(device);
    (void)kSqm.read(kWan, "qdisc", discipline);
    const bool is_cake = discipline.view() == "cake";
    const OptionValue options[] = {
        {"interface", interface.c_str()},
        {"qdisc", is_cake ? "cake" : kFairQueues},
        {"script", is_cake ? "piece_of_cake.qos" : "simple.qos"},
        {"enabled", is_on() ? "1" : "0"},
    };
    return kSqm.keep(queue, options);
}

/// A rate that is missing would be some small one; 0 is no limit.
u32 complete_rates(std::string_view queue)
{
    u32 code = 0;
    for (const char* const rate : {"download", "upload"}) {
        code = code == 0 && kSqm.holds(queue, rate, "") ? kSqm.keep(queue, rate, "0") : code;
    }
    return code;
}

/// The device that carries the zone's packets, or the WAN's.
void read_queue_device(RowRequest& request, std::string_view interface, network::DeviceName& device)
{
    if (interface != kWan) {
        (void)network::read_device(interface, device);
        return;
    }
    RowText live;
    const RowCall call{
        {kSource, "device", __LINE__, request.path, nullptr, request.oper, request.argument, 0},
        request,
        request.object.rows()[0]};
    network::read_live_device(call, network::Uplink::kWan, live);
    (void)device.assign(live.view());
}

/// A device has one queue: sqm passes over a second.
u32 check_alone(std::string_view own, std::string_view device)
{
    Sections queues{kSqm, kQueue};
    while (const char* const queue = queues.next()) {
        if (queue != own && kSqm.holds(queue, "interface", device) && kSqm.holds(queue, "enabled", "1")) {
            return refuse(EFAULT, "%.*s has a queue already, \"%s\"", static_cast<int>(device.size()),
                          device.data(), queue);
        }
    }
    return 0;
}

u32 check_enable(const RowCall& call, std::string_view stored)
{
    network::DeviceName device;
    if (stored != "1") {
        return 0;
    }
    read_queue_device(call.request, kWan, device);
    return device.view().empty() ? refuse(EFAULT, "the WAN has no device") : check_alone(kWan, device.view());
}

/// Brings all queues in line with the WAN's.
u32 arrange_wan(RowRequest& request, bool is_written)
{
    if (!is_written || kSqm.type_of(kWan).view().empty()) {
        return 0;
    }
    network::DeviceName device;
    RowText overhead;
    read_queue_device(request, kWan, device);
    (void)kSqm.read(kWan, "overhead", overhead);
    u32 code = keep_common(kWan, device.view());
    code = code != 0 ? code : complete_rates(kWan);
    const bool has_overhead = !overhead.view().empty() && overhead.view() != "0";
    code = code != 0 ? code : kSqm.keep(kWan, "linklayer", has_overhead ? "ethernet" : "none");
    Sections queues{kSqm, kQueue};
    ListedSections zones;
    code = code != 0 ? code : zones.read(network::kZones);
    while (const char* const queue = code == 0 ? queues.next() : nullptr) {
        RowText interface;
        const i32 zone = zone_of_queue(queue);
        if (zone != 0 && zones.find(zone) == nullptr) {
            code = kSqm.drop(queue); // it went without its queue
        } else if (zone != 0 && kSqm.read(queue, "interface", interface)) {
            code = keep_common(queue, interface.view());
        }
    }
    return code;
}

u32 answer_status(const RowCall& call)
{
    RowText interface;
    Text<254> state;
    (void)kSqm.read(kWan, "interface", interface);
    state.append("/var/run/sqm/").append(interface.view()).append(".state");
    const bool is_up = state.fits() && access(state.c_str(), F_OK) == 0;
    return answer_stored(call, !is_on() ? "Disabled" : is_up ? "Enabled" : "Error");
}

/// What clients download leaves the router on their side: the directions are swapped there.
u32 answer_rate(const RowCall& call)
{
    RowText rate;
    (void)kSqm.read(zone_queue(call.request.instance).view(), call.row.key(), rate);
    return answer_stored(call, rate.view());
}

u32 check_rate(const RowCall& call, std::string_view stored)
{
    network::DeviceName device;
    if (stored == "0") {
        return 0;
    }
    read_queue_device(call.request, section_name(call.request), device);
    return device.view().empty() ? refuse(EFAULT, "the zone has no device")
                                 : check_alone(zone_queue(call.request.instance).view(), device.view());
}

u32 store_rate(const RowCall& call, std::string_view stored)
{
    const Text<30> queue = zone_queue(call.request.instance);
    if (stored == "0" && kSqm.type_of(queue.view()).view().empty()) {
        return 0;
    }
    const u32 code = kSqm.make(queue.c_str(), kQueue);
    return code != 0 ? refuse(code, "the queue could not be made")
                     : kSqm.keep(queue.view(), call.row.key(), stored);
}

/// A zone without a limit has no queue.
u32 arrange_zone(RowRequest& request, bool is_written)
{
    const Text<30> queue = zone_queue(request.instance);
    if (!is_written || kSqm.type_of(queue.view()).view().empty()) {
        return 0;
    }
    if (const u32 code = complete_rates(queue.view())) {
        return code;
    }
    if (kSqm.holds(queue.view(), "download", "0") && kSqm.holds(queue.view(), "upload", "0")) {
        return kSqm.drop(queue.view());
    }
    network::DeviceName device;
    read_queue_device(request, section_name(request), device);
    return keep_common(queue.view(), device.view());
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;
constexpr const char* kRates = "0:100000000";

constexpr Row kRows[] = {
    {.name = "X_QRN_DownloadRate",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kKbitPerSecond,
     .limits = kRates,
     .key = "download",
     .fallback = "0"},
    {.name = "X_QRN_UploadRate",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kKbitPerSecond,
     .limits = kRates,
     .key = "upload",
     .fallback = "0"},
    {.name = "X_QRN_Discipline",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "cake|fq_codel",
     .key = "qdisc",
     .fallback = kFairQueues},
    {.name = "X_QRN_Overhead",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kBytes,
     .limits = "0:256",
     .key = "overhead",
     .fallback = "0"},
    {.name = "X_QRN_Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enabled",
     .fallback = "0",
     .check = check_enable},
    {.name = "X_QRN_Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error",
     .get = answer_status},
};

/// What is kept in the zone's queue.
consteval Row zone_rate_row(RowName name, const char* key)
{
    Row row{.name = name};
    row.kind = Kind::kUnsigned;
    row.access = kReadWrite;
    row.place = kFunction;
    row.unit = Unit::kKbitPerSecond;
    row.limits = kRates;
    row.key = key;
    row.get = answer_rate;
    row.check = check_rate;
    row.set = store_rate;
    return row;
}

constexpr Row kZoneRows[] = {
    zone_rate_row("DownloadRate", "upload"),
    zone_rate_row("UploadRate", "download"),
};

} // namespace

/// The script acts by itself, when an interface comes up, only where it is enabled.
u32 qsc::services::serve_qos(const char*, json_object* request)
{
    std::string_view action;
    if (is_object(request) && take_action(request, action) == 0) {
        (void)start_init_script("sqm", is_on() ? "enable" : "disable"); // what follows tells why not
    }
    return serve_scripts(request, "sqm");
}

QSC_OBJECT(kQoS, "Device.QoS", kRows, .area = "qos", .section = "sqm.wan.", .section_type = "queue",
           .package = "sqm", .arrange = arrange_wan)
QSC_OBJECT(kQoSZone, "Device.QoS.X_QRN_NetZone.{i}", kZoneRows, .area = "qos zone", .list = &network::kZones,
           .package = "sqm", .arrange = arrange_zone)
