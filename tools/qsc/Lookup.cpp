// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Lookup.h"

#include <algorithm>

#include "base/Parse.h"
#include "tools/qsc/Report.h"
#include "tools/qsc/Suggestion.h"
#include "tools/qsc/Tables.h"

namespace qsc
{

namespace
{

/// Whether a path is the subtree's own or below it.
bool is_at_or_below(std::string_view path, std::string_view subtree)
{
    return path.starts_with(subtree) &&
           (path.size() == subtree.size() || subtree.ends_with('.') || path[subtree.size()] == '.');
}

/// What stands up to the first dot.
std::string_view first_part(std::string_view path)
{
    return {path.data(), std::min(path.find('.'), path.size())};
}

/// The path that is meant by a wrong one: each part that no subtree has gives way to the nearest that one
/// has, and what stands below a subtree stays. False: some part has no near one.
bool find_near_path(std::string_view path, PathText& near)
{
    for (near.clear(); !path.empty();) {
        const std::string_view part = first_part(path);
        path.remove_prefix(std::min(part.size() + 1, path.size()));
        Suggestion nearest{part};
        bool is_end = true;
        for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
            std::string_view rest{entry->path};
            if (rest.starts_with(near.view()) && rest.size() > near.view().size()) {
                rest.remove_prefix(near.view().size());
                nearest.consider(first_part(rest));
                is_end = false;
            }
        }
        if (is_end) {
            near.append(part).append(path.empty() ? "" : ".").append(path);
            return true;
        }
        if (nearest.best().empty()) {
            return false;
        }
        near.append(nearest.best()).append(path.empty() ? "" : ".");
    }
    return !near.view().empty();
}

} // namespace

bool parse_number(std::string_view text, u32& number)
{
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        return parse_whole(text, number, 16);
    }
    return parse_whole(text, number);
}

bool find_target(const char* path, Target& target)
{
    if (!target.path.assign(path) || *path == '\0') {
        wrong_usage("a path is 1 to 510 characters long, such as Device.X_QRN_RemoteLog");
        return false;
    }
    PathText dotted;
    dotted.append(path).append(".");
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        if (is_at_or_below(path, entry->path)) {
            target.entry = entry;
            return true;
        }
        if (dotted.view() == entry->path) {
            target = {entry, dotted};
            return true;
        }
    }
    PathText near;
    PathText from_root;
    from_root.append("Device.").append(path);
    const bool is_found = find_near_path(path, near) || find_near_path(from_root.view(), near);
    wrong_usage("there is no path '%s'%s 'qsc list' shows them all.", path,
                Hint{is_found ? near.view() : ""}.c_str());
    return false;
}

const Qsc_ParamEntry* parameters_of(const Target& target)
{
    return parameters_of(*target.entry, target.path.view());
}

ExitCode check_parameter(const Target& target, std::string_view name)
{
    Suggestion nearest{name};
    for (const Qsc_ParamEntry* entry = parameters_of(target); entry->id != QSC_TABLE_END; ++entry) {
        if (name == entry->name) {
            return kDone;
        }
        nearest.consider(entry->name);
    }
    if (const ExitCode none = check_any_parameter(target)) {
        return none;
    }
    return wrong_usage("%s has no parameter '%.*s'%s 'qsc list %s' shows them all.", target.path.c_str(),
                       static_cast<int>(name.size()), name.data(), Hint{nearest}.c_str(),
                       target.path.c_str());
}

ExitCode check_any_parameter(const Target& target)
{
    return parameters_of(target)->id != QSC_TABLE_END
               ? kDone
               : failure("%s has no parameters in this library", target.path.c_str());
}

} // namespace qsc
