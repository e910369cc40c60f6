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
            execl(QSC_DAEMON, QSC_DAEMON, "--key", key_.c_str(), "--patience", patience_, "-v", nullptr);
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

TEST_F(Daemon, MalformedMessagesAreDumpedAndDropped)
{
    const struct {
        std::string payload;
        uint32_t answer_type;
        int8_t kind;
    } malformed[] = {
        {"", 77, 1},
        {"{", 77, 1},
        {"[]", 77, 1},
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
    EXPECT_NE(log().find("ended after 1 requests, 15 dropped"), std::string::npos) << log();
    EXPECT_NE(log().find("malformed message"), std::string::npos);
    SetUp();
}

TEST_F(Daemon, AnswersThatNobodyTakesAreThrownAway)
{
    stop();
    patience_ = "0";
    SetUp();
    ASSERT_EQ(send(kGood, 500), 0u);
    ASSERT_EQ(send(kGood, 501), 0u);
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
    EXPECT_NE(log().find("could not be sent"), std::string::npos) << log();
}
