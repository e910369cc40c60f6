// SPDX-License-Identifier: Apache-2.0
// "Device.MQTT.Client": the broker elsewhere that this device's own broker is a client of. A changed user
// name keeps its password: a broker may know accounts by either.
#include <algorithm>
#include <cerrno>

#include <unistd.h>

#include "core/Objects.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "core/StagedFile.h"
#include "handlers/network/Sockets.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/Package.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscMqttClient");

constexpr StagedFile kCertificates{
    .folder = "/etc/mqtt", .path = "/etc/mqtt/ca.pem", .staged = "/etc/mqtt/ca.pem.qrn"};
constexpr std::size_t kMostCertificates = std::size_t{16} * 1024;

constexpr const char* kBroker = "/etc/init.d/mosquitto";

/// What precedes a topic is a topic itself, without wildcards.
u32 check_prefix(const RowCall& call, std::string_view stored)
{
    return is_free_of(stored, "+") ? check_identifier(call, stored) : refuse(EFAULT, "it has a wildcard");
}

u32 check_broker(const RowCall& call, std::string_view)
{
    RowText enabled;
    RowText address;
    u32 code = read_outcome(call, "Enable", enabled);
    code = code != 0 ? code : read_outcome(call, "BrokerAddress", address);
    return code == 0 && is_switched_on(enabled.view()) && address.view().empty()
               ? refuse(EFAULT, "it needs the address of a broker")
               : code;
}

bool is_base64(std::string_view line)
{
    const std::size_t digits = std::min(line.find('='), line.size());
    return digits > 0 && line.size() <= 76 && line.size() - digits <= 2 &&
           line.find_first_not_of('=', digits) == std::string_view::npos &&
           std::ranges::all_of(line.substr(0, digits), [](char c) {
               return is_digit(c) || is_lower(to_lower(c)) || c == '+' || c == '/';
           });
}

/// Takes certificates as they are written in files, one after the other.
u32 take_certificates(std::string_view text, FileText& certificates)
{
    if (text.size() > kMostCertificates) {
        return refuse(EFAULT, "it has %zu characters, not at most %zu", text.size(), kMostCertificates);
    }
    bool is_inside = false;
    u32 lines = 0; // of base64, in this certificate
    u32 number = 0;
    while (!text.empty()) {
        std::string_view line = first_line(text);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        ++number;
        const bool begins = line == "-----BEGIN CERTIFICATE-----";
        const bool ends = line == "-----END CERTIFICATE-----";
        if (line.empty() && !is_inside) {
            continue;
        }
        if (is_inside ? begins || (ends ? lines == 0 : !is_base64(line)) : !begins) {
            return refuse(EFAULT, "line %u is none of a certificate in PEM form", number);
        }
        lines = begins ? 0 : lines + 1;
        is_inside = !ends;
        if (!certificates.append(line) || !certificates.append("\n")) {
            return ENOMEM;
        }
    }
    return is_inside ? refuse(EFAULT, "the last certificate has no end") : 0;
}

/// Takes what the caller sent, unless it is what there is.
u32 take_new(const RowCall& call, FileText& certificates, bool& is_new)
{
    std::string_view text;
    FileText before;
    if (const u32 code = take_text(call.value, text)) {
        return code;
    }
    (void)read_staged(kCertificates, before);
    is_new = text != before.view();
    return is_new ? take_certificates(text, certificates) : 0;
}

u32 answer_certificates(const RowCall& call)
{
    FileText certificates;
    (void)read_staged(kCertificates, certificates);
    return answer_text(call.value, certificates.c_str());
}

u32 check_certificates(const RowCall& call, std::string_view)
{
    FileText certificates;
    bool is_new = false;
    return take_new(call, certificates, is_new);
}

