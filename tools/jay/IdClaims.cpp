#include "tools/jay/IdClaims.h"

#include <cstddef>
#include <cstring>
#include <fmt/core.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bus/SM.h"

IdClaims::~IdClaims() {
    for (const int fd : sockets_) close(fd);
}

bool IdClaims::claim(int id) {
    const std::string name = fmt::format("jay port {} id {}", port_, id);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // The zero before the name makes it one without a file.
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    sockets_.push_back(fd);
    return bind(fd, reinterpret_cast<const sockaddr*>(&address), size) == 0;
}

std::vector<int> IdClaims::claimSpare(std::size_t wanted) {
    std::vector<int> ids;
    for (int id = SM::MAX_CLIENTS - 1; id >= FIRST_SPARE && ids.size() < wanted; id--) {
        if (claim(id)) ids.push_back(id);
    }
    return ids;
}
