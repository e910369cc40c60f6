// SPDX-License-Identifier: Apache-2.0
static_assert(sizeof(int) >= 4);

constexpr int kLimits[] = {100, 1000};
static_assert(kLimits[1] == 1000);

extern "C" int limited(int value)
{
    int result = 0;
    result = value;
    if (value > kLimits[0]) {
        result = kLimits[0];
    }
    return result;
}

extern "C" unsigned last_digit(unsigned value)
{
    if (value < 10) {
        return value;
    }
    return value % 10;
}

extern "C" int untested(int value)
{
    return -value;
}
