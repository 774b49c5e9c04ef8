/**
 * @file
 * Annotations that say which lock guards what. clang checks them with -Wthread-safety, which the preset `clang`
 * turns on; other compilers see nothing of them.
 *
 *     JLock lock;
 *     int waiting JAY_GUARDED_BY(lock);          // read and written only while lock is held
 *     Item* first JAY_PT_GUARDED_BY(lock);       // *first is; the pointer itself is not
 *     void append(Item*) JAY_REQUIRES(lock);     // the caller holds lock
 *     void wake() JAY_EXCLUDES(lock);            // the caller does not hold lock: wake() takes it
 *
 * clang follows a lock within one function. A function that it cannot follow bears JAY_UNCHECKED_LOCKING, with
 * the reason beside it.
 */
#ifndef JAY_THREAD_JTHREADSAFETY_H
#define JAY_THREAD_JTHREADSAFETY_H

/** What the other macros are made of; nothing for compilers other than clang. */
#if defined(__clang__)
#define JAY_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define JAY_THREAD_ATTRIBUTE(x)
#endif

/** A class whose objects are locks. */
#define JAY_CAPABILITY(kind) JAY_THREAD_ATTRIBUTE(capability(kind))
/** A class that takes a lock in its constructor and releases it in its destructor. */
#define JAY_SCOPED_CAPABILITY JAY_THREAD_ATTRIBUTE(scoped_lockable)

/** A field that is read and written only while the lock is held. */
#define JAY_GUARDED_BY(lock) JAY_THREAD_ATTRIBUTE(guarded_by(lock))
/** A pointer to what is read and written only while the lock is held. */
#define JAY_PT_GUARDED_BY(lock) JAY_THREAD_ATTRIBUTE(pt_guarded_by(lock))

/** A lock that is taken before the named ones when a thread holds both. */
#define JAY_ACQUIRED_BEFORE(...) JAY_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
/** A lock that is taken after the named ones when a thread holds both. */
#define JAY_ACQUIRED_AFTER(...) JAY_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))

/** A function that is called only while the locks are held. */
#define JAY_REQUIRES(...) JAY_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
/** A function that is called only while the calling thread does not hold the locks. */
#define JAY_EXCLUDES(...) JAY_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

/** A function that takes the locks; without an argument the object itself is the lock. */
#define JAY_ACQUIRE(...) JAY_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
/** A function that releases the locks; without an argument the object itself is the lock. */
#define JAY_RELEASE(...) JAY_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
/** A function that has taken the lock if it returns the first argument. */
#define JAY_TRY_ACQUIRE(...) JAY_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
/** A function that returns a reference to the lock. */
#define JAY_RETURN_CAPABILITY(lock) JAY_THREAD_ATTRIBUTE(lock_returned(lock))

/** A function whose use of locks clang cannot follow. The reason stands beside it. */
#define JAY_UNCHECKED_LOCKING JAY_THREAD_ATTRIBUTE(no_thread_safety_analysis)

#endif
