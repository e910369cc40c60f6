// SPDX-License-Identifier: Apache-2.0
// The reference of every path and parameter, made by asking the handlers themselves: what a get answers and
// reads, whether a set is served, what it stores and which commands it runs. The test fails when
// docs/reference.md is not that; QSC_WRITE_REFERENCE=1 writes it.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include <json-c/json.h>

#include "qsc_dhcpv4_client.h"
#include "qsc_handlers.h"
#include "qsc_wifi.h"
#include "qsyscmdhal.h"
#include "support/Outside.h"

using namespace test;

namespace
{

/// A device on which everything is switched on.
const Texts kDevice = {
    {"mtkwireless.rax0.radioOn", "1"},
    {"mtkwireless.rax0.country", "US"},
    {"mtkwireless.rax0.enable1", "1"},
    {"mtkwireless.rax0.bandwidth", "1"},
    {"mtkwireless.rax0.channel", "36"},
    {"mtkwireless.rax0.band", "17"},
    {"mtkwireless.mesh.enable", "0"},
    {"mtkwireless.mesh.role", "0"},
    {"network.wan.proto", "dhcp"},
    {"qrnnetworkzone.@zone[0].name", "lan"},
    {"qrnnetworkzone.@zone[0].iface[0]", "rax0"},
    {"qrnnetworkzone.lan.vid", "1"},
};

/// What a set is tried with until it is taken.
constexpr const char* kValues[] = {"1", "us", "a,n", "lan", "Africa/Abidjan"};

/// An example of each path that has instances.
std::string example_of(const Qsc_CommandEntry& entry)
{
    const std::string path = entry.path;
    return path == "Device.WiFi.Radio" ? path + ".2" : path == "Device.WiFi.SSID" ? path + ".11" : path;
}

std::string join(const std::vector<std::string>& all)
{
    std::string text;
    std::set<std::string> seen;
    for (const std::string& one : all) {
        if (seen.insert(one).second) {
            text += (text.empty() ? "" : "<br>") + std::string{"`"} + one + "`";
        }
    }
    for (size_t at = 0; (at = text.find('|', at)) != std::string::npos; at += 2) {
        text.replace(at, 1, "\\|");
    }
    return text;
}

struct Probe {
    std::string type = "-";
    bool can_get = false;
    bool can_set = false;
    Lines keys;
    Lines get_commands;
    Lines set_commands;
};

uint32_t call(const Qsc_ParamEntry& entry, const std::string& path, json_object* value, uint32_t oper)
{
    return entry.handler(path.c_str(), value, oper, QSC_COMMANDER_CLI, 0, entry.param);
}

/// Commands without their "popen " or "system ".
Lines commands()
{
    Lines result;
    for (const std::string& step : outside().commands()) {
        result.push_back(step.substr(step.find(' ') + 1));
    }
    return result;
}

Probe probe(const Qsc_ParamEntry& entry, const std::string& path)
{
    Probe result;
    const auto begin = [] {
        outside() = Outside{};
        outside().uci = kDevice;
    };
    begin();
    const Json answered{"{}"};
    result.can_get = call(entry, path, answered.get(), kGet) == 0;
    for (const char* member : {"ParamValue", "version", "function"}) {
        if (json_object* const value = json_object_object_get(answered.get(), member)) {
            result.type = json_type_to_name(json_object_get_type(value));
        }
    }
    result.keys = outside().keys();
    result.get_commands = commands();
    for (const char* value : kValues) {
        begin();
        const Json sent{(std::string{R"({"ParamValue":")"} + value + R"("})").c_str()};
        const bool is_placeholder = result.type == "-";
        if (call(entry, path, sent.get(), kSet) == 0 && !is_placeholder) {
            result.can_set = true;
            for (const std::string& step : outside().done) {
                if (step.starts_with("set ")) {
                    result.keys.push_back(step.substr(4, step.find('=') - 4));
                }
            }
            result.set_commands = commands();
            break;
        }
    }
    return result;
}

void write_table(std::ostream& out, const std::string& title, const Qsc_ParamEntry* table,
                 const std::string& path)
{
    out << "\n## " << title << "\n\n";
    if (path != title) {
        out << "Shown for `" << path << "`.\n\n";
    }
    out << "| parameter | type | access | configuration | commands |\n|---|---|---|---|---|\n";
    for (const Qsc_ParamEntry* entry = table; entry->id != QSC_TABLE_END; ++entry) {
        const Probe found = probe(*entry, path);
        const char* const access = found.can_get   ? found.can_set ? "get, set" : "get"
                                   : found.can_set ? "set"
                                                   : "none";
        out << "| " << entry->name << " | " << found.type << " | " << access << " | " << join(found.keys)
            << " | " << join(found.get_commands);
        if (!found.set_commands.empty()) {
            out << (found.get_commands.empty() ? "" : "<br>") << "set: " << join(found.set_commands);
        }
        out << " |\n";
    }
}

std::string write_reference()
{
    std::ostringstream out;
    out << "# Reference\n\n"
           "Every path of the command table and every parameter, written by `./dev reference` from what the "
           "handlers\n"
           "do on a device where everything is switched on. \"Configuration\" are the keys that are read or "
           "stored,\n"
           "\"commands\" what is run to answer and, behind \"set:\", to apply. `help` lists the paths at run "
           "time.\n";
    Lines empty;
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        const Qsc_ParamEntry* table = entry->params;
        const std::string path = entry->path;
        if (path == "Device.X_QRN_RemoteLog") {
            table = g_QscDevXQRNRemoteLogCmd;
        } else if (path.ends_with("1.Subcode.")) {
            table = g_QscDhcpV4ClientXQrnRelaySentOption1SubcodeCmd;
        } else if (path.ends_with("RelaySentOption.")) {
            table = g_QscDhcpV4ClientXQrnRelaySentOptionCmd;
        }
        if (table == nullptr || table->id == QSC_TABLE_END) {
            empty.push_back(path);
            continue;
        }
        write_table(out, path, table, example_of(*entry));
        if (path == "Device.WiFi.SSID") {
            write_table(out, path + ".N.Stats", g_QscDeviceWiFiSSIDStatsCmd, path + ".11.Stats");
        }
    }
    out << "\n## Without parameters in this version\n\n";
    for (const std::string& path : empty) {
        out << "- " << path << "\n";
    }
    return out.str();
}

} // namespace

TEST_F(OutsideTest, TheReferenceIsCurrent)
{
    constexpr const char* kFile = QSC_SOURCE "/docs/reference.md";
    const std::string written = write_reference();
    if (std::getenv("QSC_WRITE_REFERENCE") != nullptr) {
        std::ofstream{kFile} << written;
    }
    std::ostringstream stored;
    stored << std::ifstream{kFile}.rdbuf();
    EXPECT_TRUE(stored.str() == written) << "docs/reference.md is not current; run ./dev reference";
}
