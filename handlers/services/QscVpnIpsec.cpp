// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_VPN.3": a tunnel of IPsec between two networks. Two kinds of scripts read its sections, which
// name some options differently.
#include <json-c/json.h>

#include "base/UciOptional.h"
#include "core/Objects.h"
#include "core/RowParts.h"
#include "handlers/network/Networks.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/Firewall.h"
#include "handlers/services/Tunnel.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscVpnIpsec");

constexpr Package kPackage{"ipsec"};

constexpr const char* kRemoteSubnet = "ipsec.vpn3_net.remote_subnet";
constexpr const char* kLocalSubnet = "ipsec.vpn3_net.local_subnet";
constexpr const char* kCipher = "ipsec.vpn3_esp.encryption_algorithm";
constexpr const char* kHash = "ipsec.vpn3_esp.hash_algorithm";
constexpr const char* kWaitingHash = "ipsec.vpn3_esp.qrn_hash_algorithm";
constexpr const char* kGroup = "ipsec.vpn3_esp.dh_group";
constexpr const char* kLifetime = "ipsec.vpn3_net.lifetime";
constexpr const char* kUsualLifetime = "28800";
constexpr const char* kUsualHash = "sha256";

/// A cipher that protects against changes by itself.
bool is_authenticated(std::string_view cipher)
{
    return cipher.find("gcm") != std::string_view::npos;
}

/// Reads an IPv4 network, "10.1.0.0/16".
bool read_subnet(std::string_view text, network::Network& network)
{
    return text.find('/') != std::string_view::npos && read_remote(text, network) &&
           (network.address & ~network.mask) == 0;
}

/// Judges what a tunnel that is on needs, and that the other network is none of ours.
u32 check_whole(const RowCall& call, std::string_view)
{
    RowText text;
    RowText other;
    network::Network local{};
    network::Network remote{};
    u32 code = read_outcome(call, "LocalSubnet", text);
    const bool has_local = code == 0 && read_subnet(text.view(), local);
    code = code != 0 ? code : read_outcome(call, "RemoteSubnet", text);
    const bool has_remote = code == 0 && read_subnet(text.view(), remote);
    if (code != 0) {
        return code;
    }
    if (has_remote && has_local && network::overlap(remote, local)) {
        return refuse(EFAULT, "the two networks overlap");
    }
    if (has_remote && network::overlaps_interface(remote, "", other)) {
        return refuse(EFAULT, "the remote network overlaps that of %s", other.c_str());
    }
    return will_be_on(call, "Enable") && (!has_local || !has_remote || !will_hold(call, "RemoteGateway") ||
                                          !will_hold(call, "PreSharedKey"))
               ? refuse(EFAULT, "it needs a gateway, both networks and a key")
               : 0;
}

u32 check_subnet(const RowCall& call, std::string_view stored)
{
    network::Network network{};
    return !stored.empty() && !read_subnet(stored, network)
               ? refuse(EFAULT, "it is no IPv4 network such as 10.1.0.0/16")
               : check_whole(call, stored);
}

/// One script writes the key as it is, and takes some beginnings for other spellings of a key.
u32 check_key(const RowCall&, std::string_view stored)
{
    return is_free_of(stored, " \"'#}\\") && !stored.starts_with("0x") && !stored.starts_with("0s")
               ? 0
               : refuse(EFAULT,
                        "it begins with 0x or 0s, or has a blank, a quote, a '#', a '}' or a backslash");
}

/// A name, an address, "@name" or "name@place".
u32 check_identity(const RowCall& call, std::string_view stored)
{
    return is_free_of(stored, "{}=,;%") ? check_identifier(call, stored)
                                        : refuse(EFAULT, "it has a mark that no name or address has");
}

u32 check_integrity(const RowCall& call, std::string_view)
{
    RowText cipher;
    const u32 code = read_outcome(call, "Encryption", cipher);
    return code == 0 && is_named(call, "Encryption") && is_authenticated(cipher.view())
               ? refuse(EFAULT, "%s takes no integrity of its own", cipher.c_str())
               : code;
}

u32 set_subnet(const RowCall& call, std::string_view stored)
{
    Text<254> key;
    append_key(call.request, call.row, key);
    return keep_item(key.c_str(), stored);
}

