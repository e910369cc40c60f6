// SPDX-License-Identifier: Apache-2.0
// Who may log in, and how: SSH, Telnet and the accounts.
#include <sys/stat.h>

#include "support/DeviceTest.h"

using namespace test;

namespace
{

constexpr const char* kSsh = "Device.X_QRN_RemoteAccess.SSH";
constexpr const char* kTelnet = "Device.X_QRN_RemoteAccess.Telnet";
constexpr const char* kUser = "Device.Users.User.1";
constexpr const char* kFolder = "/etc/dropbear";
constexpr const char* kKeys = "/etc/dropbear/authorized_keys";
constexpr const char* kKey = "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAAWs= anna";

constexpr const char* kPasswd = "root:x:0:0:root:/root:/bin/ash\nann:x:7:7::/:/bin/false\n"
                                "anna:x:1000:1000:Anna:/home/anna:/bin/ash\ntoor:x:0:0::/:/bin/sh\n";
constexpr const char* kShadow = "root:$1$Yg$hash:2:0:9:7:::\nann:$1$a$b:2:0:9:7:::\n"
                                "anna::2:0:9:7:::\ntoor:$1$a$b:2::::::\n";

mode_t mode_of(const char* path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path, &status), 0) << path;
    return status.st_mode & 07777;
}

class Login : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        g_QSysCmdHalCb = nullptr; // a host that has none is the last way in
        put("dropbear", "config dropbear\n\toption enable '1'\n\toption Port '22'\n");
        put("telnetd", "config telnetd 'config'\n");
        put("firewall", "config zone\n\toption name 'wan'\n");
        put("users", "");
        write_file("/etc/passwd", kPasswd);
        write_file("/etc/shadow", kShadow);
        write_file("/etc/shells", "/bin/ash\n\n/bin/sh\n");
        for (const char* script : {"dropbear", "firewall", "telnetd"}) {
            outside().programs[std::string{"/etc/init.d/"} + script] = "";
        }
    }

    static void forget() { std::filesystem::remove_all("/tmp/.uci"); }

    static void put_dropbear(const std::string& options)
    {
        put("dropbear", "config dropbear\n" + options);
        forget();
    }

    /// Gives anna a password, or whatever her hash is.
    static void put_hash(const std::string& hash)
    {
        std::string text = kShadow;
        write_file("/etc/shadow", text.replace(text.find("anna::") + 5, 0, hash));
    }

    static Answer apply(const char* path) { return send(path, kService, R"({"action":"restart"})"); }
};

/// A table of the kernel in which somebody listens on port 22 (or none), and has a connection from 2323.
std::string sockets(const char* state)
{
    return std::string{"  sl  local_address rem_address   st\n"
                       "   0: 00000000:0913 0100007F:0016 01 0:0\n   1: 0100007F:0016 00000000:0000 "} +
           state + " 0:0\n";
}

} // namespace

TEST_F(Login, AServersStatusSaysWhetherSomebodyListensOnItsPort)
{
    const FakeFolder proc{"/proc"};
    EXPECT_EQ(values(kSsh, "Port Enable Status AllowRootLogin IdleTimeout WANAccess WANSourcePrefix"),
              "22 1 \"Error\" 1 0 0 \"\"");
    EXPECT_EQ(values(kTelnet, "Port Enable Status"), "23 0 \"Disabled\"");
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        FakeFolder::put(table, sockets("06"));
        EXPECT_EQ(values(kSsh, "Status"), "\"Error\"") << table;
        FakeFolder::put(table, sockets("0A"));
        EXPECT_EQ(values(kSsh, "Status"), "\"Enabled\"") << table;
        std::filesystem::remove(table);
    }
    FakeFolder::put("/proc/net/tcp", sockets("0A"));
    put("telnetd", "config telnetd 'config'\n\toption enable '1'\n\toption port '22'\n");
    EXPECT_EQ(values(kTelnet, "Port Enable Status"), "22 1 \"Enabled\"");
    put("telnetd", "config telnetd 'config'\n\toption enable '1'\n");
    EXPECT_EQ(values(kTelnet, "Port Enable Status"), "23 1 \"Error\"");
    put("telnetd", "config telnetd 'config'\n\toption enable '1'\n\toption port 'x'\n");
    FakeFolder::put("/proc/net/tcp", "   1: 0100007F:0017 00000000:0000 0A\n");
    EXPECT_EQ(values(kTelnet, "Status"), "\"Enabled\"");
    put_dropbear("\toption Port '23'\n");
    EXPECT_EQ(values(kSsh, "Port Enable Status"), "23 1 \"Enabled\"");
    put_dropbear("\toption enable '0'\n");
    EXPECT_EQ(values(kSsh, "Port Enable Status"), "22 0 \"Disabled\"");
    put_dropbear("");
    EXPECT_EQ(values(kSsh, "Status"), "\"Error\"");
    FakeFolder::put("/proc/net/tcp", sockets("0A"));
    EXPECT_EQ(values(kSsh, "Status"), "\"Enabled\"");
    std::filesystem::remove("/etc/config/dropbear");
    EXPECT_EQ(values(kSsh, "Port Status"), "22 \"Disabled\"");
}

