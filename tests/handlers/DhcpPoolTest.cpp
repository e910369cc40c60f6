// SPDX-License-Identifier: Apache-2.0
// Pools at random: what is right is stored and read back, the rest is refused whole.
#include <random>

#include "core/RowsTest.h"

using namespace test;

namespace
{

constexpr const char* kPool = "Device.DHCPv4.Server.Pool.1";

std::string dotted(uint32_t address)
{
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
           std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
}

std::string quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

class DhcpPool : public RowsTest
{
  protected:
    uint32_t random(uint32_t least, uint32_t most)
    {
        return least + static_cast<uint32_t>(engine_() % (uint64_t{most} - least + 1));
    }

    /// A network of at least eight addresses, with the router somewhere in it, in either of the two forms.
    void move()
    {
        const uint32_t length = random(8, 29);
        size_ = uint32_t{1} << (32 - length);
        base_ = (random(0x0A000000, 0x0AFFFFFF) / size_) * size_;
        router_ = base_ + random(1, size_ - 2);
        put("network", "config interface 'lan'\n\toption proto 'static'\n" +
                           (random(0, 1) == 0
                                ? "\tlist ipaddr '" + dotted(router_) + "/" + std::to_string(length) + "'\n"
                                : "\toption ipaddr '" + dotted(router_) + "'\n\toption netmask '" +
                                      dotted(~(size_ - 1)) + "'\n"));
        put("dhcp", "config dnsmasq\n\nconfig dhcp 'lan'\n");
        put("qrnnetworkzone", "config zone 'lan'\n");
    }

    /// Whether the server can have such a pool.
    [[nodiscard]] bool is_right(uint32_t first, uint32_t last) const
    {
        return first <= last && first > base_ && last < base_ + size_ - 1 &&
               (router_ < first || router_ > last);
    }

    static std::string told(const std::string& name) { return get(kPool, name).value(name.c_str()); }

    static std::string option(const std::string& name)
    {
        std::array<char, 64> value{};
        (void)QrnUci_GetString(("dhcp.lan." + name).c_str(), value.data(), value.size());
        return value.data();
    }

    std::mt19937 engine_{20261122};
    uint32_t base_ = 0;
    uint32_t size_ = 0;
    uint32_t router_ = 0;
};

} // namespace

TEST_F(DhcpPool, RandomPoolsAreReadBackOrRefusedWhole)
{
    int taken = 0;
    for (int i = 0; i < 300; ++i) {
        SCOPED_TRACE(i);
        move();
        const bool is_wild = random(0, 4) == 0;
        uint32_t first = base_ + random(0, size_ - 1) - (is_wild ? size_ / 2 : 0);
        uint32_t last = base_ + random(0, size_ - 1) + (is_wild ? size_ / 2 : 0);
        if (first > last && random(0, 4) != 0) {
            std::swap(first, last);
        }
        const uint32_t lease = random(0, 5) == 0 ? 60 * random(2, 100000) : random(120, 2147483647);
        const Answer answer = OutsideTest::send(
            kPool, kSet,
            R"({"MinAddress":)" + value_of(quoted(dotted(first))) + R"(,"MaxAddress":)" +
                value_of(quoted(dotted(last))) + R"(,"LeaseTime":)" + value_of(std::to_string(lease)) + "}");
        if (!is_right(first, last)) {
            EXPECT_EQ(answer, Fails(EFAULT)) << dotted(first) << " " << dotted(last);
            EXPECT_EQ(option("start") + option("leasetime"), "");
            continue;
        }
        ++taken;
        ASSERT_EQ(answer, Succeeds()) << dotted(router_) << "/" << size_;
        ASSERT_EQ(QrnUci_CommitPackage("dhcp"), 0u);
        EXPECT_EQ(told("MinAddress"), quoted(dotted(first)));
        EXPECT_EQ(told("MaxAddress"), quoted(dotted(last)));
        EXPECT_EQ(told("LeaseTime"), std::to_string(lease));
        // What the server's script makes of it: the offset, and as many as there are up to the end.
        if (!option("start").empty()) {
            EXPECT_EQ(base_ + std::stoul(option("start")), first);
            EXPECT_EQ(first + std::stoul(option("limit")) - 1, last);
        }
    }
    EXPECT_GT(taken, 60);
}
