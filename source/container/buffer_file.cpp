#include <ombrel/buffer.h>

#include <algorithm>

#include <ombrel/assert.h>

#include "container/buffer_internal.h"
#include "core/wipe.h"
#include "platform/file.h"

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

struct file_part {
    size_t queued;
    bool complete; // up to the limit or the end of the file
};

file_part push_file(ombrel_buffer_t& buffer, const file_reader& file, size_t limit) {
    unsigned char bytes[read_size];
    file_part done{0, true};
    while (done.queued < limit && done.complete) {
        const ptrdiff_t got = file.read(bytes, std::min(sizeof bytes, limit - done.queued));
        if (got == 0)
            break;
        const size_t queued = got > 0 ? push_units(buffer, bytes, static_cast<size_t>(got)) : 0;
        done.queued += queued;
        done.complete = got > 0 && queued == static_cast<size_t>(got);
    }
    return done;
}

// False when the part cannot even be begun.
bool push_part(ombrel_buffer_t* buffer, const char* path, int64_t offset, size_t limit, file_part& done) {
    if (buffer == nullptr)
        return false;
    const file_reader file(path);
    if (!file.is_open() || !file.seek(offset))
        return false;
    const auto push = [&] { done = push_file(*buffer, file, limit != 0 ? limit : SIZE_MAX); };
    if ((buffer->m_flags & def_ombrel_buffer_flag_wipe) != 0)
        without_trace<2 * read_size>(push);
    else
        push();
    return true;
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

// What ends a file early, an error as well as missing memory, leaves what was read before.
ptrdiff_t ombrel_push_buffer_from_file(ombrel_buffer_t* buffer, const char* path, int64_t offset,
                                       size_t limit) {
    file_part part{};
    return push_part(buffer, path, offset, limit, part) ? static_cast<ptrdiff_t>(part.queued) : -1;
}

void* ombrel_load_file(const char* path, int64_t offset, size_t limit, size_t* size_out) {
    if (size_out != nullptr)
        *size_out = 0;
    const buffer_guard buffer;
    file_part part{};
    if (!push_part(buffer.get(), path, offset, limit, part) || !part.complete)
        return nullptr;
    void* block = ombrel_alloc_pop_buffer_ex(buffer.get(), part.queued, 1);
    if (block != nullptr && size_out != nullptr)
        *size_out = part.queued;
    return block;
}
