// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Instances.h"

#include <algorithm>

#include "base/Parse.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/Lookup.h"
#include "tools/qsc/Parts.h"
#include "tools/qsc/Report.h"
#include "tools/qsc/Requests.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

constexpr const char* kNumbers = "X_QRN_Instances";

ExitCode not_told(const Object& object)
{
    return failure("%s: its instances cannot be found", object.path);
}

/// Finds the object that tells the numbers of a list: the nearest above that has a parameter for it.
bool find_teller(const Object& list, Target& teller)
{
    teller.path.clear();
    for_each_object([&](const Object& object) {
        const std::string_view path{object.path};
        Parameter parameter;
        if (path.size() > teller.path.view().size() && fit(path, list.path) == Fit::kAbove &&
            find_parameter(object, kNumbers, parameter)) {
            teller.object = object;
            teller.path.clear();
            teller.path.append(path);
        }
    });
    return !teller.path.view().empty();
}

} // namespace

ExitCode Instances::find(const Options& options, const Object& object)
{
    // The configuration that counts is the daemon's.
    const bool is_asked = options.by_queue && (object.flags & QSC_OBJECT_GROWS) != 0;
    return is_asked ? ask(options, object) : find_here(object);
}

ExitCode Instances::find_here(const Object& object)
{
    u32 room = 0;
    if (QSysCmdHal_FindInstances(&object, nullptr, 0, &room) != 0 || !make_room(room) ||
        QSysCmdHal_FindInstances(&object, numbers_.get(), room, &count_) != 0) {
        return not_told(object);
    }
    // Others may have added some meanwhile.
    count_ = std::min(count_, room);
    return kDone;
}

ExitCode Instances::ask(const Options& options, const Object& object)
{
    Target teller;
    const JsonRef request{json_object_new_object()};
    if (!find_teller(object, teller) || object_in(request.get(), kNumbers) == nullptr) {
        return not_told(object);
    }
    if (const ExitCode result = send(options, teller, "get", QSC_OPER_GET, request.get())) {
        return result;
    }
    json_object* const answer = queue::member_of(queue::member_of(request.get(), kNumbers), "ParamValue");
    const char* const text = json_object_get_string(answer);
    if (text == nullptr || !make_room(static_cast<u32>(std::string_view{text}.size()))) {
        return not_told(object);
    }
    for (std::string_view rest{text}; !rest.empty();) {
        const std::size_t length = std::min(rest.find(','), rest.size());
        if (!parse_whole({rest.data(), length}, numbers_.get()[count_])) {
            return not_told(object);
        }
        ++count_;
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return kDone;
}

bool Instances::make_room(u32 count)
{
    count_ = 0;
    numbers_.reset(static_cast<u32*>(std::calloc(count + 1, sizeof(u32))));
    return numbers_ != nullptr;
}

} // namespace qsc
