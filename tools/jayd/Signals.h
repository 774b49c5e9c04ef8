#ifndef JAY_TOOLS_JAYD_SIGNALS_H
#define JAY_TOOLS_JAYD_SIGNALS_H

#include <signal.h>

/**
 * A set of signals that interrupt no thread: they stay pending until a thread takes them. A program holds all its sets before
 * the first thread starts, and has each set taken by a thread of its own, so that a busy thread delays no other set.
 */
class Signals {
public:
    Signals(int one, int other);

    /** For the calling thread and those that it starts. */
    void hold() const;

    /** Waits for one of them. However often one was sent meanwhile, it comes once. @return its number. */
    int take() const;

private:
    sigset_t set;
};

#endif
