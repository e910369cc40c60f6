// SPDX-License-Identifier: Apache-2.0
#include "handlers/system/Accounts.h"

#include <algorithm>
#include <cerrno>

#include "base/ReplaceFile.h"

namespace qsc::system
{

namespace
{

/// Takes the next line off a text, without its line feed.
std::string_view take_line(std::string_view& text)
{
    const std::string_view line = first_line(text);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

Account split(std::string_view line)
{
    Account account{};
    for (std::string_view& field : account.fields) {
        field = line.substr(0, line.find(':'));
        line.remove_prefix(std::min(field.size() + 1, line.size()));
    }
    return account;
}

} // namespace

bool find_account(std::string_view text, std::string_view name, Account& account)
{
    while (!text.empty() && !name.empty()) {
        const std::string_view line = take_line(text);
        if (line.starts_with(name) && line.substr(name.size()).starts_with(':')) {
            account = split(line);
            return true;
        }
    }
    return false;
}

bool has_password(std::string_view hash)
{
    while (hash.starts_with('!')) {
        hash.remove_prefix(1);
    }
    return !hash.empty() && !hash.starts_with('*') && hash != "x";
}

bool is_shell(Sources& sources, std::string_view shell)
{
    std::string_view shells = sources.file("/etc/shells");
    while (!shells.empty()) {
        if (const std::string_view line = take_line(shells); !line.empty() && line == shell) {
            return true;
        }
    }
    return false;
}

bool has_other_account(Sources& sources, std::string_view except)
{
    std::string_view rest = sources.file(kPasswd);
    const std::string_view shadow = sources.file(kShadow);
    while (!rest.empty()) {
        const Account account = split(take_line(rest));
        const std::string_view name = account.fields[0];
        Account secret{};
        if (name != except && account.fields[Account::kId] != "0" &&
            is_shell(sources, account.fields[Account::kShell]) && find_account(shadow, name, secret) &&
            has_password(secret.fields[Account::kHash]) && !secret.fields[Account::kHash].starts_with('!')) {
            return true;
        }
    }
    return false;
}

u32 change_account(const char* path, std::string_view name, std::size_t field, std::string_view value,
                   mode_t mode)
{
    FileText before;
    Account account{};
    if (const u32 code = read_safe_file(path, before)) {
        return code;
    }
    if (!find_account(before.view(), name, account)) {
        return ENOENT;
    }
    const std::string_view old = account.fields[field];
    if (old == value) {
        return 0;
    }
    FileText after;
    const auto offset = static_cast<std::size_t>(old.data() - before.view().data());
    if (!after.append(before.view().substr(0, offset)) || !after.append(value) ||
        !after.append(before.view().substr(offset + old.size()))) {
        return ENOMEM;
    }
    return replace_file(path, after.view(), mode);
}

} // namespace qsc::system
