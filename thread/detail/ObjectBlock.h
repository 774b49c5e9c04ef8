#ifndef JAY_THREAD_DETAIL_OBJECTBLOCK_H
#define JAY_THREAD_DETAIL_OBJECTBLOCK_H

#include <cstddef>

namespace jay::detail {

/**
 * The heap block of one thread object, with a note in front of it. The end of the process deletes the thread
 * objects that are left; this tells those made with `new` from those on a stack or inside another object.
 *
 * A block is noted as pending from its allocation until the constructor of the object in it adopts it.
 * Allocations and constructions nest properly within a thread, so the pending blocks form a stack, one per
 * thread.
 */
class alignas(std::max_align_t) ObjectBlock {
public:
    /** Allocates a block for an object of `size` bytes and returns the object's place. */
    static void* allocate(std::size_t size);

    /** Releases the block of an object, unless it is to be kept. */
    static void release(void* object);

    /** The pending block of this thread that `part`, a part of an object under construction, lies in; null if
     * none. */
    static ObjectBlock* adopt(const void* part);

    /** From now on release() leaves the memory alone: a thread that could not be stopped may still use it. */
    void keep() { kept_ = true; }

private:
    void* object() { return this + 1; }
    bool holds(const void* part);

    ObjectBlock* below_;
    std::size_t size_;
    bool kept_;

    static thread_local ObjectBlock* pending;
};

}  // namespace jay::detail

#endif
