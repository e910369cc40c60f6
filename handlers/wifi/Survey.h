// SPDX-License-Identifier: Apache-2.0
// The table of a site survey. What neighbours call their networks is their own: nothing, no UTF-8, or what
// looks like another line of the table.
#pragma once

#include "base/Text.h"
#include "handlers/wifi/Columns.h"

namespace qsc::wifi
{

/// A network of the neighbourhood. Its texts are parts of what it was read from.
struct Neighbour {
    i32 channel = 0;
    i32 signal = 0;        ///< dBm
    std::string_view ssid; ///< empty: it is hidden
    Text<30> bssid;
    std::string_view mode;
    std::string_view security;
};

class Survey
{
  public:
    explicit Survey(std::string_view table);

    /// Takes the next line that has the address of a network; false: there is none.
    [[nodiscard]] bool next(Neighbour& neighbour);

  private:
    std::string_view rest_;
    Column channel_;
    Column ssid_;
    Column bssid_;
    Column signal_;
    Column mode_;
    Column security_;
};

} // namespace qsc::wifi
