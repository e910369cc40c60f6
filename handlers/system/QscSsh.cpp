// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_RemoteAccess.SSH": the login that an administrator has from elsewhere. What would lock
// all users out is refused.
#include "base/UciOptional.h"
#include "core/Objects.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/services/Firewall.h"
#include "handlers/system/Accounts.h"
#include "handlers/system/AuthorizedKeys.h"
#include "handlers/system/RemoteAccess.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::system;

namespace
{

QSC_MODULE("QscSsh");

constexpr const char* kUsualPort = "22";
constexpr const char* kRule = "firewall.qrn_ssh_wan";
constexpr const char* kRulePort = "firewall.qrn_ssh_wan.dest_port";

/// Whether a switch of the same object will be on.
bool will_be_on(const RowCall& call, const char* name)
{
    RowText stored;
    return read_outcome(call, name, stored) == 0 && is_switched_on(stored.view());
}

/// The keys after the request: those that it brings, else those that there are.
bool will_have_key(const RowCall& call)
{
    json_object* value = nullptr;
    std::string_view text;
    FileText keys;
    if (find_member(call.request.root, "AuthorizedKeys", value) && take_text(value, text) == 0) {
        return has_key(text);
    }
    return read_keys(keys) && has_key(keys.view());
}

/// Whether somebody can log in once the request is done.
u32 check_login(const RowCall& call, std::string_view)
{
    if (!will_be_on(call, "Enable")) {
        return 0;
    }
    const bool has_keys = will_have_key(call);
    const bool has_other = has_other_account(call.request.sources, "root");
    const bool takes_passwords = will_be_on(call, "AllowPasswordLogin");
    if (!takes_passwords && !has_keys) {
        return refuse(EFAULT, "without a password login it needs an authorized key");
    }
    if (!will_be_on(call, "AllowRootLogin") && !has_other) {
        return refuse(EFAULT, "without a root login it needs another account that can log in");
    }
    if (takes_passwords && !will_be_on(call, "AllowRootPasswordLogin") && !has_keys && !has_other) {
        return refuse(EFAULT, "without a password for root it needs an authorized key or another account");
    }
    return 0;
}

u32 check_enable(const RowCall& call, std::string_view stored)
{
    if (stored == "1") {
        return check_login(call, stored);
    }
    return is_ssh_on() ? check_last_way_in(is_telnet_on()) : 0;
}

/// What is open to the WAN must not lead elsewhere.
u32 check_wan(const RowCall& call, std::string_view)
{
    RowText text;
    if (!will_be_on(call, "WANAccess")) {
        return 0;
    }
    services::Taken wanted{.protocols = services::kTcp};
    u32 code = read_outcome(call, "Port", text);
    (void)parse_whole(text.view(), wanted.ports.first);
    code = code != 0 ? code : read_outcome(call, "WANSourcePrefix", text);
    (void)services::read_remote(text.view(), wanted.remote);
    return code != 0 ? code : services::check_forwardings(wanted);
}

u32 check_port(const RowCall& call, std::string_view stored)
{
    u32 port = 0;
    (void)parse_whole(stored, port);
    return is_telnet_on() && port == port_in_option("telnetd.config.port", 23)
               ? refuse(EFAULT, "port %u is that of Telnet", port)
               : check_wan(call, stored);
}

bool has_rule()
{
    ValueText type;
    return uci_peek(kRule, type) == 0;
}

/// The firewall's rule lets in what the server listens to.
u32 move_rule(const RowCall&, std::string_view stored)
{
    ValueText port;
    const u32 code = has_rule() && port.assign(stored) ? uci_write(kRulePort, port.c_str()) : 0;
    return code != 0 ? code : services::update_dmz();
}

/// Writes an option of the firewall's rule, which it makes if it is missing.
u32 write_rule(const RowCall& call, std::string_view stored)
{
    if (!has_rule()) {
        if (stored.empty() || stored == "0") {
            return 0;
        }
        constexpr const char* kOptions[][2] = {
            {"name", "SSH from WAN"}, {"src", "wan"},   {"proto", "tcp"},
            {"target", "ACCEPT"},     {"enabled", "0"},
        };
        u32 code = is_installed("firewall") ? call_optional(QrnUci_AddSection, "firewall", "rule",
                                                            "qrn_ssh_wan", static_cast<char*>(nullptr), 0U)
                                            : refuse(EFAULT, "firewall is not installed");
        for (const auto& [option, value] : kOptions) {
            Text<126> key;
            key.append(kRule).append(".").append(option);
            code = code != 0 ? code : uci_write(key.c_str(), value);
        }
        RowText port;
        code = code != 0 ? code : read_outcome(call, "Port", port);
        code = code != 0 ? code : uci_write(kRulePort, port.c_str());
        if (code != 0) {
            return code;
        }
    }
    const u32 written = write_stored(call, stored);
    return written != 0 ? written : services::update_dmz();
}

u32 answer_row(const RowCall& call)
{
    RowText stored;
    const u32 code = read_stored(call.request, call.row, stored);
    return code != 0 ? code : answer_stored(call, stored.view());
}

/// The last line's end belongs to the file.
std::string_view as_spoken(std::string_view keys)
{
    keys.remove_suffix(keys.ends_with('\n') ? 1 : 0);
    return keys;
}

u32 answer_keys(const RowCall& call)
{
    FileText keys;
    FileText answer;
    (void)read_keys(keys);
    return answer.append(as_spoken(keys.view())) ? answer_text(call.value, answer.c_str()) : u32{ENOMEM};
}

/// Takes the sent keys. What is sent back as it was read is taken as it is, whoever wrote it.
u32 take_new_keys(const RowCall& call, FileText& keys, bool& is_new)
{
    std::string_view text;
    FileText before;
    if (const u32 code = take_text(call.value, text)) {
        return code;
    }
    (void)read_keys(before);
    is_new = as_spoken(text) != as_spoken(before.view());
    return is_new ? take_keys(text, keys) : 0;
}

u32 check_keys(const RowCall& call, std::string_view stored)
{
    FileText keys;
    bool is_new = false;
    const u32 code = take_new_keys(call, keys, is_new);
    return code != 0 || !is_new ? code : check_login(call, stored);
}

u32 store_keys(const RowCall& call, std::string_view)
{
    FileText keys;
    bool is_new = false;
    u32 code = take_new_keys(call, keys, is_new);
    if (code == 0 && is_new) {
        code = stage_keys(keys.view());
        if (code != 0) {
            QSC_LOG_CALL(call, kLogError, "the keys are not stored, error %u\n", code);
            return refuse(EFAULT, "the keys could not be stored");
        }
    }
    return code;
}

u32 answer_status(const RowCall& call)
{
    const bool is_up = is_listening(call.request.sources, port_in_option("dropbear.@dropbear[0].Port", 22));
    return answer_stored(call, !is_ssh_on() ? "Disabled" : is_up ? "Enabled" : "Error");
}

} // namespace

