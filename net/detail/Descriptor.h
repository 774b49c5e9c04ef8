#ifndef JAY_NET_DETAIL_DESCRIPTOR_H
#define JAY_NET_DETAIL_DESCRIPTOR_H

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace jay::detail {

/**
 * A socket descriptor that several threads use and any of them closes. Its number goes back to the system only when
 * the last user has left, so that nobody reads from or writes to a number that has been given to another file since.
 *
 * close() lets no new user in and shuts the receiving side down, which wakes a waiting reader and which the peer does
 * not see; waiting writers look at isOpen() ten times a second. The peer sees the close when the last user leaves.
 * Neither close() nor leaving touches errno.
 *
 * Invariant: word_ holds CLOSED and the number of users, of which an open descriptor is one itself. Nobody enters a
 * closed one, so the users come down to 0 once, and whoever takes the last one away releases the number.
 */
class Descriptor {
public:
    Descriptor() = default;
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    /** Takes over an open descriptor. Waits until the number of the former one is released. Closed objects only. */
    void attach(int fd);

    bool isOpen() const { return (word_.load(std::memory_order_acquire) & CLOSED) == 0; }

    /** Closes it, now or when the last user leaves. False when it was closed already. */
    bool close();

    /** Wakes a waiting reader and tells every wait, by isWoken(), to end. There is no way back before the next attach():
     * until then a read sees the end of the stream once it has taken what had arrived. */
    void wake();

    bool isWoken() const { return woken_; }

    /** Which of the descriptors attached one after the other this is, or was. */
    unsigned generation() const { return generation_; }

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

    private:
        Descriptor& descriptor_;
        int fd_;
    };

private:
    static constexpr unsigned CLOSED = 1U << 31;

    int enter();
    void leave();
    void release();

    std::atomic<unsigned> word_{CLOSED};
    int fd_ = -1;  // written by attach() before the first user enters
    std::atomic<unsigned> generation_{0};
    std::atomic<bool> woken_{false};

    std::mutex mutex_;
    std::condition_variable released_;
    bool held_ = false;  // under mutex_: there is a number that is not released yet
};

}  // namespace jay::detail

#endif
