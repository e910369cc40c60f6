// SPDX-License-Identifier: Apache-2.0
// The daemon and senders that are broken, hostile or dead.
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bacl.h"
#include "qscbase.h"
#include "support/TemporaryFolder.h"

class Daemon : public testing::Test
{
  protected:
    void SetUp() override
    {
        int out[2];
        ASSERT_EQ(pipe(out), 0);
        key_ = std::to_string(0x10000 + getpid());
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], STDOUT_FILENO);
            dup2(open(log_path().c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
            execl(QSC_DAEMON, QSC_DAEMON, "--no-journal", "--socket", "", "--queue", key_.c_str(), "--folder",
                  (folder_ / "").c_str(), "--patience", patience_, "-v", nullptr);
            _exit(127);
        }
        close(out[1]);
        FILE* const words = fdopen(out[0], "r");
        ASSERT_EQ(fscanf(words, "queue %u", &queue_), 1);
        fclose(words);
    }

    void TearDown() override
    {
        EXPECT_EQ(stop(), 0);
        EXPECT_EQ(msgget(static_cast<key_t>(std::stoi(key_)), 0), -1) << "its queue is gone";
    }

    int stop()
    {
        kill(pid_, SIGTERM);
        int status = -1;
        waitpid(pid_, &status, 0);
        return status;
    }

    /// Puts a message into the queue as it is, whatever its header says.
    void send_raw(long type, const std::string& text)
    {
        struct {
            long type;
            char text[8000];
        } message{type, {}};
        text.copy(message.text, sizeof message.text);
        ASSERT_EQ(msgsnd(static_cast<int>(queue_), &message, text.size(), 0), 0);
    }

    std::string log_path() { return folder_ / "log"; }

    std::string log() { return test::read_file(log_path()); }

    uint32_t send(const std::string& payload, uint32_t answer_type = 77, int8_t kind = 1)
    {
        return QSCBase_Send(queue_, 0, 1, answer_type, payload.data(), static_cast<uint16_t>(payload.size()),
                            kind);
    }

    /// The answer of a type, as text.
    std::string receive(int64_t type = 77)
    {
        char buffer[4200] = {};
        const uint32_t code = QSCBase_Receive(queue_, 0, type, buffer, 4120);
        return code == 0 ? buffer + 24 : "code " + std::to_string(code);
    }

    static constexpr const char* kGood =
        R"({"Path":"syslog","Request":{"level":{}},"MsgHeader":{"MainOper":1,"SubOper":0,"Owner":8,"Flag":0}})";

    test::TemporaryFolder folder_;
    const char* patience_ = "30";
    std::string key_;
    pid_t pid_ = -1;
    uint32_t queue_ = 0;
};

TEST_F(Daemon, AnswersUnderTheTypeThatTheSenderChose)
{
    ASSERT_EQ(send(kGood, 2), 0u);
    ASSERT_EQ(send(kGood, INT32_MAX), 0u);
    const std::string answer =
        R"({"Path":"syslog","Request":{"level":{"ParamValue":7,"ParamId":0}},"MsgHeader":{"MainOper":1,"SubOper":0,"Owner":8,"Flag":0}})";
    EXPECT_EQ(receive(INT32_MAX), answer);
    EXPECT_EQ(receive(2), answer);
    ASSERT_EQ(send(R"({"Path":"Nowhere","Request":{},"MsgHeader":{"MainOper":1,"Owner":4294967295}})"), 0u);
    EXPECT_EQ(
        receive(),
        R"({"Path":"Nowhere","Request":{},"MsgHeader":{"MainOper":1,"Owner":4294967295,"SubOper":0,"Flag":22},"Error":"there is no such path"})");
}

