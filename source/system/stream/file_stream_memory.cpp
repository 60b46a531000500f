// Streams over memory: the caller's, of a fixed size, and their own, which grows.
#include <ombrel/file_stream.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include <ombrel/heap.h>

#include "system/stream/file_stream_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

struct memory_stream : stream {
    char* bytes;
    size_t size;  ///< of the content
    size_t room;  ///< of what `bytes` holds, a terminator of the growing ones aside
    size_t limit; ///< that `room` may grow to
    size_t at;
    bool grows;
};

memory_stream& record_of(void* context) {
    return *static_cast<memory_stream*>(context);
}

int64_t read(void* context, void* buffer, size_t size) {
    auto& of = record_of(context);
    const size_t count = std::min(size, of.size - std::min(of.at, of.size));
    if (count > 0)
        memcpy(buffer, of.bytes + of.at, count);
    of.at += count;
    return static_cast<int64_t>(count);
}

/// The room to make for so many bytes, which are within the limit.
size_t grown_room(const memory_stream& of, size_t wanted) {
    constexpr size_t first_room = 255;
    return std::min(std::max({wanted, first_room, of.room * 2 + 1}), of.limit);
}

/// Makes room for bytes and a terminator, as far as there may be any.
bool make_room(memory_stream& of, size_t wanted) {
    wanted = std::min(wanted, of.limit);
    if (wanted <= of.room && of.bytes != nullptr)
        return true;
    const size_t room = grown_room(of, wanted);
    void* const larger = ombrel_realloc_tag(of.bytes, room + 1, of.opener.tag, of.opener.line);
    if (larger == nullptr)
        return refuse(fault_code::no_memory);
    of.bytes = static_cast<char*>(larger);
    of.room = room;
    return true;
}

/// Sets the size of the content: what is new is zeros, and a zero stands behind it where there is room.
void set_size(memory_stream& of, size_t size) {
    if (size > of.size)
        memset(of.bytes + of.size, 0, size - of.size);
    of.size = size;
    if (of.grows || size < of.room)
        of.bytes[size] = '\0';
}

int64_t write(void* context, const void* data, size_t size) {
    auto& of = record_of(context);
    const size_t at = of.access.append ? of.size : of.at;
    const size_t end = at + std::min(size, SIZE_MAX - at);
    if (of.grows && !make_room(of, end))
        return -1;
    const size_t count = std::min(end, of.room) - std::min(at, of.room);
    if (count == 0)
        return fail_with(fault_code::no_space);
    if (at + count > of.size)
        set_size(of, at + count);
    memcpy(of.bytes + at, data, count);
    of.at = at + count;
    return static_cast<int64_t>(count);
}

int64_t seek(void* context, int64_t offset, int origin) {
    auto& of = record_of(context);
    const size_t from = origin == def_ombrel_file_seek_start     ? 0
                        : origin == def_ombrel_file_seek_current ? of.at
                                                                 : of.size;
    int64_t target;
    if (__builtin_add_overflow(static_cast<int64_t>(from), offset, &target) || target < 0 ||
        static_cast<uint64_t>(target) > of.limit)
        return fail_with(fault_code::invalid);
    of.at = static_cast<size_t>(target);
    return target;
}

int truncate(void* context, int64_t size) {
    auto& of = record_of(context);
    if (static_cast<uint64_t>(size) > of.limit)
        return fail_with(fault_code::no_space);
    const auto wanted = static_cast<size_t>(size);
    if (of.grows && !make_room(of, wanted))
        return -1;
    set_size(of, wanted);
    return 0;
}

int close(void* context) {
    const auto& of = record_of(context);
    if (of.grows)
        ombrel_check_free_tag(of.bytes, of.opener.tag, of.opener.line);
    return 0;
}

constexpr ombrel_file_stream_calls_t memory_calls{
    .m_read = read, .m_write = write, .m_seek = seek, .m_truncate = truncate, .m_close = close};

memory_stream* open_memory(const stream_opening& opening, void* bytes, size_t size, size_t limit) {
    auto* const made = open_stream<memory_stream>(opening, memory_calls);
    if (made == nullptr)
        return nullptr;
    made->bytes = static_cast<char*>(bytes);
    made->room = size;
    made->limit = std::min<size_t>(limit, PTRDIFF_MAX - 1);
    return made;
}

size_t content_size(const void* memory, size_t size, const file_access& access) {
    if (access.append) {
        const void* const end = size > 0 ? memchr(memory, '\0', size) : nullptr;
        return end != nullptr
                   ? static_cast<size_t>(static_cast<const char*>(end) - static_cast<const char*>(memory))
                   : size;
    }
    return access.truncate ? 0 : size;
}

bool is_memory(const void* memory, size_t size) {
    return ((memory != nullptr || size == 0) && size <= PTRDIFF_MAX) || refuse(fault_code::invalid);
}

/// The stream when it is a growing one with its content in place; null, with the fault, otherwise.
memory_stream* settled(ombrel_file_stream_t* stream) {
    if (stream == nullptr || stream_of(stream)->calls != &memory_calls ||
        !static_cast<memory_stream*>(stream_of(stream))->grows) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    auto& of = record_of(stream_of(stream));
    if (ombrel_file_stream_flush(stream) != 0 || !make_room(of, 0))
        return nullptr;
    set_size(of, of.size);
    return &of;
}

} // namespace

ombrel_file_stream_t* ombrel_open_file_stream_memory_tag(void* memory, size_t size, const char* mode,
                                                         const ombrel_file_stream_options_t* options,
                                                         const char* function, unsigned long line) {
    stream_opening opening;
    if (!read_opening(mode, options, {function, line}, opening) || !is_for_open(opening) ||
        !is_memory(memory, size))
        return nullptr;
    memory_stream* const made = open_memory(opening, memory, size, size);
    if (made == nullptr)
        return nullptr;
    made->size = content_size(memory, size, opening.access);
    if (opening.access.truncate && size > 0)
        set_size(*made, 0);
    if (opening.access.append && !opening.access.read)
        made->at = made->size;
    return made;
}

ombrel_file_stream_t* ombrel_open_file_stream_growing_tag(const ombrel_file_stream_options_t* options,
                                                          const char* function, unsigned long line) {
    stream_opening opening;
    if (!read_opening("w+", options, {function, line}, opening))
        return nullptr;
    memory_stream* const made = open_memory(opening, nullptr, 0, opening.options.m_memory_limit);
    if (made != nullptr)
        made->grows = true;
    return made;
}

const char* ombrel_file_stream_get_memory(ombrel_file_stream_t* stream, size_t* size) {
    const memory_stream* const of = settled(stream);
    if (of == nullptr)
        return nullptr;
    if (size != nullptr)
        *size = of->size;
    return of->bytes;
}

char* ombrel_file_stream_take_memory(ombrel_file_stream_t* stream, size_t* size) {
    memory_stream* const of = settled(stream);
    if (of == nullptr)
        return nullptr;
    if (size != nullptr)
        *size = of->size;
    of->size = of->room = of->at = 0;
    of->is_at_end = false;
    return std::exchange(of->bytes, nullptr);
}
