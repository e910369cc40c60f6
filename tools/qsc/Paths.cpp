// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Paths.h"

#include <json-c/json.h>

#include "tools/qsc/Instances.h"
#include "tools/qsc/NearPath.h"
#include "tools/qsc/Parts.h"
#include "tools/qsc/Report.h"

namespace qsc
{

namespace
{

/// What a path fits, as a whole.
struct Fits {
    Object object{};        ///< the first that it names, if possible one with parameters, or that itself
    bool is_object = false; ///< it names one
    bool is_above = false;  ///< it is above others
    bool has_below = false; ///< which have parameters

    [[nodiscard]] bool is_served() const { return is_object && object.parameters != 0; }
};

/// How a path as it was written relates to an object, of which it may name a row.
Fit fit_object(std::string_view written, const Object& object)
{
    const Fit kind = fit(written, object.path);
    const std::size_t dot = written.rfind('.');
    if (kind != Fit::kNone || (object.flags & QSC_OBJECT_ROWS) == 0 || dot == std::string_view::npos ||
        !is_row({written.data() + dot + 1, written.size() - dot - 1})) {
        return kind;
    }
    return fit({written.data(), dot}, object.path) == Fit::kObject ? Fit::kObject : Fit::kNone;
}

/// Whether the path is an object's own, dot or not, and not one that leaves its instance open.
bool is_own_path(const Object& object, std::string_view path)
{
    std::string_view own = object.path;
    own.remove_suffix(own.ends_with('.') ? 1 : 0);
    path.remove_suffix(path.ends_with('.') ? 1 : 0);
    return object.parameters != 0 && own == path;
}

Fits find_fits(std::string_view path)
{
    Fits found;
    for_each_object([&](const Object& object) {
        const Fit kind = fit_object(path, object);
        if (kind == Fit::kAbove) {
            found.is_above = true;
            found.has_below = found.has_below || object.parameters != 0;
        } else if (kind == Fit::kObject && (!found.is_served() || is_own_path(object, path))) {
            found.object = object;
            found.is_object = true;
        }
    });
    return found;
}

/// Makes the path that requests for an instance name: the object's own, with the numbers that a path as it
/// was written has, and with `number` where it has none. Answers whether there is such a place.
bool make_path(const Object& object, std::string_view written, std::string_view number, PathText& path)
{
    bool is_open = false;
    path.clear();
    Parts parts{object.path};
    Parts given{written};
    for (std::string_view part; parts.next(part);) {
        std::string_view own;
        const bool is_number_given = given.next(own) && is_number(own);
        is_open = is_open || (part == kInstance && !is_number_given);
        path.append(path.view().empty() ? "" : ".")
            .append(part != kInstance ? part
                    : is_number_given ? own
                                      : number);
    }
    std::string_view row;
    const bool has_row = given.next(row);
    path.append(has_row || std::string_view{object.path}.ends_with('.') ? "." : "").append(row);
    return is_open;
}

bool add_path(json_object* paths, const PathText& path)
{
    JsonRef text{json_object_new_string(path.c_str())};
    if (!path.fits() || text == nullptr || json_object_array_add(paths, text.get()) != 0) {
        failure("out of memory");
        return false;
    }
    (void)text.release();
    return true;
}

/// Adds the paths of an object's instances, or the one that is meant. False: not all, which has been said.
bool add_object(const Options& options, const Object& object, std::string_view written, json_object* paths)
{
    PathText path;
    if (!make_path(object, written, "", path)) {
        return add_path(paths, path);
    }
    Instances instances;
    if (instances.find(options, object) != kDone) {
        return false;
    }
    for (const u32 number : instances.numbers()) {
        Text<30> digits;
        digits.append_number(number);
        (void)make_path(object, written, digits.view(), path);
        if (!add_path(paths, path)) {
            return false;
        }
    }
    return true;
}

/// Parents come before their children, numbers by their value, all else by its letters.
int compare_paths(const void* first, const void* second)
{
    const auto path_of = [](const void* element) {
        return json_object_get_string(*static_cast<json_object* const*>(element));
    };
    Parts left{path_of(first)};
    Parts right{path_of(second)};
    for (;;) {
        std::string_view a;
        std::string_view b;
        const bool has_a = left.next(a);
        const bool has_b = right.next(b);
        if (!has_a || !has_b) {
            return static_cast<int>(has_a) - static_cast<int>(has_b);
        }
        if (is_number(a) && is_number(b) && a.size() != b.size()) {
            return a.size() < b.size() ? -1 : 1;
        }
        if (a != b) {
            return a < b ? -1 : 1;
        }
    }
}

/// Reads a path whose last part is the name of a parameter. False: it is none.
bool read_parameter(std::string_view text, Place& place)
{
    const std::size_t dot = text.rfind('.');
    if (dot == std::string_view::npos) {
        return false;
    }
    const std::string_view above{text.data(), dot};
    const std::string_view name{text.data() + dot + 1, text.size() - dot - 1};
    const Fits found = find_fits(above);
    Parameter parameter;
    if (!found.is_object || !find_parameter(found.object, name, parameter)) {
        return false;
    }
    place.reach = holds_every(above) ? Place::kObjects : Place::kObject;
    return place.path.assign(above) && place.parameter.assign(name);
}

} // namespace

bool is_path(std::string_view word)
{
    return word.find('.') != std::string_view::npos || find_fits(word).is_object;
}

ExitCode read_place(const char* text, Place& place)
{
    const std::string_view written{text};
    place.parameter.clear();
    if (written.empty() || !place.path.assign(written)) {
        return no_path();
    }
    const Fits found = find_fits(written);
    if (!found.is_object && !found.is_above) {
        return read_parameter(written, place) ? kDone : no_such_path(text);
    }
    const bool asks_for_all = written.ends_with('.') || !found.is_served();
    place.reach = asks_for_all && (found.is_served() || found.has_below) ? Place::kBelow
                  : holds_every(written)                                 ? Place::kObjects
                                                                         : Place::kObject;
    return kDone;
}

ExitCode list_objects(const Options& options, const Place& place, JsonRef& paths)
{
    paths.reset(json_object_new_array());
    if (paths == nullptr) {
        return failure("out of memory");
    }
    bool is_served = false;
    bool is_whole = true;
    const std::string_view path = place.path.view();
    // A list's own path also fits its instances, which are then below it.
    const bool is_alone = place.reach != Place::kBelow && is_own_path(find_fits(path).object, path);
    for_each_object([&](const Object& object) {
        const Fit kind = fit_object(path, object);
        if (object.parameters != 0 && (!is_alone || is_own_path(object, path)) &&
            (kind == Fit::kObject || (kind == Fit::kAbove && place.reach == Place::kBelow))) {
            is_served = true;
            is_whole = is_whole && add_object(options, object, path, paths.get());
        }
    });
    json_object_array_sort(paths.get(), compare_paths);
    return !is_whole ? kFailed : is_served ? kDone : not_served(path);
}

bool find_object(std::string_view path, Target& target)
{
    const Fits found = find_fits(path);
    if (found.is_object) {
        target.object = found.object;
        (void)make_path(found.object, path, kEvery, target.path);
    }
    return found.is_object;
}

} // namespace qsc
