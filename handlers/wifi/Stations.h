// SPDX-License-Identifier: Apache-2.0
// The stations that are associated, from the table that "qrnstainfo -l" prints:
//   INTERFACE MAC STANDARD AUTH DOWNLINK UPLINK RSSI NOISE RETRIES ACTIVE SECONDS SENT RECEIVED
// with rates in kbit/s, signals in dBm, the seconds since the station came, and bytes.
#pragma once

#include <array>
#include <span>

#include "core/RowSource.h"
#include "handlers/wifi/Columns.h"
#include "handlers/wifi/MacAddresses.h"

namespace qsc::wifi
{

/// One station. Its texts are parts of what it was read from.
struct Station {
    MacAddress address;
    std::string_view line;
    std::string_view ip_address; ///< of its lease
    std::string_view host_name;
};

/// The stations of one interface, by their addresses.
class Stations
{
  public:
    static constexpr std::size_t kMost = 256;

    Stations(std::string_view table, std::string_view interface);

    /// Finds the stations' leases in the lease file's content.
    void join_leases(std::string_view leases);

    [[nodiscard]] std::string_view header() const { return header_; }
    [[nodiscard]] std::span<const Station> all() const { return {stations_.data(), count_}; }

  private:
    std::string_view header_;
    std::size_t count_ = 0;
    std::array<Station, kMost> stations_;
};

/// What the tool prints; empty: it failed. What is switched off has no stations, and the tool is not asked.
[[nodiscard]] std::string_view read_stations(Sources& sources, bool is_on);

/// What a station has in the column of a row's key, as it would be stored: no number, switch or word is ever
/// anything else.
void read_value(const PackedRow& row, Column column, std::string_view line, RowText& value);

} // namespace qsc::wifi
