// SPDX-License-Identifier: Apache-2.0
// The program as a person at a terminal sees it, without a device.
#include <array>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>

namespace
{

struct Outcome {
    int code;
    std::string output;
};

/// Runs "qsc ARGUMENTS" in a shell with a standard input; errors are kept or dropped by what the arguments
/// say.
Outcome qsc(const std::string& arguments, const std::string& input = "")
{
    FILE* const pipe = popen(("printf '" + input + "' | " QSC_PROGRAM " " + arguments).c_str(), "r");
    std::string output;
    std::array<char, 4096> part{};
    while (const size_t count = fread(part.data(), 1, part.size(), pipe)) {
        output.append(part.data(), count);
    }
    return {WEXITSTATUS(pclose(pipe)), output};
}

} // namespace

TEST(Program, WrongUsageSaysWhatIsRight)
{
    const struct {
        const char* arguments;
        const char* sentence;
    } cases[] = {
        {"", "a command is missing"},
        {"gte", "did you mean 'get'?"},
        {"get", "get takes other arguments: qsc get PATH [NAME...]..."},
        {"service Device.Time", "service takes other arguments"},
        {"--jsn version", "did you mean '--json'?"},
        {"--as", "the option --as needs a value"},
        {"--as WBE version", "did you mean 'WEB'?"},
        {"version --apply", "--apply is for set"},
        {"get Device.Tiem", "no path 'Device.Tiem'; did you mean 'Device.Time'? 'qsc list' shows"},
        {"get Time.Enable", "did you mean 'Device.Time.Enable'?"},
        {"get device.wifi.radoi.2", "did you mean 'Device.WiFi.Radio.2'?"},
        {"get Device.DHCPv4.Client.2.ReqOption.1", "did you mean 'Device.DHCPv4.Client.1.ReqOption.1'?"},
        {"get syslog level Device.Tiem", "did you mean 'Device.Time'?"},
        {"get Device.WiFi.Radio. Chanel",
         "Device.WiFi.Radio.1 has no parameter 'Chanel'; did you mean 'Channel'?"},
        {"set syslog level=1 version", "nothing is set on version"},
        {"set syslog version halver=1", "nothing is set on syslog"},
        {"set level=1", "'level=1' has no path"},
        {"set Device.WiFi.Radio.Channel=1", "'Device.WiFi.Radio' means several objects"},
        {"set Device.WiFi.Radio.*.Channel=1", "'Device.WiFi.Radio.*' means several objects"},
        {"set Device.WiFi.SSID. SSID=x",
         "means several objects, and one is needed; 'qsc list Device.WiFi.SSID.'"},
        {"set syslog.level 1",
         "'syslog.level' is a parameter, and an object is needed; to set it, write syslog.level=VALUE"},
        {"add Device.Time Enable=1", "Device.Time is no list that grows"},
        {"add Device.Tiem", "did you mean 'Device.Time'?"},
        {"delete Device.WiFi.Radio.1", "Device.WiFi.Radio.1 is no instance of a list that grows"},
        {"get Device.Foo", "no path 'Device.Foo'. 'qsc list' shows them all."},
        {"get \"$(printf '\\302\\233\\177\\033')\"", "there is no path '?\?\?'"},
        {"get Device.Time Foo", "Device.Time has no parameter 'Foo'. 'qsc list Device.Time' shows them all."},
        {"get Device.X_QRN_RemoteLog Protcol", "did you mean 'Protocol'?"},
        {"set Device.X_QRN_RemoteLog Server", "'Server' is no assignment"},
        {"set Device.X_QRN_RemoteLog =x", "'=x' is no assignment"},
        {"set syslog level:={", "'{' is not JSON"},
        {"set syslog 'level:=1 2'", "more text after the value"},
        {"set syslog level=1 level=2", "level is set twice"},
        {"request syslog gte </dev/null", "did you mean 'get'?"},
        {"request syslog get </dev/null", "standard input holds no JSON object"},
        {"log level high", "'high' is no number"},
    };
    for (const auto& [arguments, sentence] : cases) {
        const Outcome run = qsc(std::string{arguments} + " 2>&1");
        EXPECT_EQ(run.code, 2) << arguments;
        EXPECT_NE(run.output.find(sentence), std::string::npos) << arguments << ": " << run.output;
        EXPECT_EQ(run.output.find('\n'), run.output.size() - 1) << "one sentence: " << run.output;
    }
}

TEST(Program, FailuresNameStepPathAndParameter)
{
    const struct {
        const char* arguments;
        const char* sentence;
    } cases[] = {
        {"set syslog level=8", "qsc: syslog: level: "},
        {"set version halver=1", "qsc: version: "},
        {"set syslog property=1 Device.WiFi.Radio.1.PossibleChannels=x",
         "qsc: Device.WiFi.Radio.1: PossibleChannels: "},
        {"commit Device.X_QRN_Throughput.", "qsc: commit: Device.X_QRN_Throughput.: "},
        {"service Device.Time 'a;b'", "qsc: service a;b: Device.Time: "},
        {"version >/dev/full", "qsc: standard output cannot be written"},
    };
    for (const auto& [arguments, sentence] : cases) {
        const Outcome run = qsc("2>&1 " + std::string{arguments});
        EXPECT_EQ(run.code, 1) << arguments;
        EXPECT_TRUE(run.output.starts_with(sentence)) << run.output;
    }
}

