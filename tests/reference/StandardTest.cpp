// SPDX-License-Identifier: Apache-2.0
// The names, types, access and words of objects that the public TR-181 model has, held against an extract of
// it.
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "qsc_describe.h"
#include "qsyscmdhal.h"
#include "support/Outside.h"

using namespace test;

namespace
{

struct Standard {
    std::string type;
    std::string access;
    std::string values;
};

std::map<std::pair<std::string, std::string>, Standard> read_standard()
{
    std::map<std::pair<std::string, std::string>, Standard> all;
    std::ifstream file{QSC_SOURCE "/tests/data/tr181.tsv"};
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        std::istringstream columns{line};
        std::string object;
        std::string name;
        Standard parameter;
        std::getline(columns, object, '\t');
        std::getline(columns, name, '\t');
        std::getline(columns, parameter.type, '\t');
        std::getline(columns, parameter.access, '\t');
        std::getline(columns, parameter.values, '\t');
        all[{object, name}] = parameter;
    }
    return all;
}

/// Our objects of rows, and the standard's that they mirror.
const std::map<std::string, std::string> kMirrors = {
    {"Device.DeviceInfo", "Device.DeviceInfo."},
    {"Device.DeviceInfo.ProcessStatus", "Device.DeviceInfo.ProcessStatus."},
    {"Device.DeviceInfo.MemoryStatus", "Device.DeviceInfo.MemoryStatus."},
    {"Device.DHCPv4.Server.Pool.1", "Device.DHCPv4.Server.Pool.{i}."},
    {"Device.DHCPv4.Server.Pool.1.StaticAddress.{i}", "Device.DHCPv4.Server.Pool.{i}.StaticAddress.{i}."},
    {"Device.Routing.Router.1", "Device.Routing.Router.{i}."},
    {"Device.Routing.Router.1.IPv4Forwarding.{i}", "Device.Routing.Router.{i}.IPv4Forwarding.{i}."},
    {"Device.Users.User.1", "Device.Users.User.{i}."},
    {"Device.LEDs", "Device.LEDs."},
    {"Device.IP.Interface.1", "Device.IP.Interface.{i}."},
    {"Device.IP.Interface.1.IPv6", "Device.IP.Interface.{i}."},
    {"Device.DNS.Client.Server.", "Device.DNS.Client.Server.{i}."},
    {"Device.Routing.Rip.InterfaceSetting.1", "Device.Routing.RIP.InterfaceSetting.{i}."},
    {"Device.Ethernet.Interface.{i}", "Device.Ethernet.Interface.{i}."},
    {"Device.Ethernet.Interface.{i}.Stats", "Device.Ethernet.Interface.{i}.Stats."},
    {"Device.WiFi", "Device.WiFi."},
    {"Device.WiFi.AccessPoint.{i}", "Device.WiFi.AccessPoint.{i}."},
    {"Device.WiFi.AccessPoint.{i}.Security", "Device.WiFi.AccessPoint.{i}.Security."},
    {"Device.WiFi.AccessPoint.{i}.Accounting", "Device.WiFi.AccessPoint.{i}.Accounting."},
    {"Device.WiFi.AccessPoint.{i}.AssociatedDevice", "Device.WiFi.AccessPoint.{i}.AssociatedDevice.{i}."},
    {"Device.WiFi.EndPoint.", "Device.WiFi.EndPoint.{i}."},
    {"Device.WiFi.MultiAP", "Device.WiFi.MultiAP."},
    {"Device.WiFi.AccessPoint.{i}.WPS", "Device.WiFi.AccessPoint.{i}.WPS."},
    {"Device.X_QRN_Firewall.PortForwarding.", "Device.NAT."},
    {"Device.X_QRN_Firewall.PortForwarding.{i}", "Device.NAT.PortMapping.{i}."},
    {"Device.X_QRN_Firewall.PortTriggering.", "Device.NAT."},
    {"Device.X_QRN_Firewall.PortTriggering.{i}", "Device.NAT.PortTrigger.{i}."},
    {"Device.QoS", "Device.QoS."},
    {"Device.X_QRN_DMZ", "Device.Firewall.DMZ.{i}."},
    {"Device.X_QRN_RemoteAccess.SSH", "Device.SSH.Server.{i}."},
    {"Device.X_QRN_CaptivePortal", "Device.CaptivePortal."},
    {"Device.MQTT.Client", "Device.MQTT.Client.{i}."},
    {"Device.DynamicDNS.Client.1.", "Device.DynamicDNS.Client.{i}."},
    {"Device.DynamicDNS.Client.1.Hostname.1", "Device.DynamicDNS.Client.{i}.Hostname.{i}."},
};

/// Objects inside one of our own have their names bare; these are not the standard's.
const std::set<std::string> kOurs = {
    "AuthorizedKeys",   "WANAccess",    "WANSourcePrefix", "RulePort",
    "RulePortEndRange", "RuleProtocol", "GatewayName",     "SessionTimeout",
    "MaxClients",       "TrustedList",  "BlockedList",     "Device.X_QRN_CaptivePortal.Interface"};

/// Which kinds of addresses there are is ours to say.
std::string general(const std::string& type)
{
    const size_t version = type.find("IPv4");
    return type == "URL"          ? "string"
           : version != type.npos ? type.substr(0, version + 2) + type.substr(version + 4)
                                  : type;
}

std::string type_of(const Qsc_ParameterInfo& parameter)
{
    return ((parameter.flags & QSC_PARAM_LIST) != 0 ? "list of " : "") + general(parameter.type);
}

/// Every word of ours is one of theirs, or says that it is not.
bool are_words_of(const std::string& ours, const std::string& theirs)
{
    std::istringstream words{ours};
    for (std::string word; std::getline(words, word, '|');) {
        if (!word.starts_with("X_QRN_") && ("|" + theirs + "|").find("|" + word + "|") == std::string::npos) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST_F(OutsideTest, MirroredObjectsKeepTheStandardsNamesTypesAccessAndWords)
{
    const auto standard = read_standard();
    ASSERT_GT(standard.size(), 100u);
    size_t seen = 0;
    Qsc_ObjectInfo object;
    for (uint32_t i = 0; QSysCmdHal_DescribeObject(i, &object) == 0; ++i) {
        const auto mirror = kMirrors.find(object.path);
        if (mirror == kMirrors.end()) {
            continue;
        }
        Qsc_ParameterInfo parameter;
        for (uint32_t j = 0; QSysCmdHal_DescribeParameter(&object, j, &parameter) == 0; ++j) {
            const std::string name = parameter.name;
            if (name.starts_with("X_QRN_") || kOurs.contains(name) ||
                kOurs.contains(mirror->first + "." + name)) {
                continue;
            }
            const std::string place = mirror->second + name;
            const auto found = standard.find({mirror->second, name});
            ASSERT_NE(found, standard.end()) << place << " is not in the standard";
            const Standard& theirs = found->second;
            EXPECT_EQ(type_of(parameter), general(theirs.type)) << place;
            EXPECT_TRUE((parameter.access & kSet) == 0 || theirs.access == "rw")
                << place << " offers more access";
            const std::string values = parameter.values;
            EXPECT_TRUE(theirs.values.empty() || values.find('|') == std::string::npos ||
                        are_words_of(values, theirs.values))
                << place << ": " << values << ", not " << theirs.values;
            ++seen;
        }
    }
    EXPECT_GE(seen, 30u);
}
