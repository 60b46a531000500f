#include "runtime/instance.h"

#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/short_lock_guard.h"

using namespace ombrel;

struct ombrel::instance_slot {
    std::atomic<uint32_t> state;
    uint32_t place; // its own index; without an object, the next slot in one of the lists
    const instance_type* type;
    void* object;
};

namespace {

using slot = instance_slot;

// A handle is the index of a slot with the generation of the slot's use above it. Each slot serves its
// generations once; only when all slots have, and a handle's number is two thousand million handles old, do
// they begin again.
constexpr unsigned index_bits = 18;
constexpr uint32_t most_slots = 1u << index_bits;
constexpr uint32_t index_mask = most_slots - 1;
constexpr uint32_t last_generation = INT32_MAX >> index_bits;

// The state of a slot: its pins, whether its handle is alive, its generation. One word, so that finding the
// object and pinning it are one step.
constexpr unsigned live_at = 18;
constexpr uint32_t live_bit = 1u << live_at;
constexpr uint32_t pin_mask = live_bit - 1;
constexpr unsigned generation_at = live_at + 1;
static_assert(last_generation <= UINT32_MAX >> generation_at);

constexpr uint32_t no_slot = UINT32_MAX;

// Slots never move, so that they can be read without a lock: they are in chunks, each as large as all before
// it.
constexpr uint32_t first_chunk_slots = 1024;
constexpr unsigned first_chunk_bits = std::bit_width(first_chunk_slots) - 1;
constexpr unsigned chunk_count = index_bits - first_chunk_bits + 1;

// Apart from the table, which is not all zero, so that it takes no room in the library's file.
constinit slot first_chunk[first_chunk_slots]{};

class slot_table {
public:
    /// Null when there is no such slot yet.
    slot* find(uint32_t index) const {
        const unsigned chunk = chunk_of(index);
        slot* slots = chunks_[chunk].load(std::memory_order_acquire);
        return slots != nullptr ? slots + (index - first_of(chunk)) : nullptr;
    }

    /// Takes a slot without an object: `no_slot` when memory runs out or all are taken.
    uint32_t take() {
        for (;;) {
            unsigned missing;
            {
                const short_lock_guard guard(lock_);
                const uint32_t index = take_ready();
                if (index != no_slot)
                    return index;
                if (fresh_ == most_slots)
                    return take_from(spent_);
                missing = chunk_of(fresh_);
            }
            if (!add_chunk(missing))
                return no_slot;
        }
    }

    void give_back(uint32_t index, bool spent) {
        const short_lock_guard guard(lock_);
        uint32_t& list = spent ? spent_ : free_;
        find(index)->place = std::exchange(list, index);
    }

private:
    static unsigned chunk_of(uint32_t index) {
        return static_cast<unsigned>(std::bit_width(index >> first_chunk_bits));
    }
    static uint32_t first_of(unsigned chunk) { return chunk == 0 ? 0 : first_chunk_slots << (chunk - 1); }
    static uint32_t size_of(unsigned chunk) { return chunk == 0 ? first_chunk_slots : first_of(chunk); }

    uint32_t take_ready() {
        if (free_ != no_slot)
            return take_from(free_);
        return fresh_ != most_slots && find(fresh_) != nullptr ? fresh_++ : no_slot;
    }

    uint32_t take_from(uint32_t& list) {
        const uint32_t index = list;
        if (index != no_slot)
            list = find(index)->place;
        return index;
    }

    bool add_chunk(unsigned chunk) {
        // It stays for good, so it is none of the tagged heap's, whose report would call it a leak.
        auto* slots = static_cast<slot*>(calloc(size_of(chunk), sizeof(slot)));
        if (slots == nullptr)
            return false;
        slot* none = nullptr;
        if (!chunks_[chunk].compare_exchange_strong(none, slots, std::memory_order_release))
            free(slots);
        return true;
    }

    ombrel_short_lock_t lock_{};
    uint32_t free_ = no_slot, spent_ = no_slot, fresh_ = 0;
    std::atomic<slot*> chunks_[chunk_count]{first_chunk};
};

constinit slot_table table;

uint32_t generation_of(uint32_t state) {
    return state >> generation_at;
}

uint32_t index_of(int32_t handle) {
    return static_cast<uint32_t>(handle) & index_mask;
}

bool is_of(uint32_t state, int32_t handle) {
    return (state & live_bit) != 0 && generation_of(state) == static_cast<uint32_t>(handle) >> index_bits;
}

// The slot of a living handle, pinned.
slot* pin_slot(int32_t handle) {
    slot* at = handle > 0 ? table.find(index_of(handle)) : nullptr;
    if (at == nullptr)
        return nullptr;
    uint32_t state = at->state.load(std::memory_order_relaxed);
    do {
        if (!is_of(state, handle) || (state & pin_mask) == pin_mask)
            return nullptr;
    } while (!at->state.compare_exchange_weak(state, state + 1, std::memory_order_acquire,
                                              std::memory_order_relaxed));
    return at;
}

bool is_type(const slot& at, const instance_type& type) {
    return at.type == &type || strcmp(at.type->name, type.name) == 0;
}

} // namespace

int32_t ombrel::register_instance(const instance_type& type, void* object) {
    const uint32_t index = table.take();
    if (index == no_slot)
        return -1;
    slot* at = table.find(index);
    at->place = index;
    at->type = &type;
    at->object = object;
    const uint32_t used = generation_of(at->state.load(std::memory_order_relaxed));
    const uint32_t generation = used == last_generation ? 1 : used + 1;
    at->state.store(generation << generation_at | live_bit, std::memory_order_release);
    return static_cast<int32_t>(generation << index_bits | index);
}

pinned_instance ombrel::pin_instance(const instance_type& type, int32_t handle) {
    slot* at = pin_slot(handle);
    if (at == nullptr)
        return {};
    if (is_type(*at, type))
        return {at, at->object};
    unpin_instance(at);
    return {};
}

void ombrel::unpin_instance(instance_slot* at) {
    const uint32_t state = at->state.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if ((state & (live_bit | pin_mask)) != 0)
        return;
    const auto destroy = at->type->destroy;
    void* object = at->object;
    table.give_back(at->place, generation_of(state) == last_generation);
    destroy(object);
}

bool ombrel::retire_instance(const instance_type& type, int32_t handle) {
    const pinned_instance pinned = pin_instance(type, handle);
    if (pinned.object == nullptr)
        return false;
    const uint32_t before = pinned.slot->state.fetch_and(~live_bit, std::memory_order_acq_rel);
    unpin_instance(pinned.slot);
    return (before & live_bit) != 0;
}
