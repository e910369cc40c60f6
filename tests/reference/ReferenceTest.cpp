// SPDX-License-Identifier: Apache-2.0
// The reference of every path and parameter, made from the library's own description of them and by asking:
// what a get reads, what a set stores and which commands they run. The test fails when docs/reference.md is
// not that; QSC_WRITE_REFERENCE=1 writes it.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include <dlfcn.h>
#include <json-c/json.h>

#include "qsc_describe.h"
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

/// An example of a path that has instances: the last that there is.
std::string example_of(const Qsc_ObjectInfo& object)
{
    std::string path = object.path;
    const size_t place = path.find("{i}");
    uint32_t numbers[64] = {1};
    uint32_t count = 0;
    if (place != std::string::npos) {
        (void)QSysCmdHal_FindInstances(&object, numbers, 64, &count);
        path.replace(place, 3, std::to_string(numbers[count == 0 ? 0 : count == 16 ? 8 : count - 1]));
    }
    return path;
}

std::string escaped(std::string text)
{
    for (size_t at = 0; (at = text.find('|', at)) != std::string::npos; at += 2) {
        text.replace(at, 1, "\\|");
    }
    return text;
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
    return escaped(text);
}

struct Probe {
    Lines keys;
    Lines get_commands;
    Lines set_commands;
};

/// Commands without their "popen " or "system ".
Lines commands()
{
    Lines result;
    for (const std::string& step : outside().commands()) {
        result.push_back(step.substr(step.find(' ') + 1));
    }
    return result;
}

