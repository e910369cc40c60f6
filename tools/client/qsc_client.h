/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * A client of the service daemon qscd in one header: copy it into your program, nothing is to be linked. It
 * carries lines of JSON; reading and writing them is left to the JSON library of the program. docs/daemon.md
 * describes the methods.
 *
 *     QscClient client;
 *     const char *answer;
 *     if (QscClient_Open(&client, NULL) == 0 &&
 *         QscClient_Call(&client, "get", "{\"path\":\"Device.Time\"}", 5000, &answer) == 0) {
 *         puts(answer);
 *     }
 *     QscClient_Close(&client);
 *
 * Functions return 0 or an errno. A client belongs to one thread at a time. C99, POSIX; usable from C++.
 */
#ifndef QSC_CLIENT_H
#define QSC_CLIENT_H

#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#ifdef __cplusplus
extern "C" {
#endif

#define QSC_CLIENT_SOCKET "/var/run/qscd.sock"

/** The longest line that the daemon takes and sends, with its end. */
#define QSC_CLIENT_LINE (1024u * 1024u)

/** A connection. The members are the functions' own. */
typedef struct {
    int fd;
    unsigned long last_id;
    char* text;   /**< received: lines that were handed out, then lines that were not, then a part of one */
    size_t used;  /**< bytes of `text` */
    size_t room;  /**< allocated for `text` */
    size_t taken; /**< bytes of `text` that were handed out */
    size_t
        scanned; /**< bytes of `text` that QscClient_Call() has looked at and left for QscClient_Receive() */
} QscClient;

/** Milliseconds of the monotonic clock. */
static inline long long QscClient_Now(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long long)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/**
 * Connects.
 *
 * @param[out] client  to be closed with QscClient_Close() whatever is returned
 * @param[in]  path    of the socket; null: QSC_CLIENT_SOCKET
 * @retval ECONNREFUSED, ENOENT  no daemon serves there
 */
static inline int QscClient_Open(QscClient* client, const char* path)
{
    struct sockaddr_un address;
    memset(client, 0, sizeof *client);
    client->fd = -1;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    path = path != NULL ? path : QSC_CLIENT_SOCKET;
    if (strlen(path) >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    memcpy(address.sun_path, path, strlen(path));
    client->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (client->fd < 0 || connect(client->fd, (const struct sockaddr*)&address, sizeof address) != 0) {
        return errno;
    }
    return 0;
}

/** Ends the connection and frees what belongs to it. */
static inline void QscClient_Close(QscClient* client)
{
    if (client->fd >= 0) {
        close(client->fd);
    }
    free(client->text);
    memset(client, 0, sizeof *client);
    client->fd = -1;
}

/** The descriptor, for poll(): when it is readable, QscClient_Receive() with a time of 0 takes what has come.
 */
static inline int QscClient_Fd(const QscClient* client)
{
    return client->fd;
}

/** Sends bytes; waits while the daemon takes none. */
static inline int QscClient_Write(QscClient* client, const char* bytes, size_t count)
{
    while (count > 0) {
        const ssize_t sent = send(client->fd, bytes, count, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return errno;
        }
        bytes += sent;
        count -= (size_t)sent;
    }
    return 0;
}

/**
 * Sends a request without waiting for its answer.
 *
 * @param[in]  method  such as "get"
 * @param[in]  params  a JSON object as text, without line breaks; null: none
 * @param[out] id      of the request, which its answer repeats; null: not wanted
 */
static inline int QscClient_Send(QscClient* client, const char* method, const char* params, unsigned long* id)
{
    char head[160];
    int code,
        length = snprintf(head, sizeof head, "{\"jsonrpc\":\"2.0\",\"id\":%lu,\"method\":\"%s\",\"params\":",
                          client->last_id + 1, method);
    if (length < 0 || (size_t)length >= sizeof head || (params != NULL && strchr(params, '\n') != NULL)) {
        return EINVAL;
    }
    params = params != NULL ? params : "{}";
    ++client->last_id;
    if (id != NULL) {
        *id = client->last_id;
    }
    code = QscClient_Write(client, head, (size_t)length);
    code = code != 0 ? code : QscClient_Write(client, params, strlen(params));
    return code != 0 ? code : QscClient_Write(client, "}\n", 2);
}

/** Receives more; waits until `deadline` of QscClient_Now(), for ever when it is below 0. */
static inline int QscClient_Fill(QscClient* client, long long deadline)
{
    struct pollfd waiting;
    int ready;
    ssize_t count;
    if (client->room - client->used < 4096) {
        const size_t room = client->room * 2 + 8192;
        char* const text = (char*)realloc(client->text, room);
        if (text == NULL) {
            return ENOMEM;
        }
        client->text = text;
        client->room = room;
    }
    waiting.fd = client->fd;
    waiting.events = POLLIN;
    do {
        long long left = deadline < 0 ? -1 : deadline - QscClient_Now();
        ready = poll(&waiting, 1, deadline < 0 ? -1 : left > 0 ? (int)left : 0);
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0) {
        return ready == 0 ? EAGAIN : errno;
    }
    count = recv(client->fd, client->text + client->used, client->room - client->used, 0);
    if (count <= 0) {
        return count == 0 ? EPIPE : errno;
    }
    client->used += (size_t)count;
    return 0;
}

/** Forgets the line that was handed out last. */
static inline void QscClient_Forget(QscClient* client)
{
    if (client->taken > 0) {
        memmove(client->text, client->text + client->taken, client->used - client->taken);
        client->used -= client->taken;
        client->scanned -= client->scanned < client->taken ? client->scanned : client->taken;
        client->taken = 0;
    }
}

/**
 * Receives the next message: an answer to QscClient_Send(), or an event of a subscription.
 *
 * @param[in]  wait_ms  how long to wait; 0: not at all; below 0: for ever
 * @param[out] line     the message, without its line end; valid until the next call
 * @retval EAGAIN  nothing whole came in time
 * @retval EPIPE   the daemon has closed the connection
 */
static inline int QscClient_Receive(QscClient* client, int wait_ms, const char** line)
{
    const long long deadline = wait_ms < 0 ? -1 : QscClient_Now() + wait_ms;
    QscClient_Forget(client);
    for (;;) {
        char* const end = client->used > 0 ? (char*)memchr(client->text, '\n', client->used) : NULL;
        int code;
        if (end != NULL) {
            *end = '\0';
            client->taken = (size_t)(end - client->text) + 1;
            *line = client->text;
            return 0;
        }
        code = QscClient_Fill(client, deadline);
        if (code != 0) {
            return code;
        }
    }
}

/**
 * Sends a request and waits for its answer. Events and other answers that come before it are left for
 * QscClient_Receive().
 *
 * @param[out] answer  the answer, an object with "result" or "error", without its line end; valid until the
 * next call
 * @return as QscClient_Receive() and QscClient_Send()
 */
static inline int QscClient_Call(QscClient* client, const char* method, const char* params, int wait_ms,
                                 const char** answer)
{
    const long long deadline = wait_ms < 0 ? -1 : QscClient_Now() + wait_ms;
    char start[64];
    unsigned long id;
    size_t from;
    int code = QscClient_Send(client, method, params, &id);
    if (code != 0) {
        return code;
    }
    QscClient_Forget(client);
    snprintf(start, sizeof start, "{\"jsonrpc\":\"2.0\",\"id\":%lu,", id);
    from = client->scanned;
    for (;;) {
        char* const end =
            client->used > from ? (char*)memchr(client->text + from, '\n', client->used - from) : NULL;
        if (end == NULL) {
            code = QscClient_Fill(client, deadline);
            if (code != 0) {
                client->scanned = 0;
                return code;
            }
            continue;
        }
        if ((size_t)(end - client->text) - from >= strlen(start) &&
            memcmp(client->text + from, start, strlen(start)) == 0) {
            /* It is moved to the front, and what came before it after it. */
            const size_t length = (size_t)(end - client->text) + 1 - from;
            char* const moved = (char*)malloc(length);
            if (moved == NULL) {
                return ENOMEM;
            }
            memcpy(moved, client->text + from, length);
            memmove(client->text + length, client->text, from);
            memcpy(client->text, moved, length);
            free(moved);
            client->text[length - 1] = '\0';
            client->taken = length;
            client->scanned = length + from;
            *answer = client->text;
            return 0;
        }
        from = (size_t)(end - client->text) + 1;
    }
}

#ifdef __cplusplus
}
#endif

#endif
