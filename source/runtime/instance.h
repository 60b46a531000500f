// The registry of instances: objects behind handles that stay safe to use when the object is gone.
#pragma once

#include <cstdint>
#include <utility>

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

/// The object, which lives until it is unpinned; null when the handle leads to none of the type.
void* pin_instance(const instance_type& type, int32_t handle);
void unpin_instance(int32_t handle);

/// Keeps an object alive for a scope.
template<typename T>
class instance_pin {
public:
    instance_pin(const instance_type& type, int32_t handle)
        : handle_(handle), object_(static_cast<T*>(pin_instance(type, handle))) {}
    ~instance_pin() {
        if (object_ != nullptr)
            unpin_instance(handle_);
    }
    instance_pin(const instance_pin&) = delete;
    instance_pin& operator=(const instance_pin&) = delete;

    explicit operator bool() const { return object_ != nullptr; }
    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }

private:
    int32_t handle_;
    T* object_;
};

} // namespace ombrel
