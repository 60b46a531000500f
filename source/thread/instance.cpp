#include "thread/instance.h"

#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/short_lock_guard.h"

using namespace ombrel;

struct ombrel::instance_slot {
    std::atomic<uint32_t> state;
    std::atomic<uint32_t> generation; // of its use by the object, or by the last one
    uint32_t place;                   // its own index; without an object, the next slot in one of the lists
    const instance_type* type;
    void* object;
};

namespace {

using slot = instance_slot;

// A handle is the index of a slot with the generation of the slot's use above it. Each slot serves its
// generations once; only when all slots have, and a handle's number is two thousand million handles old, do
// they begin again.
constexpr unsigned index_bits = 18;
constexpr uint32_t most_slots = most_instances;
constexpr uint32_t index_mask = most_slots - 1;
constexpr uint32_t last_generation = INT32_MAX >> index_bits;
static_assert(most_slots == 1u << index_bits);

// The state of a slot: its pins, the calls inside its object, what is being done with the object. One word,
// so that finding the object and holding it are one step.
constexpr uint32_t pin_unit = 1;
constexpr uint32_t pin_mask = most_instance_pins;
constexpr uint32_t call_unit = pin_mask + 1;
constexpr uint32_t call_mask = ((1u << 14) - 1) * call_unit;
constexpr uint32_t alone_bit = 1u << 29;  // the one call inside has it for itself
constexpr uint32_t ending_bit = 1u << 30; // it ends with the last call inside
constexpr uint32_t live_bit = 1u << 31;   // its handle is alive
static_assert((pin_mask ^ call_mask ^ alone_bit ^ ending_bit ^ live_bit) == UINT32_MAX);

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

    bool is_full() {
        const short_lock_guard guard(lock_);
        return fresh_ == most_slots;
    }

    void give_back(uint32_t index, bool spent) {
        const short_lock_guard guard(lock_);
        uint32_t& list = spent ? spent_ : free_;
        slot* given = find(index);
        __atomic_store_n(&given->place, list, __ATOMIC_RELAXED);
        __atomic_store_n(&list, index, __ATOMIC_RELEASE); // a fork in between finds the list whole
    }

private:
    static unsigned chunk_of(uint32_t index) {
        return static_cast<unsigned>(std::bit_width(index >> first_chunk_bits));
    }
    static uint32_t first_of(unsigned chunk) { return chunk == 0 ? 0 : first_chunk_slots << (chunk - 1); }
    static uint32_t size_of(unsigned chunk) { return chunk == 0 ? first_chunk_slots : first_of(chunk); }

    uint32_t take_ready() OMBREL_REQUIRES(lock_) {
        if (free_ != no_slot)
            return take_from(free_);
        return fresh_ != most_slots && find(fresh_) != nullptr ? fresh_++ : no_slot;
    }

    uint32_t take_from(uint32_t& list) OMBREL_REQUIRES(lock_) {
        OMBREL_INVARIANT(is_held(lock_));
        const uint32_t index = list;
        if (index != no_slot)
            list = find(index)->place;
        return index;
    }

    bool add_chunk(unsigned chunk) {
        // From the C library: a chunk stays for good, and the tagged heap's report would call it a leak.
        auto* slots = static_cast<slot*>(calloc(size_of(chunk), sizeof(slot)));
        if (slots == nullptr)
            return false;
        slot* none = nullptr;
        if (!chunks_[chunk].compare_exchange_strong(none, slots, std::memory_order_release))
            free(slots);
        return true;
    }

    ombrel_short_lock_t lock_{};
    // Heads of lists, and the first slot that never was in use.
    uint32_t free_ OMBREL_GUARDED_BY(lock_) = no_slot;
    uint32_t spent_ OMBREL_GUARDED_BY(lock_) = no_slot;
    uint32_t fresh_ OMBREL_GUARDED_BY(lock_) = 0;
    std::atomic<slot*> chunks_[chunk_count]{first_chunk};
};

constinit slot_table table;

uint32_t index_of(int32_t handle) {
    return static_cast<uint32_t>(handle) & index_mask;
}

bool is_of(const slot& at, int32_t handle) {
    return at.generation.load(std::memory_order_relaxed) == static_cast<uint32_t>(handle) >> index_bits;
}

// For the last who held an object without a handle.
void destroy(slot& at) {
    const auto destroy_object = at.type->m_destroy;
    void* object = at.object;
    table.give_back(at.place, at.generation.load(std::memory_order_relaxed) == last_generation);
    if (destroy_object != nullptr)
        destroy_object(object);
}

// Replaces the state by next(state), in one step, unless that is the same; the state before.
template<typename Next>
uint32_t change_state(slot& at, Next next) {
    uint32_t state = at.state.load(std::memory_order_relaxed);
    for (;;) {
        const uint32_t wanted = next(state);
        if (wanted == state || at.state.compare_exchange_weak(state, wanted, std::memory_order_acq_rel,
                                                              std::memory_order_relaxed))
            return state;
    }
}

void give_up(slot& at, uint32_t held) {
    if (at.state.fetch_sub(held, std::memory_order_acq_rel) == held)
        destroy(at);
}

// Ends the object, and with it the handle and the one call that is left.
void finish(slot& at) {
    if (at.type->m_finish != nullptr)
        at.type->m_finish(at.object);
    give_up(at, live_bit | ending_bit | alone_bit | call_unit);
}

bool is_last_call(uint32_t state) {
    return (state & call_mask) == call_unit && (state & ending_bit) != 0;
}

