// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.AccessPoint.{i}.WPS": pairing devices by a button or a number.
#include "core/Objects.h"
#include "handlers/wifi/Security.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFiWps");

constexpr const char* kNoPairing = "the access point's security mode takes no WPS";

/// The last digit makes the sum of all, the first and every second counted three times, a multiple of 10.
u32 check_pin(const RowCall&, std::string_view stored)
{
    int sum = 0;
    for (std::size_t i = 0; i < stored.size(); ++i) {
        if (!is_digit(stored[i])) {
            return refuse(EFAULT, "it has other characters than digits");
        }
        sum += (stored[i] - '0') * (i % 2 == 0 ? 3 : 1);
    }
    return sum % 10 == 0 ? 0 : refuse(EFAULT, "its last digit is not the check digit of the others");
}

/// Whether a parameter will be this, or hold it among others.
bool will_hold(const RowCall& call, const char* name, std::string_view word)
{
    RowText value;
    return read_outcome(call, name, value) == 0 &&
           for_each_item(value.view(), [&](auto item) -> u32 { return item == word ? 1 : 0; }) != 0;
}

/// Judges what pairing needs once the request is done.
u32 check_wps(const RowCall& call, std::string_view)
{
    RowText pin;
    if (!will_hold(call, "Enable", "1")) {
        return 0;
    }
    if (!takes_pairing(vap_of(call))) {
        return refuse(EFAULT, kNoPairing);
    }
    const bool needs_pin = will_hold(call, "ConfigMethodsEnabled", "PIN");
    return needs_pin && (read_outcome(call, "PIN", pin) != 0 || pin.view().empty())
               ? refuse(EFAULT, "the method PIN needs a PIN")
               : 0;
}

u32 answer_status(const RowCall& call)
{
    const Vap vap = vap_of(call);
    const bool is_on = is_switched_on(vap) && is_stored_on(vap.key("wps"));
    return answer_stored(call, !is_on ? "Disabled"
                               : !takes_pairing(vap) || find_security_fault(call.request.instance) != nullptr
                                   ? "Error"
                                   : "Configured");
}

/// Judged by what is stored: a switch that the same request sets reaches the driver by service alone.
u32 check_button(const RowCall& call, std::string_view stored)
{
    const Vap vap = vap_of(call);
    RowText methods;
    if (stored != "1") {
        return 0;
    }
    if (!is_switched_on(vap) || !is_stored_on(vap.key("wps"))) {
        return refuse(EFAULT, "the access point or its WPS is off");
    }
    if (is_stored_on(vap.key("hidden"))) {
        return refuse(EFAULT, "the access point hides its name");
    }
    const PackedRow& row = *find_row(call.request.object, "ConfigMethodsEnabled");
    if (read_stored(call.request, row, methods) != 0 ||
        methods.view().find("PushButton") == std::string_view::npos) {
        return refuse(EFAULT, "the method PushButton is not enabled");
    }
    return takes_pairing(vap) ? 0 : refuse(EFAULT, kNoPairing);
}

/// The driver's mode 2 is the button; then it begins.
u32 push_button(const RowCall& call, std::string_view stored)
{
    const Key interface = vap_of(call).interface();
    const u32 code = stored == "1" ? drive(interface.c_str(), "WscMode", "2") : 0;
    return stored == "1" && code == 0 ? drive(interface.c_str(), "WscGetConf", "1") : code;
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr const char* kMethods = "PushButton|PIN";

constexpr Row kRows[] = {
    {.name = "ConfigMethodsSupported",
     .kind = Kind::kWord,
     .place = Place::kConstant,
     .marks = kMany,
     .limits = kMethods,
     .key = "PushButton,PIN"},
    {.name = "ConfigMethodsEnabled",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .marks = kMany | kCommas,
     .limits = kMethods,
     .key = "wpsmethods",
     .fallback = "PushButton",
     .check = check_wps},
    {.name = "PIN",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = "8:8",
     .key = "wpspin",
     .check = check_pin},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "wps",
     .fallback = "0",
     .check = check_wps},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = Place::kFunction,
     .limits = "Disabled|Error|Unconfigured|Configured|SetupLocked",
     .get = answer_status},
    {.name = "Version", .place = Place::kConstant, .key = "2.0"},
    {.name = "X_QRN_PushButton",
     .kind = Kind::kBoolean,
     .access = Access::kWrite,
     .place = Place::kFunction,
     .check = check_button,
     .set = push_button},
};

} // namespace

QSC_OBJECT(kWiFiWps, "Device.WiFi.AccessPoint.{i}.WPS", kRows, .area = "WiFi WPS", .instances = kLastVap,
           .exists = has_vap, .locate = locate_vap)
