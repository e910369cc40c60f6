// SPDX-License-Identifier: Apache-2.0
// The station tool's table up to a byte of zero, and the leases after it.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "core/Objects.h"
#include "handlers/wifi/Stations.h"

using namespace qsc;
using namespace qsc::wifi;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text{reinterpret_cast<const char*>(data), size};
    const std::string_view table = text.substr(0, text.find('\0'));
    Stations stations{table, "ra0"};
    stations.join_leases(text.substr(std::min(table.size() + 1, size)));
    const auto is_before = [](const Station& left, const Station& right) {
        return left.address < right.address;
    };
    if (stations.all().size() > Stations::kMost ||
        !std::is_sorted(stations.all().begin(), stations.all().end(), is_before)) {
        std::abort();
    }
    for (const Station& station : stations.all()) {
        for (const PackedRow& row : objects::kWiFiStations.rows()) {
            if (row.key() == nullptr) {
                continue;
            }
            RowText value;
            i64 number = 0;
            read_value(row, find_column(stations.header(), row.key()), station.line, value);
            const bool is_text = row.kind == Kind::kMacAddress || row.kind == Kind::kWord;
            if (!value.fits() || (!is_text && !parse_whole(value.view(), number)) ||
                (number < 0 && row.kind != Kind::kInteger)) {
                std::abort();
            }
        }
    }
    return 0;
}