TEST_F(Login, ThePortsDifferAndTheLastWayInStays)
{
    constexpr const char* kOn = "config telnetd 'config'\n\toption enable '1'\n\toption port '2323'\n";
    const struct {
        const char* dropbear;
        const char* telnetd;
        const char* path;
        const char* words;
        const char* sentence;
    } cases[] = {
        {"\toption Port '22'\n", kOn, kTelnet, "Port=22", "Port: port 22 is that of SSH"},
        {"", kOn, kTelnet, "Port=22", "Port: port 22 is that of SSH"},
        {"", kOn, kTelnet, "Port=23", ""},
        {"", kOn, kTelnet, "Port=0", "Port: 0 is not 1 to 65535"},
        {"\toption enable '0'\n", kOn, kTelnet, "Port=22", ""},
        {"\toption Port '23'\n", "config telnetd 'config'\n", kTelnet, "Enable=1",
         "Enable: port 23 is that of SSH"},
        {"\toption Port '23'\n", "config telnetd 'config'\n", kTelnet, "Enable=1 Port=24", ""},
        {"\toption enable '0'\n", kOn, kTelnet, "Enable=0", "Enable: it is the last way to the router"},
        {"\toption enable '0'\n", "config telnetd 'config'\n", kTelnet, "Enable=0", ""},
        {"", kOn, kTelnet, "Enable=0", ""},
        {"", kOn, kSsh, "Port=2323", "Port: port 2323 is that of Telnet"},
        {"", "config telnetd 'config'\n\toption enable '1'\n", kSsh, "Port=23",
         "Port: port 23 is that of Telnet"},
        {"", "config telnetd 'config'\n\toption port '2323'\n", kSsh, "Port=2323", ""},
        {"", "", kSsh, "Enable=0", "Enable: it is the last way to the router"},
        {"", kOn, kSsh, "Enable=0", ""},
        {"\toption enable '0'\n", "", kSsh, "Enable=0", ""},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.words} + " " + one.dropbear);
        put_dropbear(one.dropbear);
        put("telnetd", one.telnetd);
        EXPECT_EQ(change(one.path, one.words), one.sentence);
    }
    put_dropbear("");
    put("telnetd", "");
    g_QSysCmdHalCb = [](uint64_t, uint64_t) { return uint64_t{0}; };
    EXPECT_EQ(change(kSsh, "Enable=0"), "") << "a host is another way";
    std::filesystem::remove("/etc/config/telnetd");
    for (const char* words : {"Enable=1", "Enable=0"}) {
        outside().logs.clear();
        EXPECT_EQ(change(kTelnet, words), "Enable: telnetd is not installed");
        EXPECT_EQ(outside().logs.front(), (LogLine{3, "[E] telnetd is not installed\n"}));
    }
}

