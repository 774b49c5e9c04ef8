#include "bus/detail/MessageReader.h"

#include <utility>

#include "net/JSocket.h"

namespace jay::detail {

// readFully() takes an end index but refuses ranges that, taken as a length, leave the block: hence the extra
// header.
MessageReader::MessageReader(JSocket& socket, std::function<void()> beforeWait)
    : socket_(socket),
      beforeWait_(std::move(beforeWait)),
      in_(socket.getInputStream()),
      buffer_(M::MAX_SIZE + M::HEADER_SIZE) {
}

MessageReader::Result MessageReader::next(std::unique_ptr<M>& message) {
    Result result = fill(0, M::HEADER_SIZE);
    if (result != MESSAGE) return result;
    const auto* header = static_cast<const unsigned char*>(buffer_);
    int length = header[0] | header[1] << 8;
    if (length > M::HEADER_SIZE) {
        result = fill(M::HEADER_SIZE, length);
        if (result != MESSAGE) return result;
    } else {
        length = M::HEADER_SIZE;
    }
    message = std::make_unique<M>(static_cast<void*>(buffer_), 0, length);
    return MESSAGE;
}

MessageReader::Result MessageReader::fill(int from, int end) {
    if (beforeWait_ && !socket_.getInputStream()->holds(end - from)) beforeWait_();
    const int n = in_.readFully(buffer_, from, end);
    if (n > 0) return MESSAGE;
    return n < 0 && socket_.isReadTimeout() ? TIMED_OUT : ENDED;
}

}  // namespace jay::detail
