// SPDX-License-Identifier: Apache-2.0
#include "uci/PackageText.h"

#include <algorithm>
#include <cerrno>

#include "uci/ConfigFile.h"

namespace qrnuci
{

bool PackageText::is_current(std::string_view name)
{
    if (!snapshot_.is_there() || !snapshot_.is_current(path_.c_str())) {
        return false;
    }
    const Path first = first_path(name);
    return path_.view() == first.view() || first_absence_.of_first_file(first.c_str());
}

/// One attempt. EAGAIN: the file has changed while it was read without its lock.
u32 PackageText::read()
{
    Patience patience = kReaderPatience;
    LockedFile file;
    char* text = nullptr;
    std::size_t size = 0;
    if (!path_.fits()) {
        return EFAULT;
    }
    if (const u32 code = file.open(path_.c_str(), Access::kRead, patience)) {
        return code;
    }
    if (const u32 code = file.read(path_.c_str(), arena_, text, size)) {
        return code;
    }
    text_ = {text, size};
    snapshot_.take(file, text_);
    return 0;
}

u32 PackageText::look(std::string_view name, bool& is_new)
{
    is_new = !is_current(name);
    if (!is_new) {
        return 0;
    }
    Patience attempts{1000};
    u32 code = 0;
    do {
        LockedFile none;
        snapshot_.take(none, {});
        text_ = {};
        arena_.clear();
        const Path first = first_path(name);
        path_ = first_absence_.of_first_file(first.c_str()) ? usual_path(name) : first;
        code = read();
    } while (code == EAGAIN && attempts.wait());
    if (code == EAGAIN) {
        log_error("%s changes all the time and cannot be read\n", path_.c_str());
        return EFAULT;
    }
    return code;
}

u32 copy_text(std::string_view text, std::span<char> buffer, u32* length)
{
    if (length != nullptr) {
        *length = static_cast<u32>(text.size());
    }
    // A terminator amid a text would cut it for the caller.
    if (text.size() >= buffer.size() || text.find('\0') != std::string_view::npos) {
        return EFAULT;
    }
    *std::copy(text.begin(), text.end(), buffer.begin()) = '\0';
    return 0;
}

} // namespace qrnuci
