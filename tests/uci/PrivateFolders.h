// SPDX-License-Identifier: Apache-2.0
// Gives the test program an /etc and a /tmp of its own, in a mount namespace that ends with it: the
// configuration library works on its real paths, and the machine's files are never touched.
#pragma once

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace test
{

/// Enters them, once for the program; false: the kernel allows no private mounts.
bool enter_private_folders();

class UciTest : public testing::Test
{
  protected:
    /// Empty /etc/config, no staging folder. Skips where the kernel allows no private mounts.
    void SetUp() override;

    static std::string get(const std::string& key);
    static uint32_t set(const std::string& key, const char* value);
    static std::string item(const std::string& key, uint32_t index);
    static std::string config(const std::string& package);
    static std::string staged(const std::string& package);
    /// Sets an option of package "p" in an overlay and replaces the file, until nobody has been faster.
    static uint32_t replace_value(const std::string& key, const char* value);
    static long open_descriptors();
    static void put_config(const std::string& package, const std::string& text);
    static void put_staged(const std::string& package, const std::string& text);
};

} // namespace test
