// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/Credentials.h"

namespace qsc::services
{

u32 check_identifier(const RowCall&, std::string_view stored)
{
    return is_free_of(stored, " \"'#\\") ? 0
                                         : refuse(EFAULT, "it has a blank, a quote, a '#' or a backslash");
}

u32 check_password(const RowCall&, std::string_view stored)
{
    return is_free_of(stored, "\"'\\") ? 0 : refuse(EFAULT, "it has a quote or a backslash");
}

bool brings_secret(const RowCall& call, const char* name)
{
    json_object* value = nullptr;
    std::string_view text;
    return find_member(call.request.root, name, value) && take_text(value, text) == 0 && !text.empty();
}

u32 check_user_name(const RowCall& call, std::string_view stored)
{
    RowText before;
    RowText password;
    u32 code = check_password(call, stored);
    code = code != 0 ? code : read_stored(call.request, call.row, before);
    code = code != 0 ? code : read_stored(call.request, *find_row(call.request.object, "Password"), password);
    const bool is_new = !stored.empty() && stored != before.view();
    return code == 0 && is_new && !password.view().empty() && !brings_secret(call, "Password")
               ? refuse(EFAULT, "another user name needs its password")
               : code;
}

u32 forget_password(const RowCall& call, std::string_view stored)
{
    Text<254> key;
    RowText password;
    append_key(call.request, *find_row(call.request.object, "Password"), key);
    return stored.empty() && uci_peek(key.c_str(), password) == 0 ? uci_write(key.c_str(), "") : 0;
}

} // namespace qsc::services
