// Whatever a peer sends: the messages that are taken off its connection are those that a naive reading of the bytes
// finds, and the connection then ends.
#include "bus/detail/MessageReader.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

#include "net/JSocket.h"
#include "Require.h"

using jay::detail::MessageReader;

namespace {

constexpr std::size_t HEADER = 16;

/** A connection on which the peer has sent the bytes and then closed its side. */
int connectionWith(const std::uint8_t* data, std::size_t size) {
    int ends[2];
    REQUIRE(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    const ssize_t sent = size > 0 ? send(ends[1], data, size, MSG_DONTWAIT | MSG_NOSIGNAL) : 0;
    REQUIRE(sent == static_cast<ssize_t>(size));
    close(ends[1]);
    return ends[0];
}

/** The length of the message at the beginning of the bytes; 0 when it is not complete. */
std::size_t firstMessage(const std::uint8_t* data, std::size_t size) {
    if (size < HEADER) return 0;
    const std::size_t length = std::max(HEADER, static_cast<std::size_t>(data[0] | data[1] << 8));
    return length <= size ? length : 0;
}

void requireSame(M& m, const std::uint8_t* data, std::size_t size) {
    REQUIRE(m.size() == static_cast<int>(size));
    REQUIRE(m.getPos() == 0);
    const JByte bytes = m.JMessage::toByteArray();
    REQUIRE(std::memcmp(static_cast<const char*>(bytes), data, size) == 0);
    REQUIRE(m.getDestId() == (data[2] | data[3] << 8));
    REQUIRE(m.getSrcId() == (data[4] | data[5] << 8));
    REQUIRE(m.getFlag() == data[6] && m.getPriority() == data[7]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    JSocket socket(connectionWith(data, size));
    MessageReader messages(socket);
    std::unique_ptr<M> m;
    while (const std::size_t length = firstMessage(data, size)) {
        REQUIRE(messages.next(m) == MessageReader::MESSAGE);
        requireSame(*m, data, length);
        data += length;
        size -= length;
    }
    m.reset();
    REQUIRE(messages.next(m) == MessageReader::ENDED);
    REQUIRE(m == nullptr);
    REQUIRE(!socket.isConnected());
    return 0;
}
