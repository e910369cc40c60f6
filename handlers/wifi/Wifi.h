// SPDX-License-Identifier: Apache-2.0
// Shared by the Wi-Fi parameters: the radios, the options of the package "mtkwireless", the driver's
// commands, and the two forms of a value, one for MQTT and one for everybody else.
#pragma once

#include <string_view>

#include "base/Text.h"
#include "core/UciAccess.h"
#include "include/qsc_wifi.h"

namespace qsc::wifi
{

/// A Wi-Fi value may be one character longer than values elsewhere.
using WifiText = Text<127, 128>;

/// The key of an option, or the name of an interface.
using Key = Text<254>;

inline constexpr i32 kVapsPerRadio = 8;

/// The prefix of a section's keys: package and section, each with its dot.
using Section = std::string_view;

inline constexpr Section kMesh = "mtkwireless.mesh.";

/// What a country allows in one band.
struct Band {
    const u8* region; ///< its index, little-endian
    const char* channels;
};

struct Radio {
    Section section;
    const char* interface;  ///< the main one
    const char* vap_prefix; ///< the interfaces of its virtual access points: the prefix and a number from 0
    char station_option;    ///< of `qrnstainfo`
    const char* path;       ///< in LowerLayers
    i32 instance;
    bool has_dfs; ///< it must look out for radar on some channels (5 GHz only)
    Band (*band)(const Qsc_CountryRegion& country);
};

/// 2.4 GHz, then 5 GHz.
inline constexpr Radio kRadios[] = {
    {"mtkwireless.ra0.", "ra0", "ra", 'a', "Device.WiFi.Radio.1", 1, false,
     [](const Qsc_CountryRegion& country) {
         return Band{country.bg->region, country.bg->channels};
     }},
    {"mtkwireless.rax0.", "rax0", "rax", 'b', "Device.WiFi.Radio.2", 2, true,
     [](const Qsc_CountryRegion& country) {
         return Band{country.a->region, country.a->channels};
     }},
};

/// The key of an option; options of a virtual access point end in its number.
[[nodiscard]] Key option_key(Section section, const char* option);
[[nodiscard]] Key option_key(const Radio& radio, const char* option, i32 vap = 0);

/// The interface of a virtual access point, numbered from 1.
[[nodiscard]] Key vap_interface(const Radio& radio, i32 vap);

/// A virtual access point: its radio, and its number on it, from 1.
struct Vap {
    const Radio& radio;
    i32 number;

    [[nodiscard]] Key key(const char* option) const { return option_key(radio, option, number); }
    [[nodiscard]] Key interface() const { return vap_interface(radio, number); }
};

/// The last instance of objects that belong to access points: 1 to 8 are on the first radio, 11 to 18 on the
/// second.
inline constexpr i32 kLastVap = 10 + kVapsPerRadio;

[[nodiscard]] bool has_vap(i32 instance);

/// The access point of an instance that exists.
[[nodiscard]] Vap vap_of(i32 instance);

/// The instance number after a path's prefix; 0: the path ends before it.
[[nodiscard]] i32 instance_in_path(const char* path, std::size_t prefix_length);

/// The instance number in a call's path, if it exists. 0: it does not, which is logged, or there is no path.
template <typename Exists>
[[nodiscard]] i32 instance_of_path(const Call& call, std::string_view prefix, Exists exists)
{
    if (is_empty(call.name)) {
        return 0;
    }
    const i32 instance = instance_in_path(call.name, prefix.size());
    if (exists(instance)) {
        return instance;
    }
    QSC_LOG_CALL(call, kLogError, "Instance number [%d] error\n", instance);
    return 0;
}

/// The MQTT commander sends and gets words where others have numbers.
[[nodiscard]] inline bool is_mqtt(const Call& call)
{
    return call.argument == QSC_COMMANDER_MQTT;
}

/// The words that MQTT uses for 1 and for anything else; null: it uses the numbers.
struct Words {
    const char* on = nullptr;
    const char* off = nullptr;
};
inline constexpr Words kTrueFalse{"true", "false"};
inline constexpr Words kEnableDisable{"enable", "disable"};

/// Answers with a number, or its word.
[[nodiscard]] u32 answer_flag(const Call& call, const Words& words, i32 number);

/// Takes a number, or its word: any word but the one for 1 is 0.
[[nodiscard]] u32 take_flag(const Call& call, const Words& words, i32& number);

/// A parameter that is a stored number.
struct NumberRow {
    const char* option;
    const char* event;                ///< "set EVENT %d by %s"
    Words words{};                    ///< of a boolean
    const char* driver_key = nullptr; ///< set on a running radio at once; null: stored only
};

[[nodiscard]] u32 answer_number(const Call& call, const Key& key, const NumberRow& row);

/// Stores a number, sets it on a running radio, and writes the event record.
[[nodiscard]] u32 store_number(const Call& call, const Radio& radio, const Key& key, const NumberRow& row,
                               i32 number);

/// Takes the caller's number and stores it as store_number() does.
[[nodiscard]] u32 set_number(const Call& call, const Radio& radio, const Key& key, const NumberRow& row);

/// The get or the set of a parameter, for a radio or an access point.
template <typename Target>
using Serve = u32 (*)(const Call& call, const Target& target);

/// Serves a call for a radio or an access point; a parameter without a set is read-only.
template <typename Target>
u32 serve_for(const Call& call, const Target& target, Serve<Target> get, Serve<Target> set)
{
    return serve(
        call, [&] { return get(call, target); },
        [&] { return set != nullptr ? set(call, target) : refuse_operation(call); });
}

/// Whether the radio is on. A missing "radioOn" is logged and counts as off.
[[nodiscard]] bool is_on(const Call& call, const Radio& radio);

/// Brings an interface up. The result is ignored: the driver command that follows fails if it matters.
void bring_up(std::string_view interface, const char* output = "> /dev/null 2>&1");

/// Sets a key of the driver.
[[nodiscard]] u32 drive(std::string_view interface, const char* driver_key, i32 number);

/// If the radio is on: brings its main interface up and sets a key of the driver.
[[nodiscard]] u32 drive_if_on(const Call& call, const Radio& radio, const char* driver_key, i32 number,
                              const char* output = "> /dev/null 2>&1");

/// Runs a command through the shell. @return its exit code; EFAULT: it could not be run, or a signal ended it
[[nodiscard]] u32 run_shell(const char* command);

/// Captures the first line of a command's output, without its line feed.
[[nodiscard]] u32 capture_line(const char* command, WifiText& line);

/// Answers with the first line of a command's output.
[[nodiscard]] u32 answer_line(const Call& call, const char* command);

} // namespace qsc::wifi
