// SPDX-License-Identifier: Apache-2.0
#include "tools/access/Access.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <strings.h>
#include <sys/stat.h>

#include "base/FileDescriptor.h"
#include "base/Parse.h"
#include "include/qsyscmdhal.h"

namespace qsc::access
{

namespace
{

constexpr std::size_t kLongestFile = std::size_t{32} * 1024;

constexpr struct {
    std::string_view name;
    u32 rights;
} kRights[] = {
    {"get", kGet},     {"set", kSet},         {"commit", kCommit}, {"service", kService},
    {"watch", kWatch}, {"secrets", kSecrets}, {"all", kAllRights},
};

/// Takes the next word off a line.
std::string_view take_word(std::string_view& rest, std::string_view ends)
{
    rest.remove_prefix(std::min(rest.find_first_not_of(ends), rest.size()));
    const std::string_view word{rest.data(), std::min(rest.find_first_of(ends), rest.size())};
    rest.remove_prefix(word.size());
    return word;
}

/// Reads "user:NAME" and its like.
bool read_who(std::string_view word, Table::Rule& rule)
{
    if (word == "*") {
        rule.who = Table::Rule::kEveryone;
        return true;
    }
    const bool is_user = word.starts_with("user:");
    if (!is_user && !word.starts_with("group:")) {
        return false;
    }
    rule.who = is_user ? Table::Rule::kUser : Table::Rule::kGroup;
    word.remove_prefix(is_user ? 5 : 6);
    Text<126> name;
    if (parse_whole(word, rule.id)) {
        return true;
    }
    if (!name.assign(word)) {
        return false;
    }
    const passwd* const user = is_user ? getpwnam(name.c_str()) : nullptr;
    const group* const members = is_user ? nullptr : getgrnam(name.c_str());
    rule.id = user != nullptr ? user->pw_uid : members != nullptr ? members->gr_gid : 0;
    return user != nullptr || members != nullptr;
}

bool read_right(std::string_view word, Grant& grant)
{
    for (const auto& [name, rights] : kRights) {
        if (word == name) {
            grant.rights |= rights;
            grant.commanders |= rights == kAllRights ? ~0U : 0;
            return true;
        }
    }
    if (!word.starts_with("as:")) {
        return false;
    }
    word.remove_prefix(3);
    for (const Qsc_CommanderName* entry = g_QSCCommander; entry->id != 0; ++entry) {
        if (word.size() == std::strlen(entry->name) &&
            strncasecmp(entry->name, word.data(), word.size()) == 0) {
            grant.commanders |= entry->id;
            return true;
        }
    }
    return false;
}

/// Reads the whole file, which must be safe from others; the length, or -1 and errno. EPERM: others may write
/// it.
ssize_t read_file(const char* file, char* text, std::size_t size)
{
    const FileDescriptor opened{open(file, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY)};
    struct stat status {
    };
    if (!opened.is_open() || fstat(opened.get(), &status) != 0) {
        return -1;
    }
    if (!S_ISREG(status.st_mode) || (status.st_uid != 0 && status.st_uid != geteuid()) ||
        (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        errno = EPERM;
        return -1;
    }
    if (status.st_size >= static_cast<off_t>(size)) {
        errno = EFBIG;
        return -1;
    }
    return read(opened.get(), text, size);
}

} // namespace

const char* name_of(Right right)
{
    for (const auto& [name, rights] : kRights) {
        if (rights == right) {
            return name.data();
        }
    }
    return "";
}

bool Table::add(std::string_view line, Text<254>& error)
{
    constexpr std::string_view kBlanks = " \t\r";
    const std::string_view who = take_word(line, kBlanks);
    if (who.empty() || who.starts_with('#')) {
        return true;
    }
    Rule& rule = rules_[std::min<std::size_t>(count_, rules_.size() - 1)];
    const u32 number = rule.line;
    rule = {};
    rule.line = number;
    std::string_view path = take_word(line, kBlanks);
    std::string_view rights = take_word(line, kBlanks);
    const std::string_view extra = take_word(line, kBlanks);
    if (count_ == rules_.size()) {
        error.append("there are more than 128 rules");
        return false;
    }
    if (!read_who(who, rule)) {
        error.append("there is no ").append(who);
        return false;
    }
    path.remove_suffix(path.ends_with('.') ? 1 : 0);
    if (path.empty() || !rule.path.assign(path == "*" ? std::string_view{} : path)) {
        error.append("a path is missing or too long");
        return false;
    }
    bool is_right = !rights.empty() && (extra.empty() || extra.starts_with('#'));
    while (is_right && !rights.empty()) {
        is_right = read_right(take_word(rights, ","), rule.grant);
    }
    if (!is_right) {
        error.append(
            "rights are get, set, commit, service, watch, secrets, as:COMMANDER and all, with commas");
        return false;
    }
    ++count_;
    return true;
}

bool Table::load(const char* file, Text<254>& error)
{
    count_ = 0;
    char text[kLongestFile];
    const ssize_t length = read_file(file, text, sizeof text);
    if (length < 0) {
        error.append(errno == EPERM ? "it must be a file of root's that no one else may write"
                                    : std::strerror(errno));
        return errno == ENOENT;
    }
    std::string_view rest{text, static_cast<std::size_t>(length)};
    for (u32 number = 1; !rest.empty(); ++number) {
        const std::string_view line{rest.data(), std::min(rest.find('\n'), rest.size())};
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        rules_[std::min<std::size_t>(count_, rules_.size() - 1)].line = number;
        Text<254> why;
        if (!add(line, why)) {
            count_ = 0;
            error.append("line ").append_number(number).append(": ").append(why.view());
            return false;
        }
    }
    return true;
}

bool Table::fits(const Rule& rule, const Peer& peer)
{
    return rule.who == Rule::kEveryone || (rule.who == Rule::kUser && rule.id == peer.user) ||
           (rule.who == Rule::kGroup &&
            std::ranges::find(peer.all_groups(), rule.id) != peer.all_groups().end());
}

bool Table::covers(const Rule& rule, std::string_view path)
{
    const std::string_view prefix = rule.path.view();
    return path.starts_with(prefix) &&
           (prefix.empty() || path.size() == prefix.size() || path[prefix.size()] == '.');
}

Grant Table::grant(const Peer& peer, std::string_view path) const
{
    if (is_master(peer)) {
        return {kAllRights, ~0U};
    }
    Grant sum;
    explain(peer, path, [&](const Rule& rule) {
        sum.rights |= rule.grant.rights;
        sum.commanders |= rule.grant.commanders;
    });
    return sum;
}

bool Table::knows(const Peer& peer) const
{
    const auto end = rules_.begin() + count_;
    return is_master(peer) ||
           std::any_of(rules_.begin(), end, [&](const Rule& rule) { return fits(rule, peer); });
}

} // namespace qsc::access
