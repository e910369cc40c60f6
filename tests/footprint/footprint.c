/* SPDX-License-Identifier: Apache-2.0 */
/* What a process pays for the library: prints its private dirty memory when the library has started, in KiB,
 * and by how many bytes the heap grows over 100,000 requests. */
#include <malloc.h>
#include <stdio.h>

#include <json-c/json.h>

#include "qsc_handlers.h"
#include "qslog.h"
#include "qsyscmdhal.h"

static long private_dirty(void)
{
    char line[256];
    long total = 0;
    long value = 0;
    FILE* file = fopen("/proc/self/smaps_rollup", "r");
    while (file != NULL && fgets(line, sizeof line, file) != NULL) {
        if (sscanf(line, "Private_Dirty: %ld", &value) == 1) {
            total += value;
        }
    }
    if (file != NULL) {
        fclose(file);
    }
    return total;
}

static void serve(int count)
{
    int i;
    for (i = 0; i < count; ++i) {
        struct json_object* request = json_object_new_object();
        QSysCmdHal_Do_SysLog("syslog", request, QSC_OPER_GET, QSC_COMMANDER_CLI, 0, 0);
        QSysCmdHal_Do_Version("version", request, QSC_OPER_GET, QSC_COMMANDER_CLI, 0, 0);
        QSysCmdHal_Do_Device_Time("Device.Time", request, QSC_OPER_COMMIT, QSC_COMMANDER_CLI, 0, 0);
        json_object_put(request);
    }
}

int main(void)
{
    struct mallinfo2 before;
    struct mallinfo2 after;
    Qslog_SetLogLevel(0);
    QSysCmdHal_Init(NULL, QSC_INIT_FOUNDATION | QSC_INIT_UCI);
    printf("dirty %ld\n", private_dirty());
    serve(1000);
    before = mallinfo2();
    serve(100000);
    after = mallinfo2();
    printf("growth %ld\n", (long)after.uordblks - (long)before.uordblks);
    QSysCmdHal_Close();
    return 0;
}
