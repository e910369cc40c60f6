// SPDX-License-Identifier: Apache-2.0
// What the router tells of itself: processors, memory, flash, throughput, LEDs, all from files that are
// faked.
#include <sys/statvfs.h>

#include "bacl.h"
#include "support/DeviceTest.h"

using namespace test;

namespace
{

uint64_t g_now_ms = 0;
std::map<std::string, struct statvfs> g_file_systems;

class Status : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        g_file_systems.clear();
    }

    /// The clock goes on over all tests, as what they are about does.
    static void pass(uint64_t ms) { g_now_ms += ms; }

    static struct statvfs file_system(unsigned blocks, unsigned free, unsigned available)
    {
        struct statvfs status = {};
        status.f_bsize = 1;
        status.f_frsize = 4096;
        status.f_blocks = blocks;
        status.f_bfree = free;
        status.f_bavail = available;
        return status;
    }
};

} // namespace

extern "C" {

uint64_t BaCL_GetTimestampMSHQ(void)
{
    return g_now_ms;
}

int statvfs(const char* path, struct statvfs* status)
{
    const auto found = g_file_systems.find(path);
    *status = found != g_file_systems.end() ? found->second : *status;
    return found != g_file_systems.end() ? 0 : -1;
}

uint32_t QPerCtlC_SendCmdByString(const char* command);
uint32_t QPerCtlC_SendCmdByString(const char* command)
{
    outside().done.push_back(std::string{"peripherals "} + command);
    return 0;
}
}

TEST_F(Status, TheProcessorsUsageIsThatSinceItWasAskedASecondAgoOrMore)
{
    const FakeFolder proc{"/proc"};
    const struct {
        uint64_t passed_ms;
        const char* columns; ///< user nice system idle iowait irq softirq steal guest guest_nice
        const char* usage;
    } cases[] = {
        {1, "10 0 10 60 20 0 0 0 5 5", "20"},         // since the start
        {999, "100 50 50 150 50 20 20 60 7 7", "60"}, // too soon: since the start
        {1, "30 10 10 80 20 0 0 50 5 5", "80"},       // since the first: of 100 are 20 idle
        {1000, "30 10 10 80 20 0 0 50 5 5", "0"},     // nothing has passed
        {5000, "30 10 10 70 20 10 10 50 5 5", "0"},   // a counter that went back
        {1000, "1 1 1 1 1 1 1 1 1 1", "0"},           {1000, "x", "0"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.columns);
        pass(one.passed_ms);
        FakeFolder::put("/proc/stat", std::string{"cpu  "} + one.columns + "\ncpu0 9 9 9 9 9 9 9 9 9 9\n");
        EXPECT_EQ(values("Device.DeviceInfo.ProcessStatus", "CPUUsage"), one.usage);
    }
}

TEST_F(Status, ProcessesAndMemoryAreReadFromTheKernel)
{
    const FakeFolder proc{"/proc"};
    constexpr const char* kProcesses = "Device.DeviceInfo.ProcessStatus";
    EXPECT_EQ(values(kProcesses, "ProcessNumberOfEntries X_QRN_LoadAverage"), "0 \"\"");
    for (const char* name : {"1", "22", "self", "x1"}) {
        std::filesystem::create_directory(std::string{"/proc/"} + name);
    }
    FakeFolder::put("/proc/loadavg", "0.10 0.20 3.30 1/100 4711\n");
    FakeFolder::put("/proc/meminfo", "MemTotal: 512 kB\nMemFree: 12 kB\nMemAvailable: 112 kB\n");
    g_file_systems["/overlay"] = file_system(1000, 400, 250);
    EXPECT_EQ(values(kProcesses, "ProcessNumberOfEntries X_QRN_LoadAverage"), "2 \"0.10,0.20,3.30\"");
    EXPECT_EQ(
        values("Device.DeviceInfo.MemoryStatus", "Total Free X_QRN_Available TotalPersistent FreePersistent"),
        "512 12 112 4000 1000");
}

TEST_F(Status, FlashIsTheOverlayOrElseTheRoot)
{
    constexpr const char* kFlash = "Device.DeviceInfo.X_QRN_FlashStatus";
    constexpr const char* kAll = "Total Free Used UsedPercent";
    EXPECT_EQ(values(kFlash, kAll), "0 0 0 0");
    g_file_systems["/"] = file_system(10, 5, 2);
    EXPECT_EQ(values(kFlash, kAll), "40 8 32 80");
    EXPECT_EQ(values("Device.DeviceInfo.MemoryStatus", "TotalPersistent FreePersistent"), "0 0");
    g_file_systems["/overlay"] = file_system(1000, 400, 250);
    EXPECT_EQ(values(kFlash, kAll), "4000 1000 3000 75");
}

