// Ownership of a descriptor for a scope or a record.
#pragma once

#include <utility>

#include "core/fault.h"
#include "platform/file.h"

namespace ombrel::system {

/// Closes its descriptor, if it has one, and keeps the last fault while it does.
class owned_descriptor {
public:
    owned_descriptor() = default;
    explicit owned_descriptor(int descriptor) : descriptor_(descriptor) {}
    owned_descriptor(owned_descriptor&& other) noexcept : descriptor_(other.release()) {}
    owned_descriptor& operator=(owned_descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~owned_descriptor() { reset(); }

    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }
    explicit operator bool() const { return descriptor_ >= 0; }
    void reset(int descriptor = -1) {
        const int old = std::exchange(descriptor_, descriptor);
        if (old < 0)
            return;
        const fault_keeper kept;
        platform::close_descriptor(old);
    }

private:
    int descriptor_ = -1;
};

/// Both ends of a pipe that nobody inherits.
struct owned_pipe {
    owned_descriptor read_end, write_end;

    bool open(platform::pipe_side of_child = platform::pipe_side::none) {
        int ends[2];
        if (!platform::open_pipe(ends, of_child))
            return false;
        read_end.reset(ends[0]);
        write_end.reset(ends[1]);
        return true;
    }
};

} // namespace ombrel::system
