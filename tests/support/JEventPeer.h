/** @file What the tests of JEvent look at inside: its mutex and its count. */
#ifndef JAY_TESTS_SUPPORT_JEVENTPEER_H
#define JAY_TESTS_SUPPORT_JEVENTPEER_H

#include "thread/JEvent.h"

struct jay::detail::JEventPeer {
    /** Sets the count without waking anybody. */
    static void setCount(JEvent& event, int count) { event.count_ = count; }

    /** Holds the mutex for the length of a scope. */
    class Held {
    public:
        explicit Held(JEvent& event) : event_(event) { pthread_mutex_lock(&event_.mutex); }
        ~Held() { pthread_mutex_unlock(&event_.mutex); }
        Held(const Held&) = delete;
        Held& operator=(const Held&) = delete;

    private:
        JEvent& event_;
    };

    /** Whether nobody holds the mutex. */
    static bool isFree(JEvent& event) {
        if (pthread_mutex_trylock(&event.mutex) != 0) return false;
        pthread_mutex_unlock(&event.mutex);
        return true;
    }
};

#endif
