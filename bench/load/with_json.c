/* SPDX-License-Identifier: Apache-2.0
 * The same for json-c alone. */
#include <json-c/json.h>

int main(void)
{
    return json_object_put(json_object_new_object()) == 1 ? 0 : 1;
}