/// What counts, else what waits for another cipher.
u32 answer_integrity(const RowCall& call)
{
    ValueText hash;
    if (uci_peek(kHash, hash) != 0 && uci_peek(kWaitingHash, hash) != 0) {
        (void)hash.assign(or_empty(call.row.fallback()));
    }
    return answer_stored(call, hash.view());
}

/// Seconds of "28800s", "8h" or a number.
i64 parse_time(std::string_view text)
{
    i64 number = 0;
    (void)parse_leading(text, number);
    return text.ends_with('m')   ? number * 60
           : text.ends_with('h') ? number * 3600
           : text.ends_with('d') ? number * 86400
                                 : number;
}

i64 read_lifetime()
{
    ValueText text;
    return parse_time(uci_peek(kLifetime, text) == 0 ? text.view() : kUsualLifetime);
}

u32 answer_lifetime(const RowCall& call)
{
    return answer_number(call, read_lifetime());
}

u32 set_lifetime(const RowCall& call, std::string_view stored)
{
    Text<30> seconds;
    i64 wanted = 0;
    (void)parse_whole(stored, wanted);
    return wanted == read_lifetime() ? 0 : write_stored(call, seconds.append(stored).append("s").view());
}

/// Everything but the values of the rows themselves: the sections, and what their options are made from.
struct Derived {
    const Package& package;
    const char* section;
    const char* type;
    const char* words; ///< "$A" and so on stand for a value
};

/// What the marks stand for.
enum Mark : u8 {
    kCipherMark,
    kGroupMark,
    kHashMark,
    kPrfMark,
    kExchange,
    kTime,
    kEarlier,
    kOn,
    kLocal,
    kRemote,
    kMarks
};
using MarkText = Text<46>;

constexpr Derived kDerived[] = {
    {kPackage, "vpn3_ike", "crypto_proposal",
     "encryption_algorithm=$A dh_group=$B hash_algorithm=$C prf_algorithm=$D"},
    {kPackage, "vpn3_esp", "crypto_proposal", "encryption_algorithm=$A dh_group=$B hash_algorithm=$C"},
    {kPackage, "vpn3_net", "tunnel",
     "mode=route startaction=route keyexchange=$E lifetime=$Fs rekeytime=$Gs"},
    {kPackage, "vpn3", "remote", "authentication_method=psk keyexchange=$E rekeytime=$Fs enabled=$H"},
    // Packets to the remote network keep their address.
    {kFirewall, "qrn_ipsec", "nat",
     "name=IPsec src=wan proto=all target=ACCEPT src_ip=$I dest_ip=$J enabled=$H"},
};

u32 make_sections()
{
    u32 count = 0;
    u32 code = call_optional(QrnUci_CountSections, "ipsec", "ipsec", &count);
    code = code != 0 || count > 0 ? code : make_section(kPackage, "globals", "ipsec");
    for (const Derived& each : kDerived) {
        code = code != 0 || &each.package == &kFirewall ? code
                                                        : make_section(each.package, each.section, each.type);
    }
    return code;
}

/// Whether a value is another than what there is, or counts where there is nothing.
bool changes_something(RowRequest& request)
{
    bool is_other = false;
    json_object_object_foreach(request.root, name, value)
    {
        const PackedRow* const row = find_row(request.object, name);
        if (row != nullptr && !is_other) {
            RowText before;
            RowText after;
            is_other = read_stored(request, *row, before) != 0 ||
                       read_outcome(call_for(request, *row, value), name, after) != 0 ||
                       before.view() != after.view();
        }
    }
    return is_other;
}

u32 write_derived(const Derived& derived, const std::array<MarkText, kMarks>& marks)
{
    Text<254> words;
    for (const char* c = derived.words; *c != '\0'; ++c) {
        words.append(*c == '$' ? marks[static_cast<std::size_t>(*++c - 'A')].view() : std::string_view{c, 1});
    }
    const u32 code = make_section(derived.package, derived.section, derived.type);
    return code != 0 ? code : keep_words(derived.package, derived.section, words.view());
}

