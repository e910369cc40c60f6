// SPDX-License-Identifier: Apache-2.0
// A device without substance for fuzzers: commands print the same line, the configuration is a map, and every
// command line is checked for text from outside that got out of its quotes.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include <syslog.h>

#include <zlog.h>

#include "include/qrnuci.h"

namespace
{

std::map<std::string, std::string>& options()
{
    static std::map<std::string, std::string> map{
        {"mtkwireless.ra0.radioOn", "1"},
        {"mtkwireless.rax0.radioOn", "1"},
        {"mtkwireless.mesh.enable", "0"},
        {"mtkwireless.mesh.role", "1"},
        {"mtkwireless.ra0.enable1", "1"},
        {"mtkwireless.rax0.enable1", "1"},
        {"qrnnetworkzone.@zone[0].name", "lan"},
        {"qrnnetworkzone.@zone[0].iface[0]", "ra0"},
        {"qrnnetworkzone.@zone[1].name", "guest"},
        {"system.@system[0].tzlocation", "America/New York"},
        {"system.@system[0].timezone", "GMT0"},
        {"system.ntp.dstdisable", "1"},
        {"network.wan.proto", "dhcp"},
        {"qrndhcpopts.sent60.outputtype", "hex"},
    };
    return map;
}

[[noreturn]] void fault(const char* what, const char* text)
{
    std::fprintf(stderr, "%s: %s\n", what, text);
    std::abort();
}

/// A value stands in double quotes at the end of a command, with everything escaped that the shell would act
/// on.
void check_quoted(std::string_view command)
{
    std::size_t i = command.find('"') + 1;
    for (; i < command.size() && command[i] != '"'; ++i) {
        if (command[i] == '$' || command[i] == '`') {
            fault("text got out of its quotes", command.data());
        }
        i += command[i] == '\\' ? 1 : 0;
    }
    if (i + 1 != command.size()) {
        fault("a quote is not where the command ends", command.data());
    }
}

void check_command(const char* text)
{
    const std::string_view command{text};
    for (const char* quoted : {"date -s \"", "/usr/bin/qrnlogger"}) {
        if (command.starts_with(quoted)) {
            check_quoted(command);
            return;
        }
    }
    if (command.find(" set SSID=\"") != std::string_view::npos) {
        check_quoted(command);
        return;
    }
    const bool is_action = command.starts_with("/etc/init.d/");
    for (const char c : command) {
        if (static_cast<unsigned char>(c) < ' ' || (is_action && std::strchr("`;|{}$<>", c) != nullptr)) {
            fault("a control character in a command", text);
        }
    }
}

} // namespace

extern "C" {

FILE* popen(const char* command, const char*)
{
    check_command(command);
    static char line[] = "36\n";
    return fmemopen(line, sizeof line - 1, "r");
}

int pclose(FILE* pipe)
{
    return fclose(pipe);
}

int system(const char* command)
{
    check_command(command);
    return 0;
}

void sync(void) {}
void openlog(const char*, int, int) {}
void closelog(void) {}

void syslog(int, const char* format, ...)
{
    if (std::strcmp(format, "%s") != 0) {
        fault("a line is a format", format);
    }
}

int zlog_init(const char*)
{
    return 0;
}

zlog_category_t* zlog_get_category(const char*)
{
    return reinterpret_cast<zlog_category_t*>(options().begin()->second.data());
}

int zlog_put_mdc(const char*, const char*)
{
    return 0;
}

void zlog_fini(void) {}
void zlog(zlog_category_t*, const char*, size_t, const char*, size_t, long, int, const char*, ...) {}

uint32_t QrnUci_Init(void)
{
    return 0;
}

uint32_t QrnUci_Close(void)
{
    return 0;
}

uint32_t QrnUci_GetString(const char* key, char* buffer, uint32_t size)
{
    const auto found = options().find(key);
    if (found == options().end() || found->second.size() >= size) {
        return EFAULT;
    }
    std::strcpy(buffer, found->second.c_str());
    return 0;
}

uint32_t QrnUci_SetNewString(const char* key, const char* value, uint32_t, uint32_t)
{
    if (options().size() > 1000) {
        options().erase(options().begin());
    }
    options()[key] = value;
    return 0;
}

uint32_t QrnUci_GetListItem(const char* key, uint32_t index, char* buffer, uint32_t size)
{
    return QrnUci_GetString((std::string{key} + "[" + std::to_string(index) + "]").c_str(), buffer, size);
}

uint32_t QrnUci_SetListItem(const char* key, uint32_t index, const char* value)
{
    return QrnUci_SetNewString((std::string{key} + "[" + std::to_string(index) + "]").c_str(), value, 0, 1);
}

uint32_t QrnUci_CommitPackage(const char* package)
{
    return std::strpbrk(package, "./") != nullptr ? EINVAL : 0;
}

} // extern "C"
