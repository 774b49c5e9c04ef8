/** @file The order of virtual operations, which applications compiled against an older library rely on. */
#ifndef JAY_TESTS_NET_SLOT_H
#define JAY_TESTS_NET_SLOT_H

#include "core/JObject.h"

namespace net {

/** The first slot behind the root's: two destructors, four operations, the class record. */
constexpr int FIRST_OWN_SLOT = 7;

/** Calls what stands in a slot of the object's table of virtual operations. */
template <class Result, class... Arguments>
Result callSlot(JObject& object, int slot, Arguments... arguments) {
    void** const table = *reinterpret_cast<void***>(&object);
    return reinterpret_cast<Result (*)(JObject*, Arguments...)>(table[slot])(&object, arguments...);
}

}  // namespace net

#endif
