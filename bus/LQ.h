#ifndef JAY_BUS_LQ_H
#define JAY_BUS_LQ_H

#include <memory>
#include <vector>

#include "bus/M.h"
#include "core/JObject.h"
#include "thread/JLock.h"
#include "thread/JQueue.h"
#include "thread/JThreadSafety.h"

class SA;

namespace jay::detail {
class Backlog;
class Broadcast;
class Burst;
struct LQPeer;  // for the library's own tests
}  // namespace jay::detail

/**
 * One client's outbound queue: what waits to be sent to it. Three bands, served strictly in order: messages
 * with any flag, priority 0, all other priorities; first in, first out within a band. (The server's inbound
 * queue sorts differently: kept, callers rely on both orders.) The bands have no practical bound: what a
 * client does not fetch is kept in memory.
 *
 * Threads: any thread may call any operation. The lock is released before the owner is notified.
 */
class JAY_API LQ : public JObject {
public:
    static const JClass classLQ;

    /** @param owner notified of every message; must outlive the queue's use. */
    explicit LQ(SA* owner);

    /** Destroys what is still queued. */
    ~LQ() override;
    LQ(const LQ&) = delete;
    LQ& operator=(const LQ&) = delete;

    /** Returns &classLQ. */
    const JClass* getClass() const override;

    /** Queues a copy and notifies the owner. @return what the owner's notify() returns. */
    int add(M& m);

    /** The same without a copy: the queue takes the message over. */
    int adopt(M* m);

    /** The same without the notification: the caller notifies the owner. */
    void adoptQuietly(M* m);

    /** Queues broadcasts, as one of their holders, for this queue's client, under one lock. Notifies nobody. */
    JAY_HIDDEN void adoptQuietly(const std::vector<jay::detail::Broadcast*>& broadcasts, int client);

    /** The next message, owned by the caller; null when there is none. */
    M* get();

    /** The next message, still owned by the queue and good until it is taken or the next peek(); null when there is none. */
    M* peek();

    bool isEmpty();  ///< whether no message waits

    /** How many messages wait, in all bands; 0 once the destructor has begun. */
    int size();

    /**
     * Copies messages that wait into a burst, in the order of get(), and leaves them in the queue: those at the head of
     * one band that fit, up to a TIMED one.
     * @return how many were copied. Good until somebody takes a message out.
     */
    JAY_HIDDEN int gather(jay::detail::Burst& burst);

    /** Takes out and destroys the first `count` messages of a burst. @return whether more messages wait. */
    JAY_HIDDEN bool drop(const jay::detail::Burst& burst, int count);

private:
    friend struct jay::detail::LQPeer;

    static constexpr int BANDS = 3;

    JAY_HIDDEN static int bandOf(int flag, int priority);
    JAY_HIDDEN static void discard(JObject* item);
    JAY_HIDDEN bool append(JObject* item, int band) JAY_REQUIRES(lock);
    JAY_HIDDEN std::unique_ptr<M> take(bool& floodIsOver);
    JAY_HIDDEN int discardFirst(JQueue& band, int count, bool& floodIsOver);
    JAY_HIDDEN bool gatherOne(JObject& item, jay::detail::Burst& burst) JAY_REQUIRES(lock);

    JQueue* bands[BANDS] JAY_GUARDED_BY(lock);
    SA* owner;
    JLock lock;
    bool closed JAY_GUARDED_BY(lock);

    int client JAY_GUARDED_BY(lock);               // whose queue it is, once a broadcast has come
    std::unique_ptr<M> lent JAY_GUARDED_BY(lock);  // what peek() has lent in place of a broadcast
    std::unique_ptr<jay::detail::Backlog> backlog JAY_PT_GUARDED_BY(lock);
};

#endif
