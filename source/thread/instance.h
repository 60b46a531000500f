// The registry of instances: objects behind handles that stay safe to use when the object is gone.
#pragma once

#include <cstdint>

#include <ombrel/instance.h>

namespace ombrel {

/// What a handle leads to.
using instance_type = ombrel_instance_type_t;

/// How many objects of all types can live at a time.
inline constexpr uint32_t most_instances = def_ombrel_instance_max;

/// What register_instance() gives when there are so many.
inline constexpr int32_t no_instance_left = def_ombrel_instance_none_left;

/// A handle above 0 for the object; -1 when memory runs out, or `no_instance_left`.
int32_t register_instance(const instance_type& type, void* object);

/// Ends a handle: nobody finds the object by it any more. The object is destroyed when its last pin is gone,
/// here if there is none. False when the handle leads to no object of the type.
bool retire_instance(const instance_type& type, int32_t handle);

struct instance_slot;

/// An object that lives until it is unpinned; null when the handle leads to none of the type.
struct pinned_instance {
    instance_slot* slot;
    void* object;
};
pinned_instance pin_instance(const instance_type& type, int32_t handle);
void unpin_instance(instance_slot* slot);

/// What a call does inside an object.
enum class instance_call {
    query = def_ombrel_instance_query, ///< looks at it: refused while another call has it alone
    use = def_ombrel_instance_use,     ///< uses it: refused too once it is ending
    alone = def_ombrel_instance_alone  ///< has it for itself: refused too while another call is inside
};

/// Goes inside an object that lives until the call leaves it; null when it is refused, or as pin_instance().
pinned_instance enter_instance(const instance_type& type, int32_t handle, instance_call call);
void leave_instance(instance_slot* slot);

/// Ends an object as soon as no call is inside: here, or where the last one leaves it, it is finished, alone,
/// and then retired. False when the handle leads to no object of the type, or to one that is ending.
bool end_instance(const instance_type& type, int32_t handle);

/// The slot of a handle, also of one that was retired while its object is held; null when another handle has
/// it, or none ever had.
instance_slot* find_instance_slot(int32_t handle);

/// What slot `index` has: a living handle, or 0; -1 behind the last slot.
int32_t instance_handle_at(uint32_t index);

/// How many have pinned the slot's object, and are inside.
uint32_t count_instance_pins(const instance_slot& slot);
uint32_t count_instance_calls(const instance_slot& slot);

/// More pins are refused.
inline constexpr uint32_t most_instance_pins = (1u << 15) - 1;

/// Keeps an object alive for a scope.
template<typename T>
class instance_pin {
public:
    instance_pin(const instance_type& type, int32_t handle) : pinned_(pin_instance(type, handle)) {}
    ~instance_pin() {
        if (pinned_.object != nullptr)
            unpin_instance(pinned_.slot);
    }
    instance_pin(const instance_pin&) = delete;
    instance_pin& operator=(const instance_pin&) = delete;

    explicit operator bool() const { return pinned_.object != nullptr; }
    T* get() const { return static_cast<T*>(pinned_.object); }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }

private:
    pinned_instance pinned_;
};

} // namespace ombrel
