#include "bus/LQ.h"

#include <memory>

#include "bus/detail/Bands.h"
#include "bus/detail/Burst.h"
#include "bus/SA.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::Burst;
using jay::detail::ScopedLock;

const JClass LQ::classLQ = {"LQ", sizeof(LQ), &JObject::classJObject};

LQ::LQ(SA* queueOwner) : owner(queueOwner), closed(false) {
    for (JQueue*& band : bands) band = new JQueue(jay::detail::BAND_SEGMENT);
}

LQ::~LQ() {
    const ScopedLock guard(lock);
    closed = true;
    for (int i = BANDS - 1; i >= 0; i--) delete bands[i];
}

const JClass* LQ::getClass() const {
    return &classLQ;
}

int LQ::bandOf(M& m) {
    if (m.getFlag() != 0) return 0;
    return m.getPriority() == 0 ? 1 : 2;
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
    const ScopedLock guard(lock);
    if (!closed && bands[bandOf(*m)]->adopt(m) == JQueue::OK) mine.release();
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

int LQ::gather(Burst& burst) {
    const ScopedLock guard(lock);
    if (closed) return 0;
    JQueue& band = jay::detail::firstFilled(bands);
    burst.clear(band);
    for (int i = 0; i < band.size(); i++) {
        auto* m = static_cast<M*>(band.peek(i));
        if ((m->getFlag() & M::M_FLAG_TIMED) != 0 || !burst.append(*m)) break;
    }
    return burst.count();
}

void LQ::drop(const Burst& burst, int count) {
    const ScopedLock guard(lock);
    for (int i = 0; i < count; i++) delete burst.band().get();
}
