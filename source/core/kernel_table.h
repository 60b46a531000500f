// A table of kernels that is filled on first use.
#pragma once

#include <atomic>
#include <cstdlib>

#include "core/kernel_choice.h"
#include "core/short_lock_guard.h"
#include "platform/processor.h"

namespace ombrel {

/// Slots chosen once, for the life of the process, with the environment's OMBREL_PLAIN_KERNELS as the
/// setting.
template<typename Slots, Slots (*choose_all)(uint32_t features)>
class kernel_table {
public:
    const Slots& get() {
        if (!chosen_.load(std::memory_order_acquire))
            choose_once();
        return slots_;
    }

private:
    void choose_once() {
        const short_lock_guard guard(choosing_);
        if (chosen_.load(std::memory_order_relaxed))
            return;
        slots_ = choose_all(features_to_use(getenv("OMBREL_PLAIN_KERNELS"), platform::processor_features()));
        chosen_.store(true, std::memory_order_release);
    }

    Slots slots_{};
    std::atomic<bool> chosen_{false};
    ombrel_short_lock_t choosing_{};
};

} // namespace ombrel
