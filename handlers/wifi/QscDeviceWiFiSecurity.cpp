// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.AccessPoint.{i}.Security" and ".Accounting": who may connect, and who accounts for it. None of
// it reaches the driver at once: half a change would open a network, and a key would be in an argument.
#include <algorithm>

#include "core/Objects.h"
#include "handlers/wifi/Security.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFiSecurity");

constexpr const char* kModeWords =
    "None|WPA-Personal|WPA2-Personal|WPA3-Personal|WPA-WPA2-Personal|WPA3-Personal-Transition|"
    "WPA-Enterprise|WPA2-Enterprise|WPA3-Enterprise|WPA-WPA2-Enterprise|OWE";

/// From weak to strong; a mode has the least that it can do with.
constexpr const char* kProtectionWords = "Disabled|Optional|Required";
enum Protection : u8 { kDisabled, kOptional, kRequired };

struct Mode {
    bool needs_key;    ///< a passphrase, or the key made from it
    bool needs_sae;    ///< a passphrase of its own
    bool needs_radius; ///< a server and its secret
    bool takes_tkip;
    bool takes_pairing;
    Protection least; ///< of management frames
};

/// By their place among the words.
constexpr Mode kModes[] = {
    // key, SAE, RADIUS, TKIP, pairing
    {false, false, false, true, false, kDisabled},  // None
    {true, false, false, true, true, kDisabled},    // WPA-Personal
    {true, false, false, true, true, kDisabled},    // WPA2-Personal
    {false, true, false, false, false, kRequired},  // WPA3-Personal
    {true, false, false, true, true, kDisabled},    // WPA-WPA2-Personal
    {true, true, false, false, true, kOptional},    // WPA3-Personal-Transition
    {false, false, true, true, false, kDisabled},   // WPA-Enterprise
    {false, false, true, true, false, kDisabled},   // WPA2-Enterprise
    {false, false, true, false, false, kRequired},  // WPA3-Enterprise
    {false, false, true, true, false, kDisabled},   // WPA-WPA2-Enterprise
    {false, false, false, false, false, kRequired}, // OWE
};

/// Null: somebody has stored a word that is none.
const Mode* find_mode(std::string_view word)
{
    const int number = find_word(kModeWords, word);
    return number >= 0 ? &kModes[number] : nullptr;
}

/// The mode of an access point; missing, it is None.
const Mode* mode_of(const Vap& vap)
{
    ValueText word;
    (void)uci_peek(vap.key("auth").c_str(), word);
    return word.view().empty() ? &kModes[0] : find_mode(word.view());
}

/// Whether a parameter will hold what `is_right` asks for; what cannot be read is missing.
template <typename IsRight>
bool will_hold(const RowCall& call, const char* name, IsRight is_right)
{
    RowText value;
    return read_outcome(call, name, value) == 0 && is_right(value.view());
}

bool is_there(std::string_view text)
{
    return !text.empty();
}

bool holds_tkip(std::string_view ciphers)
{
    return ciphers.find("TKIP") != std::string_view::npos;
}

const char* find_fault(const RowCall& call)
{
    RowText word;
    const Mode* const mode = read_outcome(call, "ModeEnabled", word) == 0 ? find_mode(word.view()) : nullptr;
    const auto is_protected = [&](std::string_view stored) {
        return find_word(kProtectionWords, stored) >= mode->least;
    };
    if (mode == nullptr) {
        return "is no mode";
    }
    if (mode->needs_key && !will_hold(call, "KeyPassphrase", is_pre_shared_key) &&
        !will_hold(call, "PreSharedKey", is_pre_shared_key)) {
        return "needs a passphrase or a pre-shared key";
    }
    if (mode->needs_sae && !will_hold(call, "SAEPassphrase", is_passphrase)) {
        return "needs an SAE passphrase";
    }
    if (mode->needs_radius && !will_hold(call, "RadiusServerIPAddr", is_there)) {
        return "needs a RADIUS server";
    }
    if (mode->needs_radius && !will_hold(call, "RadiusSecret", is_there)) {
        return "needs a RADIUS secret";
    }
    if (!mode->takes_tkip && will_hold(call, "EncryptionMode", holds_tkip)) {
        return "takes no TKIP";
    }
    if (!will_hold(call, "MFPConfig", is_protected)) {
        return mode->least == kRequired ? "needs MFPConfig Required" : "needs MFPConfig Optional or Required";
    }
    return nullptr;
}

u32 check_whole(const RowCall& call, std::string_view)
{
    RowText mode;
    const char* const fault = find_fault(call);
    (void)(fault != nullptr && read_outcome(call, "ModeEnabled", mode) == 0);
    return fault != nullptr ? refuse(EFAULT, "%.40s %s", mode.c_str(), fault) : 0;
}

u32 answer_modes(const RowCall& call)
{
    RowText words;
    words.append(kModeWords);
    std::ranges::replace(words.data(), words.data() + words.view().size(), '|', ',');
    return answer_stored(call, words.view());
}

bool is_sent(const RowCall& call, const char* name)
{
    json_object* value = nullptr;
    std::string_view text;
    return find_member(call.request.root, name, value) && take_text(value, text) == 0 && !text.empty();
}

u32 check_key(const RowCall& call, std::string_view stored)
{
    if (is_sent(call, "KeyPassphrase") && is_sent(call, "PreSharedKey")) {
        return refuse(EFAULT, "a passphrase and a pre-shared key exclude each other");
    }
    return is_pre_shared_key(stored) ? 0 : refuse(EFAULT, "it has characters that are not ASCII");
}

