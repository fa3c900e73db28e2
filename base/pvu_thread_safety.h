#pragma once

// Lock annotations: clang's -Wthread-safety checks them (scripts/tidy, where a violation is an
// error), other compilers see nothing. Whoever may use what a lock guards is then the compiler's
// business:
//
//   CTMutex m_mutex;
//   CTLinkedList m_list PVU_GUARDED_BY(m_mutex);     every use holds the mutex
//   CTThing* m_thing PVU_PT_GUARDED_BY(m_mutex);     every use of what it points at does
//   void Change() PVU_REQUIRES(m_mutex);             the caller holds it
//   void Take() PVU_EXCLUDES(m_mutex);               the caller does not, as it is taken here
//
// A lock behind a pointer is named as it is dereferenced, PVU_GUARDED_BY(*m_lock). The pointer is
// to stay the same for as long as threads run: the analysis compares the expressions only.

#if defined(__clang__)
#define PVU_ATTRIBUTE(x) __attribute__((x))
#else
#define PVU_ATTRIBUTE(x)
#endif

// Classes that are locks, and those that hold one for their life.
#define PVU_CAPABILITY(name) PVU_ATTRIBUTE(capability(name))
#define PVU_SCOPED_CAPABILITY PVU_ATTRIBUTE(scoped_lockable)

// Members: guarded themselves, or what they point at.
#define PVU_GUARDED_BY(lock) PVU_ATTRIBUTE(guarded_by(lock))
#define PVU_PT_GUARDED_BY(lock) PVU_ATTRIBUTE(pt_guarded_by(lock))

// Operations whose caller holds the lock, exclusively or for reading, or must not hold it.
#define PVU_REQUIRES(...) PVU_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define PVU_REQUIRES_SHARED(...) PVU_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define PVU_EXCLUDES(...) PVU_ATTRIBUTE(locks_excluded(__VA_ARGS__))

// Operations that take or give up a lock; the try ones name the result that means "taken".
#define PVU_ACQUIRE(...) PVU_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define PVU_ACQUIRE_SHARED(...) PVU_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define PVU_RELEASE(...) PVU_ATTRIBUTE(release_capability(__VA_ARGS__))
#define PVU_RELEASE_SHARED(...) PVU_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define PVU_RELEASE_GENERIC(...) PVU_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define PVU_TRY_ACQUIRE(...) PVU_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define PVU_TRY_ACQUIRE_SHARED(...) PVU_ATTRIBUTE(try_acquire_shared_capability(__VA_ARGS__))

// An operation that gives a reference to a lock, so that taking that counts as taking the lock.
#define PVU_RETURN_CAPABILITY(lock) PVU_ATTRIBUTE(lock_returned(lock))
// Before or after the threads run, one thread has everything to itself: says so where it is true.
#define PVU_ASSERT_CAPABILITY(lock) PVU_ATTRIBUTE(assert_capability(lock))
