#ifndef JAY_BUS_DETAIL_OUTBOX_H
#define JAY_BUS_DETAIL_OUTBOX_H

#include <memory>

#include "core/JByte.h"

class JSocket;
class LQ;
class M;

namespace jay::detail {

class Burst;
struct OutboxPeer;  // for the library's own tests

/**
 * What leaves for one client: the messages at the head of its queue, in bursts as far as the system takes them without
 * waiting, and what is left of a message that the system took in part.
 *
 * Invariant: what is left of a message goes before anything else does. A message that was not begun stays in the queue,
 * where more urgent ones overtake it.
 *
 * No lock of its own, but that of the queue: the agent's lock guards it, and makes its holder the only one that takes
 * messages out of the queue.
 */
class Outbox {
public:
    explicit Outbox(LQ& queue) : queue_(queue) {}

    /** Whether a message has left in part. Then its rest is to be sent, or dropped together with the connection. */
    bool hasRest() const { return rest_ != nullptr; }

    enum Offered {
        NOTHING_TAKEN,  ///< the next message is for send()
        MORE_WAITS,
        ALL_TAKEN  ///< and nothing waits
    };

    /**
     * Sends one burst, without waiting; never while there is a rest. To a client that has ended its side, only one message:
     * if the client is gone, it is the only one that is lost.
     * @param burst for what is sent at once; its content is of no account.
     */
    Offered offer(JSocket& to, Burst& burst);

    /** Sends bursts until the client takes no more, `bursts` are sent, or nothing is left. @return whether nothing is. */
    bool offerAll(JSocket& to, Burst& burst, int bursts);

    /** Sends what is left of a message, waiting for the client. @return 0 when every byte was taken. */
    int sendRest(JSocket& to);

    /** Sends one message, waiting for the client. @return 0 when every byte was taken. */
    static int send(JSocket& to, M& m);

    /** Forgets what is left of a message. @return whether there was anything. */
    bool dropRest();

private:
    friend struct OutboxPeer;

    LQ& queue_;
    std::unique_ptr<JByte> rest_;
};

}  // namespace jay::detail

#endif
