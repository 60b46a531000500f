#include "system/host/uuid_clock.h"

#include <algorithm>
#include <cstring>

#include "core/fault.h"
#include "core/short_lock_guard.h"
#include "platform/clock.h"
#include "platform/random.h"
#include "system/host/uuid_fields.h"

using namespace ombrel::system;
namespace platform = ombrel::platform;

namespace {

/// What makes the identifiers of versions 1 and 6 those of this process.
struct clock_identity {
    uint8_t sequence[2];
    uint8_t node[def_ombrel_uuid_node_size];
};

constexpr uint8_t group_bit = 1; // in the first byte: no address of a host has it

ombrel_short_lock_t clock_lock;
uint64_t last_ticks OMBREL_GUARDED_BY(clock_lock);
uint64_t last_fraction OMBREL_GUARDED_BY(clock_lock); // milliseconds and 4096ths of one
clock_identity identity OMBREL_GUARDED_BY(clock_lock);
// The mark of the process that chose the identity: a child that was forked has another. 0 before the first.
uint32_t chosen_under OMBREL_GUARDED_BY(clock_lock);
bool has_given_node OMBREL_GUARDED_BY(clock_lock);

/// Takes a random identity over, unless it is only to be there and is.
void choose_identity(const clock_identity& random, const uint8_t* node) OMBREL_REQUIRES(clock_lock) {
    memcpy(identity.sequence, random.sequence, sizeof identity.sequence);
    if (node != nullptr)
        memcpy(identity.node, node, sizeof identity.node);
    else if (!has_given_node)
        memcpy(identity.node, random.node, sizeof identity.node);
    chosen_under = ombrel::held_mark;
}

bool make_random_identity(clock_identity& random) {
    if (!platform::ask_for_random(&random, sizeof random))
        return false;
    random.node[0] |= group_bit;
    return true;
}

uint64_t ticks_now() {
    const platform::wall_time now = platform::wall_clock();
    return static_cast<uint64_t>(now.seconds + seconds_from_1582_to_1970) * ticks_per_second +
           static_cast<uint64_t>(now.nanoseconds / 100);
}

uint64_t fraction_now() {
    const platform::wall_time now = platform::wall_clock();
    const auto milliseconds =
        static_cast<uint64_t>(now.seconds) * 1000 + static_cast<uint64_t>(now.nanoseconds / 1'000'000);
    return milliseconds << 12 | (static_cast<uint64_t>(now.nanoseconds % 1'000'000) << 12) / 1'000'000;
}

/// The next tick and whose it is.
uint64_t count_tick(const clock_identity& random, clock_identity& own) {
    const uint64_t now = ticks_now();
    const ombrel::brief_lock_guard guard(clock_lock);
    if (chosen_under != ombrel::held_mark)
        choose_identity(random, nullptr);
    own = identity;
    return last_ticks = std::max(now, last_ticks + 1);
}

uint64_t count_fraction() {
    const uint64_t now = fraction_now();
    const ombrel::brief_lock_guard guard(clock_lock);
    return last_fraction = std::max(now, last_fraction + 1);
}

void put_ticks(int version, uint64_t ticks, ombrel_uuid_t& uuid) {
    if (version == 1) { // lowest first
        put_number_at(uuid.m_bytes, 4, ticks);
        put_number_at(uuid.m_bytes + 4, 2, ticks >> 32);
        put_number_at(uuid.m_bytes + 6, 2, ticks >> 48);
        return;
    }
    put_number_at(uuid.m_bytes, 6, ticks >> 12);
    put_number_at(uuid.m_bytes + 6, 2, ticks & 0xFFF);
}

} // namespace

bool ombrel::system::make_clock_uuid(int version, ombrel_uuid_t& uuid) {
    // Whether it is needed shows under the lock alone, where there is no time for it.
    clock_identity random, own;
    if (!make_random_identity(random))
        return false;
    if (version == 7) {
        const uint64_t fraction = count_fraction();
        put_number_at(uuid.m_bytes, 6, fraction >> 12);
        put_number_at(uuid.m_bytes + 6, 2, fraction & 0xFFF);
        memcpy(uuid.m_bytes + 8, &random, sizeof random);
    } else {
        put_ticks(version, count_tick(random, own), uuid);
        memcpy(uuid.m_bytes + 8, &own, sizeof own);
    }
    mark_version(uuid, version);
    return true;
}

int ombrel_set_uuid_node(const uint8_t* node) {
    clock_identity random;
    if (!make_random_identity(random))
        return -1;
    const ombrel::brief_lock_guard guard(clock_lock);
    has_given_node = node != nullptr;
    choose_identity(random, node);
    return 0;
}
