// SPDX-License-Identifier: Apache-2.0
// "version": the versions of this library, of the host program and of the firmware.
#include "base/Text.h"
#include "core/CommandTable.h"
#include "core/Objects.h"
#include "core/Request.h"
#include "include/qsc_handlers.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscVersion");
constexpr const char* kLibraryVersion = "0.0.1";

/// The record that the host may have left in the "version" row of the command table.
const Qsc_VersionRecord* host_record()
{
    const Qsc_CommandEntry* const row = find_command_for("version");
    return row != nullptr
               ? reinterpret_cast<const Qsc_VersionRecord*>(static_cast<std::uintptr_t>(row->reserved))
               : nullptr;
}

/// The text that the table entry carries, else the host's, else none.
const char* host_version(const Call& call, decltype(&Qsc_VersionRecord::fwver) field)
{
    const auto* const text = reinterpret_cast<const char*>(static_cast<std::uintptr_t>(call.param));
    if (!is_empty(text)) {
        return text;
    }
    const Qsc_VersionRecord* const record = host_record();
    return record != nullptr ? or_empty(record->*field) : "";
}

u32 version(const Call& call, const char* text)
{
    return serve_get(call, [&] { return answer_text(call.value, text, "version"); });
}

} // namespace

QSC_HANDLER(Qsc_Version_Do_HalVer, version(call, kLibraryVersion))
QSC_HANDLER(Qsc_Version_Do_ProgVer, version(call, host_version(call, &Qsc_VersionRecord::progver)))
QSC_HANDLER(Qsc_Version_Do_FwVer, version(call, host_version(call, &Qsc_VersionRecord::fwver)))

namespace
{

constexpr Row kRows[] = {
    handled("halver", Kind::kText, Access::kRead, Qsc_Version_Do_HalVer),
    handled("progver", Kind::kText, Access::kRead, Qsc_Version_Do_ProgVer),
    handled("fwver", Kind::kText, Access::kRead, Qsc_Version_Do_FwVer),
};

} // namespace

QSC_DESCRIBED_OBJECT(kVersion, "version", g_QscVersionCmd, kRows)
