#ifndef JAY_BUS_DETAIL_BURST_H
#define JAY_BUS_DETAIL_BURST_H

#include "bus/M.h"
#include "thread/JQueue.h"

namespace jay::detail {

/** Messages at the head of a band, as they go out in one write: back to back, and where each ends. */
class Burst {
public:
    /** Begins anew, with messages of this band. */
    void clear(JQueue& band) {
        band_ = &band;
        count_ = 0;
    }

    /** Adds a message. False when it does not fit. */
    bool append(M& m) {
        const int start = end(count_);
        if (count_ == MESSAGES || m.size() > SIZE - start) return false;
        ends_[count_++] = start + m.copyTo(bytes_ + start, SIZE - start);
        return true;
    }

    /** Drops all but the first message. */
    void keepFirst() { count_ = 1; }

    int count() const { return count_; }
    JQueue& band() const { return *band_; }
    const char* bytes() const { return bytes_; }

    /** Where the first `messages` messages end. */
    int end(int messages) const { return messages == 0 ? 0 : ends_[messages - 1]; }

    /** How many messages the first `bytes` bytes hold, the one that they break off in included. */
    int begunWithin(int bytes) const {
        int messages = 0;
        while (end(messages) < bytes) messages++;
        return messages;
    }

private:
    static constexpr int SIZE = 8192;
    static constexpr int MESSAGES = 128;

    JQueue* band_ = nullptr;
    int count_ = 0;
    int ends_[MESSAGES];
    char bytes_[SIZE];
};

}  // namespace jay::detail

#endif