TEST_F(Login, TheFirewallsRuleComesWithWhatNeedsItAndFollowsThePort)
{
    const struct {
        const char* words;
        Lines rule;
    } cases[] = {
        {"WANAccess=0 WANSourcePrefix=", {}},
        {"Port=22", {}},
        {"WANSourcePrefix=198.51.100.0/24 Port=2222",
         {"config rule 'qrn_ssh_wan'", "option name 'SSH from WAN'", "option src 'wan'", "option proto 'tcp'",
          "option target 'ACCEPT'", "option enabled '0'", "option dest_port '2222'",
          "option src_ip '198.51.100.0/24'"}},
        {"WANAccess=1 WANSourcePrefix=::/0",
         {"config rule 'qrn_ssh_wan'", "option name 'SSH from WAN'", "option src 'wan'", "option proto 'tcp'",
          "option target 'ACCEPT'", "option enabled '1'", "option dest_port '2222'", "option src_ip '::/0'"}},
        {"WANAccess=0 WANSourcePrefix= Port=22",
         {"config rule 'qrn_ssh_wan'", "option name 'SSH from WAN'", "option src 'wan'", "option proto 'tcp'",
          "option target 'ACCEPT'", "option enabled '0'", "option dest_port '22'"}},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(change(kSsh, one.words), "");
        Lines lines = committed("firewall");
        EXPECT_EQ(Lines(lines.begin() + 2, lines.end()), one.rule) << one.words;
    }
    // Rules that would not load stop nothing that runs.
    steps();
    outside().programs["/sbin/fw4"] = "exit 1";
    EXPECT_EQ(apply(kSsh), Fails(EFAULT));
    EXPECT_EQ(QSysCmdHal_LastError(), std::string{kSsh} + ": the firewall would not load its rules");
    EXPECT_EQ(steps(), Lines{"run /sbin/fw4 check"});
    outside().programs["/sbin/fw4"] = "";
    EXPECT_EQ(apply(kSsh), Succeeds());
    EXPECT_EQ(steps()[1], "run /etc/init.d/dropbear restart");
    put("firewall", "config rule 'qrn_ssh_wan'\n\toption enabled '1'\n\toption src_ip '::1/128'\n");
    EXPECT_EQ(values(kSsh, "WANAccess WANSourcePrefix"), "1 \"::1/128\"");
    std::filesystem::remove("/etc/config/firewall");
    EXPECT_EQ(change(kSsh, "WANAccess=1"), "WANAccess: firewall is not installed");
    // Each step of the rule is one that may fail.
    put("firewall", "config zone\n\toption name 'wan'\n");
    steps();
    EXPECT_EQ(change(kSsh, "WANAccess=1"), "");
    for (const std::string& step : steps()) {
        forget();
        outside().uci_codes = {{step.substr(0, step.find('=')), uint32_t{EIO}}};
        EXPECT_EQ(set(kSsh, "WANAccess", "1"), Fails(EIO)) << step;
        outside().uci_codes.clear();
    }
}

