// SPDX-License-Identifier: Apache-2.0
// "Device.Routing.Rip.InterfaceSetting.1": whether routes are learnt and announced by RIP, and where. The
// routing daemon's own files are made from it by the script "ripd".
#include "core/Objects.h"
#include "core/ServeRow.h"
#include "handlers/network/References.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscRip");

u32 check_enable(const RowCall& call, std::string_view)
{
    RowText enabled;
    RowText interface;
    return read_outcome(call, "Enable", enabled) == 0 && is_switched_on(enabled.view()) &&
                   read_outcome(call, "Interface", interface) == 0 && interface.view().empty()
               ? refuse(EFAULT, "it needs an interface")
               : 0;
}

u32 check_interface(const RowCall& call, std::string_view stored)
{
    const u32 code = check_reference(stored);
    return code != 0 ? code : check_enable(call, stored);
}

/// Whether the daemon runs: the kernel knows the process of its file by that name.
bool is_running(Sources& sources)
{
    u32 process = 0;
    Text<62> path;
    if (!parse_leading(sources.file("/var/run/frr/ripd.pid"), process)) {
        return false;
    }
    path.append("/proc/").append_number(process).append("/comm");
    return first_line(sources.file(path.c_str())) == "ripd";
}

u32 answer_status(const RowCall& call)
{
    RowText enabled;
    RowText name;
    RowText reference;
    (void)read_stored(call.request, *find_row(call.request.object, "Enable"), enabled);
    (void)read_stored(call.request, *find_row(call.request.object, "Interface"), name);
    refer_to_interface(name.view(), reference);
    return answer_stored(call, !is_switched_on(enabled.view())    ? "Disabled"
                               : reference.view().empty()         ? "Error_Misconfigured"
                               : is_running(call.request.sources) ? "Enabled"
                                                                  : "Error");
}

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRows[] = {
    {.name = "Interface",
     .kind = Kind::kReference,
     .access = kReadWrite,
     .place = Place::kFunction,
     .limits = ":256",
     .key = "interface",
     .get = answer_reference,
     .check = check_interface,
     .set = store_reference},
    {.name = "AcceptRA", .kind = Kind::kBoolean, .access = kReadWrite, .key = "accept_ra", .fallback = "1"},
    {.name = "SendRA", .kind = Kind::kBoolean, .access = kReadWrite, .key = "send_ra", .fallback = "1"},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "0",
     .check = check_enable},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = Place::kFunction,
     .limits = "Disabled|Enabled|Error_Misconfigured|Error",
     .get = answer_status},
};

} // namespace

QSC_EXPORTED_OBJECT(kRip, "Device.Routing.Rip.InterfaceSetting.1", g_QscDevRtingRipIfSetting1Cmd, kRows,
                    .area = "rip", .section = "ripd.config.", .section_type = "ripd", .package = "ripd")
