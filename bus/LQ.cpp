#include "bus/LQ.h"

#include <algorithm>
#include <memory>

#include "bus/detail/Backlog.h"
#include "bus/detail/Bands.h"
#include "bus/detail/Broadcast.h"
#include "bus/detail/Burst.h"
#include "bus/detail/MessageHeader.h"
#include "bus/SA.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::Backlog;
using jay::detail::Broadcast;
using jay::detail::Burst;
using jay::detail::MessageHeader;
using jay::detail::ScopedLock;

const JClass LQ::classLQ = {"LQ", sizeof(LQ), &JObject::classJObject};

LQ::LQ(SA* queueOwner) : owner(queueOwner), closed(false), client(0), backlog(new Backlog) {
    for (JQueue*& band : bands) band = new JQueue(jay::detail::BAND_SEGMENT);
}

LQ::~LQ() {
    const ScopedLock guard(lock);
    closed = true;
    for (int i = BANDS - 1; i >= 0; i--) {
        while (JObject* item = bands[i]->get()) discard(item);
        delete bands[i];
    }
}

const JClass* LQ::getClass() const {
    return &classLQ;
}

int LQ::bandOf(int flag, int priority) {
    if (flag != 0) return 0;
    return priority == 0 ? 1 : 2;
}

/** Destroys what was taken out. */
void LQ::discard(JObject* item) {
    if (Broadcast* broadcast = Broadcast::in(item)) {
        broadcast->release();
    } else {
        delete item;
    }
}

int LQ::add(M& m) {
    return adopt(new M(m));
}

int LQ::adopt(M* m) {
    adoptQuietly(m);
    return owner->notify();
}

void LQ::adoptQuietly(M* m) {
    std::unique_ptr<M> mine(m);
    const MessageHeader header = MessageHeader::of(*m);
    const ScopedLock guard(lock);
    if (append(m, bandOf(header.flag, header.priority))) mine.release();
}

void LQ::adoptQuietly(const std::vector<Broadcast*>& broadcasts, int receiver) {
    const ScopedLock guard(lock);
    client = receiver;
    for (Broadcast* broadcast : broadcasts)
        if (!append(broadcast, bandOf(0, broadcast->priority()))) broadcast->release();
}

/** Under the lock. False when the queue does not take it. */
bool LQ::append(JObject* item, int band) {
    return !closed && bands[band]->adopt(item) == JQueue::OK;
}

M* LQ::get() {
    bool floodIsOver = false;
    std::unique_ptr<M> m = take(floodIsOver);
    if (floodIsOver) Backlog::releaseMemory();
    return m.release();
}

std::unique_ptr<M> LQ::take(bool& floodIsOver) {
    const ScopedLock guard(lock);
    if (closed) return nullptr;
    const int before = jay::detail::total(bands);
    JObject* const item = jay::detail::firstFilled(bands).get();
    floodIsOver = backlog->taken(before, std::max(before - 1, 0));
    Broadcast* const broadcast = item != nullptr ? Broadcast::in(item) : nullptr;
    if (broadcast == nullptr) return std::unique_ptr<M>(static_cast<M*>(item));
    std::unique_ptr<M> copy = broadcast->copyFor(client);
    broadcast->release();
    return copy;
}

M* LQ::peek() {
    const ScopedLock guard(lock);
    JObject* const item = closed ? nullptr : jay::detail::firstFilled(bands).peek();
    Broadcast* const broadcast = item != nullptr ? Broadcast::in(item) : nullptr;
    if (broadcast == nullptr) return static_cast<M*>(item);
    lent = broadcast->copyFor(client);
    return lent.get();
}

bool LQ::isEmpty() {
    const ScopedLock guard(lock);
    return jay::detail::allEmpty(bands);
}

int LQ::size() {
    const ScopedLock guard(lock);
    return closed ? 0 : jay::detail::total(bands);
}

int LQ::gather(Burst& burst) {
    const ScopedLock guard(lock);
    if (closed) return 0;
    JQueue& band = jay::detail::firstFilled(bands);
    burst.clear(band);
    for (int i = 0; i < band.size() && gatherOne(*band.peek(i), burst); i++) {
    }
    return burst.count();
}

/** Adds a message to a burst. False for a TIMED one, and for one that does not fit. */
bool LQ::gatherOne(JObject& item, Burst& burst) {
    if (Broadcast* broadcast = Broadcast::in(&item)) {
        char* const bytes = burst.append(broadcast->bytes(), broadcast->size());
        if (bytes != nullptr) Broadcast::address(bytes, broadcast->size(), client);
        return bytes != nullptr;
    }
    M& m = static_cast<M&>(item);
    return (MessageHeader::of(m).flag & M::M_FLAG_TIMED) == 0 && burst.append(m.bytes(), m.size()) != nullptr;
}

bool LQ::drop(const Burst& burst, int count) {
    bool floodIsOver = false;
    const int left = discardFirst(burst.band(), count, floodIsOver);
    if (floodIsOver) Backlog::releaseMemory();
    return left > 0;
}

/** @return how many messages are left, in all bands. */
int LQ::discardFirst(JQueue& band, int count, bool& floodIsOver) {
    const ScopedLock guard(lock);
    const int before = jay::detail::total(bands);
    for (int i = 0; i < count; i++) discard(band.get());
    floodIsOver = backlog->taken(before, before - count);
    return before - count;
}
