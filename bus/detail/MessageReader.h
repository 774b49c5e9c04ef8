#ifndef JAY_BUS_DETAIL_MESSAGEREADER_H
#define JAY_BUS_DETAIL_MESSAGEREADER_H

#include <atomic>
#include <functional>
#include <memory>

#include "bus/M.h"
#include "net/JSocket.h"

namespace jay::detail {

/**
 * Takes messages off a connection, which carries them back to back: a header, then as many bytes as its
 * length says beyond it. A length of 16 or less means a header alone.
 *
 * A message is made from where it was received. Only one that is longer than the stream's window is collected in
 * memory of its own first.
 */
class MessageReader {
public:
    enum Result {
        MESSAGE,    ///< a whole message is there
        TIMED_OUT,  ///< nothing came in time; what had come of a message cut short is dropped
        ENDED       ///< the connection is over
    };

    /** @param beforeWait called when every message that has been received is handed out, before the connection is asked
     * for more; so all that came in one receive is handed out between two calls. */
    explicit MessageReader(JSocket& socket, std::function<void()> beforeWait = {});

    /** Waits for the next message. A cancellation point. `message` is set only with MESSAGE. */
    Result next(std::unique_ptr<M>& message);

    /**
     * Waits for the next message for as long as it takes. A cancellation point.
     * @param stop looked at before each message and after each time-out; JSocket::wakeUp() makes the reader look.
     * @return null when the connection is over or `stop` is set.
     */
    std::unique_ptr<M> next(const std::atomic<char>& stop);

private:
    const char* look(int n);
    Result collect(int length, std::unique_ptr<M>& message);
    Result failure() const;

    JSocket& socket_;
    JSocket::JSocketInputStream& in_;
    std::function<void()> beforeWait_;
};

}  // namespace jay::detail

#endif
