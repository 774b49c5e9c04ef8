#include "tools/jayd/Signals.h"

#include <pthread.h>

Signals::Signals(int one, int other) {
    sigemptyset(&set);
    sigaddset(&set, one);
    sigaddset(&set, other);
}

void Signals::hold() const {
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int Signals::take() const {
    int number = 0;
    while (sigwait(&set, &number) != 0) {
    }
    return number;
}
