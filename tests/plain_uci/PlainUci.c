/* SPDX-License-Identifier: Apache-2.0 */
/* A device's own configuration library, with no more than every such library has. */
#include <stdio.h>
#include <string.h>

#include "qrnuci.h"

uint32_t QrnUci_Init(void)
{
    return 0;
}

uint32_t QrnUci_Close(void)
{
    return 0;
}

uint32_t QrnUci_GetString(const char* key, char* buffer, uint32_t size)
{
    if (strcmp(key, "system.ntp.enabled") != 0) {
        return 14;
    }
    snprintf(buffer, size, "1");
    return 0;
}

uint32_t QrnUci_SetNewString(const char* key, const char* value, uint32_t reserved, uint32_t mark)
{
    (void)key;
    (void)value;
    (void)reserved;
    (void)mark;
    return 14;
}

uint32_t QrnUci_GetListItem(const char* key, uint32_t index, char* buffer, uint32_t size)
{
    (void)key;
    (void)index;
    snprintf(buffer, size, "time.example.net");
    return 0;
}

uint32_t QrnUci_SetListItem(const char* key, uint32_t index, const char* value)
{
    (void)key;
    (void)index;
    (void)value;
    return 14;
}

uint32_t QrnUci_CommitPackage(const char* package)
{
    (void)package;
    return 14;
}
