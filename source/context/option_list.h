// The options of a context.
#pragma once

#include <cstddef>

#include <ombrel/short_lock.h>

#include "core/thread_safety.h"

namespace ombrel::context {

/// Names, in either case, with their texts. Each function is one step for other threads.
class option_list {
public:
    option_list() = default;
    ~option_list() { clear(); }
    option_list(const option_list&) = delete;
    option_list& operator=(const option_list&) = delete;

    /// The text, which stays until the option is set again or goes; null when it is not set.
    const char* get(const char* name) const;

    /// Copies both, which may be those of an option that goes. False when memory runs out.
    bool set(const char* name, const char* text);
    void remove(const char* name);
    void clear();

private:
    struct option;

    bool set_near(const char* name, const char* text, option*& old);
    bool is_near(const option* which) const;
    option* unlink_all();
    static void free_one(option* which);
    option** find(const char* name) const OMBREL_REQUIRES(lock_);
    option* exchange(const char* name, option* made);
    option* exchange_locked(const char* name, option* made) OMBREL_REQUIRES(lock_);

    mutable ombrel_short_lock_t lock_{};
    mutable option* first_ OMBREL_GUARDED_BY(lock_) = nullptr;

    // Where options stand as long as there is room, which comes back when all go: most openings have a few
    // short ones.
    size_t near_size_ OMBREL_GUARDED_BY(lock_) = 0;
    alignas(void*) unsigned char near_[192];
};

/// A number in decimal, as options have it.
class number_text {
public:
    explicit number_text(int number);
    const char* get() const { return text_; }

private:
    char text_[16];
};

} // namespace ombrel::context
