// SPDX-License-Identifier: Apache-2.0
// What differs between two texts of a package.
#include <algorithm>
#include <cerrno>

#include "base/Text.h"
#include "uci/ConfigFile.h"
#include "uci/Growing.h"
#include "uci/Matching.h"
#include "uci/Store.h"

namespace qrnuci::store
{

namespace
{

u32 parse(std::string_view what, const char* text, Package& package)
{
    const std::string_view source{qsc::or_empty(text)};
    char* const copy = package.arena().make_text(source.size());
    Path name;
    name.append(what);
    if (copy == nullptr) {
        return ENOMEM;
    }
    std::copy(source.begin(), source.end(), copy);
    return load_config("compared", name, copy, source.size(), package);
}

/// A section's or an option's value.
struct Value {
    std::string_view text;
    const Option* option = nullptr; ///< its items, instead of the text
};

Value value_of(const Option* option)
{
    return {{}, option};
}

bool is_list(const Value& value)
{
    return value.option != nullptr && value.option->is_list;
}

/// Tells the differences one by one. What answers a code ends with it.
class Reporter
{
  public:
    Reporter(const Sections& old_sections, const Sections& new_sections, Qrn_UciDifferenceFunction* call,
             void* context)
        : old_(old_sections.all), new_(new_sections.all), call_(call), context_(context)
    {
    }

    u32 report()
    {
        u32 code = 0;
        for (auto each = old_.begin(); code == 0 && each != old_.end(); ++each) {
            code = each->partner == nullptr ? report_lone(old_, *each, QRN_UCI_DELETED) : 0;
        }
        for (auto each = new_.begin(); code == 0 && each != new_.end(); ++each) {
            code = each->partner == nullptr ? report_lone(new_, *each, QRN_UCI_ADDED) : report_pair(*each);
        }
        return code;
    }

  private:
    /// A section that one package has alone, with its options.
    u32 report_lone(std::span<const Matched> all, const Matched& section, u32 kind)
    {
        begin(all, section);
        const auto tell_value = [&](std::string_view option, const Value& value) {
            return kind == QRN_UCI_ADDED ? tell(kind, option, {}, value) : tell(kind, option, value, {});
        };
        u32 code = tell_value({}, {section.section->type});
        for (const Option& option : section.section->options) {
            code = code != 0 ? code : tell_value(option.name, value_of(&option));
        }
        return code;
    }

    u32 report_pair(const Matched& section)
    {
        const Section& before = *section.partner->section;
        const Section& after = *section.section;
        begin(new_, section);
        if (const u32 code = report_itself(section)) {
            return code;
        }
        for (const Option& option : before.options) {
            const Option* const found = find_option(after, option.name);
            const u32 kind = found == nullptr ? QRN_UCI_DELETED : QRN_UCI_CHANGED;
            if (found != nullptr && is_same(option, *found)) {
                continue;
            }
            if (const u32 code = tell(kind, option.name, value_of(&option), value_of(found))) {
                return code;
            }
        }
        for (const Option& option : after.options) {
            if (find_option(before, option.name) != nullptr) {
                continue;
            }
            if (const u32 code = tell(QRN_UCI_ADDED, option.name, {}, value_of(&option))) {
                return code;
            }
        }
        return 0;
    }

    u32 report_itself(const Matched& section)
    {
        const Section& before = *section.partner->section;
        const Section& after = *section.section;
        const auto name_of = [](const Section& each) {
            return each.is_anonymous ? std::string_view{} : each.name;
        };
        u32 code = 0;
        if (name_of(before) != name_of(after)) {
            code = tell(QRN_UCI_RENAMED, {}, {name_of(before)}, {name_of(after)});
        }
        if (code == 0 && before.type != after.type) {
            code = tell(QRN_UCI_CHANGED, {}, {before.type}, {after.type});
        }
        if (code == 0 && section.is_moved) {
            qsc::Text<24> from;
            qsc::Text<24> to;
            from.append_number(section.partner->position);
            to.append_number(section.position);
            code = tell(QRN_UCI_MOVED, {}, {from.view()}, {to.view()});
        }
        return code;
    }

    /// Names the section that the next differences are of.
    void begin(std::span<const Matched> all, const Matched& section)
    {
        const std::string_view type = section.section->type;
        set(type_, {type});
        if (!section.section->is_anonymous) {
            set(section_, {section.section->name});
            return;
        }
        const auto index = std::ranges::count_if(
            all.first(section.position), [&](const Matched& each) { return each.section->type == type; });
        qsc::Text<24> number;
        number.append_number(index);
        section_.shorten(0);
        section_.append("@").append(type).append("[").append(number.view()).append({"]\0", 2});
    }

    u32 tell(u32 kind, std::string_view option, const Value& before, const Value& after)
    {
        set(option_, {option});
        set(before_, before);
        set(after_, after);
        for (const Growing* each : {&section_, &type_, &option_, &before_, &after_}) {
            if (each->failed()) {
                return ENOMEM;
            }
        }
        const Qrn_UciDifference difference{
            section_.view().data(),    type_.view().data(),      option_.view().data(), kind,
            is_list(before) ? 1U : 0U, is_list(after) ? 1U : 0U, before_.view().data(), after_.view().data()};
        return call_(&difference, context_);
    }

    /// Copies a value with its end, which no string view has.
    static void set(Growing& text, const Value& value)
    {
        text.shorten(0);
        text.append(value.text);
        if (value.option != nullptr) {
            std::string_view between;
            for (const Item& item : value.option->items) {
                text.append(between).append(item.value);
                between = " ";
            }
        }
        text.append({"\0", 1});
    }

    std::span<const Matched> old_;
    std::span<const Matched> new_;
    Qrn_UciDifferenceFunction* call_;
    void* context_;
    Growing section_;
    Growing type_;
    Growing option_;
    Growing before_;
    Growing after_;
};

} // namespace

u32 compare_packages(const char* before, const char* after, Qrn_UciDifferenceFunction* call, void* context)
{
    Package old_package;
    Package new_package;
    if (const u32 code = parse("a package's text before", before, old_package)) {
        return code;
    }
    if (const u32 code = parse("a package's text after", after, new_package)) {
        return code;
    }
    const Sections old_sections = qrnuci::list_sections(old_package);
    const Sections new_sections = qrnuci::list_sections(new_package);
    if (!old_sections.is_ok || !new_sections.is_ok ||
        !match(old_sections.all, new_sections.all, new_package.arena())) {
        return ENOMEM;
    }
    return Reporter{old_sections, new_sections, call, context}.report();
}

} // namespace qrnuci::store
