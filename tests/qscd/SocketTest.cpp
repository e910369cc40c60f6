// SPDX-License-Identifier: Apache-2.0
// The socket of the daemon, and clients that are right, wrong, hostile or gone.
#include <memory>

#include <sys/resource.h>
#include <sys/stat.h>

#include "qscd/Running.h"

using test::Connection;

using Socket = test::Running;

namespace
{

const std::string kGood = R"({"jsonrpc":"2.0","id":1,"method":"get","params":{"path":"syslog.level"}})";
const std::string kGoodAnswer = R"({"jsonrpc":"2.0","id":1,"result":{"values":{"syslog.level":6}}})";

std::string failed(const std::string& path, const std::string& message, const std::string& numbers)
{
    return R"({"path":")" + path + R"(","message":")" + message + R"(",)" + numbers + "}";
}

} // namespace

TEST_F(Socket, AnswersEachMethod)
{
    const struct {
        const char* method;
        const char* params;
        std::string answer;
    } cases[] = {
        {"get", R"({"path":"syslog"})", R"("result":{"values":{"syslog.level":6,"syslog.property":1}})"},
        {"get", R"({"paths":["syslog.property","syslog.level"]})",
         R"("result":{"values":{"syslog.property":1,"syslog.level":6}})"},
        {"get", R"({"path":"syslog","limit":20})",
         R"("result":{"values":{"syslog.level":6},"next":"syslog.property"})"},
        {"get", R"({"path":"syslog","limit":20,"from":"syslog.property"})",
         R"("result":{"values":{"syslog.property":1}})"},
        {"get", R"({"path":"Device.X_QRN_RemoteLog.","depth":1})",
         R"("result":{"values":{"Device.X_QRN_RemoteLog.Enable":"","Device.X_QRN_RemoteLog.Protocol":"",)"
         R"("Device.X_QRN_RemoteLog.Server":"","Device.X_QRN_RemoteLog.Port":"","Device.X_QRN_RemoteLog.Prefix":""}})"},
        {"set", R"({"values":{"syslog.level":7},"commander":"web"})", R"("result":{"set":1})"},
        {"log", R"({"level":6})", R"("result":{"level":6,"properties":1})"},
        {"request", R"({"path":"syslog","operation":1,"request":{"level":{}},"commander":8})",
         R"("result":{"code":0,"request":{"level":{"ParamValue":6,"ParamId":0}}})"},
    };
    Connection client{path()};
    for (const auto& [method, params, answer] : cases) {
        EXPECT_EQ(client.call(method, params), answer) << params;
    }
    EXPECT_NE(
        client.call("list", R"({"path":"syslog"})").find(R"({"path":"syslog","parameters":[{"name":"level")"),
        std::string::npos);
    EXPECT_NE(client.call("stats", "{}").find(R"("requests":10,)"), std::string::npos);
    const std::string note = "Device.WiFi.AccessPoint.1.X_QRN_ACLNotes.02:00:5e:00:53:0a.Note";
    EXPECT_EQ(client.call("get", R"({"path":")" + note + "\"}"),
              R"("result":{"values":{")" + note + R"(":""}})")
        << "a row of an object";
    EXPECT_NE(client.call("get", R"({"path":"Device."})").find(R"(},"failed":[{"path":"Device.)"),
              std::string::npos)
        << "this machine is no device, but has some of what one has";
}

TEST_F(Socket, AnErrorListsAllThatFailedAndOnlyThat)
{
    const std::string no_parameter = "there is no such parameter";
    const std::string numbers = R"("code":22,"cwmp":9005,"usp":7026)";
    Connection client{path()};
    EXPECT_EQ(
        client.call("get", R"({"paths":["syslog.level","syslog.nope","Nowhere"]})"),
        R"("error":{"code":-32000,"message":"2 failed, the first is syslog.nope: there is no such parameter",)"
        R"("data":{"failed":[)" +
            failed("syslog.nope", no_parameter, numbers) + "," +
            failed("Nowhere", "there is no such path", numbers) + "]}}");
    const std::string answer = client.call("set", R"({"values":{"syslog.level":9,"syslog.property":2}})");
    EXPECT_NE(answer.find(R"({"path":"syslog.level",)"), std::string::npos) << answer;
    EXPECT_NE(answer.find(R"("code":14,"cwmp":9007,"usp":7012)"), std::string::npos) << answer;
    EXPECT_NE(answer.find(failed("syslog.property", "not tried, because another one failed",
                                 R"("code":125,"cwmp":9002,"usp":7003)")),
              std::string::npos)
        << answer;
    EXPECT_EQ(client.call("get", R"({"path":"syslog.property"})"),
              R"("result":{"values":{"syslog.property":1}})");
}

