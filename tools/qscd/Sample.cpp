// SPDX-License-Identifier: Apache-2.0
// Reading what is watched: the values of a call's paths as one object, path to value. What cannot be read now
// is noted and holds nothing else up.
#include <cerrno>

#include "tools/qscd/Methods.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// Reads all of an object, or one parameter of it; false: the attempt is over.
bool take_object(Call& call, const Qsc_CommandEntry& entry, const PathText& object, const char* name)
{
    const JsonRef request{json_object_new_object()};
    if (*name != '\0') {
        json_object_object_add(request.get(), name, json_object_new_object());
    }
    const u32 code = dispatch(call, entry, object, QSC_OPER_GET, request.get());
    if (call.run.was_refused) {
        return false;
    }
    if (code != 0 && code != EINVAL && code != ENODATA) {
        json_object_object_add(call.unread.get(), object.c_str(), nullptr);
    }
    const auto add = [&](std::string_view path, std::string_view parameter, json_object* value) {
        PathText full;
        full.append(path).append(path.ends_with('.') ? "" : ".").append(parameter);
        json_object_object_add(call.sample.get(), full.c_str(), json_object_get(value));
        return true;
    };
    return for_each_value(object.view(), request.get(), add);
}

} // namespace

void execute_sample(Call& call)
{
    call.sample.reset(json_object_new_object());
    call.unread.reset(json_object_new_object());
    bool goes_on = true;
    for (u32 i = 0; i < call.item_count && goes_on; ++i) {
        const Place& place = call.items[i].place;
        if (!place.is_partial) {
            goes_on = take_object(call, *place.entry, place.object, place.name.c_str());
            continue;
        }
        for (ObjectWalk walk{place}; goes_on && walk.next();) {
            goes_on = take_object(call, walk.entry(), walk.object(), "");
        }
    }
}

} // namespace qscd