TEST_F(Login, KeysAreTakenInTheirFormsAndReplacedByTheService)
{
    const std::string many = "ssh-rsa AAAAB3NzaC1yc2Fr\\n\\nssh-rsa AAAAB3NzaC1yc2H7//4= it's mine\\n";
    const auto set_keys = [](const std::string& keys) {
        (void)set(kSsh, "AuthorizedKeys", "\"" + keys + "\"");
        const std::string_view sentence = QSysCmdHal_LastError();
        return std::string{sentence.substr(std::min(sentence.size(), sentence.find_last_of(':') + 1))};
    };
    EXPECT_EQ(apply(kSsh), Succeeds());
    EXPECT_FALSE(std::filesystem::exists(kFolder));
    EXPECT_EQ(set_keys(many), "");
    EXPECT_EQ(messages(), Lines{"set ssh AuthorizedKeys by CLI"});
    EXPECT_EQ(mode_of(kFolder), 0700u);
    EXPECT_FALSE(std::filesystem::exists(kKeys));
    EXPECT_EQ(values(kSsh, "AuthorizedKeys"),
              "\"ssh-rsa AAAAB3NzaC1yc2Fr\\nssh-rsa AAAAB3NzaC1yc2H7//4= it's mine\"");
    chmod(kFolder, 0755);
    steps();
    EXPECT_EQ(apply(kSsh), Succeeds());
    EXPECT_EQ(steps(), (Lines{"run /etc/init.d/dropbear restart", "sync", "run /etc/init.d/firewall restart",
                              "sync"}));
    EXPECT_EQ(read_file(kKeys), "ssh-rsa AAAAB3NzaC1yc2Fr\nssh-rsa AAAAB3NzaC1yc2H7//4= it's mine\n");
    EXPECT_EQ(mode_of(kKeys), 0600u);
    EXPECT_EQ(mode_of(kFolder), 0700u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{kFolder}, {}), 1);
    // What others wrote is sent back as it was read.
    write_file(kKeys, "# by hand\nno key\n");
    for (const char* same : {"# by hand\\nno key", "# by hand\\nno key\\n"}) {
        EXPECT_EQ(set_keys(same), "");
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{kFolder}, {}), 1);
    for (const std::string type :
         {"ecdsa-sha2-nistp256 AAAAE2VjZHNhLXNoYTItbmlzdHAyNTYAAAABaw==",
          "ecdsa-sha2-nistp384 AAAAE2VjZHNhLXNoYTItbmlzdHAzODQAAAABaw==",
          "ecdsa-sha2-nistp521 AAAAE2VjZHNhLXNoYTItbmlzdHA1MjEAAAABaw==",
          "sk-ssh-ed25519@openssh.com AAAAGnNrLXNzaC1lZDI1NTE5QG9wZW5zc2guY29tAAAAAWs=",
          "sk-ecdsa-sha2-nistp256@openssh.com AAAAInNrLWVjZHNhLXNoYTItbmlzdHAyNTZAb3BlbnNzaC5jb20AAAABaw==",
          "ssh-rsa AAAAB3NzaC1yc2Fraw==", "ssh-rsa AAAAB3NzaC1yc2Fra2s=", "ssh-rsa AAAAB3NzaC1yc2Fr"}) {
        EXPECT_EQ(set_keys(type), "") << type;
    }
    const std::string good = "ssh-rsa AAAAB3NzaC1yc2Fraw==";
    for (const std::string bad : {"ssh-rsa",
                                  "ssh-rsa ",
                                  "AAAAB3NzaC1yc2Fraw==",
                                  "ssh-dss AAAAB3NzaC1yc2Fraw==",
                                  "ssh-ed25519 AAAAB3NzaC1yc2Fraw==",
                                  "ssh-rsa AAAAB3NzaC1yc2E=",
                                  "ssh-rsa AAAAB3NzaC1yc2Fra",
                                  "ssh-rsa AAAAB3NzaC1yc2Fra===",
                                  "ssh-rsa AAAAB3NzaC1yc2Fra=s=",
                                  "ssh-rsa AAAAB3NzaC1yc2F!aw==",
                                  "ssh-rsa AAAAB3NzaC1yc2F-aw==",
                                  "ssh-rsa AAAACHNzaC1yc2Fraw==",
                                  "ssh-rsa AQAAB3NzaC1yc2Fraw==",
                                  "ssh-rsa AAAAB3NzaC1yc3Fraw==",
                                  "ssh-rsa AAAA B3NzaC1yc2Fraw==",
                                  "ssh-rsa  AAAAB3NzaC1yc2Fraw==",
                                  "no-pty ssh-rsa AAAAB3NzaC1yc2Fraw==",
                                  "# ssh-rsa AAAAB3NzaC1yc2Fraw==",
                                  "ssh-rsa AAAAB3NzaC1yc2Fraw==\\r",
                                  "ssh-rsa AAAAB3NzaC1yc2Fraw== \\u007f"}) {
        std::string line = good;
        line.append("\\n\\n").append(bad);
        EXPECT_EQ(set_keys(line), " a type, base64 and a comment are wanted") << bad;
        EXPECT_NE(std::string_view{QSysCmdHal_LastError()}.find("key 2 is none"), std::string_view::npos);
    }
    EXPECT_EQ(set_keys(good + " " + std::string(8192 - good.size() - 1, 'x')), "");
    EXPECT_EQ(set_keys(good + " " + std::string(8192 - good.size(), 'x')),
              " the keys have 8193 characters, not at most 8192");
    // A folder that cannot be used, for the set and for the service.
    std::filesystem::remove_all(kFolder);
    write_file(kFolder, "");
    const std::string not_folder = std::to_string(ENOTDIR);
    outside().logs.clear();
    EXPECT_EQ(set_keys(good), " the keys could not be stored");
    EXPECT_EQ(outside().logs.front(),
              (LogLine{3, "[E] the keys are not stored, error " + not_folder + "\n"}));
    std::filesystem::remove(kFolder);
    EXPECT_EQ(set_keys(good), "");
    std::filesystem::create_directories(std::string{kKeys} + "/in the way");
    outside().logs.clear();
    steps();
    EXPECT_EQ(apply(kSsh), Fails(EFAULT));
    EXPECT_EQ(outside().logs.front(), (LogLine{3, "[E] the authorized keys are not replaced, error " +
                                                      std::to_string(EISDIR) + "\n"}));
    EXPECT_EQ(steps(), Lines{});
}

