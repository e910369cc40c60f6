// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Listener.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/Parse.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr int kFirstInherited = 3;

bool say(const char* path, const char* what)
{
    std::fprintf(stderr, "qscd: %s: %s\n", path, what);
    return false;
}

} // namespace

bool LockFile::take(const char* path)
{
    file_.replace(FileDescriptor{open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)});
    char pid[16] = {};
    if (file_.is_open() && flock(file_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        const bool is_known = pread(file_.get(), pid, sizeof pid - 1, 0) > 0;
        std::fprintf(stderr, "qscd: %s: a qscd is running%s%.*s; give this one another --socket or --queue\n",
                     path, is_known ? " as process " : "", static_cast<int>(std::strspn(pid, "0123456789")),
                     pid);
        return false;
    }
    const int length = std::snprintf(pid, sizeof pid, "%d\n", static_cast<int>(getpid()));
    return (file_.is_open() && ftruncate(file_.get(), 0) == 0 &&
            write_all(file_.get(), {pid, static_cast<std::size_t>(length)})) ||
           say(path, std::strerror(errno));
}

bool Listener::open(const char* path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    Text<126> lock;
    lock.append(path).append(".lock");
    if (*path == '\0' || !path_.assign(path) || path_.view().size() >= sizeof address.sun_path) {
        return say(path, "a socket's path is 1 to 107 characters long");
    }
    path_.view().copy(address.sun_path, path_.view().size());
    path_.clear(); // not ours yet
    if (!lock_.take(lock.c_str())) {
        return false;
    }
    struct stat status {
    };
    if (lstat(path, &status) == 0) {
        // Who holds the lock may remove a socket. Anything else there was not left by a daemon.
        if (!S_ISSOCK(status.st_mode)) {
            return say(path, "there is something else than a socket in its place; remove it");
        }
        (void)unlink(path);
    }
    socket_.replace(FileDescriptor{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)});
    if (!socket_.is_open() ||
        bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        chmod(path, 0666) != 0 || listen(socket_.get(), SOMAXCONN) != 0) {
        return say(path, std::strerror(errno));
    }
    (void)path_.assign(path);
    return true;
}

bool Listener::inherit(int descriptor)
{
    int is_listening = 0;
    socklen_t size = sizeof is_listening;
    sockaddr_un address{};
    socklen_t address_size = sizeof address;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &is_listening, &size) != 0 || is_listening == 0 ||
        getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &address_size) != 0 ||
        address.sun_family != AF_UNIX) {
        std::fprintf(stderr, "qscd: descriptor %d is no Unix socket that listens\n", descriptor);
        return false;
    }
    (void)fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    (void)fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    socket_.replace(FileDescriptor{descriptor});
    return true;
}

/// Keeps a descriptor for the time when there is no other.
void Listener::reserve()
{
    spare_.replace(FileDescriptor{::open("/dev/null", O_RDONLY | O_CLOEXEC)});
}

int Listener::accept()
{
    if (!spare_.is_open()) {
        reserve();
    }
    const int client = accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client < 0 && (errno == EMFILE || errno == ENFILE)) {
        // Left in the backlog it would wake us for ever.
        (void)spare_.close();
        // The first call fails also when no connection waits.
        FileDescriptor surplus{accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC)};
        const int code = surplus.is_open() ? EMFILE : EAGAIN;
        (void)surplus.close();
        reserve();
        errno = code;
    }
    return client;
}

void Listener::close()
{
    if (!path_.view().empty()) {
        (void)unlink(path_.c_str());
        path_.clear();
    }
    (void)socket_.close();
}

int inherited_descriptor()
{
    const char* const process = std::getenv("LISTEN_PID");
    const char* const count = std::getenv("LISTEN_FDS");
    i32 number = 0;
    const bool is_ours = process != nullptr && count != nullptr && parse_any_base(process, number) &&
                         number == getpid() && parse_any_base(count, number) && number > 0;
    // Tools that we start are not meant.
    (void)unsetenv("LISTEN_PID");
    (void)unsetenv("LISTEN_FDS");
    (void)unsetenv("LISTEN_FDNAMES");
    return is_ours ? kFirstInherited : -1;
}

} // namespace qscd
