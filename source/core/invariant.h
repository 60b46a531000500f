// Conditions that hold whatever a caller does, looked at in builds that are meant to find faults.
#pragma once

#if defined(OMBREL_CHECKS_INVARIANTS)

namespace ombrel {

/// Prints the place and the condition, and ends the process.
[[noreturn]] void report_violation(const char* file, unsigned long line, const char* condition);

/// The short locks that the calling thread holds.
class held_locks {
public:
    static void add(const void* lock);
    static void remove(const void* lock);
    static bool has(const void* lock);
};

} // namespace ombrel

#define OMBREL_INVARIANT(condition)                                                                          \
    (static_cast<bool>(condition) ? static_cast<void>(0)                                                     \
                                  : ::ombrel::report_violation(__FILE__, __LINE__, #condition))

#else

namespace ombrel {

/// Nothing is known of who holds what: it costs nothing, and every claim is believed.
class held_locks {
public:
    static void add(const void*) {}
    static void remove(const void*) {}
    static bool has(const void*) { return true; }
};

} // namespace ombrel

/// Compiled, so that it does not rot, but not looked at.
#define OMBREL_INVARIANT(condition) static_cast<void>(sizeof(static_cast<bool>(condition)))

#endif
