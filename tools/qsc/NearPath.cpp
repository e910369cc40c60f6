// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/NearPath.h"

#include "tools/qsc/Lookup.h"
#include "tools/qsc/Parts.h"
#include "tools/qsc/Suggestion.h"
#include "tools/qsc/Tables.h"

namespace qsc
{

namespace
{

/// Looks for the nearest to a part among all that can follow a path, which is right: parts of objects' paths,
/// and the parameters of the object that it names.
void consider_next(std::string_view path, std::string_view part, Suggestion& nearest)
{
    for_each_object([&](const Object& object) {
        std::string_view next;
        switch (fit(path, object.path, &next)) {
        case Fit::kAbove:
            if (next != kInstance) {
                nearest.consider(next);
            } else if (part_fits(part, next)) {
                nearest.consider(part);
            }
            break;
        case Fit::kObject:
            for_each_parameter(object, [&](const Parameter& parameter) { nearest.consider(parameter.name); });
            break;
        case Fit::kNone:
            break;
        }
    });
}

/// Finds the path that is meant by a wrong one: each part that nothing has gives way to the nearest that
/// there is. False: some part has no near one.
bool find_near(std::string_view path, PathText& near)
{
    near.clear();
    Parts parts{path};
    for (std::string_view part; parts.next(part);) {
        Suggestion nearest{part};
        consider_next(near.view(), part, nearest);
        if (nearest.best().empty()) {
            return false;
        }
        near.append(near.view().empty() ? "" : ".").append(nearest.best());
    }
    return !near.view().empty() && near.fits();
}

} // namespace

ExitCode no_path()
{
    return wrong_usage("a path is 1 to 510 characters long, such as Device.X_QRN_RemoteLog");
}

ExitCode no_such_path(const char* path)
{
    PathText near;
    PathText from_root;
    from_root.append("Device.").append(path);
    const bool is_found = find_near(path, near) || find_near(from_root.view(), near);
    return wrong_usage("there is no path '%s'%s 'qsc list' shows them all.", path,
                       Hint{is_found ? near.view() : ""}.c_str());
}

} // namespace qsc
