#include "protocol/ssdp/ssdp_announcements.h"

#include <algorithm>
#include <cstring>

#include <ombrel/random.h>

#include "core/fault.h"
#include "core/heap_ptr.h"

namespace ombrel::protocol {

namespace {

constexpr unsigned first_tellings = 3, withdrawals = 2;
constexpr uint32_t longest_first_wait_ms = 100;
constexpr uint32_t least_pause_ms = 150, most_pause_ms = 400;

uint32_t random_pause() {
    return least_pause_ms + random_below(most_pause_ms - least_pause_ms);
}

} // namespace

uint32_t random_below(uint32_t below) {
    uint32_t number = 0;
    ombrel_get_random_bytes(&number, sizeof number);
    return below > 0 ? number % below : 0;
}

ssdp_announcements::~ssdp_announcements() {
    while (first_ != nullptr)
        remove(&first_);
}

void ssdp_announcements::remove(ssdp_announcement** link) {
    ssdp_announcement* const gone = *link;
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): somebody is linked there
    *link = gone->next;
    ombrel_free_tag(gone, "ombrel_ssdp_announce", __LINE__);
}

ssdp_announcement** ssdp_announcements::find_link(int64_t number) {
    ssdp_announcement** link = &first_;
    while (*link != nullptr && (*link)->number != number)
        link = &(*link)->next;
    return link;
}

ssdp_announcement* ssdp_announcements::add(const char* type, const char* usn, const char* location,
                                           int max_age_s, size_t limit, uint64_t now) {
    ssdp_announcement** end = &first_;
    size_t count = 0;
    for (; *end != nullptr; end = &(*end)->next, count++) {
        if (!(*end)->is_leaving && strcmp((*end)->usn, usn) == 0)
            return leave_fault(fault_code::exists), nullptr;
    }
    if (count >= limit)
        return leave_fault(fault_code::too_large), nullptr;
    auto* const made = allocate_record<ssdp_announcement>("ombrel_ssdp_announce", __LINE__);
    if (made == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    *made = {.next = nullptr,
             .number = ++last_number_,
             .due = now + random_below(longest_first_wait_ms),
             .left = first_tellings,
             .is_leaving = false,
             .max_age_s = max_age_s,
             .type = "",
             .usn = "",
             .location = ""};
    memcpy(made->type, type, strlen(type));
    memcpy(made->usn, usn, strlen(usn));
    memcpy(made->location, location, strlen(location));
    *end = made;
    return made;
}

bool ssdp_announcements::leave(int64_t number, uint64_t now) {
    ssdp_announcement* const one = *find_link(number);
    if (one == nullptr || one->is_leaving)
        return false;
    one->is_leaving = true;
    one->left = withdrawals;
    one->due = now;
    return true;
}

void ssdp_announcements::leave_all(uint64_t now) {
    for (ssdp_announcement* one = first_; one != nullptr; one = one->next)
        leave(one->number, now);
}

void ssdp_announcements::forget(int64_t number) {
    if (ssdp_announcement** const link = find_link(number); *link != nullptr)
        remove(link);
}

void ssdp_announcements::renew(const char* location, uint64_t now) {
    for (ssdp_announcement* one = first_; one != nullptr; one = one->next) {
        if (one->is_leaving)
            continue;
        if (location != nullptr)
            memcpy(one->location, location, strlen(location) + 1);
        one->left = first_tellings;
        one->due = now + random_pause();
    }
}

ssdp_announcement* ssdp_announcements::find_due(uint64_t now) const {
    ssdp_announcement* one = first_;
    while (one != nullptr && one->due > now)
        one = one->next;
    return one;
}

/// At random between a quarter and half of the time for which it is believed, as packets may be lost.
void ssdp_announcements::note_telling(ssdp_announcement& one, uint64_t now) {
    one.left -= one.left > 0 ? 1 : 0;
    const uint32_t quarter_ms = static_cast<uint32_t>(one.max_age_s) * 250;
    if (one.left > 0)
        one.due = now + std::min(random_pause(), quarter_ms);
    else if (one.is_leaving)
        remove(find_link(one.number));
    else
        one.due = now + quarter_ms + random_below(quarter_ms);
}

uint64_t ssdp_announcements::next_due() const {
    uint64_t next = UINT64_MAX;
    for (const ssdp_announcement* one = first_; one != nullptr; one = one->next)
        next = std::min(next, one->due);
    return next;
}

size_t ssdp_announcements::count() const {
    size_t count = 0;
    for (const ssdp_announcement* one = first_; one != nullptr; one = one->next)
        count += one->is_leaving ? 0 : 1;
    return count;
}

} // namespace ombrel::protocol
