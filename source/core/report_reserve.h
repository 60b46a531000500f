// Memory for reports of damage.
#pragma once

#include <cstddef>

namespace ombrel {

/// One short block for the thread that writes a report, since malloc() itself may end the process when its
/// own memory is overwritten. A report needs one line at a time.
class report_reserve {
public:
    void* take(size_t size) {
        const bool is_free = is_open_here_ && size <= sizeof bytes_ &&
                             !__atomic_exchange_n(&is_taken_, true, __ATOMIC_ACQUIRE);
        return is_free ? bytes_ : nullptr;
    }

    /// False for a block that is not from here.
    bool give_back(const void* block) {
        if (block != bytes_)
            return false;
        __atomic_store_n(&is_taken_, false, __ATOMIC_RELEASE);
        return true;
    }

    /// Opens the reserve to the calling thread for a scope.
    class user {
    public:
        user() { is_open_here_ = true; }
        ~user() { is_open_here_ = false; }
        user(const user&) = delete;
        user& operator=(const user&) = delete;
    };

private:
    static inline thread_local bool is_open_here_;

    alignas(16) bool is_taken_;
    alignas(16) unsigned char bytes_[512];
};

} // namespace ombrel
