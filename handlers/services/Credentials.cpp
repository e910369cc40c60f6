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

bool brings_text(const RowRequest& request, const char* name)
{
    json_object* value = nullptr;
    std::string_view text;
    return find_member(request.root, name, value) && take_text(value, text) == 0 && !text.empty();
}

u32 check_user_name(const RowCall& call, std::string_view stored)
{
    RowText before;
    RowText password;
    u32 code = check_password(call, stored);
    code = code != 0 ? code : read_stored(call.request, call.row, before);
    code = code != 0 ? code : read_stored(call.request, *find_row(call.request.object, "Password"), password);
    const bool is_new = !stored.empty() && stored != before.view();
    return code == 0 && is_new && !password.view().empty() && !brings_text(call.request, "Password")
               ? refuse(EFAULT, "another user name needs its password")
               : code;
}

u32 set_user_name(const RowCall& call, std::string_view stored)
{
    RowText before;
    u32 code = read_stored(call.request, call.row, before);
    if (code != 0 || before.view() == stored) {
        return code;
    }
    code = write_stored(call, stored);
    Text<254> password;
    append_key(call.request, *find_row(call.request.object, "Password"), password);
    return code != 0 || !stored.empty() || uci_peek(password.c_str(), before) != 0
               ? code
               : uci_write(password.c_str(), "");
}

} // namespace qsc::services
