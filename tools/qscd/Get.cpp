// SPDX-License-Identifier: Apache-2.0
// get: reading parameters, objects and whole branches.
#include <algorithm>
#include <cerrno>

#include "tools/qscd/Parameters.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

class Get
{
  public:
    explicit Get(Call& call) : call_(call), limit_(kLongestLine)
    {
        u32 number = 0;
        (void)take_number(call, "limit", kLongestLine, number);
        limit_ = number != 0 ? number : limit_;
        (void)take_number(call, "depth", UINT32_MAX, depth_);
        json_object* member = nullptr;
        wants_types_ = json_object_object_get_ex(call.params, "types", &member) != 0 &&
                       json_object_get_boolean(member) != 0;
        if (json_object_object_get_ex(call.params, "from", &member) != 0) {
            from_ = or_empty(json_object_get_string(member));
        }
    }

    void run()
    {
        call_.answer.start_result();
        text().append(R"({"values":{)");
        start_ = text().size();
        bool goes_on = true;
        for (u32 i = 0; i < call_.item_count && goes_on;) {
            goes_on = take_item(i);
        }
        finish();
    }

  private:
    Buffer& text() { return call_.answer.text(); }

    /// Serves an item, and those after it that name parameters of the same object.
    bool take_item(u32& i)
    {
        const Place& place = call_.items[i].place;
        base_ = place.object.view();
        if (place.is_partial) {
            ++i;
            bool goes_on = true;
            for (ObjectWalk walk{place}; goes_on && walk.next();) {
                goes_on = take_object(walk.entry(), walk.object(), true);
            }
            return goes_on;
        }
        if (place.name.view().empty()) {
            ++i;
            return take_object(*place.entry, place.object, false);
        }
        const JsonRef request{json_object_new_object()};
        for (; i < call_.item_count && is_same(call_.items[i].place, place); ++i) {
            json_object_object_add(request.get(), call_.items[i].place.name.c_str(),
                                   json_object_new_object());
        }
        (void)dispatch(call_, *place.entry, place.object, QSC_OPER_GET, request.get());
        return !call_.run.was_refused && check_named(place, request.get()) &&
               show(place.object, request.get());
    }

    static bool is_same(const Place& one, const Place& other)
    {
        return !one.name.view().empty() && one.entry == other.entry &&
               one.object.view() == other.object.view();
    }

    /// Reads those one by one that were not read because another one failed.
    bool check_named(const Place& place, json_object* request)
    {
        json_object_object_foreach(request, name, parameter)
        {
            i64 code = code_of(parameter);
            const char* sentence = last_sentence();
            if (code == -1 && call_.code != 0) {
                code = ask_alone(*place.entry, place.object, name, request);
                sentence = last_sentence();
            }
            if (call_.run.was_refused) {
                return false;
            }
            is_named_missing_ = is_named_missing_ || code != 0;
            if (code == -1) {
                add_failure(place.object, name, kNoSuchParameter, {});
            } else if (code != 0) {
                add_failure(place.object, name, fault_of(static_cast<u32>(code), false), sentence);
            }
        }
        return true;
    }

    /// Reads one parameter, and adds its answer to those of the object. @return its code
    i64 ask_alone(const Qsc_CommandEntry& entry, const PathText& object, const char* name, json_object* all)
    {
        const JsonRef request{json_object_new_object()};
        json_object* const parameter = json_object_new_object();
        json_object_object_add(request.get(), name, parameter);
        const u32 code = dispatch(call_, entry, object, QSC_OPER_GET, request.get());
        const i64 own = code != 0 ? code : code_of(parameter);
        if (own == 0) {
            json_object_object_add(all, name, json_object_get(parameter));
        }
        return own;
    }

    /// Reads all of an object. Below a partial path, an instance that does not exist is none.
    bool take_object(const Qsc_CommandEntry& entry, const PathText& object, bool is_found)
    {
        if (!from_.empty() && !may_hold(object.view(), from_)) {
            return true;
        }
        const JsonRef request{json_object_new_object()};
        const u32 code = dispatch(call_, entry, object, QSC_OPER_GET, request.get());
        if (call_.run.was_refused) {
            return false;
        }
        const bool is_absent = is_found && (code == EINVAL || code == ENODATA);
        const bool is_list = object.view().ends_with('*');
        if (code != 0 && !is_absent && !(is_list && code == ENODATA) &&
            !find_failed(entry, object, request.get(), code)) {
            return false;
        }
        return show(object, request.get());
    }

