#include "bus/MQ.h"

#include <memory>
#include <utility>

#include "bus/detail/Backlog.h"
#include "bus/detail/Bands.h"
#include "bus/detail/MessageHeader.h"
#include "bus/SM.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::Backlog;
using jay::detail::MessageHeader;
using jay::detail::ScopedLock;

const JClass MQ::classMQ = {"MQ", sizeof(MQ), &JObject::classJObject};

MQ::MQ(SM* queueOwner) : owner(queueOwner), closed(false), backlog(new Backlog) {
    for (JQueue*& band : bands) band = new JQueue(jay::detail::BAND_SEGMENT);
}

MQ::~MQ() {
    const ScopedLock guard(lock);
    closed = true;
    for (JQueue* band : bands) delete band;
}

const JClass* MQ::getClass() const {
    return &classMQ;
}

int MQ::bandOf(int flag, int priority) {
    if ((flag & M::M_FLAG_SYNC) != 0) return 0;
    switch (priority) {
        case 0:
            return 1;
        case 1:
            return 2;
        default:
            return 3;
    }
}

int MQ::add(M& m) {
    return adopt(new M(m));
}

int MQ::adopt(M* m) {
    adoptQuietly(m);
    return owner->notify();
}

void MQ::adoptQuietly(M* m) {
    std::unique_ptr<M> mine(m);
    const ScopedLock guard(lock);
    append(std::move(mine));
}

void MQ::adoptQuietly(std::vector<std::unique_ptr<M>>& messages) {
    const ScopedLock guard(lock);
    for (std::unique_ptr<M>& m : messages) append(std::move(m));
    messages.clear();
}

/** Under the lock. A message that is not queued is destroyed. */
void MQ::append(std::unique_ptr<M> m) {
    const MessageHeader header = MessageHeader::of(*m);
    if (!closed && bands[bandOf(header.flag, header.priority)]->adopt(m.get()) == JQueue::OK) m.release();
}

M* MQ::get() {
    bool floodIsOver = false;
    M* const m = take(floodIsOver);
    if (floodIsOver) Backlog::releaseMemory();
    return m;
}

M* MQ::take(bool& floodIsOver) {
    const ScopedLock guard(lock);
    if (closed) return nullptr;
    const int before = jay::detail::total(bands);
    if (before == 0) return nullptr;
    floodIsOver = backlog->taken(before, before - 1);
    return static_cast<M*>(jay::detail::firstFilled(bands).get());
}

bool MQ::isEmpty() {
    const ScopedLock guard(lock);
    return jay::detail::allEmpty(bands);
}

int MQ::size() {
    const ScopedLock guard(lock);
    return closed ? 0 : jay::detail::total(bands);
}
