// A file that is begun anew when it has grown to a size, with the earlier ones kept beside it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/call_site.h"
#include "core/heap_ptr.h"
#include "system/process/owned_descriptor.h"

namespace ombrel::system {

class rotating_log {
public:
    /// Opens a file to write at its end.
    /// @param size  bytes that it grows to; 0 for any number, as for what is no regular file
    /// @param count how many earlier files are kept, "PATH.1" being the latest
    bool open(const char* path, int64_t size, uint32_t count, const call_site& caller);

    bool is_open() const { return static_cast<bool>(path_); }

    /// Bytes that it took: fewer when the file or its place fails. The next call tries again.
    size_t write(const char* data, size_t size);

private:
    bool begin(uint32_t how);
    bool begin_anew();
    void shift_earlier();
    size_t part_for_file(const char* data, size_t size) const;
    const char* name_of(uint32_t number, heap_ptr<char>& place) const;

    owned_descriptor file_;
    heap_ptr<char> path_, from_, to_; ///< the last two have room for its name and a number
    int64_t limit_ = 0;
    int64_t size_ = 0;
    uint32_t count_ = 0;
};

} // namespace ombrel::system
