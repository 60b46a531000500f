#include <ombrel/file_stream.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "system/stream/file_stream_internal.h"

// The function, where a macro of the same name saves calls.
#undef ombrel_file_stream_put_byte

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr size_t longest_text = size_t{256} << 20;

/// Whether bytes that were just put are to be handed on.
bool are_due(stream& of, size_t added) {
    switch (buffering_of(of)) {
    case def_ombrel_file_stream_buffering_none:
        return true;
    case def_ombrel_file_stream_buffering_line:
        return memchr(of.m_write_at - added, '\n', added) != nullptr;
    default:
        return false;
    }
}

/// Adds bytes that stand behind those held back, and hands on what is due. Gives those of them that the
/// stream has taken: all, or those that the other side took before it failed.
size_t keep(stream& of, size_t added) {
    of.m_write_at += added;
    const size_t untaken = are_due(of, added) && !flush_held(of) ? std::min(of.held(), added) : 0;
    of.m_write_at -= untaken;
    set_open_room(of);
    return added - untaken;
}

/// Writes some of the bytes; 0 after a failure.
size_t write_once(stream& of, const unsigned char* data, size_t size) {
    if (of.held() == 0 && size >= of.buffer_size)
        return static_cast<size_t>(std::max<int64_t>(write_side(of, data, size), 0));
    if (of.write_room() == 0 && !flush_held(of))
        return 0;
    const size_t added = std::min(size, of.write_room());
    memcpy(of.m_write_at, data, added);
    return keep(of, added);
}

/// `size`, or the bytes that were taken before a failure; -1 for none.
int64_t write(stream& of, const void* data, size_t size) {
    if (size < of.open_room()) {
        memcpy(of.m_write_at, data, size);
        of.m_write_at += size;
        return static_cast<int64_t>(size);
    }
    if (!begin_writing(of))
        return -1;
    const auto* const bytes = static_cast<const unsigned char*>(data);
    size_t done = 0;
    for (size_t now = 1; now > 0 && done < size; done += now)
        now = write_once(of, bytes + done, size - done);
    return done > 0 || size == 0 ? static_cast<int64_t>(done) : -1;
}

/// Formats into the room behind the bytes held back; false when the text needs more.
bool format_in_place(stream& of, const char* format, va_list arguments, size_t& size) {
    const size_t room = of.write_room();
    va_list attempt;
    va_copy(attempt, arguments);
    size = static_cast<size_t>(
        ombrel_vsnprintf(reinterpret_cast<char*>(of.m_write_at), room + 1, format, attempt));
    va_end(attempt);
    return size < room;
}

/// Formats into a block of its own, and writes that.
int64_t format_apart(stream& of, const char* format, va_list arguments) {
    constexpr size_t first_room = 512, last_room = longest_text * 2;
    for (size_t room = std::clamp(of.buffer_size * 2, first_room, last_room); room <= last_room; room *= 2) {
        const quiet_ptr<char> block(
            static_cast<char*>(ombrel_alloc_tag(room, of.opener.tag, of.opener.line)));
        if (!block)
            return fail_with(fault_code::no_memory);
        va_list attempt;
        va_copy(attempt, arguments);
        const auto size = static_cast<size_t>(ombrel_vsnprintf(block.get(), room, format, attempt));
        va_end(attempt);
        if (size + 1 < room)
            return size <= longest_text ? write(of, block.get(), size) : fail_with(fault_code::too_large);
    }
    return fail_with(fault_code::too_large);
}

int64_t write_bytes(ombrel_file_stream_t* stream, const void* data, size_t size) {
    if (stream == nullptr || (data == nullptr && size > 0) || size > PTRDIFF_MAX)
        return fail_with(fault_code::invalid);
    return write(*stream_of(stream), data, size);
}

} // namespace

int ombrel_file_stream_put_byte(ombrel_file_stream_t* stream, int byte) {
    const auto value = static_cast<unsigned char>(byte);
    return write_bytes(stream, &value, 1) == 1 ? value : -1;
}

int64_t ombrel_file_stream_write(ombrel_file_stream_t* stream, const void* data, size_t size) {
    return write_bytes(stream, data, size);
}

int64_t ombrel_file_stream_write_text(ombrel_file_stream_t* stream, const char* text) {
    if (text == nullptr)
        return fail_with(fault_code::invalid);
    return write_bytes(stream, text, strlen(text));
}

int64_t ombrel_file_stream_vprintf(ombrel_file_stream_t* stream, const char* format, va_list arguments) {
    if (stream == nullptr || format == nullptr)
        return fail_with(fault_code::invalid);
    auto& of = *stream_of(stream);
    if (!begin_writing(of))
        return -1;
    size_t size;
    if (!format_in_place(of, format, arguments, size))
        return format_apart(of, format, arguments);
    const size_t taken = keep(of, size);
    return taken > 0 || size == 0 ? static_cast<int64_t>(taken) : -1;
}

int64_t ombrel_file_stream_printf(ombrel_file_stream_t* stream, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int64_t bytes = ombrel_file_stream_vprintf(stream, format, arguments);
    va_end(arguments);
    return bytes;
}
