#ifndef JAY_THREAD_DETAIL_CANCELOFF_H
#define JAY_THREAD_DETAIL_CANCELOFF_H

#include <pthread.h>

namespace jay::detail {

/**
 * Switches the calling thread's cancellation off for the length of a scope. Destructors that may block or log
 * open with one: cancellation unwinds the stack, and unwinding out of a destructor ends the process.
 */
class CancelOff {
public:
    CancelOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_); }
    ~CancelOff() { pthread_setcancelstate(previous_, nullptr); }
    CancelOff(const CancelOff&) = delete;
    CancelOff& operator=(const CancelOff&) = delete;

private:
    int previous_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace jay::detail

#endif
