// SPDX-License-Identifier: Apache-2.0
// What the service step of a system object does besides running init scripts.
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
