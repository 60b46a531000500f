// A file that is open for a scope.
#pragma once

#include "platform/file.h"

namespace ombrel::platform {

/// Opens a file for reading, which may fail, and closes it at the end of the scope.
class file_reader {
public:
    explicit file_reader(const char* path)
        : descriptor_(path != nullptr ? open_file_for_reading(path) : -1) {}
    ~file_reader() {
        if (is_open())
            close_file(descriptor_);
    }
    file_reader(const file_reader&) = delete;
    file_reader& operator=(const file_reader&) = delete;

    bool is_open() const { return descriptor_ >= 0; }
    /// The start is not sought, so that pipes can be read.
    bool seek(int64_t offset) const { return offset == 0 || seek_file(descriptor_, offset); }
    /// Bytes read, 0 at the end, -1 on an error.
    ptrdiff_t read(void* bytes, size_t size) const { return read_file(descriptor_, bytes, size); }

private:
    int descriptor_;
};

} // namespace ombrel::platform
