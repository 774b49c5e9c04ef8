#ifndef JAY_BUS_DETAIL_BROADCAST_H
#define JAY_BUS_DETAIL_BROADCAST_H

#include <atomic>
#include <memory>

#include "bus/M.h"
#include "core/JObject.h"

namespace jay::detail {

/**
 * A message for many clients. Its bytes exist once: the queues of all receivers hold this object, and each fills in its own
 * client as the destination when the message leaves.
 *
 * Threads: nothing but the count of holders changes after construction. The last holder that lets go destroys it.
 */
class Broadcast final : public JObject {
public:
    /** Takes a message over that is ready to leave but for its destination. @param holders how many queues will hold it. */
    Broadcast(std::unique_ptr<M> message, int holders);

    /** The broadcast in a slot of a queue; null if it holds a message. */
    static Broadcast* in(JObject* item);

    const char* bytes() const { return bytes_; }
    int size() const { return size_; }
    int priority() const { return priority_; }

    /** Writes the destination into the bytes of a message. */
    static void address(char* message, int size, int client);

    /** A message of its own for one receiver, which the caller owns. */
    std::unique_ptr<M> copyFor(int client) const;

    /** One holder less. */
    void release();

    const JClass* getClass() const override;

private:
    ~Broadcast() override;

    static const JClass classBroadcast;

    const std::unique_ptr<M> message_;
    const char* const bytes_;
    const int size_;
    const int priority_;
    std::atomic<int> holders_;
};

}  // namespace jay::detail

#endif
