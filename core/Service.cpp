// SPDX-License-Identifier: Apache-2.0
#include "core/Service.h"

#include <algorithm>

#include "base/Parse.h"
#include "base/Recording.h"
#include "base/Text.h"
#include "core/Refusal.h"
#include "core/RunTool.h"
#include "include/bacl.h"

#include <json-c/json.h>
#include <unistd.h>

namespace qsc
{

namespace
{

constexpr const char* kModule = "QscCommon";

/// Whether the rules that are committed would load.
u32 check_firewall()
{
    constexpr const char* kProgram = "/sbin/fw4";
    constexpr const char* kArguments[] = {kProgram, "check", nullptr};
    constexpr u32 kDeadline = 30'000;
    if (access(kProgram, X_OK) != 0) {
        QSC_LOG(kLogDebug, "%s is not installed, the rules are not checked\n", kProgram);
        return 0;
    }
    const u32 code = run_tool({.arguments = kArguments, .deadline = kDeadline}, kModule);
    return code == 0 ? 0 : refuse(EFAULT, "the firewall would not load its rules");
}

} // namespace

u32 start_init_script(std::string_view script, std::string_view action)
{
    ValueText path;
    ValueText word;
    path.append("/etc/init.d/").append(script);
    if (!path.fits() || !word.assign(action)) {
        return refuse(EFAULT, "the action is too long");
    }
    const char* const arguments[] = {path.c_str(), word.c_str(), nullptr};
    const u32 code = run_tool({.arguments = arguments, .deadline = 0}, kModule);
    if (!is_planning()) {
        sync();
    }
    if (code != 0) {
        QSC_LOG(kLogError, "%s %s, error %u\n", path.c_str(), word.c_str(), code);
        return refuse(EFAULT, "%s %s failed", path.c_str(), word.c_str());
    }
    return 0;
}

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
        return refuse(EFAULT, "the action is missing, or no word that a command may take");
    }
    action = text;
    return 0;
}

u32 run_init_script(std::string_view script, std::string_view action)
{
    Text<126> command;
    command.append("/etc/init.d/").append(script).append(" ").append(action);
    return command.fits() ? QrnExeCmdSimple(command.c_str()) : EFAULT;
}

u32 serve_shell_scripts(json_object* request, const char* scripts)
{
    return serve_action(request, [&](std::string_view action) {
        return for_each_word(scripts,
                             [&](std::string_view script) { return run_init_script(script, action); });
    });
}

u32 serve_scripts(json_object* request, const char* scripts)
{
    return serve_action(request, [&](std::string_view action) -> u32 {
        const bool has_firewall = std::string_view{scripts}.find("firewall") != std::string_view::npos;
        if (const u32 code = has_firewall ? check_firewall() : 0) {
            return code;
        }
        return for_each_word(scripts,
                             [&](std::string_view script) { return start_init_script(script, action); });
    });
}

} // namespace qsc