    /// Finds which parameters an object failed to answer; false: the attempt is over.
    bool find_failed(const Qsc_CommandEntry& entry, const PathText& object, json_object* request, u32 code)
    {
        const u32 before = failures_.count();
        // What failed of an object that is answered in two parts is in the first.
        const bool is_continued = !from_.empty();
        if (code == EINVAL || code == ENODATA) {
            // The object itself is not there, so neither is anything of it.
            is_named_missing_ = true;
            failures_.add(object.view(), fault_of(ENODATA, false), last_sentence());
            return true;
        }
        Qsc_ObjectInfo info{};
        Qsc_ParameterInfo parameter{};
        const bool is_known =
            QSysCmdHal_FindObject(object.c_str(), &info) == 0 && !object.view().ends_with('*');
        for (u32 number = 0; is_known && QSysCmdHal_DescribeParameter(&info, number, &parameter) == 0;
             ++number) {
            if ((parameter.access & QSC_OPER_GET) == 0 ||
                json_object_object_get_ex(request, parameter.name, nullptr) != 0) {
                continue;
            }
            const i64 own = ask_alone(entry, object, parameter.name, request);
            if (call_.run.was_refused) {
                return false;
            }
            if (own > 0 && !is_continued) {
                add_failure(object, parameter.name, fault_of(static_cast<u32>(own), false), last_sentence());
            }
        }
        if (failures_.count() == before && !is_continued) {
            failures_.add(object.view(), fault_of(code, false), last_sentence());
        }
        return true;
    }

    void add_failure(const PathText& object, const char* name, const Fault& fault, std::string_view sentence)
    {
        PathText path;
        path.append(without_dot(object.view())).append(".").append(name);
        failures_.add(path.view(), fault, sentence);
    }

    /// Whether a path can be among the values of an object, whose own may end in "*".
    static bool may_hold(std::string_view object, std::string_view path)
    {
        object.remove_suffix(object.ends_with('*') ? 1 : 0);
        return is_at_or_below(path, object);
    }

    bool show(const PathText& object, json_object* request)
    {
        const auto visit = [&](std::string_view path, std::string_view name, json_object* value) {
            return show_value(path, name, value);
        };
        return for_each_value(object.view(), request, visit);
    }

    /// Writes one value; false: there is no room for it.
    bool show_value(std::string_view object, std::string_view name, json_object* value)
    {
        PathText path;
        path.append(object);
        path.append(object.ends_with('.') ? "" : ".").append(name);
        if (!from_.empty()) {
            if (path.view() != from_) {
                return true;
            }
            from_ = {};
        }
        if (depth_ != 0 && depth_of(path.view()) > depth_) {
            return true;
        }
        const std::size_t before = text().size();
        text().append(before != start_ ? ",\"" : "\"").append(path.view()).append("\":");
        call_.answer.append_value(value);
        const std::size_t line = text().size() + types_.line().size() + failures_.list().size();
        if (!text().fits() || text().size() - start_ > limit_ || line + kReserve > kLongestLine) {
            // The first one is answered whatever the limit, or no request would get past it.
            if (before != start_ || !text().fits()) {
                text().cut(before);
                next_.append(path.view());
                return false;
            }
        }
        if (wants_types_) {
            add_type(object, name, path.view());
        }
        return true;
    }

    /// How many names a path has below the one that was asked for.
    [[nodiscard]] u32 depth_of(std::string_view path) const
    {
        path.remove_prefix(std::min(path.size(), without_dot(base_).size()));
        return static_cast<u32>(std::ranges::count(path, '.'));
    }

    void add_type(std::string_view object, std::string_view name, std::string_view path)
    {
        PathText text;
        text.append(object);
        Qsc_ParameterInfo parameter{};
        const bool is_known = describe(text, name, parameter);
        types_.text().append(types_.line().empty() ? "\"" : ",\"").append(path).append("\":");
        types_.append_text(is_known ? parameter.type : "");
    }

    void finish()
    {
        if (call_.run.was_refused) {
            return;
        }
        if (is_named_missing_ || (failures_.count() != 0 && text().size() == start_)) {
            failures_.tell(call_.answer);
            return;
        }
        if (!from_.empty()) {
            call_.answer.fail(kBadParams, "from: the paths of this request do not lead there");
            return;
        }
        text().append("}");
        if (wants_types_) {
            text().append(R"(,"types":{)").append(types_.line()).append("}");
        }
        if (failures_.count() != 0) {
            text().append(R"(,"failed":[)").append(failures_.list()).append("]");
        }
        if (!next_.view().empty()) {
            text().append(R"(,"next":")").append(next_.view()).append("\"");
        }
        text().append("}");
        call_.answer.end();
    }

    /// Room for what follows the values.
    static constexpr std::size_t kReserve = 1024;

    Call& call_;
    Failures failures_;
    Answer types_;
    std::string_view from_{};
    std::string_view base_{};
    PathText next_;
    std::size_t limit_;
    std::size_t start_ = 0;
    u32 depth_ = 0;
    bool wants_types_ = false;
    bool is_named_missing_ = false; ///< a path of the request itself cannot be answered
};

} // namespace

void execute_get(Call& call)
{
    Get{call}.run();
}

} // namespace qscd