TEST_F(Status, CountersAndRatesAreThoseOfTheirOwnDevice)
{
    constexpr const char* kPath = "Device.X_QRN_Throughput.";
    constexpr const char* kRates = "WANReceiveRate WANSendRate LANReceiveRate LANSendRate";
    const FakeFolder sys{"/sys"};
    put("network", "config interface 'wan'\n\toption device 'eth1'\nconfig interface 'lan'\n\toption device "
                   "'br-lan'\n");
    const auto count = [](const std::array<uint64_t, 4>& bytes) {
        constexpr const char* kFiles[] = {"eth1/statistics/rx_bytes", "eth1/statistics/tx_bytes",
                                          "br-lan/statistics/rx_bytes", "br-lan/statistics/tx_bytes"};
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            FakeFolder::put(std::string{"/sys/class/net/"} + kFiles[i], std::to_string(bytes[i]) + "\n");
        }
    };
    count({1000, 2000, 3000, UINT32_MAX});
    pass(1);
    EXPECT_EQ(values(kPath, "WANReceived WANSent LANReceived LANSent"), "1000 2000 3000 4294967295");
    const struct {
        uint64_t passed_ms;
        std::array<uint64_t, 4> bytes;
        const char* rates;
    } cases[] = {
        {1, {1000, 2000, 3000, 4000}, "0 0 0 0"},   // nothing to compare with
        {999, {5000, 5000, 5000, 5000}, "0 0 0 0"}, // too soon
        {1, {2000, 4000, 6000, 8000}, "8000 16000 24000 32000"},
        {999, {9000, 9000, 9000, 9000}, "8000 16000 24000 32000"},
        {1001, {4000, 4000, 6000, 10}, "8000 0 0 0"}, // a device that came anew
        {1000, {4001, 4000, 6125, 1010}, "8 0 1000 8000"},
    };
    for (const auto& one : cases) {
        pass(one.passed_ms);
        count(one.bytes);
        EXPECT_EQ(values(kPath, kRates), one.rates) << one.bytes[0];
    }
    for (const char* device : {"../net/eth1", "none", ""}) {
        put("network", std::string{"config interface 'wan'\n\toption device '"} + device + "'\n");
        EXPECT_EQ(values(kPath, "WANReceived WANReceiveRate LANSent"), "0 0 0") << device;
    }
}

TEST_F(Status, TheRouterIsWhatItsBootLoaderOrItsFilesSay)
{
    constexpr const char* kPath = "Device.DeviceInfo";
    constexpr const char* kAll =
        "Manufacturer ManufacturerOUI ModelName Description ProductClass SerialNumber "
        "HardwareVersion SoftwareVersion HostName";
    put("system", "config system\n\toption hostname 'gate'\n");
    EXPECT_EQ(values(kPath, kAll), "\"\" \"\" \"\" \"\" \"\" \"\" \"\" \"\" \"gate\"");
    FakeFolder::put("/tmp/sysinfo/model", "Model\n");
    write_file("/etc/openwrt_release",
               "DISTRIB_ID='Id'\nDISTRIB_RELEASE='24'\nDISTRIB_DESCRIPTION='Id 24'\n");
    EXPECT_EQ(values(kPath, kAll), "\"Id\" \"\" \"Model\" \"Id 24\" \"\" \"\" \"\" \"24\" \"gate\"");
    write_file("/etc/device_info", "DEVICE_MANUFACTURER='Maker'\nDEVICE_PRODUCT='P'\nDEVICE_REVISION='v1'\n");
    EXPECT_EQ(values(kPath, kAll), "\"Maker\" \"\" \"P\" \"Id 24\" \"P\" \"\" \"v1\" \"24\" \"gate\"");
    write_file("/tmp/sysinfo/board_name", "board\n");
    outside().programs["fw_printenv"] = "[ $2 = ethaddr ] && echo 0a:1b:2c:3d:4e:5f || echo of $2";
    EXPECT_EQ(values(kPath, kAll),
              "\"of manufacturer\" \"0A1B2C\" \"of model\" \"Id 24\" \"board\" \"of serial\" "
              "\"v1\" \"24\" \"gate\"");
    for (const char* address : {"0a:1b:2c:3d:4e", "01:00:5e:00:00:01"}) {
        outside().programs["fw_printenv"] = std::string{"echo "} + address;
        EXPECT_EQ(values(kPath, "ManufacturerOUI"), "\"\"") << address;
    }
    EXPECT_EQ(change(kPath, "HostName=new FriendlyName=" + std::string(32, 'x') + " ProvisioningCode=A"), "");
    EXPECT_EQ(change(kPath, "FriendlyName=" + std::string(33, 'x')),
              "FriendlyName: it has 33 characters, not at most 32");
    EXPECT_EQ(change(kPath, "HostName="), "HostName: it is empty");
    EXPECT_EQ(messages().front(), "set device info ProvisioningCode A by CLI");
    EXPECT_EQ(committed("system"), (Lines{"config system", "option hostname 'new'", "option provisioning 'A'",
                                          "option description '" + std::string(32, 'x') + "'"}));
}

