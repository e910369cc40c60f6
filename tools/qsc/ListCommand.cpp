// SPDX-License-Identifier: Apache-2.0
// list: the objects that the library serves, or the parameters of one.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tools/qsc/Answers.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/Limits.h"
#include "tools/qsc/NearPath.h"
#include "tools/qsc/Parts.h"
#include "tools/qsc/Paths.h"
#include "tools/qsc/Report.h"

namespace qsc
{

namespace
{

const char* words_for(u32 access)
{
    const bool can_get = (access & QSC_OPER_GET) != 0;
    const bool can_set = (access & QSC_OPER_SET) != 0;
    return can_get && can_set ? "rw" : can_get ? "r" : can_set ? "w" : "-";
}

/// A list as JSON, while it grows.
class JsonList
{
  public:
    JsonList() : list_(json_object_new_array()) {}

    /// Begins the next element.
    void begin(const char* name)
    {
        element_ = json_object_new_object();
        json_object_array_add(list_.get(), element_);
        put("name", name);
    }
    void put(const char* name, const char* text) { put(name, json_object_new_string(text)); }
    void put(const char* name, u32 number) { put(name, json_object_new_int64(number)); }
    void mark(const char* name, bool is_so)
    {
        if (is_so) {
            put(name, json_object_new_boolean(1));
        }
    }
    void print() const { print_json(list_.get()); }

  private:
    void put(const char* name, json_object* value) { json_object_object_add(element_, name, value); }

    JsonRef list_;
    json_object* element_ = nullptr;
};

/// Prints objects one by one, as a table, by path alone or as JSON at the end.
class ObjectList
{
  public:
    explicit ObjectList(const Options& options) : options_(options) {}

    void add(const Object& object, const char* path)
    {
        if (options_.as_json) {
            json_.begin(path);
            json_.put("id", object.entry->id);
            json_.put("parameters", object.parameters);
            json_.put("commit", object.commit);
            json_.put("service", object.service);
            json_.put("packages", object.packages);
            json_.mark("grows", (object.flags & QSC_OBJECT_GROWS) != 0);
        } else if (options_.quiet) {
            std::puts(path);
        } else {
            std::printf("%-60s %3u\n", path, object.parameters);
        }
    }

    [[nodiscard]] ExitCode finish() const
    {
        if (options_.as_json) {
            json_.print();
        }
        return kDone;
    }

  private:
    const Options& options_;
    JsonList json_;
};

void print_parameter_table(const Object& object)
{
    std::size_t name_width = 0;
    std::size_t type_width = 0;
    std::size_t units_width = 0;
    for_each_parameter(object, [&](const Parameter& parameter) {
        name_width = std::max(name_width, std::strlen(parameter.name));
        type_width = std::max(type_width, std::strlen(parameter.type));
        units_width = std::max(units_width, std::strlen(parameter.units));
    });
    for_each_parameter(object, [&](const Parameter& parameter) {
        std::printf("%-*s  %-*s  %s", static_cast<int>(name_width), parameter.name,
                    static_cast<int>(type_width), parameter.type, words_for(parameter.access));
        // A column with nothing in or after it needs no blanks.
        const bool is_limited = has_limits(parameter);
        if (is_limited || !is_empty(parameter.units)) {
            const std::size_t access_rest = 2 - std::strlen(words_for(parameter.access));
            std::printf("%*s  %-*s", static_cast<int>(access_rest), "",
                        static_cast<int>(is_limited ? units_width : 0), parameter.units);
        }
        if (is_limited) {
            std::fputs(units_width != 0 ? "  " : "", stdout);
            print_limits(parameter);
        }
        std::putchar('\n');
    });
}

ExitCode list_parameters(const Options& options, const Object& object)
{
    if (options.as_json) {
        JsonList json;
        for_each_parameter(object, [&](const Parameter& parameter) {
            json.begin(parameter.name);
            json.put("type", parameter.type);
            json.put("access", words_for(parameter.access));
            json.put("units", parameter.units);
            json.put("values", parameter.values);
            json.mark("list", (parameter.flags & QSC_PARAM_LIST) != 0);
            json.mark("needed", (parameter.flags & QSC_PARAM_NEEDED) != 0);
            json.mark("secret", (parameter.flags & QSC_PARAM_SECRET) != 0);
        });
        json.print();
    } else if (options.quiet) {
        for_each_parameter(object, [](const Parameter& parameter) { std::puts(parameter.name); });
    } else {
        print_parameter_table(object);
    }
    return kDone;
}

/// Lists the objects whose paths begin with a text, as they are described.
ExitCode list_beginning(const Options& options, const char* text)
{
    ObjectList list{options};
    std::string_view last;
    for_each_object([&](const Object& object) {
        const std::string_view path{object.path};
        if (path.starts_with(text) && path != last) {
            list.add(object, object.path);
            last = path;
        }
    });
    return !last.empty() ? list.finish() : no_such_path(text);
}

/// Lists what exists at and below a path.
ExitCode list_below(const Options& options, const char* path)
{
    Place place;
    JsonRef paths;
    if (const ExitCode result = read_place(path, place)) {
        return result;
    }
    if (const ExitCode result = list_objects(options, place, paths)) {
        return result;
    }
    ObjectList list{options};
    for_each_text(paths.get(), [&](const char* each) {
        Target target;
        if (find_object(each, target)) {
            list.add(target.object, each);
        }
        return kDone;
    });
    return list.finish();
}

/// Finds the object whose parameters a path asks for; the number of an instance may be left out.
bool find_described(std::string_view path, Target& target)
{
    PathText instance;
    instance.append(path).append(".").append(kInstance);
    return (find_object(path, target) && target.object.parameters != 0) ||
           (instance.fits() && find_object(instance.view(), target) && target.object.parameters != 0);
}

/// Whether this, dot and all, is an object's own path.
bool is_path_of_object(std::string_view path)
{
    bool is_own = false;
    for_each_object(
        [&](const Object& object) { is_own = is_own || (object.path == path && object.parameters != 0); });
    return is_own;
}

} // namespace

ExitCode list(const Options& options, Words words)
{
    const char* const path = words.empty() ? "" : words[0];
    Target target;
    if (std::string_view{path}.ends_with('.') && !is_path_of_object(path)) {
        return list_below(options, path);
    }
    return find_described(path, target) ? list_parameters(options, target.object)
                                        : list_beginning(options, path);
}

} // namespace qsc
