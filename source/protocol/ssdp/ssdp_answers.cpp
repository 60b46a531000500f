#include "protocol/ssdp/ssdp_answers.h"

#include <algorithm>
#include <cstring>

#include "protocol/ssdp/ssdp_announcements.h"

namespace ombrel::protocol {

namespace {

constexpr uint64_t ms_per_s = 1000;
/// What a searcher may allow that counts, as of the device architecture's second version.
constexpr int most_wait_s = 5;
/// Answers that their limits hold back go on for so long behind the time allowed.
constexpr uint64_t grace_ms = 2000;

} // namespace

ssdp_answer_limit::share& ssdp_answer_limit::share_of(const endpoint& to) {
    for (size_t i = 0; i < share_count_; i++)
        if (ombrel_compare_sockaddr_address(shares_[i].address.get(), to.get()) == 0)
            return shares_[i];
    share& made = shares_[std::min(share_count_, most_addresses - 1)];
    share_count_ = std::min(share_count_ + 1, most_addresses);
    made = {to, 0};
    return made;
}

bool ssdp_answer_limit::take(const endpoint& to, uint64_t now) {
    if (now / ms_per_s != second_) {
        second_ = now / ms_per_s;
        count_ = share_count_ = 0;
    }
    share& own = share_of(to);
    if (count_ >= of_all_ || own.count >= of_address_)
        return false;
    count_++;
    own.count++;
    return true;
}

bool ssdp_answers::add(const ssdp_channel& channel, const endpoint& to, const ssdp_message& search,
                       uint64_t now) {
    ssdp_answer* room = nullptr;
    for (ssdp_answer& one : answers_) {
        if (one.is_used && one.to == to && strcmp(one.target, search.type) == 0)
            return true;
        if (!one.is_used)
            room = &one;
    }
    if (room == nullptr)
        return false;
    const uint64_t wait_ms = static_cast<uint64_t>(std::clamp(search.wait_s, 0, most_wait_s)) * ms_per_s;
    *room = {true, &channel, to, now + random_below(static_cast<uint32_t>(wait_ms)), now + wait_ms + grace_ms,
             0,    ""};
    memcpy(room->target, search.type, sizeof room->target);
    return true;
}

ssdp_answer* ssdp_answers::find_due(uint64_t now) {
    for (ssdp_answer& one : answers_)
        if (one.is_used && one.due <= now)
            return &one;
    return nullptr;
}

uint64_t ssdp_answers::next_due() const {
    uint64_t next = UINT64_MAX;
    for (const ssdp_answer& one : answers_)
        if (one.is_used)
            next = std::min(next, one.due);
    return next;
}

} // namespace ombrel::protocol