TEST_F(Daemon, MalformedMessagesAreDroppedAndNobodyReadsThemInALog)
{
    const struct {
        std::string payload;
        uint32_t answer_type;
        int8_t kind;
    } malformed[] = {
        {"", 77, 1},
        {"{", 77, 1},
        {"[]", 77, 1},
        {R"({"Password":"hunter2")", 77, 1},
        {std::string{kGood} + "x", 77, 1},
        {std::string(4096, '['), 77, 1},
        {kGood, 0, 1},
        {kGood, 1, 1},          // would come back as a request
        {kGood, 0x80000000, 1}, // no kernel takes that type
        {kGood, 77, 2},         // an answer
        {R"({"Path":5,"Request":{},"MsgHeader":{"MainOper":1,"Owner":8}})", 77, 1},
        {R"({"Path":"a\u0000b","Request":{},"MsgHeader":{"MainOper":1,"Owner":8}})", 77, 1},
        {R"({"Path":"syslog","Request":null,"MsgHeader":{"MainOper":1,"Owner":8}})", 77, 1},
        {R"({"Path":"syslog","Request":{},"MsgHeader":{"MainOper":-1,"Owner":8}})", 77, 1},
        {R"({"Path":"syslog","Request":{},"MsgHeader":{"MainOper":1,"Owner":"8"}})", 77, 1},
        {R"({"Path":"syslog","Request":{}})", 77, 1},
    };
    for (const auto& [payload, answer_type, kind] : malformed) {
        ASSERT_EQ(send(payload, answer_type, kind), 0u);
    }
    ASSERT_EQ(send(kGood), 0u);
    EXPECT_EQ(receive().substr(0, 16), R"({"Path":"syslog")") << "the next one is served";
    EXPECT_EQ(QSCBase_Receive_NB(queue_, -77, std::string(4120, '\0').data(), 4120, 1, 0), 42u)
        << "none was answered";
    EXPECT_EQ(stop(), 0);
    EXPECT_NE(log().find("ended after 1 requests, 16 dropped"), std::string::npos) << log();
    EXPECT_EQ(log().find("hunter2"), std::string::npos) << log();
    EXPECT_EQ(log().find("68 75 6e 74"), std::string::npos) << "not as a dump either";
    SetUp();
}

TEST_F(Daemon, MessagesThatAreTooLongOrTooOldAreDropped)
{
    send_raw(1, std::string(5000, '['));
    std::string old(16, '\0');
    const uint32_t sent = BaCL_GetTimestampSec() - 61;
    memcpy(old.data(), &sent, sizeof sent);
    old[4] = 77;
    old[12] = static_cast<char>(std::strlen(kGood));
    old[14] = 1;
    send_raw(1, old + kGood);
    ASSERT_EQ(send(kGood, 78), 0u);
    EXPECT_EQ(receive(78).substr(0, 16), R"({"Path":"syslog")") << "it goes on";
    EXPECT_EQ(QSCBase_Receive_NB(queue_, -77, std::string(4120, '\0').data(), 4120, 1, 0), 42u);
    EXPECT_EQ(stop(), 0);
    EXPECT_NE(log().find("ended after 1 requests, 2 dropped"), std::string::npos) << log();
    SetUp();
}

