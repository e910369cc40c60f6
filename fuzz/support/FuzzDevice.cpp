// SPDX-License-Identifier: Apache-2.0
// The tests' fake device as fuzzers want it: the same at the start of each input, without records, and every
// command line is checked for text from outside that got out of its quotes.
#include "fuzz/support/FuzzDevice.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "support/FakeDevice.h"

namespace
{

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

void check_command(const std::string& command)
{
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
            fault("a control character in a command", command.data());
        }
    }
}

} // namespace

void fuzz::reset_device()
{
    test::outside().keeps_records = false;
    test::outside().any_output = "36\n";
    test::outside().on_command = check_command;
    test::outside().uci = {
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
}
