// SPDX-License-Identifier: Apache-2.0
#include <qsyscmdhal.h>

#include <iostream>

int main()
{
    QSysCmdHal_Init(nullptr, QSC_INIT_FOUNDATION);
    std::cout << QSysCmdHal_GetCommanderName(QSC_COMMANDER_CLI) << '\n';
    return static_cast<int>(QSysCmdHal_Close());
}