TEST(Program, Answers)
{
    EXPECT_EQ(qsc("version").output, "halver  = 0.0.1\nprogver = 0.0.1\nfwver   = \n");
    EXPECT_EQ(qsc("get version halver").output, "halver = 0.0.1\n");
    EXPECT_EQ(qsc("log level 3").output, "level = 3\n");
    EXPECT_EQ(qsc("log property 0x2").output, "property = 2\n");
    EXPECT_EQ(qsc("list syslog").output,
              "level     unsignedInt  rw  0 to 7\nproperty  unsignedInt  rw  0 to 7\n");
    EXPECT_EQ(qsc("list version").output, "halver   string  r\nprogver  string  r\nfwver    string  r\n");
    EXPECT_TRUE(
        qsc("--json list syslog | tr -d ' \\n'")
            .output.starts_with(
                R"([{"name":"level","type":"unsignedInt","access":"rw","units":"","values":"0:7"},{)"));
    EXPECT_EQ(qsc("-q list Device.X_QRN_RemoteLog").output, "Enable\nProtocol\nServer\nPort\nPrefix\n");
    EXPECT_EQ(qsc("-q list Device.WiFi.S").output, "Device.WiFi.SSID.{i}\nDevice.WiFi.SSID.{i}.Stats\n");
    EXPECT_EQ(qsc("-q list Device.WiFi.Radio.").output, "Device.WiFi.Radio.1\nDevice.WiFi.Radio.2\n");
    EXPECT_EQ(qsc("-q list Device.WiFi.SSID").output, qsc("-q list Device.WiFi.SSID.7").output);
    EXPECT_EQ(qsc("--json get syslog level").output,
              "{\n  \"level\":{\n    \"ParamValue\":5,\n    \"ParamId\":0\n  }\n}\n");
    EXPECT_TRUE(qsc("-q list").output.starts_with("help\nversion\nsyslog\n"));
    EXPECT_TRUE(qsc("list").output.starts_with("help    "));
    EXPECT_EQ(qsc("--json list Device.DHCPv4.Client.1.S | tr -d ' \\n'").output,
              R"([{"name":"Device.DHCPv4.Client.1.SentOption.{i}","id":11,"parameters":4,)"
              R"("commit":"Device.DHCPv4.Client.1","service":"Device.DHCPv4.Client.1",)"
              R"("packages":"qrndhcpoptsnetwork"}])");
    EXPECT_NE(qsc("get help").output.find(" 60  Device.X_QRN_nDPI\n"), std::string::npos);
    EXPECT_NE(qsc("-v get Device.X_QRN_RemoteLog Port 2>&1")
                  .output.find("[W] system.@system[0].log_port not found"),
              std::string::npos);
    EXPECT_EQ(qsc("get --help").output,
              "Usage: qsc get PATH [NAME...]...\n"
              "print parameters of a path, or of everything below one that ends with a dot\n");
    EXPECT_EQ(qsc("--help").code, 0);
}

TEST(Program, SeveralPathsAreAnsweredUnderTheirFullNames)
{
    EXPECT_EQ(qsc("get version halver syslog").output,
              "version.halver  = 0.0.1\nsyslog.level    = 5\nsyslog.property = 1\n");
    EXPECT_EQ(qsc("get version.halver syslog. level").output, "version.halver = 0.0.1\nsyslog.level   = 5\n");
    EXPECT_EQ(qsc("get syslog.level").output, "level = 5\n");
    EXPECT_EQ(qsc("get syslog property syslog level").output, "syslog.property = 1\nsyslog.level    = 5\n");
    EXPECT_EQ(qsc("-q get syslog property version.halver syslog").output, "1\n0.0.1\n5\n1\n");
    EXPECT_EQ(qsc("--json get syslog.level version.halver syslog.property | tr -d ' \\n'").output,
              R"({"syslog":{"level":{"ParamValue":5,"ParamId":0},"property":{"ParamValue":1,"ParamId":0}},)"
              R"("version":{"halver":{"version":"0.0.1","ParamId":0}}})");
    EXPECT_EQ(qsc("-q --json get syslog level").output, "{\n  \"level\":5\n}\n");
    EXPECT_EQ(qsc("-q --json get syslog. level").output, "{\n  \"syslog\":{\n    \"level\":5\n  }\n}\n");
}

TEST(Program, ABatchThatCannotBeReadWholeSaysSo)
{
    const Outcome cut = qsc("batch 2>&1", "get version halver\\n\\nget version\\0 progver\\n");
    EXPECT_EQ(cut.code, 2);
    EXPECT_EQ(cut.output, "halver = 0.0.1\nqsc: line 3 of the batch has a NUL\n");
    const Outcome unreadable = qsc("batch 2>&1 </");
    EXPECT_EQ(unreadable.code, 1);
    EXPECT_EQ(unreadable.output, "qsc: standard input cannot be read: Is a directory\n");
}

TEST(Program, RawRequests)
{
    EXPECT_EQ(qsc("request syslog get+commit", "{\"level\":{}}").output,
              qsc("--json get syslog level").output);
    const Outcome refused = qsc("2>&1 request syslog 0x1 >/dev/null", "{\"level\":5}");
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(refused.output.starts_with("qsc: 0x1: syslog: level: ")) << refused.output;
    const Outcome run = qsc("request syslog get 2>&1 </dev/zero");
    EXPECT_EQ(run.code, 2);
    EXPECT_NE(run.output.find("longer than 1048576 bytes"), std::string::npos) << run.output;
}
