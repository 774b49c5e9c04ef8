#ifndef JAY_NET_DETAIL_DESCRIPTOR_H
#define JAY_NET_DETAIL_DESCRIPTOR_H

#include <atomic>

namespace jay::detail {

/**
 * A socket descriptor that several threads use and any of them closes. Its number goes back to the system
 * only when the last user has left, so nobody ever reads from or writes to a number that has been given to
 * another file since.
 *
 * close() lets no new user in and shuts the receiving side down, which wakes a waiting reader and which the
 * peer does not see; waiting writers look at isOpen() ten times a second. The peer sees the close when the
 * last user leaves. Neither close() nor leaving touches errno.
 *
 * State in one word: the number of users, CLOSED (nobody may enter), HELD (the number is still to be
 * released).
 */
class Descriptor {
public:
    Descriptor() = default;
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    /** Takes over an open descriptor. Waits until the last user of the former one has left. Closed objects
     * only. */
    void attach(int fd);

    bool isOpen() const { return (word_.load(std::memory_order_acquire) & CLOSED) == 0; }

    /** Closes it, now or when the last user leaves. False when it was closed already. */
    bool close();

    /** Wakes a waiting reader without closing. There is no way back: from then on a read sees the end of the
     * stream. */
    void wake();

    /** One thread's use of the descriptor for the length of a scope. */
    class Use {
    public:
        explicit Use(Descriptor& descriptor) : descriptor_(descriptor), fd_(descriptor.enter()) {}
        ~Use() {
            if (fd_ >= 0) descriptor_.leave();
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        int fd() const { return fd_; }  ///< the number, -1 when the descriptor is closed

        /** Which of the descriptors attached one after the other this is. Open descriptors only. */
        unsigned generation() const { return descriptor_.generation_; }

    private:
        Descriptor& descriptor_;
        int fd_;
    };

private:
    static constexpr unsigned CLOSED = 1U << 31;
    static constexpr unsigned HELD = 1U << 30;

    int enter();
    void leave();
    void release() const;

    std::atomic<unsigned> word_{CLOSED};
    int fd_ = -1;  // this and the next are written by attach() only, as the one user of a closed descriptor
    unsigned generation_ = 0;
};

}  // namespace jay::detail

#endif
