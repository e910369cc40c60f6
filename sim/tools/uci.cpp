// SPDX-License-Identifier: Apache-2.0
// The simulated device's uci, on our own store: as much of the command as the device's scripts and the
// library's commands use.
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "qrnuci.h"

namespace
{

int usage()
{
    std::fputs("Usage: uci [-q] get KEY | set KEY=VALUE | commit PACKAGE\n", stderr);
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

int set(const std::string& assignment)
{
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos) {
        return usage();
    }
    return QrnUci_SetNewString(assignment.substr(0, equals).c_str(), assignment.substr(equals + 1).c_str(), 0,
                               1) == 0
               ? 0
               : 1;
}

} // namespace

int main(int count, char** arguments)
{
    const bool is_quiet = count > 1 && std::strcmp(arguments[1], "-q") == 0;
    const int first = is_quiet ? 2 : 1;
    if (count != first + 2) {
        return usage();
    }
    const std::string command = arguments[first];
    const char* const argument = arguments[first + 1];
    if (command == "get") {
        return get(argument, is_quiet);
    }
    if (command == "set") {
        return set(argument);
    }
    return command == "commit" ? (QrnUci_CommitPackage(argument) == 0 ? 0 : 1) : usage();
}