TEST_F(Status, LedsGoDarkAndShineAgain)
{
    constexpr const char* kPath = "Device.LEDs";
    const FakeFolder sys{"/sys"};
    outside().programs["/etc/init.d/led"] = "";
    const auto apply = [] { return send(kPath, kService, R"({"action":"restart"})"); };
    const auto shine = [] {
        std::string all;
        for (const char* led : {"green:lan", "red:power"}) {
            for (const char* file : {"/trigger", "/brightness"}) {
                all += read_file(std::string{"/sys/class/leds/"} + led + file);
            }
        }
        return all;
    };
    put("system", "config system\n");
    EXPECT_EQ(values(kPath, "LEDNumberOfEntries X_QRN_Enable X_QRN_Names"), "0 1 \"\"");
    for (const char* led : {"red:power", "green:lan", ".hidden"}) {
        FakeFolder::put(std::string{"/sys/class/leds/"} + led + "/trigger", "default-on");
        FakeFolder::put(std::string{"/sys/class/leds/"} + led + "/brightness", "255");
    }
    EXPECT_EQ(values(kPath, "LEDNumberOfEntries X_QRN_Enable X_QRN_Names"), "2 1 \"green:lan,red:power\"");
    EXPECT_EQ(apply(), Succeeds());
    EXPECT_EQ(steps(), (Lines{"run /etc/init.d/led restart", "sync", "peripherals led on"}));
    EXPECT_EQ(shine(), "default-on255default-on255");
    EXPECT_EQ(change(kPath, "X_QRN_Enable=0"), "");
    EXPECT_EQ(messages(), Lines{"set leds X_QRN_Enable 0 by CLI"});
    EXPECT_EQ(steps(), Lines{"set system.@system[0].leds_off=1"});
    // A script that knows of dark LEDs is left to it.
    FakeFolder::put("/etc/init.d/led", "# reads leds_off\n");
    EXPECT_EQ(apply(), Succeeds());
    EXPECT_EQ(shine(), "default-on255default-on255");
    EXPECT_EQ(steps().back(), "peripherals led off");
    FakeFolder::put("/etc/init.d/led", "");
    std::filesystem::remove("/sys/class/leds/.hidden/trigger");
    EXPECT_EQ(apply(), Succeeds());
    EXPECT_EQ(shine(), "none\n0\nnone\n0\n");
    EXPECT_EQ(outside().logs, std::vector<LogLine>{});
    std::filesystem::remove("/sys/class/leds/green:lan/trigger");
    EXPECT_EQ(apply(), Succeeds());
    EXPECT_EQ(outside().logs,
              (std::vector<LogLine>{{4, "[W] /sys/class/leds/green:lan/trigger not written, error " +
                                            std::to_string(ENOENT) + "\n"}}));
    FakeFolder::put("/sys/class/leds/red:power/trigger", "default-on");
    outside().programs["/etc/init.d/led"] = "exit 1";
    steps();
    EXPECT_EQ(apply(), Fails(EFAULT));
    EXPECT_EQ(steps(), (Lines{"run /etc/init.d/led restart", "sync"}));
    EXPECT_EQ(read_file("/sys/class/leds/red:power/trigger"), "default-on");
}

TEST_F(Status, ALinkOfAPortHasChangedSinceItsCountHas)
{
    const FakeFolder net{"/sys/class/net"};
    const auto after = [](const char* port, const char* changes) {
        FakeFolder::put(std::string{"/sys/class/net/eth"} + port + "/type", "1\n");
        FakeFolder::put(std::string{"/sys/class/net/eth"} + port + "/device/x", "");
        FakeFolder::put(std::string{"/sys/class/net/eth"} + port + "/carrier_changes", changes);
        return values(std::string{"Device.Ethernet.Interface."} + port, "LastChange");
    };
    pass(5000);
    const std::string since_start = std::to_string(g_now_ms / 1000);
    EXPECT_EQ(after("1", "3\n"), since_start);
    EXPECT_EQ(after("1", "4\n"), "0");
    EXPECT_EQ(after("2", "3\n"), since_start);
    pass(2999);
    EXPECT_EQ(after("1", "4\n"), "2");
    EXPECT_EQ(after("1", ""), "0");
}
