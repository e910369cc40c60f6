// SPDX-License-Identifier: Apache-2.0
// Gets and sets of the radio parameters that are more than a stored number.
#pragma once

#include "handlers/wifi/Wifi.h"

namespace qsc::wifi
{

[[nodiscard]] u32 answer_standards(const Call& call, const Radio& radio);
[[nodiscard]] u32 set_standards(const Call& call, const Radio& radio);
[[nodiscard]] u32 answer_possible_channels(const Call& call, const Radio& radio);
[[nodiscard]] u32 answer_country(const Call& call, const Radio& radio);
[[nodiscard]] u32 set_country(const Call& call, const Radio& radio);
[[nodiscard]] u32 answer_auto_channel(const Call& call, const Radio& radio);
[[nodiscard]] u32 set_auto_channel(const Call& call, const Radio& radio);
[[nodiscard]] u32 answer_channel(const Call& call, const Radio& radio);
[[nodiscard]] u32 set_channel(const Call& call, const Radio& radio);
[[nodiscard]] u32 answer_skip_list(const Call& call, const Radio& radio);
[[nodiscard]] u32 set_skip_list(const Call& call, const Radio& radio);
[[nodiscard]] u32 answer_bandwidth(const Call& call, const Radio& radio);
[[nodiscard]] u32 set_bandwidth(const Call& call, const Radio& radio);

} // namespace qsc::wifi
