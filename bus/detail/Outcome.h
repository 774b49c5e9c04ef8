#ifndef JAY_BUS_DETAIL_OUTCOME_H
#define JAY_BUS_DETAIL_OUTCOME_H

#include <pthread.h>

namespace jay::detail {

/** A number that one thread finds out and others wait for. Any thread may call any operation. */
class Outcome {
public:
    Outcome();
    ~Outcome();
    Outcome(const Outcome&) = delete;
    Outcome& operator=(const Outcome&) = delete;

    /** States the number and wakes every waiting thread. */
    void set(int value);

    /**
     * Waits until the number is known, for at most `ms` milliseconds of the steady clock; 0 and less do not block. A
     * cancellation point.
     * @return the number; `otherwise` when the time was up.
     */
    int wait(int ms, int otherwise);

private:
    pthread_mutex_t mutex_;  // guards the two fields below
    pthread_cond_t known_;
    bool isKnown_ = false;
    int value_ = 0;
};

}  // namespace jay::detail

#endif
