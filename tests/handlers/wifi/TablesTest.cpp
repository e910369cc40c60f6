// SPDX-License-Identifier: Apache-2.0
// The tables of the driver's tools, and the dump of the mesh: what they say, and what others make them say.
#include <string>

#include <json-c/json.h>

#include <gtest/gtest.h>

#include "handlers/wifi/MeshNodes.h"
#include "handlers/wifi/Stations.h"
#include "handlers/wifi/Survey.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

std::string cells(std::string_view header, std::string_view line)
{
    std::string all;
    for (const char* name : {"A", "BB", "C"}) {
        all += std::string{cell(line, find_column(header, name))} + "|";
    }
    return all;
}

std::string surveyed(std::string_view table)
{
    Survey survey{table};
    std::string all;
    for (Neighbour each; survey.next(each);) {
        all += std::to_string(each.channel) + "|" + std::string{each.ssid} + "|" + each.bssid.c_str() + "|" +
               std::to_string(each.signal) + "|" + std::string{each.mode} + "|" + std::string{each.security} +
               "\n";
    }
    return all;
}

std::string nodes(const std::string& json)
{
    const JsonRef dump{json_tokener_parse(json.c_str())};
    const MeshNodes mesh{dump.get()};
    std::string all;
    for (uint32_t i = 0; i < mesh.count(); ++i) {
        const MeshNode node = mesh.at(i);
        all += std::string{node.name.view()} + "|" + node.address.c_str() + "|" + node.parent.c_str() + "|" +
               node.backhaul.c_str() + "|" + std::to_string(node.hops) + "|" +
               std::to_string(node.signal_strength) + "|" + std::to_string(node.clients) + "\n";
    }
    return all;
}

std::string mac(unsigned number)
{
    char text[32];
    snprintf(text, sizeof text, "02:00:00:00:%02X:%02X", number >> 8, number & 0xFF);
    return text;
}

std::string topology(const std::string& elements)
{
    return R"({"topology information":[)" + elements + "]}";
}

} // namespace

