// SPDX-License-Identifier: Apache-2.0
// The exported tables whose handlers do not exist yet; see EmptyTables.h.
#include "core/EmptyTables.h"

#include "include/qsc_handlers.h"

using qsc::kTableEnd;

const Qsc_ParamEntry g_Qsc2ndStaticIpCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDeviceLedsCmd[] = {kTableEnd};
Qsc_ParamEntry g_QscSysUpgCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDevInfoCPUCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDevInfoMemCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDevInfoFlashCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDeviceInfoCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDhcpV4ServerPoolCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscEthIfaceCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscIpv4InterfaceCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDevLLDPCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDeviceRoutingRouter1Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDevRtingRipIfSetting1Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDeviceUsersUser1Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscSiteSurveyNumcmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscAutoRebootCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscVpn1Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscVpn2Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscVpn3Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscVpn4Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscVpn5Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscVpn6Cmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscVpnMainCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscDMZCmd[] = {kTableEnd};
const Qsc_ParamEntry g_QscnDPICmd[] = {kTableEnd};
