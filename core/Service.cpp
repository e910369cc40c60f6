// SPDX-License-Identifier: Apache-2.0
#include "core/Service.h"

#include <algorithm>

#include "base/Parse.h"
#include "base/Text.h"
#include "include/bacl.h"

#include <json-c/json.h>

namespace qsc
{

u32 take_action(json_object* request, std::string_view& action)
{
    // The action stands in a shell command as it is, so nothing may pass that starts a second one.
    constexpr auto is_unsafe = [](char character) {
        return is_control(character) || is_shell_special(character);
    };
    json_object* member = nullptr;
    std::string_view text;
    if (!find_member(request, "action", member) || !json_object_is_type(member, json_type_string) ||
        text_of(member, text) != 0 || text.empty() || std::ranges::any_of(text, is_unsafe)) {
        return EFAULT;
    }
    action = text;
    return 0;
}

u32 run_init_script(const char* script, std::string_view action)
{
    Text<126> command;
    command.append("/etc/init.d/").append(script).append(" ").append(action);
    return command.fits() ? QrnExeCmdSimple(command.c_str()) : EFAULT;
}

u32 serve_service(json_object* request, std::span<const char* const> scripts)
{
    return serve_action(request, [&](std::string_view action) -> u32 {
        for (const char* script : scripts) {
            if (const u32 code = run_init_script(script, action)) {
                return code;
            }
        }
        return 0;
    });
}

} // namespace qsc