TEST_F(Daemon, AQueueThatSomebodyRemovesIsAFailure)
{
    ASSERT_EQ(msgctl(static_cast<int>(queue_), IPC_RMID, nullptr), 0);
    int status = -1;
    waitpid(pid_, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_NE(log().find("cannot be used any more"), std::string::npos) << log();
    SetUp();
}

TEST_F(Daemon, ASecondOneIsToldTheProcessOfTheFirst)
{
    const std::string command =
        QSC_DAEMON " --socket '' --queue " + key_ + " --folder " + (folder_ / "") + " 2>&1; echo $?";
    FILE* const pipe = popen(command.c_str(), "r");
    char said[512] = {};
    fread(said, 1, sizeof said - 1, pipe);
    pclose(pipe);
    EXPECT_NE(std::string{said}.find("a qscd is running as process " + std::to_string(pid_) + ";"),
              std::string::npos)
        << said;
    EXPECT_NE(std::string{said}.find("\n1\n"), std::string::npos);
}

TEST_F(Daemon, AnswersThatNobodyTakesAreThrownAway)
{
    stop();
    patience_ = "0";
    SetUp();
    ASSERT_EQ(send(kGood, 500), 0u);
    ASSERT_EQ(send(kGood, 501), 0u);
    send_raw(502, "of nobody we know");
    send_raw(503, std::string(5000, 'x'));
    msqid_ds status{};
    do {
        usleep(1000);
        ASSERT_EQ(msgctl(static_cast<int>(queue_), IPC_STAT, &status), 0);
    } while (log().find("syslog: 0") == std::string::npos || status.msg_qnum != 0);
}

TEST_F(Daemon, DeadSendersDoNotBlockIt)
{
    // Answers that nobody takes fill the queue; the daemon gives up on those that find no room.
    const std::string request = R"({"Path":"help","Request":{},"MsgHeader":{"MainOper":1,"Owner":8}})";
    for (uint32_t i = 0; i < 12; ++i) {
        ASSERT_EQ(send(request, 1000 + i), 0u) << i;
    }
    ASSERT_EQ(send(kGood), 0u);
    EXPECT_EQ(receive().substr(0, 16), R"({"Path":"syslog")");
    EXPECT_EQ(receive(1000).substr(0, 8), R"({"Path":)") << "what found room is still there";
    while (log().find("could not be sent") == std::string::npos) {
        usleep(1000);
    }
}

/// The command line against a queue that is not as it should be.
class Client : public testing::Test
{
  protected:
    Client() : queue_(msgget(IPC_PRIVATE, 0600)) {}
    ~Client() override { msgctl(queue_, IPC_RMID, nullptr); }

    FILE* run()
    {
        return popen((QSC_PROGRAM " --queue " + std::to_string(queue_) + " get syslog level 2>&1").c_str(),
                     "r");
    }

    static std::string output_of(FILE* pipe)
    {
        char text[512] = {};
        fread(text, 1, sizeof text - 1, pipe);
        pclose(pipe);
        return text;
    }

    const int queue_;
};

TEST_F(Client, TakesOnlyTheAnswerWithItsOwnNumber)
{
    FILE* const pipe = run();
    char request[4121] = {};
    ASSERT_EQ(QSCBase_Receive(static_cast<uint32_t>(queue_), 0, 1, request, 4120), 0u);
    uint32_t type = 0;
    memcpy(&type, request + 12, sizeof type);
    const std::string root = request + 24;
    const size_t number = root.find(R"("Number":)");
    ASSERT_NE(number, std::string::npos) << root;
    const auto answer = [&](const char* level, std::string own) {
        const std::string text = R"({"Request":{"level":{"ParamId":0,"ParamValue":)" + std::string{level} +
                                 "}}," + own + R"("MsgHeader":{"Flag":0}})";
        QSCBase_Send(static_cast<uint32_t>(queue_), 0, type, 0, text.data(),
                     static_cast<uint16_t>(text.size()), 2);
    };
    answer("1", "");
    answer("2", R"("Number":7,)");
    answer("3", root.substr(number, root.find(',', number) - number + 1));
    EXPECT_EQ(output_of(pipe), "level = 3\n");
}

TEST_F(Client, SendsNothingToAQueueOfSomebodyElse)
{
    msqid_ds status{};
    msgctl(queue_, IPC_STAT, &status);
    status.msg_perm.uid = 4242;
    if (geteuid() != 0 || msgctl(queue_, IPC_SET, &status) != 0) {
        GTEST_SKIP() << "only root gives a queue away";
    }
    EXPECT_NE(output_of(run()).find("who is neither root nor you: nothing was sent"), std::string::npos);
    msgctl(queue_, IPC_STAT, &status);
    EXPECT_EQ(status.msg_qnum, 0u);
}
