// SPDX-License-Identifier: Apache-2.0
// Pools and static addresses at random: what is right is stored and read back, the rest is refused whole.
#include <random>
#include <set>

#include "core/RowsTest.h"

using namespace test;

namespace
{

constexpr const char* kPool = "Device.DHCPv4.Server.Pool.1";
constexpr const char* kHosts = "Device.DHCPv4.Server.Pool.1.StaticAddress.";

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

TEST_F(DhcpPool, RandomHostsAreReadBackOrRefused)
{
    move();
    std::map<uint32_t, std::string> stored;
    std::set<std::string> macs;
    for (uint32_t i = 1; i <= 40; ++i) {
        SCOPED_TRACE(i);
        const uint32_t address = random(0, 3) == 0 ? base_ + random(0, 8) : base_ + random(0, size_ - 1);
        const std::string mac = "02:00:00:00:00:" + std::to_string(random(10, 99));
        const bool is_on = random(0, 1) == 1;
        const Answer answer = OutsideTest::send(
            kHosts + std::to_string(i), kSet,
            R"({"X_QRN_Add":)" + value_of("1") + R"(,"Chaddr":)" + value_of(quoted(mac)) + R"(,"Yiaddr":)" +
                value_of(quoted(dotted(address))) + R"(,"Enable":)" + value_of(is_on ? "1" : "0") + "}");
        const bool is_right = address != base_ && address != base_ + size_ - 1 && address != router_ &&
                              !macs.contains(mac) && std::ranges::none_of(stored, [&](const auto& host) {
                                  return host.second.starts_with(quoted(dotted(address)));
                              });
        ASSERT_EQ(answer, Code{is_right ? 0U : uint32_t{EFAULT}}) << dotted(address);
        if (is_right) {
            macs.insert(mac);
            stored[i] = quoted(dotted(address)) + quoted(mac) + (is_on ? "1" : "0");
        }
    }
    ASSERT_EQ(QrnUci_CommitPackage("dhcp"), 0u);
    EXPECT_EQ(told("StaticAddressNumberOfEntries"), std::to_string(stored.size()));
    EXPECT_GT(stored.size(), 10u);
    for (const auto& [number, wanted] : stored) {
        const std::string path = kHosts + std::to_string(number);
        EXPECT_EQ(OutsideTest::send(path, kGet, R"({"Yiaddr":{}})").value("Yiaddr") +
                      OutsideTest::send(path, kGet, R"({"Chaddr":{}})").value("Chaddr") +
                      OutsideTest::send(path, kGet, R"({"Enable":{}})").value("Enable"),
                  wanted);
    }
}