TEST_F(Login, NobodyIsLockedOut)
{
    constexpr const char* kNoPassword = "without a password login it needs an authorized key";
    constexpr const char* kNoRoot = "without a root login it needs another account that can log in";
    constexpr const char* kNoRootPassword =
        "without a password for root it needs an authorized key or another account";
    const struct {
        const char* keys; ///< in the file
        const char* hash; ///< of anna
        const char* dropbear;
        const char* words;
        std::string sentence;
    } cases[] = {
        {"", "", "", "AllowPasswordLogin=0", std::string{"AllowPasswordLogin: "} + kNoPassword},
        {"", "$1$a", "", "AllowPasswordLogin=0", std::string{"AllowPasswordLogin: "} + kNoPassword},
        {kKey, "", "", "AllowPasswordLogin=0", ""},
        {"from=\"x\" ssh-rsa AAAAB3NzaC1yc2Fraw== c", "", "", "AllowPasswordLogin=0", ""},
        {"# ssh-rsa AAAAB3NzaC1yc2Fraw== c", "", "", "AllowPasswordLogin=0",
         std::string{"AllowPasswordLogin: "} + kNoPassword},
        {"a\nssh-rsa x\nssh-rsa AAAAB3NzaC1yc2Fraw== c", "", "", "AllowPasswordLogin=0", ""},
        {"", "", "", "AllowPasswordLogin=0 Enable=1", std::string{"AllowPasswordLogin: "} + kNoPassword},
        {"", "", "\toption enable '0'\n", "AllowPasswordLogin=0", ""},
        {"", "", "\toption enable '0'\n\toption PasswordAuth '0'\n", "Enable=1",
         std::string{"Enable: "} + kNoPassword},
        {"", "", "\toption enable '0'\n", "Enable=1", ""},
        {"", "", "", "AllowRootLogin=0", std::string{"AllowRootLogin: "} + kNoRoot},
        {kKey, "", "", "AllowRootLogin=0", std::string{"AllowRootLogin: "} + kNoRoot},
        {"", "!$1$a", "", "AllowRootLogin=0", std::string{"AllowRootLogin: "} + kNoRoot},
        {"", "*", "", "AllowRootLogin=0", std::string{"AllowRootLogin: "} + kNoRoot},
        {"", "x", "", "AllowRootLogin=0", std::string{"AllowRootLogin: "} + kNoRoot},
        {"", "$1$a", "", "AllowRootLogin=0", ""},
        {"", "", "", "AllowRootPasswordLogin=0", std::string{"AllowRootPasswordLogin: "} + kNoRootPassword},
        {kKey, "", "", "AllowRootPasswordLogin=0", ""},
        {"", "$1$a", "", "AllowRootPasswordLogin=0", ""},
        {"", "$1$a", "\toption PasswordAuth '0'\n", "AllowRootPasswordLogin=0",
         std::string{"AllowRootPasswordLogin: "} + kNoPassword},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.words} + " " + one.keys + " " + one.hash + " " + one.dropbear);
        FakeFolder::put(kKeys, one.keys);
        put_hash(one.hash);
        put_dropbear(one.dropbear);
        EXPECT_EQ(change(kSsh, one.words), one.sentence);
    }
    // The keys of the same request count, and once they are needed they cannot go.
    put_dropbear("");
    std::filesystem::remove_all(kFolder);
    const std::string key = std::string{R"("AuthorizedKeys":{"ParamValue":")"} + kKey + "\"}";
    EXPECT_EQ(send(kSsh, kSet, R"({"AllowPasswordLogin":{"ParamValue":0},)" + key + "}"), Succeeds());
    EXPECT_EQ(set(kSsh, "AuthorizedKeys", "\"\""), Fails(EFAULT));
    EXPECT_EQ(set(kSsh, "AllowRootPasswordLogin", "0"), Succeeds());
}

