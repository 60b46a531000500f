#include "system/process/restart_plan.h"

#include <algorithm>

#include "platform/clock.h"

namespace ombrel::system {

namespace {

constexpr uint64_t nanoseconds_of(int milliseconds) {
    return static_cast<uint64_t>(milliseconds) * platform::nanoseconds_per_millisecond;
}

} // namespace

bool restart_plan::prepare(const restart_rules& rules, const call_site& caller) {
    rules_ = rules;
    rules_.longest_pause_ms = std::max(rules.longest_pause_ms, rules.first_pause_ms);
    if (rules.limit == 0)
        return true;
    moments_.reset(
        static_cast<uint64_t*>(ombrel_alloc_tag(rules.limit * sizeof(uint64_t), caller.tag, caller.line)));
    return static_cast<bool>(moments_);
}

bool restart_plan::is_within_period(uint64_t moment, uint64_t now) const {
    return rules_.period_ms < 0 || now - moment < nanoseconds_of(rules_.period_ms);
}

bool restart_plan::admit(uint64_t now) {
    if (rules_.limit == 0)
        return true;
    uint64_t& oldest = moments_.get()[count_ % rules_.limit];
    if (count_ >= rules_.limit && is_within_period(oldest, now))
        return false;
    oldest = now;
    count_++;
    return true;
}

int restart_plan::next_pause(int64_t run_time) {
    const bool ran_well = static_cast<uint64_t>(run_time) >= nanoseconds_of(rules_.well_ms);
    if (ran_well || pause_ms_ == 0)
        return pause_ms_ = rules_.first_pause_ms;
    const int64_t longer = static_cast<int64_t>(pause_ms_) * rules_.factor;
    return pause_ms_ = static_cast<int>(std::min<int64_t>(longer, rules_.longest_pause_ms));
}

} // namespace ombrel::system