TEST(Columns, AreCutWhereTheHeaderSays)
{
    const struct {
        const char* header;
        const char* line;
        const char* cells;
    } cases[] = {
        {"A   BB  C", "1   2   3", "1|2|3|"},
        {"A   BB  C", "one two three", "one|two|three|"},
        {"A   BB  C", "a b c d and more", "a b|c d|and more|"},
        {"A   BB  C", "1", "1|||"},
        {"A   BB  C", "", "|||"},
        {"A   BB  C", "     x", "| x||"},
        {"BB  A", "2   1", "1|2||"},
        {"  A BB", "xx1 2", "1|2||"},
        {"AA  BBB C", "1   2   3", "||3|"},
        {"", "1   2   3", "|||"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(cells(each.header, each.line), each.cells) << each.header << "\n" << each.line;
    }
}

TEST(Survey, NamesOfNeighboursAreOnlyNames)
{
    const std::string header =
        "CHANNEL SSID                             BSSID             SIGNAL MODE     SECURITY\n";
    const auto line = [](std::string name) {
        name.resize(33, ' ');
        return "6       " + name + "02:00:5e:00:53:a1 -71    b/g/n    WPA2-Personal\n";
    };
    const auto told = [](const std::string& name) {
        return "6|" + name + "|02:00:5E:00:53:A1|-71|b/g/n|WPA2-Personal\n";
    };
    for (const char* name : {"Home", "", " two  words", "6       x", "02:00:5E:00:53:FF -10", "\xff\xfe\x01",
                             "\"}],", "12345678901234567890123456789012"}) {
        EXPECT_EQ(surveyed(header + line(name)), told(name)) << name;
    }
    // A name that breaks its line makes no second network, whatever it begins with.
    for (size_t i = 0; i <= 31; ++i) {
        const std::string name = std::string(i, 'x') + "\n" + "6       y 02:00:5e:00:53:ff";
        EXPECT_EQ(surveyed(header + line(name.substr(0, 32)) + line("Home")), told("Home")) << i;
    }
    EXPECT_EQ(surveyed(""), "");
    EXPECT_EQ(surveyed(header), "");
    EXPECT_EQ(surveyed(line("Home")), "") << "no header";
    EXPECT_EQ(surveyed("BSSID\n02:00:5e:00:53:a1\nff:ff:ff:ff:ff:ff\n"), "0||02:00:5E:00:53:A1|0||\n");
}

TEST(Stations, AreThoseOfTheInterfaceByTheirAddressesWithTheirLeases)
{
    std::string table = "INTERFACE MAC               RSSI\n"
                        "ra0       02:00:00:00:00:0c -1\n"
                        "ra1       02:00:00:00:00:01 -2\n"
                        "ra0       02:00:00:00:00:0A -3\n"
                        "ra0       03:00:00:00:00:0b -4\n"
                        "ra0       -                 -5\n"
                        "ra0\n";
    Stations few{table, "ra0"};
    few.join_leases(
        "1 02:00:00:00:00:0A 192.168.1.10 phone *\nnonsense\n2 02:00:00:00:00:0b 192.168.1.11 other *\n");
    ASSERT_EQ(few.all().size(), 2u);
    EXPECT_EQ(few.all()[0].ip_address, "192.168.1.10");
    EXPECT_EQ(few.all()[0].host_name, "phone");
    EXPECT_EQ(few.all()[1].ip_address, "");
    EXPECT_EQ(cell(few.all()[1].line, find_column(few.header(), "RSSI")), "-1");
    for (unsigned i = 0; i < 300; ++i) {
        table += "rax0      " + mac(i + 1) + " -1\n";
    }
    EXPECT_EQ((Stations{table, "rax0"}.all().size()), Stations::kMost);
    EXPECT_EQ((Stations{"", "ra0"}.all().size()), 0u);
}

TEST(MeshNodes, EachHasARowWhateverItLacks)
{
    EXPECT_EQ(nodes(topology(R"({"Name":"Hall","MACAddress":"02:00:00:00:00:0a","Clients":3},
        {"Name":"Attic","MACAddress":"02:00:00:00:00:0B","Parent":"02:00:00:00:00:0A","Backhaul":"5GHz",
         "SignalStrength":-60,"Clients":[{},{}],"Unknown":{"x":[]}},
        {"MACAddress":"02:00:00:00:00:0c","Parent":"02:00:00:00:00:0b"},{},5,null,[],"x",
        {"Name":7,"MACAddress":7,"Parent":"nobody","Backhaul":{},"SignalStrength":"-60","Clients":-1},
        {"Parent":"02:00:00:00:00:ff"})")),
              "Hall|02:00:00:00:00:0A|||0|0|3\n"
              "Attic|02:00:00:00:00:0B|02:00:00:00:00:0A|5GHz|1|-60|2\n"
              "|02:00:00:00:00:0C|02:00:00:00:00:0B||2|0|0\n"
              "||||0|0|0\n"
              "7||||0|0|0\n"
              "||02:00:00:00:00:FF||-1|0|0\n");
    const std::string parent = R"("Parent":")";
    EXPECT_EQ(nodes(topology("{\"MACAddress\":\"" + mac(1) + "\"," + parent + mac(2) +
                             "\"},{\"MACAddress\":\"" + mac(2) + "\"," + parent + mac(1) + "\"}")),
              mac(1).insert(0, "|") + "|" + mac(2) + "||-1|0|0\n|" + mac(2) + "|" + mac(1) + "||-1|0|0\n")
        << "a circle";
    // A name is cut between characters.
    const std::string long_name = std::string(61, 'x') + "\u00e4";
    EXPECT_EQ(nodes(topology("{\"Name\":\"" + long_name + "\"}")), std::string(61, 'x') + "||||0|0|0\n");
    for (const char* other :
         {"", "5", "[]", "{}", R"({"topology information":{}})", R"({"topology information":null})"}) {
        EXPECT_EQ(nodes(other), "") << other;
    }
}

TEST(MeshNodes, AChainAsLongAsTheMostIsFollowedAndMoreAreLeftOut)
{
    std::string elements;
    for (unsigned i = 0; i < 300; ++i) {
        elements += (i == 0 ? "" : ",") + ("{\"MACAddress\":\"" + mac(i + 1) + "\"");
        elements += i == 0 ? "}" : ",\"Parent\":\"" + mac(i) + "\"}";
    }
    const JsonRef dump{json_tokener_parse(topology(elements).c_str())};
    const MeshNodes mesh{dump.get()};
    ASSERT_EQ(mesh.count(), MeshNodes::kMost);
    EXPECT_EQ(mesh.at(MeshNodes::kMost - 1).hops, static_cast<int>(MeshNodes::kMost) - 1);
}
