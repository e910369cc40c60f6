// SPDX-License-Identifier: Apache-2.0
// "Device.Users.User.1": one of the device's accounts, which the parameter "Username" selects.
#include <cstring>

#include "core/Objects.h"
#include "core/RunTool.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/system/Accounts.h"
#include "handlers/system/RemoteAccess.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::system;

namespace
{

QSC_MODULE("QscUser");

constexpr const char* kRoot = "root";
constexpr const char* kNameKey = "users.user1.username";

/// A field of the account that is selected now; empty: there is no such account.
std::string_view read_field(RowRequest& request, const char* path, std::size_t field)
{
    RowText name;
    Account account{};
    (void)read_stored(request, *find_row(request.object, "Username"), name);
    return find_account(request.sources.file(path), name.view(), account) ? account.fields[field]
                                                                          : std::string_view{};
}

u32 check_name(const RowCall& call, std::string_view stored)
{
    Account account{};
    return stored.find_first_of(":-") != 0 && stored.find(':') == std::string_view::npos &&
                   find_account(call.request.sources.file(kPasswd), stored, account)
               ? 0
               : refuse(EFAULT, "there is no such account");
}

u32 answer_nothing(const RowCall& call)
{
    return answer_stored(call, "");
}

/// The password takes effect at once. It is given to the program as a person would type it, and to no one
/// else.
u32 set_password(const RowCall& call, std::string_view stored)
{
    RowText name;
    if (const u32 code = read_outcome(call, "Username", name)) {
        return code;
    }
    constexpr std::size_t kLongest = 64;
    Text<2 * (kLongest + 1)> typed;
    typed.append(stored).append("\n").append(stored).append("\n");
    const char* const arguments[] = {"passwd", name.c_str(), nullptr};
    const u32 code =
        typed.fits() ? run_tool({.arguments = arguments, .input = typed.view()}, kModule) : EFAULT;
    explicit_bzero(typed.data(), typed.view().size());
    if (code != 0) {
        QSC_LOG_CALL(call, kLogError, "passwd, error %u\n", code);
        return refuse(EFAULT, "the password was not taken");
    }
    return 0;
}

u32 check_shell(const RowCall& call, std::string_view stored)
{
    return is_shell(call.request.sources, stored) ? 0 : refuse(EFAULT, "/etc/shells does not list it");
}

u32 answer_shell(const RowCall& call)
{
    RowText stored;
    if (const u32 code = read_stored(call.request, call.row, stored)) {
        return code;
    }
    return answer_stored(call, !stored.view().empty() ? stored.view()
                                                      : read_field(call.request, kPasswd, Account::kShell));
}

/// Whoever has the number 0 is root, whatever it is called.
bool is_root(RowRequest& request, std::string_view name)
{
    Account account{};
    return name == kRoot || (find_account(request.sources.file(kPasswd), name, account) &&
                             account.fields[Account::kId] == "0");
}

/// Judged for the switch, and for the name that a switch which is off would meet.
u32 check_enable(const RowCall& call, std::string_view)
{
    RowText name;
    RowText enabled;
    u32 code = read_outcome(call, "Username", name);
    code = code != 0 ? code : read_outcome(call, "Enable", enabled);
    if (code != 0 || is_switched_on(enabled.view())) {
        return code;
    }
    if (is_root(call.request, name.view())) {
        return refuse(EFAULT, "root cannot be disabled");
    }
    const bool takes_root = is_option_on("dropbear.@dropbear[0].RootLogin", true);
    return takes_root || has_other_account(call.request.sources, name.view())
               ? 0
               : refuse(EFAULT, "it is the last account that can log in");
}

u32 check_selection(const RowCall& call, std::string_view stored)
{
    const u32 code = check_name(call, stored);
    return code != 0 ? code : check_enable(call, stored);
}

u32 answer_name(const RowCall& call)
{
    RowText name;
    const u32 code = read_stored(call.request, call.row, name);
    return code != 0 ? code : answer_stored(call, name.view());
}

/// The shell that was chosen for one account is not that of the next.
u32 select(const RowCall& call, std::string_view stored)
{
    RowText before;
    u32 code = read_stored(call.request, call.row, before);
    if (code == 0 && before.view() != stored) {
        code = write_stored(call, stored);
        code = code != 0 ? code : uci_write("users.user1.shell", "");
    }
    return code;
}

u32 answer_id(const RowCall& call)
{
    return answer_stored(call, read_field(call.request, kPasswd, Account::kId));
}

u32 answer_password_set(const RowCall& call)
{
    return answer_stored(call, has_password(read_field(call.request, kShadow, Account::kHash)) ? "1" : "0");
}

/// Locks or unlocks the selected account, and gives it its shell. A locked one without a password stays
/// locked: unlocked, it would be open to anyone.
u32 apply()
{
    Text<64> name;
    RowText shell;
    FileText shadow;
    Account account{};
    if (uci_peek(kNameKey, name) != 0) {
        (void)name.assign(kRoot);
    }
    (void)uci_peek("users.user1.shell", shell);
    if (const u32 code = shell.view().empty()
                             ? 0
                             : change_account(kPasswd, name.view(), Account::kShell, shell.view(), 0644)) {
        return code;
    }
    if (const u32 code = read_safe_file(kShadow, shadow)) {
        return code;
    }
    if (!find_account(shadow.view(), name.view(), account)) {
        return ENOENT;
    }
    std::string_view hash = account.fields[Account::kHash];
    Text<254> wanted;
    const bool is_on = is_option_on("users.user1.enable", true);
    if (is_on && has_password(hash)) {
        hash.remove_prefix(hash.find_first_not_of('!'));
    }
    wanted.append(is_on || hash.starts_with('!') ? "" : "!").append(hash);
    return wanted.fits() ? change_account(kShadow, name.view(), Account::kHash, wanted.view(), 0600) : EFBIG;
}

} // namespace

u32 qsc::system::serve_user(const char*, json_object* request)
{
    return serve_action(request, [](std::string_view) -> u32 {
        const u32 code = apply();
        if (code != 0) {
            Qslog_Log(kLogError, kModule, __LINE__, "serve_user", "the account is not changed, error %u\n",
                      code);
            return refuse(EFAULT, "the account could not be changed");
        }
        return 0;
    });
}

namespace
{

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "Username",
     .access = kReadWrite,
     .place = kFunction,
     .limits = "1:64",
     .key = "username",
     .fallback = kRoot,
     .get = answer_name,
     .check = check_selection,
     .set = select},
    {.name = "Password",
     .access = kReadWrite,
     .place = kFunction,
     .marks = kSecret,
     .limits = ":64",
     .outside = kShadow,
     .get = answer_nothing,
     .set = set_password},
    {.name = "Shell",
     .access = kReadWrite,
     .limits = "1:126",
     .key = "shell",
     .get = answer_shell,
     .check = check_shell},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "1",
     .check = check_enable},
    {.name = "UserID", .kind = Kind::kUnsigned, .place = kFunction, .get = answer_id},
    {.name = "StaticUser", .kind = Kind::kBoolean, .place = Place::kConstant, .key = "1"},
    {.name = "X_QRN_PasswordSet", .kind = Kind::kBoolean, .place = kFunction, .get = answer_password_set},
};

} // namespace

QSC_EXPORTED_OBJECT(kUser, "Device.Users.User.1", g_QscDeviceUsersUser1Cmd, kRows, .area = "user",
                    .section = "users.user1.", .section_type = "user")