// A call goes; the last one of an object that ends stays, to finish it.
void leave(slot& at) {
    const uint32_t before = change_state(at, [](uint32_t state) {
        return is_last_call(state) ? state | alone_bit : (state - call_unit) & ~alone_bit;
    });
    if (is_last_call(before))
        finish(at);
    else if ((before & ~alone_bit) == call_unit)
        destroy(at);
}

bool is_type(const slot& at, const instance_type& type) {
    return at.type == &type || strcmp(at.type->m_name, type.m_name) == 0;
}

// Finds the slot of a living handle and holds it in one step, for which `unit` is added to the `count` of its
// state; null when a bit of `refusing` is set there.
slot* hold(int32_t handle, uint32_t unit, uint32_t count, uint32_t refusing) {
    slot* at = find_instance_slot(handle);
    if (at == nullptr)
        return nullptr;
    uint32_t state = at->state.load(std::memory_order_relaxed);
    do {
        if ((state & live_bit) == 0 || (state & refusing) != 0 || (state & count) == count)
            return nullptr;
    } while (!at->state.compare_exchange_weak(state, state + unit, std::memory_order_acquire,
                                              std::memory_order_relaxed));
    return at;
}

using release_slot = void (*)(instance_slot*);

// The object of a slot that is held; nothing when the slot has come to another handle just before.
pinned_instance object_of(slot* at, const instance_type& type, int32_t handle, release_slot release) {
    if (at == nullptr)
        return {};
    if (is_of(*at, handle) && is_type(*at, type))
        return {at, at->object};
    release(at);
    return {};
}

} // namespace

int32_t ombrel::register_instance(const instance_type& type, void* object) {
    const uint32_t index = table.take();
    if (index == no_slot)
        return table.is_full() ? no_instance_left : -1;
    slot* at = table.find(index);
    at->place = index;
    at->type = &type;
    at->object = object;
    const uint32_t used = at->generation.load(std::memory_order_relaxed);
    const uint32_t generation = used == last_generation ? 1 : used + 1;
    at->generation.store(generation, std::memory_order_relaxed);
    at->state.store(live_bit, std::memory_order_release);
    return static_cast<int32_t>(generation << index_bits | index);
}

pinned_instance ombrel::pin_instance(const instance_type& type, int32_t handle) {
    return object_of(hold(handle, pin_unit, pin_mask, 0), type, handle, unpin_instance);
}

void ombrel::unpin_instance(instance_slot* at) {
    give_up(*at, pin_unit);
}

pinned_instance ombrel::enter_instance(const instance_type& type, int32_t handle, instance_call call) {
    const uint32_t refusing = alone_bit | (call != instance_call::query ? ending_bit : 0) |
                              (call == instance_call::alone ? call_mask : 0);
    const uint32_t unit = call == instance_call::alone ? alone_bit | call_unit : call_unit;
    return object_of(hold(handle, unit, call_mask, refusing), type, handle, leave_instance);
}

void ombrel::leave_instance(instance_slot* at) {
    // As a rule the object lives on.
    uint32_t state = at->state.load(std::memory_order_relaxed);
    const bool lives_on = (state & (live_bit | ending_bit | alone_bit)) == live_bit;
    if (!lives_on || !at->state.compare_exchange_strong(state, state - call_unit, std::memory_order_acq_rel,
                                                        std::memory_order_relaxed))
        leave(*at);
}

bool ombrel::end_instance(const instance_type& type, int32_t handle) {
    const pinned_instance pinned = pin_instance(type, handle);
    if (pinned.object == nullptr)
        return false;
    // Without a call inside, this is the one that ends the object.
    const auto can_be_ended = [](uint32_t state) { return (state & (live_bit | ending_bit)) == live_bit; };
    const uint32_t before = change_state(*pinned.slot, [=](uint32_t state) {
        if (!can_be_ended(state))
            return state;
        return state | ending_bit | ((state & call_mask) == 0 ? alone_bit | call_unit : 0);
    });
    const bool is_ended_here = can_be_ended(before);
    if (is_ended_here && (before & call_mask) == 0)
        finish(*pinned.slot);
    unpin_instance(pinned.slot);
    return is_ended_here;
}

bool ombrel::retire_instance(const instance_type& type, int32_t handle) {
    const pinned_instance pinned = pin_instance(type, handle);
    if (pinned.object == nullptr)
        return false;
    const uint32_t before = pinned.slot->state.fetch_and(~live_bit, std::memory_order_acq_rel);
    unpin_instance(pinned.slot);
    return (before & live_bit) != 0;
}

instance_slot* ombrel::find_instance_slot(int32_t handle) {
    slot* at = handle > 0 ? table.find(index_of(handle)) : nullptr;
    return at != nullptr && is_of(*at, handle) ? at : nullptr;
}

int32_t ombrel::instance_handle_at(uint32_t index) {
    const slot* at = index < most_slots ? table.find(index) : nullptr;
    if (at == nullptr)
        return -1;
    if ((at->state.load(std::memory_order_acquire) & live_bit) == 0)
        return 0;
    return static_cast<int32_t>(at->generation.load(std::memory_order_relaxed) << index_bits | index);
}

uint32_t ombrel::count_instance_pins(const instance_slot& at) {
    return (at.state.load(std::memory_order_relaxed) & pin_mask) / pin_unit;
}

uint32_t ombrel::count_instance_calls(const instance_slot& at) {
    return (at.state.load(std::memory_order_relaxed) & call_mask) / call_unit;
}
