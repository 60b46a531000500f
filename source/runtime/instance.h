// The registry of instances: objects behind handles that stay safe to use when the object is gone.
#pragma once

#include <cstdint>

namespace ombrel {

/// What a handle leads to. Two types are the same when their names are.
struct instance_type {
    const char* name;
    void (*destroy)(void* object);
};

/// A handle above 0 for the object; -1 when memory runs out, or too many objects live.
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
