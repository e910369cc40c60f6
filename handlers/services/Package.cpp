// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/Package.h"

#include <algorithm>
#include <cstring>

#include "base/UciOptional.h"

namespace qsc::services
{

namespace
{

Text<254> section_key(const Package& package, std::string_view section)
{
    Text<254> key;
    key.append(package.name).append(".").append(section);
    return key;
}

Text<254> option_key(const Package& package, std::string_view section, const char* option)
{
    Text<254> key = section_key(package, section);
    key.append(".").append(option);
    return key;
}

} // namespace

ValueText Package::type_of(std::string_view section) const
{
    ValueText type;
    (void)uci_peek(section_key(*this, section).c_str(), type);
    return type;
}

bool Package::read(std::string_view section, const char* option, RowText& value) const
{
    return uci_read_whole(option_key(*this, section, option).c_str(), value) == 0;
}

RowText Package::get(std::string_view section, const char* option) const
{
    RowText value;
    (void)read(section, option, value);
    return value;
}

bool Package::holds(std::string_view section, const char* option, std::string_view text) const
{
    RowText value;
    return read(section, option, value) && value.view() == text;
}

bool Package::is_on(std::string_view section, const char* option, bool fallback) const
{
    RowText value;
    return read(section, option, value) && (value.view().empty() ? fallback : is_switched_on(value.view()));
}

u32 Package::keep(std::string_view section, const char* option, std::string_view value) const
{
    RowText text;
    if (holds(section, option, value)) {
        return 0;
    }
    return text.assign(value) ? uci_write(option_key(*this, section, option).c_str(), text.c_str()) : EFAULT;
}

u32 Package::keep(std::string_view section, std::span<const OptionValue> values) const
{
    u32 code = 0;
    for (const auto& [option, value] : values) {
        code = code != 0 ? code : keep(section, option, value);
    }
    return code;
}

u32 Package::make(const char* section, const char* type) const
{
    return !type_of(section).view().empty()
               ? 0
               : call_optional(QrnUci_AddSection, name, type, section, static_cast<char*>(nullptr), 0U);
}

u32 Package::drop(std::string_view section) const
{
    return call_optional(QrnUci_DeleteSection, section_key(*this, section).c_str());
}

Sections::Sections(const Package& package, const char* type)
{
    is_read_ = call_optional(QrnUci_ListSections, package.name, type, names_.data(),
                             static_cast<u32>(names_.size()), &left_) == 0;
    left_ = is_read_ ? left_ : 0;
}

const char* Sections::next()
{
    if (left_ == 0) {
        return nullptr;
    }
    --left_;
    const char* const name = name_;
    name_ += std::strlen(name) + 1;
    return name;
}

bool is_row_on(RowRequest& request, std::string_view name)
{
    RowText value;
    return read_stored(request, *find_row(request.object, name), value) == 0 && is_switched_on(value.view());
}

std::string_view section_name(const RowRequest& request)
{
    std::string_view name = request.section.view();
    name.remove_prefix(std::min(name.find('.') + 1, name.size()));
    return name.substr(0, name.find('.'));
}

} // namespace qsc::services
