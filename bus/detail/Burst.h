#ifndef JAY_BUS_DETAIL_BURST_H
#define JAY_BUS_DETAIL_BURST_H

#include <algorithm>
#include <cassert>
#include <cstring>

#include "thread/JQueue.h"

namespace jay::detail {

/** Messages at the head of a band, as they go out in one write: back to back, and where each ends. */
class Burst {
public:
    /** @param room where the bytes are put together; it must outlive the burst. @param size of it, in bytes. */
    Burst(char* room, int size) : bytes_(room), size_(size) {}

    /** Begins anew, with messages of this band. */
    void clear(JQueue& band) {
        band_ = &band;
        count_ = 0;
    }

    /** Adds the `n` bytes of a message. @return where they are now, null when they do not fit. */
    char* append(const char* message, int n) {
        const int start = end(count_);
        if (count_ == MESSAGES || n > size_ - start) return nullptr;
        std::memcpy(bytes_ + start, message, static_cast<std::size_t>(n));
        ends_[count_++] = start + n;
        return bytes_ + start;
    }

    /** Drops all but the first message. */
    void keepFirst() { count_ = 1; }

    int count() const { return count_; }
    JQueue& band() const { return *band_; }
    const char* bytes() const { return bytes_; }

    /** Where the first `messages` messages end. */
    int end(int messages) const {
        assert(messages <= count_);
        return messages == 0 ? 0 : ends_[messages - 1];
    }

    /** How many messages the first `bytes` bytes hold, the one that they break off in included. */
    int begunWithin(int bytes) const {
        const int* const last = std::lower_bound(ends_, ends_ + count_, bytes);
        return bytes > 0 ? static_cast<int>(last - ends_) + 1 : 0;
    }

private:
    static constexpr int MESSAGES = 1024;

    JQueue* band_ = nullptr;
    int count_ = 0;
    char* bytes_;
    int size_;
    int ends_[MESSAGES];
};

}  // namespace jay::detail

#endif
