// SPDX-License-Identifier: Apache-2.0
// Functions that a device's own configuration library may lack. Ours is loaded all the same, and what depends
// on a missing function is not served.
#pragma once

#include <cerrno>

#include "base/Types.h"
#include "include/qrnuci.h"

#pragma weak QrnUci_BeginView
#pragma weak QrnUci_EndView
#pragma weak QrnUci_RenewView
#pragma weak QrnUci_BeginChange
#pragma weak QrnUci_EndChange
#pragma weak QrnUci_CountSections
#pragma weak QrnUci_ListSections
#pragma weak QrnUci_FindSection
#pragma weak QrnUci_GetSectionName
#pragma weak QrnUci_GetSectionPosition
#pragma weak QrnUci_AddSection
#pragma weak QrnUci_DeleteSection
#pragma weak QrnUci_MoveSection
#pragma weak QrnUci_RenameSection
#pragma weak QrnUci_DeleteOption
#pragma weak QrnUci_GetList
#pragma weak QrnUci_SetList
#pragma weak QrnUci_BeginOverlay
#pragma weak QrnUci_EndOverlay
#pragma weak QrnUci_ListOverlay
#pragma weak QrnUci_ReadPackage
#pragma weak QrnUci_ReadPackageBefore
#pragma weak QrnUci_ReplacePackage
#pragma weak QrnUci_ComparePackages

namespace qsc
{

/// Calls one of these functions, or returns EFAULT if it is missing.
template <typename Function, typename... Arguments>
[[nodiscard]] u32 call_optional(Function* function, Arguments... arguments)
{
    return function != nullptr ? function(arguments...) : EFAULT;
}

/// Has the thread read one version of each package during its lifetime.
class UciView
{
  public:
    UciView() { (void)call_optional(QrnUci_BeginView); }
    UciView(const UciView&) = delete;
    UciView& operator=(const UciView&) = delete;
    ~UciView() { (void)call_optional(QrnUci_EndView); }
};

/// To be called after a command that may have changed the configuration.
inline void renew_uci_view()
{
    (void)call_optional(QrnUci_RenewView);
}

} // namespace qsc
