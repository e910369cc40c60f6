// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.AccessPoint.{i}.X_QRN_ACLNotes": the list of addresses that may connect, or may not, and with
// an address after the path what somebody has noted about it.
#include "base/UciOptional.h"
#include "core/Objects.h"
#include "handlers/wifi/AccessPoint.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFiAclNotes");

constexpr const char* kPackage = "mtkwireless";
constexpr const char* kType = "aclnote";
constexpr u32 kMostNotes = 1024;

/// What comes after the path; empty: nothing.
std::string_view address_of(const RowCall& call)
{
    return rest_of_path(call.request.object, call.request.path);
}

/// The section of an address's note, such as "mtkwireless.note11_02005E005301".
Text<126> section_of(const RowCall& call, bool with_package = true)
{
    Text<126> section;
    section.append(with_package ? "mtkwireless." : "").append("note").append_number(call.request.instance);
    section.append("_");
    for (const char& c : address_of(call)) {
        append_upper(section, c != ':' ? std::string_view{&c, 1} : std::string_view{});
    }
    return section;
}

/// With an address there is a note, and nothing else.
u32 answer_row(const RowCall& call)
{
    RowText stored;
    const u32 code = address_of(call).empty() ? read_stored(call.request, call.row, stored) : 0;
    return !address_of(call).empty() || code != 0 ? code : answer_stored(call, stored.view());
}

u32 check_row(const RowCall& call, std::string_view stored)
{
    return address_of(call).empty() ? check_access_list(call, stored)
                                    : refuse(EINVAL, "it is set without an address after the path");
}

u32 answer_note(const RowCall& call)
{
    const std::string_view address = address_of(call);
    if (address.empty()) {
        return 0;
    }
    if (!is_mac_address(address)) {
        return refuse(EINVAL, "there is no such address");
    }
    RowText note;
    (void)uci_peek(section_of(call).append(".note").c_str(), note);
    return answer_stored(call, note.view());
}

u32 check_note(const RowCall& call, std::string_view stored)
{
    u32 count = 0;
    if (!is_mac_address(address_of(call))) {
        return refuse(EINVAL, "a note needs an address after the path");
    }
    (void)call_optional(QrnUci_CountSections, kPackage, kType, &count);
    ValueText type;
    const bool is_new = uci_peek(section_of(call).c_str(), type) != 0;
    return is_new && !stored.empty() && count >= kMostNotes
               ? refuse(EFAULT, "there are %u notes already", count)
               : 0;
}

u32 store_note(const RowCall& call, std::string_view stored)
{
    const Text<126> section = section_of(call);
    ValueText value;
    if (stored.empty()) {
        const bool is_missing = uci_peek(section.c_str(), value) != 0;
        return is_missing ? 0 : call_optional(QrnUci_DeleteSection, section.c_str());
    }
    // Where it is there already, nothing is added.
    (void)call_optional(QrnUci_AddSection, kPackage, kType, section_of(call, false).c_str(),
                        static_cast<char*>(nullptr), 0U);
    const auto write = [&](const char* option, std::string_view text) {
        Text<126> key = section;
        return value.assign(text) ? uci_write(key.append(option).c_str(), value.c_str()) : u32{EFAULT};
    };
    Text<30> number;
    Text<30> address;
    number.append_number(call.request.instance);
    append_upper(address, address_of(call));
    u32 code = write(".ap", number.view());
    code = code != 0 ? code : write(".mac", address.view());
    code = code != 0 ? code : write(".note", stored);
    return code != 0 ? refuse(code, "the note could not be stored") : 0;
}

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRows[] = {
    {.name = "List",
     .kind = Kind::kMacAddress,
     .access = kReadWrite,
     .place = Place::kList,
     .marks = kMany,
     .key = "maclist",
     .get = answer_row,
     .check = check_row},
    {.name = "Mode",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "Off|Allow|Deny",
     .key = "macmode",
     .fallback = "Off",
     .get = answer_row,
     .check = check_row},
    {.name = "Note",
     .access = kReadWrite,
     .place = Place::kFunction,
     .limits = ":63",
     .get = answer_note,
     .check = check_note,
     .set = store_note},
};

} // namespace

QSC_OBJECT(kWiFiAclNotes, "Device.WiFi.AccessPoint.{i}.X_QRN_ACLNotes", kRows, .area = "WiFi MAC list",
           .instances = kLastVap, .exists = has_vap, .package = kPackage, .locate = locate_vap,
           .rows_by = "address")
