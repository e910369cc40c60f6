// SPDX-License-Identifier: Apache-2.0
// What a parameter may hold, as "qsc list" says it.
#include "tools/qsc/Limits.h"

#include <string>

#include <gtest/gtest.h>

using namespace qsc;

TEST(Limits, ReadLikeASentence)
{
    const struct {
        const char* type;
        const char* values;
        u32 flags;
        const char* said; ///< null: there is nothing to say
    } cases[] = {
        {"string", "", 0, nullptr},
        {"int", "-5:10", 0, "-5 to 10"},
        {"unsignedInt", "120:", 0, "120 or more"},
        {"int", ":7", 0, "up to 7"},
        {"string", ":126", 0, "up to 126 characters"},
        {"string", "8:63", QSC_PARAM_SECRET, "8 to 63 characters; secret"},
        {"string", "2:2", 0, "2 characters"},
        {"string", "Off|Auto", QSC_PARAM_LIST, "a list with commas; Off, Auto"},
        {"string", "TCP/IP|a:b", 0, "TCP/IP, a:b"},
        {"IPv4Address", "", QSC_PARAM_NEEDED, "needed to add one"},
    };
    for (const auto& [type, values, flags, said] : cases) {
        const Parameter parameter{"Name", type, "", values, "", QSC_OPER_GET, flags};
        EXPECT_EQ(has_limits(parameter), said != nullptr) << type << values;
        testing::internal::CaptureStdout();
        print_limits(parameter);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), said != nullptr ? said : "");
    }
}
