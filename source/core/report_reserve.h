// Memory for reports of damage.
#pragma once

#include <atomic>
#include <cstddef>

#include "platform/thread.h"

namespace ombrel {

/// One short block for the thread that writes a report, since malloc() itself may end the process when its
/// own memory is overwritten. A report needs one line at a time.
class report_reserve {
public:
    void* take(size_t size) {
        const bool is_free = is_open_here() && size <= sizeof bytes_ &&
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

    /// Opens the reserve to the calling thread for a scope, unless another one has it open.
    class user {
    public:
        user() { is_opener_ = opener_.compare_exchange_strong(nobody_, platform::thread_mark()); }
        ~user() {
            if (is_opener_)
                opener_.store(nullptr);
        }
        user(const user&) = delete;
        user& operator=(const user&) = delete;

    private:
        const void* nobody_ = nullptr;
        bool is_opener_;
    };

private:
    static bool is_open_here() {
        const void* const opener = opener_.load(std::memory_order_relaxed);
        return opener != nullptr && opener == platform::thread_mark();
    }

    static inline std::atomic<const void*> opener_;

    alignas(16) bool is_taken_;
    alignas(16) unsigned char bytes_[512];
};

} // namespace ombrel