TEST_F(Socket, RefusesWhatIsNoRequestAndGoesOn)
{
    const auto request = [](const std::string& id, const std::string& rest) {
        return R"({"jsonrpc":"2.0","id":)" + id + "," + rest + "}";
    };
    const auto get = [&](const std::string& params) {
        return request("1", R"("method":"get","params":)" + params);
    };
    const struct {
        std::string line;
        const char* id;
        const char* code;
    } cases[] = {
        {"nonsense", "null", "-32700"},
        {"{", "null", "-32700"},
        {kGood + "}", "null", "-32700"},
        {"{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"get\",\"params\":{\"path\":\"\xff\"}}", "null",
         "-32700"},
        {std::string(40, '[') + std::string(40, ']'), "null", "-32700"},
        {R"({"a":)" + std::string(100000, '['), "null", "-32700"},
        {std::string("{\"id\":\0}", 8), "null", "-32700"},
        {"[" + kGood + "]", "null", "-32600"},
        {"7", "null", "-32700"},
        {"null", "null", "-32700"},
        {request("[1]", R"("method":"log")"), "null", "-32600"},
        {request("{}", R"("method":"log")"), "null", "-32600"},
        {request("true", R"("method":"log")"), "null", "-32600"},
        {request("123456789012345678901234567890", R"("method":"log")"), "null", "-32600"},
        {R"({"id":1,"method":"log"})", "1", "-32600"},
        {R"({"jsonrpc":"1.0","id":1,"method":"log"})", "1", "-32600"},
        {request("1", R"("method":7)"), "1", "-32600"},
        {request("\"x\"", R"("method":"no")"), "\"x\"", "-32601"},
        {request("1.5", R"("method":"log","params":[])"), "1.5", "-32602"},
        {get("null"), "1", "-32602"},
        {get("{}"), "1", "-32602"},
        {get(R"({"path":7})"), "1", "-32602"},
        {get(R"({"paths":[]})"), "1", "-32602"},
        {get(R"({"paths":[7]})"), "1", "-32602"},
        {get(R"({"path":"syslog","paths":["syslog"]})"), "1", "-32602"},
        {get(R"({"path":"syslog","limits":1})"), "1", "-32602"},
        {get(R"({"path":"syslog","limit":-1})"), "1", "-32602"},
        {get(R"({"path":"syslog","limit":"1"})"), "1", "-32602"},
        {get(R"({"path":"syslog","from":"syslog.x"})"), "1", "-32602"},
        {get(R"({"path":"syslog","commander":"NOBODY"})"), "1", "-32602"},
        {get(R"({"path":"sys\u0000log"})"), "1", "-32000"},
        {get(R"({"path":"syslog..level"})"), "1", "-32000"},
        {get(R"({"path":""})"), "1", "-32000"},
        {get("{\"path\":\"" + std::string(300, 'a') + "\"}"), "1", "-32000"},
        {request("1", R"("method":"set","params":{"values":{}})"), "1", "-32602"},
        {request("1", R"("method":"set","params":{"values":{"syslog":1}})"), "1", "-32000"},
        {request("1", R"("method":"service","params":{"path":"Device.Time"})"), "1", "-32602"},
        {request("1", R"("method":"commit","params":{"path":"Device.Time","packages":"x"})"), "1", "-32602"},
        {request("1", R"("method":"request","params":{"path":"syslog","operation":0,"request":{}})"), "1",
         "-32602"},
    };
    Connection client{path()};
    for (const auto& [line, id, code] : cases) {
        const std::string start =
            R"({"jsonrpc":"2.0","id":)" + std::string{id} + R"(,"error":{"code":)" + code + ",";
        EXPECT_EQ(client.ask(line).substr(0, start.size()), start) << line.substr(0, 100);
    }
    EXPECT_EQ(client.ask(kGood), kGoodAnswer);
    client.send("\r\n\n" + kGood.substr(0, 20)); // empty lines are nothing, half ones wait
    client.send(kGood.substr(20) + "\r\n");
    EXPECT_EQ(client.receive(), kGoodAnswer);
    client.send(R"({"jsonrpc":"2.0","method":"log"})"
                "\n");
    EXPECT_EQ(client.ask(kGood), kGoodAnswer) << "a notification is not answered";
}

TEST_F(Socket, LinesOfTwoMebibytesAreRefusedAndThoseOfOneAreNot)
{
    Connection client{path()};
    const std::string filler(1024 * 1024 - kGood.size() - 1, ' ');
    EXPECT_EQ(client.ask(filler + kGood), kGoodAnswer);
    client.send(filler + filler + kGood + "\n" + kGood + "\n");
    EXPECT_NE(client.receive().find(R"("id":null,"error":{"code":-32600,)"), std::string::npos);
    EXPECT_EQ(client.receive(), kGoodAnswer);
}

