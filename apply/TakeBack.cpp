// SPDX-License-Identifier: Apache-2.0
#include "apply/TakeBack.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <span>
#include <string_view>

#include <json-c/json.h>

#include "apply/Apply.h"
#include "base/SafeFile.h"
#include "base/Text.h"
#include "base/UciOptional.h"

namespace qsc::apply
{

namespace
{

/// What is allocated in one piece for a time.
template <typename Element>
class Room
{
  public:
    explicit Room(std::size_t count)
        : memory_(static_cast<Element*>(std::calloc(count + 1, sizeof(Element)))),
          count_(memory_ != nullptr ? count : 0)
    {
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
    ~Room() { std::free(memory_); }

    [[nodiscard]] bool is_there() const { return memory_ != nullptr; }
    [[nodiscard]] std::span<Element> all() const { return {memory_, count_}; }
    Element& operator[](std::size_t number) const { return memory_[number]; }
    void shorten(std::size_t count) { count_ = count; }

  private:
    Element* memory_;
    std::size_t count_;
};

/// The characters of a line as the configuration library takes them: without its indentation, and whatever
/// way its words are quoted.
class Spelling
{
  public:
    explicit Spelling(std::string_view line) : rest_(line) { skip_blanks(); }

    /// 0: the line has ended; 1: a word has.
    char next()
    {
        while (!rest_.empty()) {
            const char c = take();
            if (quote_ == '\0' && (c == ' ' || c == '\t')) {
                skip_blanks();
                return rest_.empty() ? '\0' : '\1';
            }
            if (c == quote_) {
                quote_ = '\0';
            } else if (quote_ == '\0' && (c == '\'' || c == '"')) {
                quote_ = c;
            } else if (c == '\\' && quote_ != '\'' && !rest_.empty()) {
                return take();
            } else {
                return c;
            }
        }
        return '\0';
    }

  private:
    char take()
    {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }
    void skip_blanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size())); }

    std::string_view rest_;
    char quote_ = '\0';
};

bool say_the_same(std::string_view one, std::string_view other)
{
    Spelling left{one};
    Spelling right{other};
    for (;;) {
        const char c = left.next();
        if (c != right.next()) {
            return false;
        }
        if (c == '\0') {
            return true;
        }
    }
}

/// The lines of a text that say something.
class TextLines
{
  public:
    explicit TextLines(const char* text) : lines_(count(or_empty(text)))
    {
        std::string_view rest{or_empty(text)};
        std::size_t kept = 0;
        while (lines_.is_there() && !rest.empty()) {
            const std::string_view line{rest.data(), std::min(rest.find('\n'), rest.size())};
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            const std::size_t begin = line.find_first_not_of(" \t\r");
            if (begin != std::string_view::npos && line[begin] != '#') {
                lines_[kept++] = line;
            }
        }
        lines_.shorten(kept);
    }

    [[nodiscard]] bool is_there() const { return lines_.is_there(); }
    [[nodiscard]] std::span<std::string_view> all() const { return lines_.all(); }

  private:
    static std::size_t count(std::string_view text)
    {
        return static_cast<std::size_t>(std::ranges::count(text, '\n')) + 1;
    }

    Room<std::string_view> lines_;
};

using Lines = std::span<const std::string_view>;

/// Lines of one text that stand for lines of another.
struct Hunk {
    std::size_t begin, end; ///< in the text that both come from
    Lines lines;            ///< in their place
};

/// How a text comes from another, as hunks in their order.
class Script
{
  public:
    Script(Lines from, Lines to) : hunks_(std::max(from.size(), to.size()) + 1), is_there_(hunks_.is_there())
    {
        std::size_t first = 0;
        while (first < from.size() && first < to.size() && say_the_same(from[first], to[first])) {
            ++first;
        }
        std::size_t last = 0;
        while (last < from.size() - first && last < to.size() - first &&
               say_the_same(from[from.size() - 1 - last], to[to.size() - 1 - last])) {
            ++last;
        }
        if (is_there_) {
            compare(from, to, first, from.size() - last, to.size() - last);
        }
    }

    /// False: no memory, or too much of it would be needed.
    [[nodiscard]] bool is_there() const { return is_there_; }
    [[nodiscard]] std::span<const Hunk> hunks() const { return {hunks_.all().data(), count_}; }

