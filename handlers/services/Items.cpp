// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/Items.h"

#include <algorithm>
#include <cstring>

#include "base/UciOptional.h"
#include "core/UciAccess.h"

namespace qsc::services
{

bool Items::read(const char* key)
{
    u32 count = 0;
    if (call_optional(QrnUci_GetList, key, texts_.data(), static_cast<u32>(texts_.size()), &count) != 0) {
        return uci_is_missing(key);
    }
    while (count_ < std::min<std::size_t>(count, items_.size())) {
        items_[count_++] = texts_.data() + used_;
        used_ += std::strlen(texts_.data() + used_) + 1;
    }
    return count_ == count;
}

bool Items::add(std::string_view before, std::string_view text, std::string_view after)
{
    if (count_ == items_.size() || before.size() + text.size() + after.size() >= texts_.size() - used_) {
        return false;
    }
    items_[count_++] = texts_.data() + used_;
    for (const std::string_view part : {before, text, after}) {
        used_ += part.copy(texts_.data() + used_, part.size());
    }
    texts_[used_++] = '\0';
    return true;
}

void Items::remove(std::string_view before, std::string_view text, std::string_view after)
{
    for (u32 i = count_; i-- > 0;) {
        const std::string_view item = items_[i];
        if (item.size() == before.size() + text.size() + after.size() && item.starts_with(before) &&
            item.ends_with(after) && item.find(text, before.size()) == before.size()) {
            std::copy(&items_[i + 1], items_.data() + count_, &items_[i]);
            --count_;
            return;
        }
    }
}

u32 Items::write(const char* key) const
{
    return call_optional(QrnUci_SetList, key, items_.data(), count_);
}

} // namespace qsc::services
