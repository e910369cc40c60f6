// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/DaemonSocket.h"

#include <cerrno>
#include <cstring>

#include <json-c/json.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tools/client/qsc_client.h"
#include "tools/qsc/Report.h"
#include "tools/queue/Payload.h"

namespace qsc
{

namespace
{

/// Longer than the daemon's own deadlines, so that it is the one who says what did not end.
constexpr int kPatienceMs = 150'000;

/// Ends with the process; a batch and a watch use the same one all the time.
QscClient g_client = {-1, 0, nullptr, 0, 0, 0, 0};

bool say(const char* socket, int code)
{
    failure("%s: %s", socket,
            code == ENOENT || code == ECONNREFUSED ? "no qscd serves there; start it, or name its socket"
            : code == EPIPE || code == ECONNRESET  ? "qscd has ended the connection"
            : code == EAGAIN                       ? "no answer came in time"
                                                   : std::strerror(code));
    return false;
}

/// Another user's socket would get our requests, passwords and all, and answer what it likes.
bool is_trusted(const char* socket)
{
    ucred daemon{};
    socklen_t size = sizeof daemon;
    if (getsockopt(QscClient_Fd(&g_client), SOL_SOCKET, SO_PEERCRED, &daemon, &size) != 0) {
        return say(socket, errno);
    }
    if (daemon.uid != 0 && daemon.uid != geteuid()) {
        failure("%s belongs to user %u, who is neither root nor you: nothing was sent", socket, daemon.uid);
        return false;
    }
    return true;
}

JsonRef parse(const char* line)
{
    return JsonRef{json_tokener_parse(line)};
}

} // namespace

JsonRef call_daemon(const char* socket, const char* method, JsonRef params)
{
    if (QscClient_Fd(&g_client) < 0) {
        const int code = QscClient_Open(&g_client, socket);
        if (code != 0 || !is_trusted(socket)) {
            QscClient_Close(&g_client);
            (void)(code != 0 && say(socket, code));
            return nullptr;
        }
    }
    const char* const text = json_object_to_json_string_ext(params.get(), JSON_C_TO_STRING_PLAIN);
    const char* line = nullptr;
    const int code = text != nullptr ? QscClient_Call(&g_client, method, text, kPatienceMs, &line) : ENOMEM;
    if (code != 0) {
        // What it says to those whom it does not let in has no id of ours.
        JsonRef last = QscClient_Receive(&g_client, 0, &line) == 0 ? parse(line) : nullptr;
        if (last != nullptr && queue::member_of(last.get(), "error") != nullptr) {
            return last;
        }
        QscClient_Close(&g_client);
        (void)say(socket, code);
        return nullptr;
    }
    JsonRef answer = parse(line);
    if (json_object_is_type(answer.get(), json_type_object) == 0) {
        failure("the answer is malformed; is %s the socket of a qscd?", socket);
        return nullptr;
    }
    return answer;
}

JsonRef next_event()
{
    const char* line = nullptr;
    return QscClient_Receive(&g_client, -1, &line) == 0 ? parse(line) : nullptr;
}

bool say_error(json_object* answer)
{
    json_object* const error = queue::member_of(answer, "error");
    if (error == nullptr) {
        return false;
    }
    failure("qscd: %s", json_object_get_string(queue::member_of(error, "message")));
    return true;
}

} // namespace qsc