  private:
    /// Finds the longest list of lines that both have, between `first` and the ends.
    void compare(Lines from, Lines to, std::size_t first, std::size_t from_end, std::size_t to_end)
    {
        constexpr std::size_t kMostCells = std::size_t{4} * 1024 * 1024;
        const std::size_t rows = from_end - first + 1;
        const std::size_t columns = to_end - first + 1;
        const Room<u16> cells{rows * columns <= kMostCells ? rows * columns : 0};
        is_there_ = cells.is_there() && rows * columns <= kMostCells && rows <= UINT16_MAX;
        if (!is_there_) {
            return;
        }
        const auto cell = [&](std::size_t i, std::size_t k) -> u16& {
            return cells[(i - first) * columns + (k - first)];
        };
        for (std::size_t i = from_end; i-- > first;) {
            for (std::size_t k = to_end; k-- > first;) {
                cell(i, k) = say_the_same(from[i], to[k]) ? static_cast<u16>(cell(i + 1, k + 1) + 1)
                                                          : std::max(cell(i + 1, k), cell(i, k + 1));
            }
        }
        std::size_t i = first;
        std::size_t k = first;
        while (i < from_end || k < to_end) {
            if (i < from_end && k < to_end && say_the_same(from[i], to[k])) {
                ++i;
                ++k;
                continue;
            }
            const std::size_t begin = i;
            const std::size_t begin_to = k;
            while ((i < from_end || k < to_end) &&
                   (i == from_end || k == to_end || !say_the_same(from[i], to[k]))) {
                const bool drops = k == to_end || (i < from_end && cell(i + 1, k) >= cell(i, k + 1));
                i += drops ? 1 : 0;
                k += drops ? 0 : 1;
            }
            hunks_[count_++] = {begin, i, to.subspan(begin_to, k - begin_to)};
        }
    }

    Room<Hunk> hunks_;
    std::size_t count_ = 0;
    bool is_there_;
};

bool append_lines(FileText& text, Lines lines)
{
    return std::ranges::all_of(lines, [&](std::string_view line) {
        std::string_view word = line;
        word.remove_prefix(line.find_first_not_of(" \t"));
        const bool is_section = word.starts_with("config");
        return (!is_section || text.append("\n")) && text.append(line) && text.append("\n");
    });
}

/// Does what both scripts do. False: they touch the same lines, or there is no memory.
/// `own_first`: of two insertions at one place, that of the first script comes first.
bool merge(Lines from, const Script& own, const Script& other, bool own_first, FileText& text)
{
    std::span<const Hunk> left = own.hunks();
    std::span<const Hunk> right = other.hunks();
    std::size_t place = 0;
    while (!left.empty() || !right.empty()) {
        const bool is_tie = !left.empty() && !right.empty() && left.front().begin == right.front().begin;
        const bool takes_left =
            right.empty() ||
            (!left.empty() && (is_tie ? own_first : left.front().begin < right.front().begin));
        std::span<const Hunk>& side = takes_left ? left : right;
        const Hunk& hunk = side.front();
        side = side.subspan(1);
        if (hunk.begin < place || !append_lines(text, from.subspan(place, hunk.begin - place)) ||
            !append_lines(text, hunk.lines)) {
            return false;
        }
        place = hunk.end;
    }
    return append_lines(text, from.subspan(place));
}

/// Counts differences by what they are; those of sections without names are known by their type.
struct Count {
    json_object* counts;
    int step;
};

u32 count_difference(const Qrn_UciDifference* difference, void* context)
{
    const auto& count = *static_cast<const Count*>(context);
    FileText key;
    const bool has_values = difference->kind != QRN_UCI_MOVED;
    const char marks[] = {static_cast<char>('0' + difference->kind),
                          static_cast<char>('0' + difference->is_old_list),
                          static_cast<char>('0' + difference->is_new_list), '\0'};
    for (const char* const part :
         {*difference->section == '@' ? "@" : difference->section, difference->type, difference->option,
          static_cast<const char*>(marks), has_values ? difference->old_value : "",
          has_values ? difference->new_value : ""}) {
        if (!key.append(part) || !key.append("\x1f")) {
            return ENOMEM;
        }
    }
    json_object* number = nullptr;
    (void)find_member(count.counts, key.c_str(), number);
    const int sum = json_object_get_int(number) + count.step;
    if (sum != 0) {
        return add_member(count.counts, key.c_str(), json_object_new_int(sum));
    }
    json_object_object_del(count.counts, key.c_str());
    return 0;
}

