#include "system/process/child_process.h"

#include <algorithm>
#include <cstdint>

#include "platform/file.h"
#include "platform/poll.h"
#include "platform/thread.h"

namespace ombrel {

namespace {

/// Sleeps until the process has ended or, where the host has no descriptors of processes or none left, for
/// pauses that grow.
class sleep_until_end {
public:
    explicit sleep_until_end(int process) : descriptor_(platform::open_process(process)) {}
    ~sleep_until_end() {
        if (descriptor_ >= 0)
            platform::close_descriptor(descriptor_);
    }
    sleep_until_end(const sleep_until_end&) = delete;
    sleep_until_end& operator=(const sleep_until_end&) = delete;

    /// May end early.
    void at_most(int milliseconds) {
        platform::poll_request end{descriptor_, platform::readiness::read, false};
        if (descriptor_ >= 0 && platform::poll_descriptors(&end, 1, milliseconds) >= 0)
            return;
        constexpr int longest_pause = 32;
        platform::sleep_milliseconds(static_cast<uint32_t>(shorter_wait(milliseconds, pause_)));
        pause_ = std::min(pause_ * 2, longest_pause);
    }

private:
    int descriptor_;
    int pause_ = 1;
};

} // namespace

bool wait_for_process(int process, const deadline& limit, platform::process_end& end) {
    if (platform::collect_process(process, end))
        return true;
    if (limit.passed())
        return false;
    sleep_until_end sleep(process);
    for (;;) {
        const int left = limit.left();
        sleep.at_most(left);
        if (platform::collect_process(process, end))
            return true;
        if (left == 0)
            return false;
    }
}

} // namespace ombrel
