#include <ombrel/buffer.h>

#include <algorithm>

#include <ombrel/assert.h>

#include "container/buffer_internal.h"
#include "platform/file_reader.h"

using namespace ombrel;
using platform::file_reader;

namespace {

constexpr size_t unit_size = 256;
constexpr size_t read_size = 32 * unit_size; // one system call for several units

// Pushes bytes in units; less than `size` when memory ran out.
size_t push_units(ombrel_buffer_t& buffer, const unsigned char* bytes, size_t size) {
    size_t done = 0;
    while (done < size) {
        const size_t unit = std::min(unit_size, size - done);
        const size_t queued = push_copy(buffer, bytes + done, unit);
        done += queued;
        if (queued == unit)
            continue;
        ombrel_assert_fail_tag("source/buffer", "ombrel_push_buffer_from_file", __LINE__,
                               "s_unit_size == ((size_t)s_read_bytes)");
        break;
    }
    return done;
}

size_t push_file(ombrel_buffer_t& buffer, const file_reader& file, size_t limit) {
    unsigned char bytes[read_size];
    size_t total = 0;
    while (total < limit) {
        // An error ends it as the end does.
        const auto got = static_cast<size_t>(
            std::max<ptrdiff_t>(file.read(bytes, std::min(sizeof bytes, limit - total)), 0));
        const size_t queued = push_units(buffer, bytes, got);
        total += queued;
        if (got == 0 || queued < got)
            break;
    }
    return total;
}

class buffer_guard {
public:
    buffer_guard() : buffer_(ombrel_open_buffer_ex(0)) {}
    ~buffer_guard() { ombrel_close_buffer(buffer_); }
    buffer_guard(const buffer_guard&) = delete;
    buffer_guard& operator=(const buffer_guard&) = delete;
    ombrel_buffer_t* get() const { return buffer_; }

private:
    ombrel_buffer_t* buffer_;
};

} // namespace

ptrdiff_t ombrel_push_buffer_from_file(ombrel_buffer_t* buffer, const char* path, int64_t offset,
                                       size_t limit) {
    if (buffer == nullptr)
        return -1;
    const file_reader file(path);
    if (!file.is_open() || !file.seek(offset))
        return -1;
    return static_cast<ptrdiff_t>(push_file(*buffer, file, limit != 0 ? limit : PTRDIFF_MAX));
}

void* ombrel_load_file(const char* path, int64_t offset, size_t limit, size_t* size_out) {
    if (size_out != nullptr)
        *size_out = 0;
    const buffer_guard buffer;
    if (ombrel_push_buffer_from_file(buffer.get(), path, offset, limit) <= 0)
        return nullptr;
    const size_t size = ombrel_get_buffer_size(buffer.get());
    void* block = ombrel_alloc_pop_buffer_ex(buffer.get(), size, 1);
    if (block != nullptr && size_out != nullptr)
        *size_out = size;
    return block;
}
