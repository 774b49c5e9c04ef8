#include "bus/LQ.h"

#include <memory>

#include "bus/detail/Bands.h"
#include "bus/SA.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::ScopedLock;

LQ::LQ(SA* queueOwner) : owner(queueOwner), closed(false) {
    for (JQueue*& band : bands) band = new JQueue(jay::detail::BAND_SEGMENT);
}

LQ::~LQ() {
    const ScopedLock guard(lock);
    closed = true;
    for (int i = BANDS - 1; i >= 0; i--) delete bands[i];
}

int LQ::bandOf(M& m) {
    if (m.getFlag() != 0) return 0;
    return m.getPriority() == 0 ? 1 : 2;
}

int LQ::add(M& m) {
    return adopt(new M(m));
}

int LQ::adopt(M* m) {
    std::unique_ptr<M> mine(m);
    {
        const ScopedLock guard(lock);
        if (!closed && bands[bandOf(*m)]->adopt(m) == JQueue::OK) mine.release();
    }
    return owner->notify();
}

M* LQ::get() {
    const ScopedLock guard(lock);
    return closed ? nullptr : static_cast<M*>(jay::detail::firstFilled(bands).get());
}

M* LQ::peek() {
    const ScopedLock guard(lock);
    return closed ? nullptr : static_cast<M*>(jay::detail::firstFilled(bands).peek());
}

bool LQ::isEmpty() {
    const ScopedLock guard(lock);
    return jay::detail::allEmpty(bands);
}

int LQ::size() {
    const ScopedLock guard(lock);
    return closed ? 0 : jay::detail::total(bands);
}
