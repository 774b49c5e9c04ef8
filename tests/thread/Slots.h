/** @file Calls through the tables of virtual operations, whose order applications were compiled against. */
#ifndef JAY_TESTS_THREAD_SLOTS_H
#define JAY_TESTS_THREAD_SLOTS_H

/** The entries of an object's table of virtual operations. */
inline void** slotsOf(const void* object) {
    return *static_cast<void** const*>(object);
}

template <typename Result, typename Object>
Result callSlot(void* slot, Object* object) {
    return reinterpret_cast<Result (*)(Object*)>(slot)(object);
}

#endif
