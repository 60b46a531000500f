// Words for what a lock guards, which clang checks as it compiles (preset `clang`); other compilers pass over
// them.
#pragma once

#if defined(__clang__)
#define OMBREL_THREAD_SAFETY(...) __attribute__((__VA_ARGS__))
#else
#define OMBREL_THREAD_SAFETY(...)
#endif

/// A class that is a lock, and one whose objects hold a lock from their making to their end.
#define OMBREL_LOCK_CLASS OMBREL_THREAD_SAFETY(capability("lock"))
#define OMBREL_GUARD_CLASS OMBREL_THREAD_SAFETY(scoped_lockable)

/// Data that is read and written with the lock held only, and data behind a pointer.
#define OMBREL_GUARDED_BY(lock) OMBREL_THREAD_SAFETY(guarded_by(lock))
#define OMBREL_POINTEE_GUARDED_BY(lock) OMBREL_THREAD_SAFETY(pt_guarded_by(lock))

/// Functions that are called with the lock held, or never with it.
#define OMBREL_REQUIRES(...) OMBREL_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define OMBREL_EXCLUDES(...) OMBREL_THREAD_SAFETY(locks_excluded(__VA_ARGS__))

/// Functions that take a lock, take it when they give true, and release it; of a guard's own, without a name.
#define OMBREL_ACQUIRES(...) OMBREL_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define OMBREL_TRIES(...) OMBREL_THREAD_SAFETY(try_acquire_capability(true __VA_OPT__(, ) __VA_ARGS__))
#define OMBREL_RELEASES(...) OMBREL_THREAD_SAFETY(release_capability(__VA_ARGS__))

/// Functions after which a lock counts as held: they look whether it is, or say why it need not be.
#define OMBREL_ASSERTS(...) OMBREL_THREAD_SAFETY(assert_capability(__VA_ARGS__))

/// For what the check cannot follow; a comment says why it is right.
#define OMBREL_UNCHECKED OMBREL_THREAD_SAFETY(no_thread_safety_analysis)
