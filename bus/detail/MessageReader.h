#ifndef JAY_BUS_DETAIL_MESSAGEREADER_H
#define JAY_BUS_DETAIL_MESSAGEREADER_H

#include <functional>
#include <memory>

#include "bus/M.h"
#include "net/JDataInputStream.h"

class JSocket;

namespace jay::detail {

/**
 * Takes messages off a connection, which carries them back to back: a header, then as many bytes as its
 * length says beyond it. A length of 16 or less means a header alone.
 */
class MessageReader {
public:
    enum Result {
        MESSAGE,    ///< a whole message is there
        TIMED_OUT,  ///< nothing came in time; what had come of a message cut short is dropped
        ENDED       ///< the connection is over
    };

    /** @param beforeWait called whenever the next message may have to be waited for. */
    explicit MessageReader(JSocket& socket, std::function<void()> beforeWait = {});

    /** Waits for the next message. A cancellation point. `message` is set only with MESSAGE. */
    Result next(std::unique_ptr<M>& message);

private:
    Result fill(int from, int end);

    JSocket& socket_;
    std::function<void()> beforeWait_;
    JDataInputStream in_;
    JByte buffer_;  // room for the largest message
};

}  // namespace jay::detail

#endif