TEST_F(Login, TheAccountThatIsSelectedIsShown)
{
    constexpr const char* kAll = "Username Password Shell Enable UserID StaticUser X_QRN_PasswordSet";
    EXPECT_EQ(values(kUser, kAll), "\"root\" \"\" \"/bin/ash\" 1 0 1 1");
    EXPECT_EQ(change(kUser, "Username=anna Shell=/bin/sh Enable=0"), "");
    EXPECT_EQ(messages(), (Lines{"set user Username anna by CLI", "set user Shell /bin/sh by CLI",
                                 "set user Enable 0 by CLI"}));
    EXPECT_EQ(values(kUser, kAll), "\"anna\" \"\" \"/bin/sh\" 0 1000 1 0");
    EXPECT_EQ(change(kUser, "Username=anna"), "");
    EXPECT_EQ(values(kUser, "Shell"), "\"/bin/sh\"");
    EXPECT_EQ(change(kUser, "Username=ann Enable=1"), "");
    EXPECT_EQ(values(kUser, kAll), "\"ann\" \"\" \"/bin/false\" 1 7 1 1") << "the shell was chosen for anna";
    for (const char* hash : {"", "!", "*", "!*", "x"}) {
        put_hash(hash);
        EXPECT_EQ(change(kUser, "Username=anna"), "");
        EXPECT_EQ(values(kUser, "X_QRN_PasswordSet"), "0") << hash;
    }
    put_hash("!!$1$a");
    EXPECT_EQ(values(kUser, "X_QRN_PasswordSet"), "1") << "it is only locked";
    std::filesystem::remove("/etc/passwd");
    std::filesystem::remove("/etc/shadow");
    EXPECT_EQ(values(kUser, kAll), "\"anna\" \"\" \"\" 1 0 1 0");
}

TEST_F(Login, AccountsThatCannotBeSelectedOrDisabledAreRefused)
{
    const struct {
        const char* user; ///< selected, and off
        const char* hash;
        const char* dropbear;
        const char* words;
        const char* sentence;
    } cases[] = {
        {"", "", "", "Enable=0", "Enable: root cannot be disabled"},
        {"", "", "", "Username=nobody", "Username: there is no such account"},
        {"", "", "", "Username=an", "Username: there is no such account"},
        {"", "", "", "Username=-d", "Username: there is no such account"},
        {"", "", "", "Username=:x", "Username: there is no such account"},
        {"", "", "", "Username=anna:x", "Username: there is no such account"},
        {"", "", "", "Username=toor Enable=0", "Username: root cannot be disabled"},
        {"", "", "", "Shell=/bin/zsh", "Shell: /etc/shells does not list it"},
        {"", "", "", "Shell=/bin", "Shell: /etc/shells does not list it"},
        {"", "", "", "UserID=5", "UserID: it cannot be set"},
        {"anna", "", "", "Username=root", "Username: root cannot be disabled"},
        {"anna", "", "", "Username=root Enable=1", ""},
        {"anna", "$1$a", "\toption RootLogin '0'\n", "Enable=0",
         "Enable: it is the last account that can log in"},
        {"anna", "$1$a", "\toption RootLogin '0'\n", "Username=ann",
         ""}, // anna can log in, whoever is selected
        {"anna", "$1$a", "\toption RootLogin '1'\n", "Enable=0", ""},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.user} + ": " + one.words);
        put("users", *one.user == '\0' ? ""
                                       : std::string{"config user 'user1'\n\toption username '"} + one.user +
                                             "'\n\toption enable '0'\n");
        put_hash(one.hash);
        put_dropbear(one.dropbear);
        EXPECT_EQ(change(kUser, one.words), one.sentence);
    }
}