u32 check_accounting(const RowCall& call, std::string_view)
{
    const bool is_on = will_hold(call, "Enable", qsc::is_switched_on);
    return is_on && !(will_hold(call, "ServerIPAddr", is_there) && will_hold(call, "Secret", is_there))
               ? refuse(EFAULT, "accounting needs a server and its secret")
               : 0;
}

} // namespace

const char* qsc::wifi::find_security_fault(i32 instance)
{
    RowRequest request{.object = objects::kWiFiSecurity,
                       .path = "",
                       .root = nullptr,
                       .oper = QSC_OPER_GET,
                       .argument = 0,
                       .instance = instance};
    begin_get(request);
    const PackedRow& row = request.object.rows()[0];
    return find_fault({{kSource, row.name, row.line, "", nullptr, QSC_OPER_GET, 0, 0}, request, row});
}

bool qsc::wifi::is_open(const Vap& vap)
{
    return mode_of(vap) == &kModes[0];
}

bool qsc::wifi::takes_pairing(const Vap& vap)
{
    const Mode* const mode = mode_of(vap);
    return mode != nullptr && mode->takes_pairing;
}

u32 qsc::wifi::check_all_security()
{
    for (i32 instance = 1; instance <= kLastVap; ++instance) {
        if (!has_vap(instance) || !is_stored_on(vap_of(instance).key("enable"))) {
            continue;
        }
        if (const char* const fault = find_security_fault(instance)) {
            ValueText mode;
            (void)uci_peek(vap_of(instance).key("auth").c_str(), mode);
            QSC_LOG(kLogError, "Device.WiFi.AccessPoint.%d.Security: %.40s %s\n", instance, mode.c_str(),
                    fault);
            return refuse(EFAULT, "access point %d: %.40s %s", instance, mode.c_str(), fault);
        }
    }
    return 0;
}

bool qsc::wifi::is_passphrase(std::string_view text)
{
    return text.size() >= 8 && text.size() <= 63;
}

bool qsc::wifi::is_pre_shared_key(std::string_view text)
{
    constexpr auto is_hex = [](char c) { return hex_value(c) >= 0; };
    constexpr auto is_ascii = [](char c) { return c >= ' ' && c <= '~'; };
    return text.size() == 64 ? std::ranges::all_of(text, is_hex)
                             : is_passphrase(text) && std::ranges::all_of(text, is_ascii);
}

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRows[] = {
    {.name = "ModesSupported", .place = Place::kFunction, .marks = kMany, .get = answer_modes},
    {.name = "EncryptionMode",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .marks = kMany | kCommas,
     .limits = "TKIP|AES",
     .key = "encr",
     .fallback = "AES",
     .check = check_whole},
    {.name = "KeyPassphrase",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = "8:63",
     .key = "psk",
     .check = check_key},
    {.name = "PreSharedKey",
     .kind = Kind::kHexBinary,
     .access = kReadWrite,
     .marks = kSecret,
     .limits = "32:32",
     .key = "psk",
     .check = check_key},
    {.name = "SAEPassphrase", .access = kReadWrite, .marks = kSecret, .limits = "8:63", .key = "sae"},
    {.name = "RekeyingInterval",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kSeconds,
     .key = "rekey",
     .fallback = "3600"},
    {.name = "RadiusServerIPAddr",
     .kind = Kind::kIPAddress,
     .access = kReadWrite,
     .key = "radius",
     .check = check_whole},
    {.name = "RadiusServerPort",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .key = "radiusport",
     .fallback = "1812"},
    {.name = "RadiusSecret", .access = kReadWrite, .marks = kSecret, .key = "radiuskey"},
    {.name = "SecondaryRadiusServerIPAddr",
     .kind = Kind::kIPAddress,
     .access = kReadWrite,
     .key = "radius2_"},
    {.name = "SecondaryRadiusServerPort",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .key = "radiusport2_",
     .fallback = "1812"},
    {.name = "SecondaryRadiusSecret", .access = kReadWrite, .marks = kSecret, .key = "radiuskey2_"},
    {.name = "MFPConfig",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = kProtectionWords,
     .key = "mfp",
     .fallback = "Disabled",
     .check = check_whole},
    {.name = "ModeEnabled",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = kModeWords,
     .key = "auth",
     .fallback = "None",
     .check = check_whole},
};

constexpr Row kAccountingRows[] = {
    {.name = "ServerIPAddr",
     .kind = Kind::kIPAddress,
     .access = kReadWrite,
     .key = "acct",
     .check = check_accounting},
    {.name = "ServerPort", .kind = Kind::kPort, .access = kReadWrite, .key = "acctport", .fallback = "1813"},
    {.name = "Secret", .access = kReadWrite, .marks = kSecret, .key = "acctkey"},
    {.name = "SecondaryServerIPAddr", .kind = Kind::kIPAddress, .access = kReadWrite, .key = "acct2_"},
    {.name = "SecondaryServerPort",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .key = "acctport2_",
     .fallback = "1813"},
    {.name = "SecondarySecret", .access = kReadWrite, .marks = kSecret, .key = "acctkey2_"},
    {.name = "InterimInterval",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kSeconds,
     .limits = "0|60:4294967295",
     .key = "acctinterim",
     .fallback = "0"},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "acctenable",
     .fallback = "0",
     .check = check_accounting},
};

} // namespace

QSC_OBJECT(kWiFiSecurity, "Device.WiFi.AccessPoint.{i}.Security", kRows, .area = "WiFi security",
           .instances = kLastVap, .exists = has_vap, .package = "mtkwireless", .locate = locate_vap)
QSC_OBJECT(kWiFiAccounting, "Device.WiFi.AccessPoint.{i}.Accounting", kAccountingRows,
           .area = "WiFi accounting", .instances = kLastVap, .exists = has_vap, .package = "mtkwireless",
           .locate = locate_vap)
