#include "bus/detail/MessageReader.h"

#include <utility>

#include "bus/detail/MessageLayout.h"
#include "bus/detail/PackedMessage.h"

namespace jay::detail {

MessageReader::MessageReader(JSocket& socket, std::function<void()> beforeWait)
    : socket_(socket), in_(*socket.getInputStream()), beforeWait_(std::move(beforeWait)) {
}

MessageReader::Result MessageReader::next(std::unique_ptr<M>& message) {
    const char* const header = look(MessageLayout::HEADER_SIZE);
    if (header == nullptr) return failure();
    const int length = MessageLayout::lengthOf(header);
    if (length > JSocket::JSocketInputStream::WINDOW_SIZE) return collect(length, message);
    const char* const whole = look(length);
    if (whole == nullptr) return failure();
    message = PackedMessage::copyOf(whole, length);
    in_.consume(length);
    return MESSAGE;
}

std::unique_ptr<M> MessageReader::next(const std::atomic<char>& stop) {
    std::unique_ptr<M> message;
    while (stop == 0 && next(message) == TIMED_OUT) {
    }
    return message;
}

/** The next `n` bytes of the connection, null when they do not come. */
const char* MessageReader::look(int n) {
    if (const char* const there = in_.received(n)) return there;
    if (beforeWait_) beforeWait_();
    return in_.await(n);
}

/** Takes a message that does not fit in the window. */
MessageReader::Result MessageReader::collect(int length, std::unique_ptr<M>& message) {
    if (beforeWait_) beforeWait_();
    const std::unique_ptr<char[]> bytes(new char[static_cast<std::size_t>(length)]);
    for (int got = 0; got < length;) {
        const int n = in_.readInto(bytes.get() + got, length - got);
        if (n <= 0) return failure();
        got += n;
    }
    message = PackedMessage::copyOf(bytes.get(), length);
    return MESSAGE;
}

MessageReader::Result MessageReader::failure() const {
    return socket_.isReadTimeout() ? TIMED_OUT : ENDED;
}

}  // namespace jay::detail
