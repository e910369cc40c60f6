/* SPDX-License-Identifier: Apache-2.0 */
#include <json-c/json.h>
#include <qsyscmdhal.h>
#include <stdio.h>
int main(void)
{
    struct json_object *request = json_object_new_object(), *answer = NULL;
    Qsc_CommandEntry* version = QSysCmdHal_GetFunList() + 1;
    uint32_t code = version->dispatcher(version->path, request, QSC_OPER_GET, QSC_COMMANDER_OTHER, 0, 0);
    json_object_object_get_ex(request, "halver", &answer);
    puts(json_object_get_string(json_object_object_get(answer, "version")));
    return (int)code;
}