u32 store_certificates(const RowCall& call, std::string_view)
{
    FileText certificates;
    bool is_new = false;
    u32 code = take_new(call, certificates, is_new);
    code = code != 0 || !is_new ? code : stage_file(kCertificates, certificates.view());
    if (code != 0) {
        QSC_LOG_CALL(call, kLogError, "the certificate is not stored, error %u\n", code);
        return refuse(EFAULT, "the certificate could not be stored");
    }
    return 0;
}

/// A connection to a broker is one to its port.
u32 answer_status(const RowCall& call)
{
    const auto read = [&](const char* name, RowText& stored) {
        (void)read_stored(call.request, *find_row(call.request.object, name), stored);
        return stored.view();
    };
    RowText text;
    if (!is_row_on(call.request)) {
        return answer_stored(call, "Disabled");
    }
    if (access(kBroker, X_OK) != 0) {
        return answer_stored(call, "Error");
    }
    if (read("BrokerAddress", text).empty() || read("TransportProtocol", text) == "WebSocket") {
        return answer_stored(call, "Error_Misconfigured");
    }
    u32 port = 0;
    (void)parse_whole(read("BrokerPort", text), port);
    const bool is_connected =
        network::has_socket(call.request.sources, network::kConnected, network::SocketEnd::kPeer, port);
    return answer_stored(call, is_connected ? "Connected" : "Connecting");
}

} // namespace

u32 qsc::services::serve_mqtt(const char*, json_object* request)
{
    if (const u32 code = use_staged(kCertificates)) {
        QSC_LOG(kLogError, "the broker's certificate is not replaced, error %u\n", code);
        return finish(request, EFAULT);
    }
    return serve_scripts(request, "mqtt");
}

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRows[] = {
    {.name = "Name", .access = kReadWrite, .limits = ":64", .key = "name"},
    {.name = "BrokerAddress",
     .kind = Kind::kHost,
     .access = kReadWrite,
     .key = "broker_address",
     .check = check_broker},
    {.name = "BrokerPort",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .key = "broker_port",
     .fallback = "1883"},
    {.name = "TransportProtocol",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "TCP/IP|TLS|WebSocket",
     .key = "transport_protocol",
     .fallback = "TCP/IP"},
    {.name = "ProtocolVersion",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "3.1|3.1.1|5.0",
     .key = "protocol_version",
     .fallback = "3.1.1"},
    {.name = "ClientID",
     .access = kReadWrite,
     .limits = ":256",
     .key = "client_id",
     .check = check_identifier},
    {.name = "Username",
     .access = kReadWrite,
     .place = Place::kFunction,
     .limits = ":256",
     .key = "username",
     .check = check_identifier,
     .set = set_user_name},
    {.name = "Password",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = ":256",
     .key = "password",
     .check = check_password},
    {.name = "KeepAliveTime",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kSeconds,
     .limits = "0:65535",
     .key = "keep_alive_time",
     .fallback = "60"},
    {.name = "CleanSession",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "clean_session",
     .fallback = "1"},
    {.name = "ConnectRetryTime",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kSeconds,
     .limits = "1:4294967295",
     .key = "connect_retry_time",
     .fallback = "5"},
    {.name = "X_QRN_CACertificate",
     .kind = Kind::kLines,
     .access = kReadWrite,
     .place = Place::kFunction,
     .limits = ":16384",
     .outside = "/etc/mqtt/ca.pem",
     .get = answer_certificates,
     .check = check_certificates,
     .set = store_certificates},
    {.name = "X_QRN_TopicPrefix", .access = kReadWrite, .key = "topic_prefix", .check = check_prefix},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "0",
     .check = check_broker},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = Place::kFunction,
     .limits = "Disabled|Connecting|Connected|Error_Misconfigured|Error_BrokerUnreachable|Error",
     .get = answer_status},
};

} // namespace

QSC_OBJECT(kMqttClient, "Device.MQTT.Client", kRows, .area = "mqtt client", .section = "mqtt.client.",
           .section_type = "client", .package = "mqtt")
