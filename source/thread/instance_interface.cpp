// The registry of instances for programs: by handles alone, and with reasons.
#include <ombrel/instance.h>

#include "core/fault.h"
#include "thread/instance.h"

using namespace ombrel;

namespace {

bool is_usable(const ombrel_instance_type_t* type) {
    const bool usable = type != nullptr && type->m_name != nullptr && *type->m_name != '\0';
    if (!usable)
        leave_fault(fault_code::invalid);
    return usable;
}

// The slot of a handle that somebody holds.
instance_slot* held_slot(int32_t handle, uint32_t (*count_holders)(const instance_slot&)) {
    instance_slot* const slot = find_instance_slot(handle);
    if (slot != nullptr && count_holders(*slot) > 0)
        return slot;
    leave_fault(fault_code::not_found);
    return nullptr;
}

// Why something could not be done with an object.
void leave_reason(const ombrel_instance_type_t& type, int32_t handle) {
    const instance_pin<char> pinned(type, handle);
    leave_fault(pinned ? fault_code::busy : fault_code::not_found);
}

} // namespace

int32_t ombrel_register_instance(const ombrel_instance_type_t* type, void* object) {
    if (object == nullptr || !is_usable(type)) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    const int32_t handle = register_instance(*type, object);
    if (handle < 0)
        leave_fault(handle == no_instance_left ? fault_code::too_large : fault_code::no_memory);
    return handle;
}

void* ombrel_pin_instance(const ombrel_instance_type_t* type, int32_t handle) {
    if (!is_usable(type))
        return nullptr;
    void* const object = pin_instance(*type, handle).object;
    const instance_slot* const slot = object == nullptr ? find_instance_slot(handle) : nullptr;
    const bool is_full = slot != nullptr && count_instance_pins(*slot) == most_instance_pins;
    if (object == nullptr)
        leave_fault(is_full ? fault_code::busy : fault_code::not_found);
    return object;
}

int ombrel_unpin_instance(int32_t handle) {
    instance_slot* const slot = held_slot(handle, count_instance_pins);
    if (slot == nullptr)
        return -1;
    unpin_instance(slot);
    return 0;
}

int ombrel_retire_instance(const ombrel_instance_type_t* type, int32_t handle) {
    if (!is_usable(type))
        return -1;
    if (retire_instance(*type, handle))
        return 0;
    leave_fault(fault_code::not_found);
    return -1;
}

void* ombrel_enter_instance(const ombrel_instance_type_t* type, int32_t handle, int how) {
    if (!is_usable(type))
        return nullptr;
    if (how < def_ombrel_instance_query || how > def_ombrel_instance_alone) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    void* const object = enter_instance(*type, handle, static_cast<instance_call>(how)).object;
    if (object == nullptr)
        leave_reason(*type, handle);
    return object;
}

int ombrel_leave_instance(int32_t handle) {
    instance_slot* const slot = held_slot(handle, count_instance_calls);
    if (slot == nullptr)
        return -1;
    leave_instance(slot);
    return 0;
}

int ombrel_end_instance(const ombrel_instance_type_t* type, int32_t handle) {
    if (!is_usable(type))
        return -1;
    if (end_instance(*type, handle))
        return 0;
    leave_reason(*type, handle);
    return -1;
}

int ombrel_walk_instances(const ombrel_instance_type_t* type, ombrel_instance_handler_t handler,
                          void* context) {
    if (!is_usable(type))
        return -1;
    if (handler == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    int outcome = 0;
    int32_t handle;
    for (uint32_t i = 0; outcome == 0 && (handle = instance_handle_at(i)) >= 0; i++)
        if (const instance_pin<char> pinned(*type, handle); pinned)
            outcome = handler(handle, pinned.get(), context);
    return outcome;
}
