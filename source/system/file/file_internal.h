// What the functions over files share: checks of arguments, guards that leave a failure's reason alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include <ombrel/file.h>

#include "core/call_site.h"
#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/file.h"
#include "platform/file_info.h"
#include "platform/host_text.h"

namespace ombrel::system {

/// False, with the fault left, to be returned at once.
inline bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

inline int result_of(bool is_done) {
    return is_done ? 0 : -1;
}

inline bool is_path(const char* path) {
    if (path == nullptr)
        return refuse(fault_code::invalid);
    return path[0] != '\0' || refuse(fault_code::invalid);
}

inline bool has_only(uint32_t flags, uint32_t known) {
    return (flags & ~known) == 0 || refuse(fault_code::invalid);
}

inline bool has(uint32_t flags, uint32_t flag) {
    return (flags & flag) != 0;
}

inline platform::at_link link_of(uint32_t flags) {
    return has(flags, def_ombrel_file_no_follow) ? platform::at_link::stay : platform::at_link::follow;
}

/// heap_ptr for calls whose failure must be left: giving memory back may wait, which has faults of its own.
template<typename T>
class quiet_ptr : public heap_ptr<T> {
public:
    using heap_ptr<T>::heap_ptr;
    quiet_ptr(quiet_ptr&&) = default;
    quiet_ptr& operator=(quiet_ptr&&) = default;
    ~quiet_ptr() {
        const fault_keeper kept;
        this->reset();
    }
};

/// Closed at the end of the scope unless it was released.
class owned_descriptor {
public:
    explicit owned_descriptor(int descriptor) : descriptor_(descriptor) {}
    ~owned_descriptor() {
        const fault_keeper kept;
        if (is_open())
            platform::close_descriptor(descriptor_);
    }
    owned_descriptor(const owned_descriptor&) = delete;
    owned_descriptor& operator=(const owned_descriptor&) = delete;

    bool is_open() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_;
};

/// A block of the caller's; null, with its fault, when memory has run out.
char* allocate_text(size_t size, call_site caller);

/// The texts one behind the other, likewise.
char* joined_text(std::string_view first, std::string_view second, call_site caller);
char* joined_text(std::string_view first, std::string_view second, std::string_view third, call_site caller);

/// The caller's copy of a text of the host's; null where there is none.
char* copied_text(const platform::host_text& text, call_site caller);

/// What stands before the last component of a path, the separator included; empty for a name alone.
std::string_view folder_part(const char* path);

/// Bytes written, which may be fewer, or -1. The signal of a pipe without a reader is kept away where one can
/// come.
int64_t write_some(int descriptor, bool is_regular, const void* data, size_t size);

/// Writes it all to a file. False, with the fault left, when that fails.
bool write_whole(int descriptor, const void* data, size_t size);

/// Whether two descriptions are of one file.
inline bool is_same_file(const ombrel_file_info_t& a, const ombrel_file_info_t& b) {
    return a.m_device == b.m_device && a.m_serial == b.m_serial;
}

} // namespace ombrel::system
