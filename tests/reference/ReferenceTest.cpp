// SPDX-License-Identifier: Apache-2.0
// The reference of every path and parameter, made by asking the handlers themselves: what a get answers and
// reads, whether a set is served, what it stores and which commands it runs. The test fails when
// docs/reference.md is not that; QSC_WRITE_REFERENCE=1 writes it.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include <dlfcn.h>
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
    out << "| id | parameter | type | access | configuration | commands |\n|---|---|---|---|---|---|\n";
    for (const Qsc_ParamEntry* entry = table; entry->id != QSC_TABLE_END; ++entry) {
        const Probe found = probe(*entry, path);
        const char* const access = found.can_get   ? found.can_set ? "get, set" : "get"
                                   : found.can_set ? "set"
                                                   : "none";
        out << "| " << entry->id << " | " << entry->name << " | " << found.type << " | " << access << " | "
            << join(found.keys) << " | " << join(found.get_commands);
        if (!found.set_commands.empty()) {
            out << (found.get_commands.empty() ? "" : "<br>") << "set: " << join(found.set_commands);
        }
        out << " |\n";
    }
}

std::string hex(uint64_t number)
{
    std::ostringstream text;
    text << "`0x" << std::hex << number << "`";
    return text.str();
}

/// The exported name at an address.
std::string name_of(const void* address)
{
    Dl_info found = {};
    return address == nullptr                                           ? "-"
           : dladdr(address, &found) != 0 && found.dli_saddr == address ? found.dli_sname
                                                                        : "?";
}

/// What a dispatcher's lines begin with, and the operations that it does not refuse.
std::pair<std::string, std::string> words_and_operations(const Qsc_CommandEntry& entry)
{
    const std::map<uint32_t, const char*> operations{
        {0x4, nullptr}, {kGet, "get"}, {kSet, "set"}, {kCommit, "commit"}, {kService, "service"}};
    std::string words = "-";
    std::string served;
    for (const auto& [oper, name] : operations) {
        outside() = Outside{};
        const Json object{"{}"};
        const uint32_t code = entry.dispatcher(entry.path, object.get(), oper, QSC_COMMANDER_CLI, 0, 0);
        const std::string line = outside().logs.empty() ? "" : outside().logs.back().text;
        const size_t end = line.find("operation not support");
        if (name == nullptr && end != std::string::npos) {
            constexpr size_t kLevel = 4; // "[E] "
            words = line.substr(kLevel, end - kLevel);
            words.erase(words.find_last_not_of(' ') + 1);
        } else if (name != nullptr && !(code == EINVAL && end != std::string::npos)) {
            served += (served.empty() ? "" : ", ") + std::string{name};
        }
    }
    return {words, served};
}

void write_registry(std::ostream& out)
{
    out << "## Commands\n\n"
           "The command table in its order: the first row whose path a request begins with serves it.\n\n"
           "| id | path | dispatcher | table | in the log | operations |\n|---|---|---|---|---|---|\n";
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        const auto [words, operations] = words_and_operations(*entry);
        out << "| " << hex(entry->id) << " | " << entry->path << " | "
            << name_of(reinterpret_cast<const void*>(entry->dispatcher)) << " | " << name_of(entry->params)
            << " | " << (words == entry->path ? "its path" : words) << " | " << operations << " |\n";
    }
    out << "\n## Operations and commanders\n\n| bit | operation |\n|---|---|\n";
    for (const Qsc_OperName* entry = g_QscCmdList; entry->name != nullptr; ++entry) {
        out << "| " << hex(entry->value) << " | " << entry->name << " |\n";
    }
    out << "\n| id | commander |\n|---|---|\n";
    for (const Qsc_CommanderName* entry = g_QSCCommander;; ++entry) {
        out << "| " << hex(entry->id) << " | " << entry->name << " |\n";
        if (entry->id == 0) {
            break;
        }
    }
    out << "\n## Channels\n\n| country | 2.4 GHz | 5 GHz |\n|---|---|---|\n";
    for (const Qsc_CountryRegion& row : Country_Region_Table) {
        out << "| " << row.country << " | row " << row.bg - BG_Region_CH_Table << " | row "
            << row.a - A_Region_CH_Table << " |\n";
    }
    const auto write_regions = [&](const char* band, const auto& table) {
        out << "\n| row | region | " << band << " channels |\n|---|---|---|\n";
        for (size_t i = 0; i < std::size(table); ++i) {
            out << "| " << i << " | " << table[i].region[0] + 256 * table[i].region[1] << " | "
                << table[i].channels << " |\n";
        }
    };
    write_regions("2.4 GHz", BG_Region_CH_Table);
    write_regions("5 GHz", A_Region_CH_Table);
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
           "time.\n\n";
    write_registry(out);
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
