// The steps between a stream's buffers and its other side.
#include "system/stream/file_stream_internal.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <ombrel/heap.h>

#include "platform/terminal.h"

namespace ombrel::system {

namespace {

unsigned char* allocate_bytes(const stream& of, size_t size) {
    auto* const bytes = static_cast<unsigned char*>(ombrel_alloc_tag(size, of.opener.tag, of.opener.line));
    if (bytes == nullptr)
        leave_fault(fault_code::no_memory);
    return bytes;
}

bool shares_position(stream& of) {
    return of.access.read && of.access.write && has_position(of);
}

/// A block with room for what is put back before the bytes, and for a terminator behind them.
unsigned char* allocate_read_block(const stream& of, size_t room) {
    return allocate_bytes(of, read_margin + room + 1);
}

bool have_read_block(stream& of) {
    if (of.read_block != nullptr)
        return true;
    of.read_room = of.buffer_size;
    of.read_block = allocate_read_block(of, of.read_room);
    drop_unread(of);
    return of.read_block != nullptr;
}

/// Brings the unread bytes to the start of a block, which may be the one where they are.
void move_unread(stream& of, unsigned char* block) {
    const size_t size = of.unread();
    const auto altered = std::max<ptrdiff_t>(of.intact_from - of.m_read_at, 0);
    const unsigned char* const from = of.m_read_at;
    of.read_block = block;
    memmove(of.read_base(), from, size);
    of.m_read_at = of.read_base();
    of.m_read_end = of.m_read_at + size;
    of.intact_from = of.m_read_at + altered;
}

bool grow_read_block(stream& of) {
    if (of.read_room > SIZE_MAX / 4)
        return refuse(fault_code::no_memory);
    unsigned char* const old = of.read_block;
    unsigned char* const larger = allocate_read_block(of, of.read_room * 2);
    if (larger == nullptr)
        return false;
    move_unread(of, larger);
    of.read_room *= 2;
    free_bytes(of, old);
    return true;
}

/// Makes room behind the unread bytes.
bool make_read_room(stream& of) {
    if (of.unread() == 0)
        drop_unread(of);
    if (of.m_read_end != of.read_base() + of.read_room)
        return true;
    if (of.m_read_at <= of.read_base())
        return grow_read_block(of);
    move_unread(of, of.read_block);
    return true;
}

} // namespace

void free_bytes(const stream& of, void* bytes) {
    const fault_keeper keeper;
    ombrel_check_free_tag(bytes, of.opener.tag, of.opener.line);
}

fault fault_of_side() {
    if (!last_fault())
        leave_fault(fault_code::input_output);
    return last_fault();
}

int note_fault(stream& of, fault& kind) {
    const fault why = fault_of_side();
    if (why.code == fault_code::would_block || why.code == fault_code::interrupted)
        return -1;
    for (fault* const known : {&of.first_fault, &kind})
        if (!*known)
            *known = why;
    return -1;
}

bool has_position(stream& of) {
    if (of.has_position == answer::unknown) {
        const fault_keeper keeper;
        of.has_position = side_position(of) >= 0 ? answer::yes : answer::no;
    }
    return of.has_position == answer::yes;
}

int64_t side_position(stream& of) {
    if (of.side_position < 0)
        of.side_position = of.calls->m_seek != nullptr
                               ? of.calls->m_seek(of.context, 0, def_ombrel_file_seek_current)
                               : fail_with(fault_code::not_seekable);
    return of.side_position;
}

int64_t position_of(stream& of) {
    const int64_t side = side_position(of);
    if (side < 0)
        return -1;
    const auto unread = static_cast<int64_t>(of.unread());
    return std::max<int64_t>(side - unread, 0) + static_cast<int64_t>(of.held());
}

void drop_unread(stream& of) {
    unsigned char* const start = of.read_block != nullptr ? of.read_base() : nullptr;
    of.m_read_at = start;
    of.m_read_end = of.intact_from = start;
}

bool give_back_unread(stream& of) {
    if (of.give_back != nullptr)
        of.give_back(of.context, of.unread());
    else if (of.unread() > 0) {
        const int64_t position = position_of(of);
        if (position < 0 || of.calls->m_seek(of.context, position, def_ombrel_file_seek_start) < 0)
            return false;
        of.side_position = position;
    }
    drop_unread(of);
    return true;
}

bool begin_reading(stream& of) {
    if (!of.access.read)
        return refuse(fault_code::bad_descriptor);
    if (of.is_writing && !flush_held(of))
        return false;
    if (of.is_writing && shares_position(of)) {
        of.is_writing = false;
        of.m_write_end = of.m_write_at;
    }
    return have_read_block(of);
}

bool begin_writing(stream& of) {
    if (of.is_writing)
        return true;
    if (!of.access.write)
        return refuse(fault_code::bad_descriptor);
    if (of.write_base == nullptr) // with a terminator behind, which the formatter writes
        of.m_write_at = of.write_base = allocate_bytes(of, of.buffer_size + 1);
    of.m_write_end = of.m_write_at;
    if (of.write_base == nullptr)
        return false;
    if (shares_position(of)) {
        if (!give_back_unread(of))
            return false;
        of.is_at_end = false;
    }
    of.is_writing = true;
    return true;
}

int read_ahead(stream& of) {
    if (!begin_reading(of))
        return -1;
    if (of.is_at_end)
        return 0;
    if (!make_read_room(of))
        return -1;
    unsigned char* const to = of.m_read_at + of.unread();
    const auto room = static_cast<size_t>(of.read_base() + of.read_room - to);
    const int64_t bytes = read_side(of, to, room);
    if (bytes > 0)
        of.m_read_end += bytes;
    return bytes > 0 ? 1 : static_cast<int>(bytes);
}

int64_t read_side(stream& of, void* buffer, size_t size) {
    size = std::min<size_t>(size, INT_MAX);
    const int64_t bytes = std::min(of.calls->m_read(of.context, buffer, size), static_cast<int64_t>(size));
    if (bytes < 0)
        return note_fault(of, of.first_fault);
    of.is_at_end = bytes == 0;
    if (of.side_position >= 0)
        of.side_position += bytes;
    return bytes;
}

int64_t write_side(stream& of, const void* data, size_t size) {
    size = std::min<size_t>(size, INT_MAX);
    int64_t bytes = of.calls->m_write(of.context, data, size);
    if (bytes == 0)
        bytes = fail_with(fault_code::input_output);
    if (bytes < 0)
        return note_fault(of, of.write_fault);
    if (of.access.append)
        of.side_position = -1;
    else if (of.side_position >= 0)
        of.side_position += bytes;
    return std::min(bytes, static_cast<int64_t>(size));
}

int buffering_of(stream& of) {
    if (of.buffering == def_ombrel_file_stream_buffering_automatic) {
        const fault_keeper keeper;
        of.buffering = of.descriptor >= 0 && platform::is_terminal(of.descriptor)
                           ? def_ombrel_file_stream_buffering_line
                           : def_ombrel_file_stream_buffering_full;
    }
    return of.buffering;
}

/// Where the next bytes go with a buffering in full, they go without a call.
void set_open_room(stream& of) {
    if (of.is_writing && buffering_of(of) == def_ombrel_file_stream_buffering_full)
        of.m_write_end = of.write_base + of.buffer_size;
    else
        of.m_write_end = of.m_write_at;
}

bool flush_held(stream& of) {
    const size_t size = of.held();
    size_t done = 0;
    for (int64_t bytes = 0; done < size && bytes >= 0;
         done += static_cast<size_t>(std::max<int64_t>(bytes, 0)))
        bytes = write_side(of, of.write_base + done, size - done);
    if (done > 0)
        memmove(of.write_base, of.write_base + done, size - done);
    of.m_write_at -= done;
    set_open_room(of);
    return done == size;
}

} // namespace ombrel::system