u32 qsc::system::serve_ssh(const char*, json_object* request)
{
    if (const u32 code = use_staged_keys()) {
        QSC_LOG(kLogError, "the authorized keys are not replaced, error %u\n", code);
        return finish(request, EFAULT);
    }
    return serve_scripts(request, "dropbear firewall");
}

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Kind kBoolean = Kind::kBoolean;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "Port",
     .kind = Kind::kPort,
     .access = kReadWrite,
     .key = "Port",
     .fallback = kUsualPort,
     .check = check_port,
     .set = move_rule},
    {.name = "IdleTimeout",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .unit = Unit::kSeconds,
     .key = "IdleTimeout",
     .fallback = "0"},
    {.name = "WANSourcePrefix",
     .kind = Kind::kIPPrefix,
     .access = kReadWrite,
     .place = kFunction,
     .key = "firewall.qrn_ssh_wan.src_ip",
     .get = answer_row,
     .check = check_wan,
     .set = write_rule},
    {.name = "AuthorizedKeys",
     .kind = Kind::kLines,
     .access = kReadWrite,
     .place = kFunction,
     .limits = ":8192",
     .outside = "/etc/dropbear/authorized_keys",
     .get = answer_keys,
     .check = check_keys,
     .set = store_keys},
    {.name = "AllowPasswordLogin",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "PasswordAuth",
     .fallback = "1",
     .check = check_login},
    {.name = "AllowRootLogin",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "RootLogin",
     .fallback = "1",
     .check = check_login},
    {.name = "AllowRootPasswordLogin",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "RootPasswordAuth",
     .fallback = "1",
     .check = check_login},
    {.name = "WANAccess",
     .kind = kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .key = "firewall.qrn_ssh_wan.enabled",
     .fallback = "0",
     .get = answer_row,
     .check = check_wan,
     .set = write_rule},
    {.name = "Enable",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "1",
     .check = check_enable},
    status_row("Status", answer_status, "Disabled|Enabled|Error|Error_Misconfigured"),
};

} // namespace

QSC_OBJECT(kSsh, "Device.X_QRN_RemoteAccess.SSH", kRows, .area = "ssh", .section = "dropbear.@dropbear[0].")
