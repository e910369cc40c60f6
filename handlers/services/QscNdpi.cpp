// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_nDPI": which applications are blocked, and what each has carried.
#include <algorithm>

#include "core/JsonList.h"
#include "core/Objects.h"
#include "include/qsc_handlers.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscNdpi");

bool is_application(std::string_view name)
{
    constexpr std::size_t kLongest = 32;
    return !name.empty() && name.size() <= kLongest && name.front() != '-' &&
           std::ranges::all_of(name, [](char c) {
               return is_digit(c) || is_lower(to_lower(c)) ||
                      std::string_view{"._+-"}.find(c) != std::string_view::npos;
           });
}

u32 check_applications(const RowCall&, std::string_view stored)
{
    return for_each_item(stored, [](std::string_view name) -> u32 {
        return is_application(name) ? 0 : refuse(EFAULT, "it holds a name that no application has");
    });
}

/// The classifier writes lines of "NAME BYTES". What is none is passed over: others may write there too.
u32 answer_list(const RowCall& call)
{
    JsonList list;
    std::string_view rest = call.request.sources.file("/var/run/ndpi.status");
    while (!rest.empty()) {
        std::string_view line = first_line(rest);
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        const std::string_view name = take_word(line);
        i64 bytes = 0;
        if (!is_application(name) || !parse_whole(take_word(line), bytes) || bytes < 0) {
            continue;
        }
        JsonRow row;
        row.add("Name", name).add_number("Bytes", bytes);
        if (!list.add(std::move(row))) {
            break;
        }
    }
    return list.answer(call);
}

constexpr Row kRows[] = {
    {.name = "BlockedApplications",
     .access = Access::kReadWrite,
     .place = Place::kList,
     .marks = kMany,
     .limits = "1:32",
     .key = "blocked_applications",
     .check = check_applications},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = Access::kReadWrite,
     .key = "enable",
     .fallback = "0"},
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = Place::kFunction, .get = answer_list},
};

} // namespace

QSC_EXPORTED_OBJECT(kNdpi, "Device.X_QRN_nDPI", g_QscnDPICmd, kRows, .area = "nDPI",
                    .section = "ndpi.config.", .section_type = "ndpi", .package = "ndpi")