TEST_F(Login, APasswordReachesThePasswordProgramAlone)
{
    outside().programs["passwd"] = "cat >/tmp/typed";
    put("users", "config user 'user1'\n\toption username 'anna'\n");
    EXPECT_EQ(set(kUser, "Password", R"("S3 \"$x`\\")"), Succeeds());
    EXPECT_EQ(read_file("/tmp/typed"), "S3 \"$x`\\\nS3 \"$x`\\\n");
    EXPECT_EQ(steps(), Lines{"run passwd anna"});
    EXPECT_EQ(messages(), Lines{"set user Password by CLI"});
    EXPECT_EQ(change(kUser, "Username=ann Password=x"), "");
    EXPECT_EQ(steps(), (Lines{"add users user", "set users.user1.username=ann",
                              "set users.user1.shell=", "run passwd ann"}));
    EXPECT_EQ(change(kUser, "Password="), "") << "sent back as it was read, it stays";
    EXPECT_EQ(change(kUser, "Password=" + std::string(64, 'x')), "");
    EXPECT_EQ(steps(), Lines{"run passwd ann"});
    EXPECT_EQ(change(kUser, "Password=" + std::string(65, 'x')),
              "Password: it has 65 characters, not at most 64");
    outside().logs.clear();
    outside().programs["passwd"] = "exit 1";
    EXPECT_EQ(change(kUser, "Password=x"), "Password: the password was not taken");
    EXPECT_EQ(outside().logs.front(), (LogLine{3, "[E] passwd, error 1\n"}));
}

TEST_F(Login, TheServiceLocksUnlocksAndGivesTheShell)
{
    const auto line = [](const char* path) {
        const std::string text = read_file(path);
        const size_t begin = text.find("anna:");
        return text.substr(begin, text.find('\n', begin) - begin);
    };
    const struct {
        const char* hash;
        const char* options;
        const char* shell;
        const char* after;
    } cases[] = {
        {"$1$a", "\toption enable '0'\n\toption shell '/bin/sh'\n", "/bin/sh", "!$1$a"},
        {"!$1$a", "\toption enable '0'\n", "/bin/ash", "!$1$a"},
        {"!!$1$a", "\toption enable '1'\n", "/bin/ash", "$1$a"},
        {"$1$a", "", "/bin/ash", "$1$a"},
        {"", "\toption enable '0'\n", "/bin/ash", "!"},
        {"!", "\toption enable '1'\n", "/bin/ash", "!"}, // open to anyone otherwise
        {"!*", "", "/bin/ash", "!*"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.hash} + one.options);
        write_file("/etc/passwd", kPasswd);
        put_hash(one.hash);
        put("users", std::string{"config user 'user1'\n\toption username 'anna'\n"} + one.options);
        EXPECT_EQ(apply(kUser), Succeeds());
        EXPECT_EQ(line("/etc/passwd"), std::string{"anna:x:1000:1000:Anna:/home/anna:"} + one.shell);
        EXPECT_EQ(line("/etc/shadow"), std::string{"anna:"} + one.after + ":2:0:9:7:::");
    }
    put("users", "config user 'user1'\n\toption username 'anna'\n\toption enable '0'\n\toption shell 'sh'\n");
    put_hash("$1$a");
    EXPECT_EQ(apply(kUser), Succeeds());
    EXPECT_EQ(mode_of("/etc/passwd"), 0644u);
    EXPECT_EQ(mode_of("/etc/shadow"), 0600u);
    std::string passwd = kPasswd;
    std::string shadow = kShadow;
    EXPECT_EQ(read_file("/etc/passwd"), passwd.replace(passwd.find("anna:/bin/ash") + 5, 8, "sh"));
    EXPECT_EQ(read_file("/etc/shadow"), shadow.replace(shadow.find("anna::") + 5, 0, "!$1$a"));
    put("users", "");
    EXPECT_EQ(apply(kUser), Succeeds()) << "root's, which is on";
    EXPECT_EQ(read_file("/etc/shadow"), shadow);
    const auto expect_unchanged = [](uint32_t error) {
        outside().logs.clear();
        EXPECT_EQ(apply(kUser), Fails(EFAULT));
        EXPECT_EQ(outside().logs.front(),
                  (LogLine{3, "[E] the account is not changed, error " + std::to_string(error) + "\n"}));
    };
    put("users", "config user 'user1'\n\toption username 'nobody'\n");
    expect_unchanged(ENOENT);
    put("users", "config user 'user1'\n\toption username 'nobody'\n\toption shell 'sh'\n");
    expect_unchanged(ENOENT);
    put("users", "config user 'user1'\n\toption username 'anna'\n");
    put_hash(std::string(254, 'h'));
    EXPECT_EQ(apply(kUser), Succeeds());
    put_hash(std::string(255, 'h'));
    expect_unchanged(EFBIG);
    std::filesystem::remove("/etc/shadow");
    expect_unchanged(ENOENT);
}
