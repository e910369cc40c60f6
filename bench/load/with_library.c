/* SPDX-License-Identifier: Apache-2.0
 * A host that does nothing: the library is loaded, started and stopped. */
#include "include/qsyscmdhal.h"

int main(void)
{
    QSysCmdHal_Init(0, QSC_INIT_LOG | QSC_INIT_FOUNDATION | QSC_INIT_UCI | QSC_INIT_EVENTS);
    return (int)QSysCmdHal_Close();
}
