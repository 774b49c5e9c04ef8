#ifndef JAY_BUS_MQ_H
#define JAY_BUS_MQ_H

#include <memory>
#include <vector>

#include "bus/M.h"
#include "core/JObject.h"
#include "thread/JLock.h"
#include "thread/JQueue.h"
#include "thread/JThreadSafety.h"

class SM;

namespace jay::detail {
class Backlog;
struct MQPeer;  // for the library's own tests
}  // namespace jay::detail

/**
 * The server's inbound queue: what the clients sent and the manager has not routed yet. Four bands, served
 * strictly in order: SYNC messages, priority 0, priority 1, all others; first in, first out within a band.
 * The bands have no practical bound: what comes in faster than it is routed is kept in memory.
 *
 * Threads: any thread may call any operation. The lock is released before the owner is notified.
 */
class JAY_API MQ : public JObject {
public:
    static const JClass classMQ;

    /** @param owner notified of every message; must outlive the queue's use. */
    explicit MQ(SM* owner);

    /** Destroys what is still queued. */
    ~MQ() override;
    MQ(const MQ&) = delete;
    MQ& operator=(const MQ&) = delete;

    /** Returns &classMQ. */
    const JClass* getClass() const override;

    /** Queues a copy and notifies the owner. @return what the owner's notify() returns. */
    int add(M& m);

    /** The same without a copy: the queue takes the message over. */
    int adopt(M* m);

    /** The same without the notification: the caller notifies the owner. */
    void adoptQuietly(M* m);

    /** The same for many messages under one lock, in their order. `messages` is empty afterwards. */
    void adoptQuietly(std::vector<std::unique_ptr<M>>& messages);

    /** The next message, owned by the caller; null when there is none. */
    M* get();

    bool isEmpty();  ///< whether no message waits

    /** How many messages wait, in all bands; 0 once the destructor has begun. */
    int size();

private:
    friend struct jay::detail::MQPeer;

    static constexpr int BANDS = 4;

    JAY_HIDDEN static int bandOf(int flag, int priority);
    JAY_HIDDEN void append(std::unique_ptr<M> m) JAY_REQUIRES(lock);
    JAY_HIDDEN M* take(bool& floodIsOver);

    JQueue* bands[BANDS] JAY_GUARDED_BY(lock);
    SM* owner;
    JLock lock;
    bool closed JAY_GUARDED_BY(lock);

    std::unique_ptr<jay::detail::Backlog> backlog JAY_PT_GUARDED_BY(lock);
};

#endif
