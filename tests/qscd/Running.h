// SPDX-License-Identifier: Apache-2.0
// A daemon that runs for a test, and connections to it.
#pragma once

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/TemporaryFolder.h"

namespace test
{

/// A client that says what it likes.
class Connection
{
  public:
    explicit Connection(const std::string& path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            close();
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { close(); }

    [[nodiscard]] bool is_open() const { return socket_ >= 0; }

    [[nodiscard]] int descriptor() const { return socket_; }

    void close()
    {
        if (socket_ >= 0) {
            ::close(socket_);
        }
        socket_ = -1;
    }

    void say_no_more() const { shutdown(socket_, SHUT_WR); }

    void send(const std::string& text) const
    {
        for (size_t sent = 0; sent < text.size();) {
            const ssize_t count = ::send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) {
                return;
            }
            sent += static_cast<size_t>(count);
        }
    }

    /// The next line; "(closed)" when there is none.
    std::string receive()
    {
        for (;;) {
            const size_t end = kept_.find('\n');
            if (end != std::string::npos) {
                const std::string line = kept_.substr(0, end);
                kept_.erase(0, end + 1);
                return line;
            }
            char part[4096];
            const ssize_t count = recv(socket_, part, sizeof part, 0);
            if (count <= 0) {
                return "(closed)";
            }
            kept_.append(part, static_cast<size_t>(count));
        }
    }

    std::string ask(const std::string& line)
    {
        send(line + "\n");
        return receive();
    }

    /// Sends a request of a method and answers what follows the id.
    std::string call(const std::string& method, const std::string& params)
    {
        const std::string answer =
            ask(R"({"jsonrpc":"2.0","id":1,"method":")" + method + R"(","params":)" + params + "}");
        const std::string start = R"({"jsonrpc":"2.0","id":1,)";
        return answer.compare(0, start.size(), start) == 0
                   ? answer.substr(start.size(), answer.size() - start.size() - 1)
                   : answer;
    }

  private:
    int socket_ = -1;
    std::string kept_;
};

class Running : public testing::Test
{
  protected:
    void SetUp() override { start(); }
    void TearDown() override
    {
        if (pid_ > 0) {
            EXPECT_EQ(stop(), 0);
        }
    }

    /// Starts it and waits until it says that it serves; false: it did not.
    bool start(const std::vector<std::string>& more = {})
    {
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) {
            return false;
        }
        std::vector<std::string> words = {
            QSC_DAEMON, "--socket",   path(),       "--access", folder_ / "access",
            "--folder", folder_ / "", "--watchdog", "0",        "--no-journal"};
        words.insert(words.end(), more.begin(), more.end());
        pid_ = fork();
        if (pid_ == 0) {
            std::vector<char*> arguments;
            for (std::string& word : words) {
                arguments.push_back(word.data());
            }
            arguments.push_back(nullptr);
            dup2(out[1], STDOUT_FILENO);
            dup2(open(log_path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), STDERR_FILENO);
            prepare_child();
            execv(QSC_DAEMON, arguments.data());
            _exit(127);
        }
        ::close(out[1]);
        FILE* const said = fdopen(out[0], "r");
        char line[256];
        const bool is_started = fgets(line, sizeof line, said) != nullptr;
        fclose(said);
        return is_started;
    }

    virtual void prepare_child() {}

    int stop(int signal = SIGTERM)
    {
        kill(pid_, signal);
        return wait();
    }

    int wait()
    {
        int status = -1;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    [[nodiscard]] std::string path() const { return folder_ / "s"; }
    [[nodiscard]] std::string log_path() const { return folder_ / "log"; }
    [[nodiscard]] std::string log() const { return read_file(log_path()); }

    TemporaryFolder folder_;
    pid_t pid_ = -1;
};

/// A daemon that finds tools of the test's own before those of this machine.
class RunningWithTools : public Running
{
  protected:
    RunningWithTools() { mkdir((folder_ / "bin").c_str(), 0755); }

    void prepare_child() override { setenv("PATH", (folder_ / "bin:" + getenv("PATH")).c_str(), 1); }

    void write_tool(const std::string& name, const std::string& script) const
    {
        test::write_file(folder_ / "bin/" + name, "#!/bin/sh\n" + script);
        chmod((folder_ / "bin/" + name).c_str(), 0755);
    }
};

} // namespace test
