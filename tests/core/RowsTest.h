// SPDX-License-Identifier: Apache-2.0
// Objects of rows on the real configuration library, whose files are in folders of the test program's own.
#pragma once

#include "core/Dispatch.h"
#include "core/ServeRow.h"
#include "support/DeviceTest.h"

namespace test
{

inline constexpr qsc::Source kSource{"Module", "File.cpp", sizeof "File.cpp"};

/// An object from its description, which is in an array of its own.
template <const auto& Plain>
inline constexpr qsc::Object kObject{Plain[0], qsc::kCells<Plain>.data()};

class RowsTest : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        outside().has_real_commands = true;
    }

    static Answer send(const qsc::Subtree& subtree, const std::string& path, uint32_t oper,
                       const std::string& object, uint32_t commander = QSC_COMMANDER_CLI)
    {
        outside().done.clear();
        outside().events.clear();
        outside().logs.clear();
        const Json value{object};
        const uint32_t code = qsc::dispatch(path.c_str(), value.get(), oper, commander, 0, 0, subtree);
        return {code, value.text()};
    }
};

} // namespace test
