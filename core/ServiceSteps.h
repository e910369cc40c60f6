// SPDX-License-Identifier: Apache-2.0
// Service steps that do more than run init scripts, each defined beside its object.
#pragma once

#include "base/Types.h"

struct json_object;

namespace qsc::system
{

u32 serve_auto_reboot(const char* path, json_object* request);
u32 serve_leds(const char* path, json_object* request);
u32 serve_ssh(const char* path, json_object* request);
u32 serve_user(const char* path, json_object* request);

} // namespace qsc::system
