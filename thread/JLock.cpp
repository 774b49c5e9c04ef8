#include "thread/JLock.h"

const JClass JLock::classJLock = {"JLock", sizeof(JLock), &JObject::classJObject};

JLock::JLock() {
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex, &attributes);
}

JLock::~JLock() {
    pthread_mutex_destroy(&mutex);
    pthread_mutexattr_destroy(&attributes);
}

const JClass* JLock::getClass() const {
    return &classJLock;
}

int JLock::lock() {
    return pthread_mutex_lock(&mutex);
}

bool JLock::tryLock() {
    return pthread_mutex_trylock(&mutex) == 0;
}

int JLock::unlock() {
    return pthread_mutex_unlock(&mutex);
}
