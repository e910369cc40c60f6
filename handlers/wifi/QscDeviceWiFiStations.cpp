// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.AccessPoint.{i}.AssociatedDevice": the stations of an access point. With a number after the
// path one of them, by the order of their addresses.
#include <ctime>

#include "core/DateTime.h"
#include "core/JsonList.h"
#include "core/Objects.h"
#include "handlers/network/Leases.h"
#include "handlers/wifi/AccessPoint.h"
#include "handlers/wifi/Stations.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFiStations");

/// Without a clock it is not known when a station came.
constexpr std::time_t kClockIsSet = 1'704'067'200; // 2024-01-01

DateTimeText time_of(i64 seconds_ago)
{
    const std::time_t now = std::time(nullptr);
    return date_time_of(now >= kClockIsSet && seconds_ago >= 0 && seconds_ago < now ? now - seconds_ago : 0);
}

/// The value of a station's row, in the spelling in which it would be stored.
void read_row(const PackedRow& row, Column column, const Station& station, RowText& value)
{
    if (row.key() == nullptr) {
        value.append(row.kind == Kind::kIPv4 ? station.ip_address : station.host_name);
        return;
    }
    if (row.kind == Kind::kDateTime) {
        i64 seconds = -1;
        (void)parse_whole(cell(station.line, column), seconds);
        value.append(time_of(seconds).view());
        return;
    }
    read_value(row, column, station.line, value);
}

Stations stations_of(const RowCall& call)
{
    const Vap vap = vap_of(call);
    return {read_stations(call.request.sources, is_switched_on(vap)), vap.interface().view()};
}

u32 answer_row(const RowCall& call)
{
    const std::string_view rest = rest_of_path(call.request.object, call.request.path);
    if (rest.empty()) {
        return 0;
    }
    Stations stations = stations_of(call);
    std::size_t number = 0;
    if (!parse_whole(rest.substr(0, rest.find('.')), number) || number < 1 ||
        number > stations.all().size()) {
        return refuse(EINVAL, "there is no such station");
    }
    if (call.row.key() == nullptr) {
        stations.join_leases(network::read_leases(call.request.sources));
    }
    RowText value;
    const Column column = find_column(stations.header(), or_empty(call.row.key()));
    read_row(call.row, column, stations.all()[number - 1], value);
    return answer_stored(call, value.view());
}

u32 answer_list(const RowCall& call)
{
    if (!rest_of_path(call.request.object, call.request.path).empty()) {
        return 0;
    }
    Stations stations = stations_of(call);
    if (!stations.all().empty()) {
        stations.join_leases(network::read_leases(call.request.sources));
    }
    const std::span<const PackedRow> rows = call.request.object.rows();
    std::array<Column, 16> columns;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        columns[i] = find_column(stations.header(), or_empty(rows[i].key()));
    }
    JsonList list;
    for (const Station& station : stations.all()) {
        JsonRow members;
        for (std::size_t i = 0; rows[i].kind != Kind::kJson; ++i) {
            RowText value;
            read_row(rows[i], columns[i], station, value);
            i64 number = 0;
            const bool is_number = rows[i].key() != nullptr && parse_whole(value.view(), number);
            (void)(is_number ? members.add_number(rows[i].name, number)
                             : members.add(rows[i].name, value.view()));
        }
        if (!list.add(std::move(members))) {
            break;
        }
    }
    return list.answer(call);
}

constexpr Place kFunction = Place::kFunction;
constexpr Kind kUnsigned = Kind::kUnsigned;
constexpr Kind kBytes = Kind::kUnsignedLong;

constexpr Row kRows[] = {
    {.name = "MACAddress", .kind = Kind::kMacAddress, .place = kFunction, .key = "MAC", .get = answer_row},
    {.name = "OperatingStandard",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "a|b|g|n|ac|ax",
     .key = "STANDARD",
     .get = answer_row},
    {.name = "AuthenticationState",
     .kind = Kind::kBoolean,
     .place = kFunction,
     .key = "AUTH",
     .get = answer_row},
    {.name = "LastDataDownlinkRate",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kKbitPerSecond,
     .key = "DOWNLINK",
     .get = answer_row},
    {.name = "LastDataUplinkRate",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kKbitPerSecond,
     .key = "UPLINK",
     .get = answer_row},
    {.name = "SignalStrength",
     .kind = Kind::kInteger,
     .place = kFunction,
     .unit = Unit::kDbm,
     .key = "RSSI",
     .get = answer_row},
    {.name = "Noise",
     .kind = Kind::kInteger,
     .place = kFunction,
     .unit = Unit::kDbm,
     .key = "NOISE",
     .get = answer_row},
    {.name = "Retransmissions",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kPackets,
     .key = "RETRIES",
     .get = answer_row},
    {.name = "Active", .kind = Kind::kBoolean, .place = kFunction, .key = "ACTIVE", .get = answer_row},
    {.name = "AssociationTime",
     .kind = Kind::kDateTime,
     .place = kFunction,
     .key = "SECONDS",
     .get = answer_row},
    {.name = "X_QRN_BytesSent",
     .kind = kBytes,
     .place = kFunction,
     .unit = Unit::kBytes,
     .key = "SENT",
     .get = answer_row},
    {.name = "X_QRN_BytesReceived",
     .kind = kBytes,
     .place = kFunction,
     .unit = Unit::kBytes,
     .key = "RECEIVED",
     .get = answer_row},
    {.name = "X_QRN_IPAddress", .kind = Kind::kIPv4, .place = kFunction, .get = answer_row},
    {.name = "X_QRN_HostName", .place = kFunction, .get = answer_row},
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = kFunction, .get = answer_list},
};
static_assert(std::size(kRows) <= 16, "a column each");

} // namespace

QSC_OBJECT(kWiFiStations, "Device.WiFi.AccessPoint.{i}.AssociatedDevice", kRows, .instances = kLastVap,
           .exists = has_vap, .locate = locate_vap, .rows_by = "number")
