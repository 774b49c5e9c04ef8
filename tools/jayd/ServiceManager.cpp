#include "tools/jayd/ServiceManager.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

/** The size of the socket's address, 0 if the name is none. */
socklen_t addressOf(const char* name, sockaddr_un& address) {
    const std::size_t length = name != nullptr ? std::strlen(name) : 0;
    if (length < 2 || (name[0] != '/' && name[0] != '@') || length >= sizeof address.sun_path) return 0;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name, length);
    if (name[0] == '@') address.sun_path[0] = '\0';  // an abstract name has neither file nor end mark
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
}

}  // namespace

void tellServiceManager(const std::string& state, int ms) {
    sockaddr_un address{};
    const socklen_t size = addressOf(std::getenv("NOTIFY_SOCKET"), address);
    if (size == 0) return;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return;
    const timeval limit{ms / 1000, ms % 1000 * 1000};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    sendto(fd, state.data(), state.size(), MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&address), size);
    close(fd);
}
