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

// The mutex below carries no annotations, so clang cannot see that it is taken and released here.

int JLock::lock() JAY_UNCHECKED_LOCKING {
    return pthread_mutex_lock(&mutex);
}

bool JLock::tryLock() JAY_UNCHECKED_LOCKING {
    return pthread_mutex_trylock(&mutex) == 0;
}

int JLock::unlock() JAY_UNCHECKED_LOCKING {
    return pthread_mutex_unlock(&mutex);
}
