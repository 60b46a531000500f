// How many bytes may move, when there is a limit a second.
#pragma once

#include <algorithm>
#include <cstdint>

namespace ombrel::protocol {

class transfer_rate {
public:
    /// @param rate bytes a second; 0 for any number
    explicit transfer_rate(int64_t rate) : rate_(rate) {}

    /// How many may move now, at a moment in milliseconds.
    int64_t allowed(uint64_t now) {
        if (rate_ == 0)
            return INT64_MAX;
        const auto passed = static_cast<int64_t>(std::min<uint64_t>(now - last_, 1000));
        last_ = now;
        thousandths_ = std::min(thousandths_ + passed * rate_, burst());
        return thousandths_ / 1000;
    }
    void spend(int64_t bytes) { thousandths_ -= rate_ == 0 ? 0 : bytes * 1000; }
    /// Milliseconds until some more may move.
    int rest() const { return static_cast<int>(std::clamp<int64_t>(1000 / rate_ + 1, shortest_rest, 1000)); }

private:
    static constexpr int64_t shortest_rest = 50;
    /// What has not moved in a fifth of a second is not made up for; one byte can always move at last.
    int64_t burst() const { return std::max<int64_t>(rate_ * 200, 1000); }

    int64_t rate_;
    int64_t thousandths_ = 0; ///< of bytes that may move
    uint64_t last_ = 0;
};

} // namespace ombrel::protocol