u32 compare(const char* before, const char* after, Qrn_UciDifferenceFunction* call, void* context)
{
    return call_optional(QrnUci_ComparePackages, before, after, call, context);
}

/// Whether a text differs from the one now by the change taken back, and by nothing else.
bool is_taken_back(const ChangedPackage& package, const char* text)
{
    const JsonRef counts{json_object_new_object()};
    Count up{counts.get(), 1};
    Count down{counts.get(), -1};
    return counts != nullptr && compare(package.now, text, count_difference, &up) == 0 &&
           compare(package.after, package.before, count_difference, &down) == 0 &&
           json_object_object_length(counts.get()) == 0;
}

/// Where differences have touched a package: {"SECTION": {"OPTION": true}}, "" for the section itself.
u32 note_touched(const Qrn_UciDifference* difference, void* context)
{
    auto* const touched = static_cast<json_object*>(context);
    json_object* section = nullptr;
    if (!find_member(touched, difference->section, section)) {
        section = json_object_new_object();
        if (const u32 code = add_member(touched, difference->section, section)) {
            return code;
        }
    }
    return add_member(section, difference->option, json_object_new_boolean(1));
}

/// Lists the options of a change that were touched later, or all of them.
struct Conflicts {
    const char* package;
    json_object* later; ///< null: all
    json_object* list;
};

u32 list_conflict(const Qrn_UciDifference* difference, void* context)
{
    const auto& conflicts = *static_cast<const Conflicts*>(context);
    json_object* section = nullptr;
    const bool is_touched =
        conflicts.later == nullptr ||
        (find_member(conflicts.later, difference->section, section) &&
         (*difference->option == '\0' || json_object_object_get_ex(section, "", nullptr) != 0 ||
          json_object_object_get_ex(section, difference->option, nullptr) != 0));
    if (!is_touched) {
        return 0;
    }
    JsonRef entry{json_object_new_object()};
    const auto put = [&](const char* name, const char* text) {
        return add_named_member(entry.get(), name, json_object_new_string(text));
    };
    u32 code = entry != nullptr ? put("package", conflicts.package) : u32{ENOMEM};
    code = code != 0 ? code : put("section", difference->section);
    code = code != 0 || *difference->option == '\0' ? code : put("option", difference->option);
    return code != 0 ? code : append_to(conflicts.list, entry.release());
}

u32 list_conflicts(const ChangedPackage& package, json_object* list)
{
    const JsonRef later{json_object_new_object()};
    const std::size_t before = json_object_array_length(list);
    Conflicts touched{package.name, later.get(), list};
    u32 code =
        later != nullptr ? compare(package.after, package.now, note_touched, later.get()) : u32{ENOMEM};
    code = code != 0 ? code : compare(package.before, package.after, list_conflict, &touched);
    if (code == 0 && json_object_array_length(list) == before) {
        // They are in each other's way all the same, such as by the order of sections.
        Conflicts all{package.name, nullptr, list};
        code = compare(package.before, package.after, list_conflict, &all);
    }
    return code;
}

bool is_same(const char* one, const char* other)
{
    return one == nullptr || other == nullptr ? one == other : std::string_view{one} == other;
}

} // namespace

u32 take_back(const ChangedPackage& package, JsonRef& text, json_object* conflicts)
{
    const auto give = [&](const char* content) {
        text.reset(content != nullptr ? json_object_new_string(content) : nullptr);
        return content == nullptr || text != nullptr ? 0 : u32{ENOMEM};
    };
    if (is_same(package.now, package.after)) {
        return give(package.before);
    }
    const TextLines after{package.after};
    const TextLines before{package.before};
    const TextLines now{package.now};
    if (!after.is_there() || !before.is_there() || !now.is_there()) {
        return ENOMEM;
    }
    const Script back{after.all(), before.all()};
    const Script later{after.all(), now.all()};
    for (const bool own_first : {true, false}) {
        FileText merged;
        if (back.is_there() && later.is_there() && merge(after.all(), back, later, own_first, merged) &&
            is_taken_back(package, merged.c_str())) {
            return give(merged.c_str());
        }
    }
    const u32 code = list_conflicts(package, conflicts);
    return code != 0 ? code : EAGAIN;
}

} // namespace qsc::apply