u32 complete(RowRequest& request, bool is_written)
{
    if (!is_written) {
        return changes_something(request) ? make_sections() : 0;
    }
    if (kPackage.type_of("vpn3").view().empty()) {
        return 0;
    }
    // A hash that others have stored is the one to go on with.
    ValueText text;
    const bool is_others = uci_peek(kWaitingHash, text) != 0 && uci_peek(kHash, text) == 0;
    u32 code = is_others && text.view() != kUsualHash ? uci_write(kWaitingHash, text.c_str()) : 0;
    std::array<MarkText, kMarks> marks;
    const auto read = [&](Mark mark, const char* key, const char* usual) {
        (void)marks[mark].assign(uci_peek(key, text) == 0 ? text.view() : std::string_view{usual});
    };
    read(kCipherMark, kCipher, "aes256");
    read(kGroupMark, kGroup, "modp2048");
    read(kHashMark, kWaitingHash, kUsualHash);
    read(kExchange, "ipsec.vpn3.keyexchange", "ikev2");
    read(kOn, "ipsec.vpn3.enabled", "0");
    read(kLocal, kLocalSubnet, "");
    read(kRemote, kRemoteSubnet, "");
    if (is_authenticated(marks[kCipherMark].view())) {
        // A hash beside it would keep every tunnel of the device from starting; the first proposal needs a
        // function to make keys from instead.
        marks[kPrfMark].append("prf").append(marks[kHashMark].view());
        marks[kHashMark].clear();
    }
    marks[kTime].append_number(read_lifetime());
    marks[kEarlier].append_number(read_lifetime() * 9 / 10);
    for (const Derived& each : kDerived) {
        const bool is_ready = &each.package != &kFirewall || !marks[kRemote].view().empty();
        code = code != 0 || !is_ready ? code : write_derived(each, marks);
    }
    if (code == 0 && marks[kRemote].view().empty() && !kFirewall.type_of("qrn_ipsec").view().empty()) {
        code = kFirewall.keep("qrn_ipsec", "enabled", "0");
    }
    RowText gateway;
    (void)uci_peek("ipsec.vpn3.gateway", gateway);
    const std::pair<const char*, std::string_view> kLists[] = {
        {"ipsec.vpn3.crypto_proposal", "vpn3_ike"},
        {"ipsec.vpn3.tunnel", "vpn3_net"},
        {"ipsec.vpn3_net.crypto_proposal", "vpn3_esp"},
        {"ipsec.vpn3.remote_addrs", gateway.view()},
    };
    for (const auto& [key, item] : kLists) {
        code = code != 0 ? code : keep_item(key, item);
    }
    return code;
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "RemoteGateway",
     .kind = Kind::kHost,
     .access = kReadWrite,
     .key = "gateway",
     .check = check_whole},
    {.name = "LocalSubnet",
     .kind = Kind::kIPPrefix,
     .access = kReadWrite,
     .place = kFunction,
     .key = kLocalSubnet,
     .check = check_subnet,
     .set = set_subnet},
    {.name = "RemoteSubnet",
     .kind = Kind::kIPPrefix,
     .access = kReadWrite,
     .place = kFunction,
     .key = kRemoteSubnet,
     .check = check_subnet,
     .set = set_subnet},
    {.name = "PreSharedKey",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = ":126",
     .key = "pre_shared_key",
     .check = check_key},
    {.name = "LocalID", .access = kReadWrite, .key = "local_identifier", .check = check_identity},
    {.name = "RemoteID", .access = kReadWrite, .key = "remote_identifier", .check = check_identity},
    {.name = "IKEVersion",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .limits = QSC_STORED_WORDS("2|1", "ikev2|ikev1"),
     .key = "keyexchange",
     .fallback = "ikev2"},
    {.name = "Encryption",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "aes128|aes256|aes256gcm16",
     .key = kCipher,
     .fallback = "aes256"},
    {.name = "Integrity",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "sha256|sha384",
     .key = kWaitingHash,
     .fallback = kUsualHash,
     .get = answer_integrity,
     .check = check_integrity},
    {.name = "DHGroup",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "modp2048|ecp256|curve25519",
     .key = kGroup,
     .fallback = "modp2048"},
    {.name = "Lifetime",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .place = kFunction,
     .unit = Unit::kSeconds,
     .limits = "300:604800",
     .key = kLifetime,
     .fallback = kUsualLifetime,
     .get = answer_lifetime,
     .set = set_lifetime},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enabled",
     .fallback = "0",
     .check = check_whole},
    kTunnelStatusRow,
};

} // namespace

QSC_EXPORTED_OBJECT(kVpn3, "Device.X_QRN_VPN.3", g_QscVpn3Cmd, kRows, .area = "IPsec",
                    .section = "ipsec.vpn3.", .section_type = "remote", .package = "ipsec firewall",
                    .arrange = complete)
