// SPDX-License-Identifier: Apache-2.0
// The exported helpers that handlers and hosts share: result marks, debug tracing, byte quantities.
#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <sys/syscall.h>
#include <unistd.h>

#include <json-c/json.h>

#include "base/Text.h"
#include "core/Request.h"
#include "include/bacl.h"

using namespace qsc;

namespace
{

constexpr const char* kModule = "QscCommon";

constinit std::atomic<u32> g_debug{0};

/// Unlike an answer, a mark of another type is somebody else's and is not replaced.
u32 set_mark(json_object* object, const char* name, u32 mark)
{
    if (!is_object(object)) {
        return EINVAL;
    }
    json_object* existing = nullptr;
    if (find_member(object, name, existing)) {
        return json_object_set_int64(existing, mark) != 0 ? 0 : EFAULT;
    }
    return add_named_member(object, name, json_object_new_int64(mark));
}

} // namespace

uint32_t Qsc_SetParamId(json_object* object, uint32_t code)
{
    return set_mark(object, "ParamId", code);
}

uint32_t Qsc_SetParamFlag(json_object* object, uint32_t flag)
{
    return set_mark(object, "ParamFlag", flag);
}

uint32_t Qsc_Dbg_SetEnableFlag(uint32_t flag)
{
    g_debug = flag;
    return 0;
}

uint32_t Qsc_Dbg_GetEnableFlag(void)
{
    return g_debug;
}

uint32_t Qsc_Dbg_Print(const char* message, uint32_t mark)
{
    if (g_debug == 0 || message == nullptr) {
        return 0;
    }
    std::array<char, 16> thread{};
    std::snprintf(thread.data(), thread.size(), "%X", static_cast<u32>(syscall(SYS_gettid)));
    CommandText command;
    command.append("/usr/bin/qrnlogger -s qrncommon -t QRNDBG -l n \"(T-")
        .append(thread.data())
        .append(")")
        .append(mark == 1   ? "(START)"
                : mark == 2 ? "(END)"
                            : "")
        .append(" ")
        .append_quoted(message)
        .append("\"");
    return command.fits() ? QrnExeCmdSimple(command.c_str()) : EFAULT;
}

uint32_t Qsc_OutputByteString(int32_t inputUnit, int32_t outputUnit, char* buffer, uint32_t size,
                              double value)
{
    constexpr char kUnits[][4] = {"B", "KB", "MB", "GB", "TB"};
    constexpr i32 kUnitCount = std::size(kUnits);
    constexpr double kStep = 1000;
    // Written so that a value that is not a number is refused as well.
    if (!(value >= 0) || inputUnit < 0 || inputUnit >= kUnitCount || outputUnit < 0 ||
        outputUnit >= kUnitCount || buffer == nullptr || size <= 1) {
        return EINVAL;
    }
    std::memset(buffer, 0, size);
    i32 unit = inputUnit;
    for (; unit > outputUnit; --unit) {
        value *= kStep;
    }
    for (; value / kStep > 1 && unit < outputUnit; ++unit) {
        value /= kStep;
    }
    const int length = value > 999 ? std::snprintf(buffer, size, ">999 %s", kUnits[unit])
                                   : std::snprintf(buffer, size, "%.1f %s", value, kUnits[unit]);
    if (length < 0 || static_cast<u32>(length) >= size) {
        std::memset(buffer, 0, size);
        return EFAULT;
    }
    return 0;
}

uint32_t Qsc_PrintJObj(json_object* object)
{
    if (object == nullptr) {
        return EINVAL;
    }
    std::size_t length = 0;
    const char* const text = json_object_to_json_string_length(object, JSON_C_TO_STRING_PRETTY, &length);
    if (text == nullptr) {
        return ENOMEM;
    }
    return Qslog_StringDump(kLogDebug, kModule, __LINE__, __func__, "JSON object", text,
                            static_cast<u32>(length));
}
