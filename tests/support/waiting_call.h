// A call that has to wait for what the test holds.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "support/no_copy.h"

namespace ombrel_test {

/// Makes a call in a thread of its own; the end of the scope waits for its end.
class waiting_call : no_copy {
public:
    template<typename Call>
    explicit waiting_call(Call call)
        : thread_([this, call] {
              begun_ = true;
              call();
              over_ = true;
          }) {}

    /// Whether it is still not over a moment later. (A call that does not wait may seem to, on a busy
    /// machine; one that waits never seems not to.)
    bool is_waiting() const {
        while (!begun_)
            std::this_thread::yield();
        for (int i = 0; i < 20 && !over_; i++)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return !over_;
    }

private:
    std::atomic<bool> begun_{false}, over_{false};
    std::jthread thread_;
};

} // namespace ombrel_test