TEST_F(Socket, RequestsMayBePipelined)
{
    std::string lines;
    std::string answers;
    Connection client{path()};
    for (int i = 0; i < 1000; ++i) {
        lines += R"({"jsonrpc":"2.0","id":)" + std::to_string(i) +
                 R"(,"method":"get","params":{"path":"syslog.level"}})" + "\n";
    }
    client.send(lines);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(client.receive(), R"({"jsonrpc":"2.0","id":)" + std::to_string(i) +
                                        R"(,"result":{"values":{"syslog.level":6}}})");
    }
}

TEST_F(Socket, SetsAreServedInTheOrderInWhichTheyCame)
{
    Connection one{path()};
    Connection other{path()};
    std::string lines;
    for (int i = 0; i < 100; ++i) {
        lines += R"({"jsonrpc":"2.0","id":)" + std::to_string(i) +
                 R"(,"method":"set","params":{"values":{"syslog.level":)" + std::to_string(i % 8) + "}}}\n";
    }
    one.send(lines);
    for (int i = 0; i < 100; ++i) {
        const std::string answer = one.receive();
        ASSERT_EQ(answer, R"({"jsonrpc":"2.0","id":)" + std::to_string(i) + R"(,"result":{"set":1}})");
    }
    EXPECT_EQ(other.call("get", R"({"path":"syslog.level"})"), R"("result":{"values":{"syslog.level":3}})");
}

TEST_F(Socket, ClientsMayLeaveInEveryState)
{
    for (const std::string& said : {std::string{}, std::string{"{"}, kGood, kGood + "\n",
                                    std::string(100000, 'x'), std::string(2000000, 'x')}) {
        for (int i = 0; i < 20; ++i) {
            Connection client{path()};
            client.send(said);
        }
    }
    EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer);
}

TEST_F(Socket, AnswersWhoeverHasClosedOnlyHisOwnDirection)
{
    for (const char* method : {"set", "get"}) {
        Connection client{path()};
        client.send(R"({"jsonrpc":"2.0","id":1,"method":")" + std::string{method} + R"(","params":)" +
                    (method[0] == 's' ? R"({"values":{"syslog.level":6}})" : R"({"path":"syslog.level"})") +
                    "}\n");
        client.say_no_more();
        EXPECT_NE(client.receive().find("\"result\""), std::string::npos) << method;
        EXPECT_EQ(client.receive(), "(closed)") << method;
    }
}

TEST_F(Socket, TurnsTheClientsAwayForWhomThereIsNoPlace)
{
    std::vector<std::unique_ptr<Connection>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(std::make_unique<Connection>(path()));
        ASSERT_EQ(clients.back()->ask(kGood), kGoodAnswer) << i;
    }
    for (int i = 0; i < 1000; ++i) {
        Connection surplus{path()};
        ASSERT_NE(surplus.receive().find(R"("code":-32003)"), std::string::npos) << i;
        ASSERT_EQ(surplus.receive(), "(closed)");
    }
    EXPECT_EQ(clients.front()->ask(kGood), kGoodAnswer);
    clients.pop_back();
    // Its place is free when the daemon has seen that it left, which it does before it takes the next.
    EXPECT_EQ(clients.front()->ask(kGood), kGoodAnswer);
    EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer);
}

TEST_F(Socket, WhoeverDoesNotReadHoldsNobodyUpAndIsDisconnected)
{
    ASSERT_EQ(stop(), 0);
    ASSERT_TRUE(start({"--patience", "1"}));
    Connection deaf{path()};
    std::string lines;
    for (int i = 0; i < 2000; ++i) {
        lines += R"({"jsonrpc":"2.0","id":1,"method":"list"})"
                 "\n";
    }
    ASSERT_LT(lines.size(), 200000U) << "which the socket's own buffer takes";
    deaf.send(lines);
    Connection other{path()};
    while (other.call("stats", "{}").find(R"("disconnected":1)") == std::string::npos ||
           log().find("it takes no answers") == std::string::npos) {
        usleep(10000);
    }
}

TEST_F(Socket, ASocketLeftBehindIsReplacedAndAPlantedFileIsNot)
{
    EXPECT_EQ(stop(SIGKILL), -SIGKILL);
    struct stat status {
    };
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    ASSERT_TRUE(start());
    EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer);
    EXPECT_EQ(stop(), 0);
    EXPECT_NE(stat(path().c_str(), &status), 0) << "it takes its socket with it";
    test::write_file(path(), "precious");
    EXPECT_FALSE(start());
    EXPECT_EQ(wait(), 1);
    EXPECT_EQ(test::read_file(path()), "precious");
    EXPECT_NE(log().find("something else than a socket"), std::string::npos) << log();
}