/// Asks for one parameter, and tries to set it where that is served. New instances are not made.
Probe probe(const Qsc_ObjectInfo& object, const Qsc_ParameterInfo& parameter)
{
    Probe result;
    const std::string path = example_of(object);
    const auto ask = [&](uint32_t oper, const std::string& content) {
        outside() = Outside{};
        outside().uci = kDevice;
        const Json sent{(std::string{R"({")"} + parameter.name + "\":" + content + "}").c_str()};
        return object.entry->dispatcher(path.c_str(), sent.get(), oper, QSC_COMMANDER_CLI, 0, 0);
    };
    if ((parameter.access & object.access & kGet) != 0) {
        (void)ask(kGet, "{}");
        result.keys = outside().keys();
        result.get_commands = commands();
    }
    if ((parameter.access & object.access & kSet) == 0 || (object.flags & QSC_OBJECT_GROWS) != 0) {
        return result;
    }
    for (const char* value : kValues) {
        if (ask(kSet, std::string{R"({"ParamValue":")"} + value + "\"}") == 0) {
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

/// "boolean", "list of string, 0:3, seconds"
std::string type_of(const Qsc_ParameterInfo& parameter, const std::string& values)
{
    std::string text = (parameter.flags & QSC_PARAM_LIST) != 0 ? "list of " : "";
    text += parameter.type;
    text += (values.empty() ? "" : " ") + values;
    text += (*parameter.units != '\0' ? ", " : "") + std::string{parameter.units};
    text += (parameter.flags & QSC_PARAM_SECRET) != 0 ? ", secret" : "";
    text += (parameter.flags & QSC_PARAM_NEEDED) != 0 ? ", needed" : "";
    return text;
}

/// Its id in the table of the command table, if it is there; else its number.
uint32_t id_of(const Qsc_ObjectInfo& object, const Qsc_ParameterInfo& parameter, uint32_t number)
{
    const Qsc_ParamEntry* entry = object.entry->params;
    while (entry != nullptr && entry->id != QSC_TABLE_END && std::strcmp(entry->name, parameter.name) != 0) {
        ++entry;
    }
    return entry != nullptr && entry->id != QSC_TABLE_END ? entry->id : number;
}

void write_table(std::ostream& out, const Qsc_ObjectInfo& object)
{
    out << "\n## " << object.path << "\n\n";
    if (*object.commit != '\0' || *object.service != '\0') {
        out << "Committed by `" << object.commit << "` (" << object.packages << "), restarted by `"
            << object.service << "`.\n\n";
    }
    if (example_of(object) != object.path) {
        out << "Shown for `" << example_of(object) << "`.\n\n";
    }
    out << "| id | parameter | type | access | configuration | commands |\n|---|---|---|---|---|---|\n";
    Qsc_ParameterInfo parameter;
    for (uint32_t i = 0; QSysCmdHal_DescribeParameter(&object, i, &parameter) == 0; ++i) {
        const Probe found = probe(object, parameter);
        const uint32_t access = parameter.access & object.access;
        out << "| " << id_of(object, parameter, i) << " | " << parameter.name << " | "
            << type_of(parameter, escaped(parameter.values)) << " | "
            << (access == (kGet | kSet) ? "get, set"
                : access == kGet        ? "get"
                                        : "set")
            << " | " << join(found.keys) << " | " << join(found.get_commands);
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
           "Every path of the command table and every parameter, written by `./dev reference` from the "
           "library's own\n"
           "description, and from what it does on a device where everything is switched on. "
           "\"Configuration\" are "
           "the\nkeys that are read or stored, \"commands\" what a shell is given to answer and, after "
           "\"set:\", to "
           "apply. `help` lists the paths at run "
           "time.\n\n";
    write_registry(out);
    Lines empty;
    Qsc_ObjectInfo object;
    for (uint32_t i = 0; QSysCmdHal_DescribeObject(i, &object) == 0; ++i) {
        if (object.parameters == 0) {
            empty.push_back(object.path);
        } else {
            write_table(out, object);
        }
    }
    out << "\n## Without parameters in this version\n\n";
    for (const std::string& path : empty) {
        out << "- " << path << "\n";
    }
    return out.str();
}

/// The same for the manual: each object with its parameters.
std::string write_manual()
{
    std::ostringstream out;
    out << ".\\\" SPDX-License-Identifier: Apache-2.0\n"
           ".\\\" Written by ./dev reference.\n"
           ".TH QSYSCMDHAL 7 \"\" qsyscmdhal \"Device tree\"\n"
           ".SH NAME\n"
           "qsyscmdhal \\- objects and parameters of the system command layer\n"
           ".SH DESCRIPTION\n"
           "What\n.BR qsc (1)\nand other front ends can get and set. \"{i}\" stands for an instance number.\n"
           ".SH OBJECTS\n";
    Qsc_ObjectInfo object;
    for (uint32_t i = 0; QSysCmdHal_DescribeObject(i, &object) == 0; ++i) {
        if (object.parameters == 0) {
            continue;
        }
        out << ".SS " << object.path << "\n";
        Qsc_ParameterInfo parameter;
        for (uint32_t j = 0; QSysCmdHal_DescribeParameter(&object, j, &parameter) == 0; ++j) {
            const uint32_t access = parameter.access & object.access;
            out << ".TP\n.B " << parameter.name << "\n"
                << type_of(parameter, parameter.values)
                << (access == (kGet | kSet) ? "; get, set"
                    : access == kGet        ? "; get"
                                            : "; set")
                << "\n";
        }
    }
    out << ".SH SEE ALSO\n.BR qsc (1),\n.BR qscd (8)\n";
    return out.str();
}

/// Holds a file against what it should be, or writes it.
void hold(const char* file, const std::string& written)
{
    if (std::getenv("QSC_WRITE_REFERENCE") != nullptr) {
        std::ofstream{file} << written;
    }
    std::ostringstream stored;
    stored << std::ifstream{file}.rdbuf();
    if (stored.str() == written) {
        return;
    }
    std::istringstream is{stored.str()};
    std::istringstream wanted{written};
    std::string line;
    std::string other;
    while (std::getline(is, line) && std::getline(wanted, other) && line == other) {
    }
    ADD_FAILURE() << file << " is not current; run ./dev reference\nis:     " << line
                  << "\nwanted: " << other;
}

} // namespace

TEST_F(OutsideTest, TheReferenceAndTheManualAreCurrent)
{
    hold(QSC_SOURCE "/docs/reference.md", write_reference());
    hold(QSC_SOURCE "/packaging/man/qsyscmdhal.7", write_manual());
}
