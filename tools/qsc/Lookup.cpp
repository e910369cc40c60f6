// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Lookup.h"

#include "base/Parse.h"
#include "tools/qsc/NearPath.h"
#include "tools/qsc/Suggestion.h"

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

} // namespace

bool parse_number(std::string_view text, u32& number)
{
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        return parse_whole(text, number, 16);
    }
    return parse_whole(text, number);
}

bool find_subtree(const char* path, Target& target)
{
    if (*path == '\0' || !target.path.assign(path)) {
        no_path();
        return false;
    }
    PathText dotted;
    dotted.append(path).append(".");
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        if (dotted.view() == entry->path) {
            target.path = dotted;
        }
        if (is_at_or_below(target.path.view(), entry->path)) {
            return QSysCmdHal_FindObject(target.path.c_str(), &target.object) == 0;
        }
    }
    no_such_path(path);
    return false;
}

bool find_parameter(const Object& object, std::string_view name, Parameter& parameter)
{
    for (u32 number = 0; QSysCmdHal_DescribeParameter(&object, number, &parameter) == 0; ++number) {
        if (name == parameter.name) {
            return true;
        }
    }
    return false;
}

ExitCode check_parameter(const Target& target, std::string_view name)
{
    Parameter parameter;
    if (target.object.parameters == 0) {
        return not_served(target.path.view());
    }
    if (find_parameter(target.object, name, parameter)) {
        return kDone;
    }
    Suggestion nearest{name};
    for_each_parameter(target.object, [&](const Parameter& each) { nearest.consider(each.name); });
    return wrong_usage("%s has no parameter '%.*s'%s 'qsc list %s' shows them all.", target.path.c_str(),
                       static_cast<int>(name.size()), name.data(), Hint{nearest}.c_str(),
                       target.path.c_str());
}

ExitCode not_served(std::string_view path)
{
    return failure("%.*s has no parameters in this library", static_cast<int>(path.size()), path.data());
}

} // namespace qsc
