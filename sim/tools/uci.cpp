// SPDX-License-Identifier: Apache-2.0
// The simulated device's uci, on our own store: as much of the command as the device's scripts and the
// library's commands use.
#include <array>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "qrnuci.h"

namespace
{

int usage()
{
    std::fputs("Usage: uci [-q] get KEY | set KEY=VALUE | add_list KEY=VALUE | delete KEY | commit PACKAGE | "
               "batch\n",
               stderr);
    return 255;
}

int get(const char* key, bool is_quiet)
{
    std::array<char, 65536> value{};
    if (QrnUci_GetString(key, value.data(), value.size()) != 0) {
        if (!is_quiet) {
            std::fputs("uci: Entry not found\n", stderr);
        }
        return 1;
    }
    std::puts(value.data());
    return 0;
}

/// "PACKAGE.SECTION" and what follows its dot: an option, or nothing.
std::pair<std::string, std::string> split(const std::string& key)
{
    const size_t dot = key.find('.', key.find('.') + 1);
    return {key.substr(0, dot), dot == std::string::npos ? "" : key.substr(dot + 1)};
}

bool set(const std::string& key, const std::string& value)
{
    const auto [section, option] = split(key);
    const size_t dot = section.find('.');
    return option.empty() ? QrnUci_AddSection(section.substr(0, dot).c_str(), value.c_str(),
                                              section.substr(dot + 1).c_str(), nullptr, 0) == 0
                          : QrnUci_SetNewString(key.c_str(), value.c_str(), 0, 1) == 0;
}

bool add_to_list(const std::string& key, const std::string& value)
{
    std::array<char, 65536> texts{};
    std::vector<const char*> items;
    uint32_t count = 0;
    (void)QrnUci_GetList(key.c_str(), texts.data(), texts.size(), &count);
    const char* item = texts.data();
    for (uint32_t i = 0; i < count; ++i, item += std::strlen(item) + 1) {
        items.push_back(item);
    }
    items.push_back(value.c_str());
    return QrnUci_SetList(key.c_str(), items.data(), static_cast<uint32_t>(items.size())) == 0;
}

bool remove(const std::string& key)
{
    return split(key).second.empty() ? QrnUci_DeleteSection(key.c_str()) == 0 : set(key, "");
}

/// One command; a value may be in single quotes.
int run(const std::string& command, const std::string& argument, bool is_quiet)
{
    const size_t equals = argument.find('=');
    const std::string key = argument.substr(0, equals);
    std::string value = equals == std::string::npos ? "" : argument.substr(equals + 1);
    if (value.size() > 1 && value.front() == '\'' && value.back() == '\'') {
        value = value.substr(1, value.size() - 2);
    }
    if (command == "get") {
        return get(argument.c_str(), is_quiet);
    }
    if (command == "commit") {
        return QrnUci_CommitPackage(argument.c_str()) == 0 ? 0 : 1;
    }
    if (command == "delete") {
        return remove(argument) ? 0 : 1;
    }
    if (equals == std::string::npos || (command != "set" && command != "add_list")) {
        return usage();
    }
    return (command == "set" ? set(key, value) : add_to_list(key, value)) ? 0 : 1;
}

int run_batch(bool is_quiet)
{
    int result = 0;
    for (std::string line; std::getline(std::cin, line);) {
        const size_t blank = line.find(' ');
        if (blank != std::string::npos && run(line.substr(0, blank), line.substr(blank + 1), is_quiet) != 0) {
            result = 1;
        }
    }
    return result;
}

} // namespace

int main(int count, char** arguments)
{
    const bool is_quiet = count > 1 && std::strcmp(arguments[1], "-q") == 0;
    const int first = is_quiet ? 2 : 1;
    if (count == first + 1 && std::strcmp(arguments[first], "batch") == 0) {
        return run_batch(is_quiet);
    }
    return count == first + 2 ? run(arguments[first], arguments[first + 1], is_quiet) : usage();
}