TEST_F(Socket, ASecondDaemonIsToldTheProcessOfTheFirst)
{
    const pid_t first = pid_;
    EXPECT_FALSE(start());
    EXPECT_EQ(wait(), 1);
    EXPECT_NE(log().find("a qscd is running as process " + std::to_string(first) + ";"), std::string::npos)
        << log();
    pid_ = first;
    EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer);
}

TEST_F(Socket, TakesASocketThatSomebodyElseHasMade)
{
    ASSERT_EQ(stop(), 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(address.sun_path, sizeof address.sun_path - 1);
    const int listening = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listening, 5), 0);
    ASSERT_TRUE(start({"--fd", std::to_string(listening)}));
    close(listening);
    EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer);
}

/// A supervisor that has made the socket hands it over as its first descriptor.
class Supervised : public Socket
{
  protected:
    void SetUp() override
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (folder_ / "theirs").copy(address.sun_path, sizeof address.sun_path - 1);
        listening_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_EQ(bind(listening_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listening_, 5), 0);
    }

    void TearDown() override
    {
        Socket::TearDown();
        close(listening_);
    }

    void prepare_child() override
    {
        dup2(listening_, 3);
        fcntl(3, F_SETFD, 0);
        setenv("LISTEN_PID", std::to_string(is_meant_ ? getpid() : getppid()).c_str(), 1);
        setenv("LISTEN_FDS", "1", 1);
    }

    int listening_ = -1;
    bool is_meant_ = true;
};

TEST_F(Supervised, TakesTheSocketThatIsMeantForIt)
{
    struct stat status {
    };
    ASSERT_TRUE(start());
    EXPECT_EQ(Connection{folder_ / "theirs"}.ask(kGood), kGoodAnswer);
    EXPECT_NE(stat(path().c_str(), &status), 0) << "it makes none of its own";
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(stat((folder_ / "theirs").c_str(), &status), 0) << "nor does it remove that of the supervisor";
    is_meant_ = false;
    ASSERT_TRUE(start());
    EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer) << "what is meant for another process is not taken";
}

TEST_F(Socket, OnlySigtermAndSigintEndIt)
{
    for (const int signal : {SIGPIPE, SIGUSR1, SIGUSR2, SIGALRM, SIGQUIT, SIGXFSZ, SIGRTMIN, SIGHUP}) {
        kill(pid_, signal);
        EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer) << signal;
    }
    EXPECT_EQ(stop(SIGINT), 0);
}

TEST_F(Socket, OpensItsLogAnewAfterSighup)
{
    ASSERT_EQ(stop(), 0);
    const std::string file = folder_ / "own.log";
    ASSERT_TRUE(start({"--log", file}));
    ASSERT_EQ(rename(file.c_str(), (file + ".1").c_str()), 0);
    kill(pid_, SIGHUP);
    EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer);
    EXPECT_EQ(stop(), 0);
    EXPECT_NE(test::read_file(file).find("ended after 1 requests"), std::string::npos);
}

TEST_F(Socket, NeitherAFullDiskNorAReaderThatIsGoneEndsIt)
{
    ASSERT_EQ(stop(), 0);
    ASSERT_TRUE(start({"--log", "/dev/full"}));
    Connection client{path()};
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(client.call("commit", R"({"path":"syslog"})").substr(0, 8), "\"error\":") << i;
    }
}

/// Its log goes to nobody, and it has few descriptors.
class PoorSocket : public test::Running
{
  protected:
    void prepare_child() override
    {
        const rlimit few{24, 24};
        setrlimit(RLIMIT_NOFILE, &few);
    }
};

TEST_F(PoorSocket, SurvivesThatDescriptorsRunOut)
{
    std::vector<std::unique_ptr<Connection>> clients;
    for (int i = 0; i < 60; ++i) {
        clients.push_back(std::make_unique<Connection>(path()));
        clients.back()->send(kGood + "\n");
    }
    EXPECT_EQ(clients.front()->receive(), kGoodAnswer);
    EXPECT_EQ(clients.back()->receive(), "(closed)");
    Connection& first = *clients.front();
    for (size_t i = 1; i < clients.size(); ++i) {
        clients[i]->close();
    }
    EXPECT_EQ(first.ask(kGood), kGoodAnswer);
    EXPECT_EQ(Connection{path()}.ask(kGood), kGoodAnswer);
}
