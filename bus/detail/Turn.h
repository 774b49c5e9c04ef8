#ifndef JAY_BUS_DETAIL_TURN_H
#define JAY_BUS_DETAIL_TURN_H

#include <atomic>

namespace jay::detail {

/**
 * Work that many threads ask for and one at a time does, without anybody waiting. Who finds the turn taken leaves word, and
 * the thread that has it looks for work once more before it gives the turn back:
 *
 *     if (!turn.take()) return;   // somebody is at it, and will see what I have left for him
 *     do work(); while (!turn.giveBack());
 *
 * The count orders memory: what a thread has done before take() is seen by the work that follows.
 */
class Turn {
public:
    /** Asks for the turn. @return whether the calling thread has it now. */
    bool take() {
        if (asked_.fetch_add(1) != 0) return false;
        seen_ = 1;
        return true;
    }

    /** Gives the turn back unless somebody has asked for it meanwhile. @return false when the caller still has it. */
    bool giveBack() {
        unsigned seen = seen_;
        if (asked_.compare_exchange_strong(seen, 0)) return true;
        seen_ = seen;
        return false;
    }

    /** Gives the turn back although there may be work: for a holder who has told another thread of it. */
    void leave() { asked_ = 0; }

private:
    std::atomic<unsigned> asked_{
        0};              // how often since nobody had the turn; it orders both ways, hence the default order
    unsigned seen_ = 0;  // of them, by the holder; only the holder touches it
};

}  // namespace jay::detail

#endif
