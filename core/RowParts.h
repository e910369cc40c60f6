// SPDX-License-Identifier: Apache-2.0
// What serving a row is made of, for the files that do it. See ServeRow.h for what handlers use.
#pragma once

#include "core/ServeRow.h"

namespace qsc
{

/// A call for one row of a request; `value` is the parameter's object.
[[nodiscard]] RowCall call_for(RowRequest& request, const PackedRow& row, json_object* value);

[[nodiscard]] bool is_switch(const PackedRow& row);
[[nodiscard]] bool is_number(const PackedRow& row);
/// Whether a stored switch is on for those who ask for the parameter.
[[nodiscard]] bool is_on(const PackedRow& row, std::string_view stored);

/// How a value or several are spoken, to all commanders but MQTT.
void speak(const PackedRow& row, std::string_view stored, RowText& spoken);

/// Takes what the caller sent, in the spelling in which it is stored.
[[nodiscard]] u32 take_stored(const RowCall& call, RowText& stored);

/// A secret that is sent back as it was read stays what it is.
[[nodiscard]] bool keeps_secret(const PackedRow& row, std::string_view stored);

/// "lan" of "network.lan.".
[[nodiscard]] std::string_view section_name(std::string_view section);

/// Refuses what is asked of an instance that is not there, or of a configuration that cannot be changed.
[[nodiscard]] u32 say_missing(const RowRequest& request);

/// Refuses what would be stored in a package that the device does not have, and logs it.
u32 say_uninstalled(u32 code, const char* module, std::string_view package);

/// Stores one value of a set.
[[nodiscard]] u32 set_row(const RowCall& call);

} // namespace qsc
