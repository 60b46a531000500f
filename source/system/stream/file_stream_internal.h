// What the files of the buffered streams share: the record, its other side, and the steps between both.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/file_stream.h>

#include "core/call_site.h"
#include "core/fault.h"
#include "platform/file.h"
#include "system/file/file_internal.h"

namespace ombrel::system {

using platform::file_access;

enum class answer : uint8_t { unknown, yes, no };

/// Before what is read stands room for what is put back, and a byte for a line beyond its limit.
inline constexpr size_t read_margin = def_ombrel_file_stream_unget_limit + 1;

/// A stream. The unread bytes stand between m_read_at and m_read_end, those that are held back for the other
/// side between `write_base` and m_write_at.
///
/// Where the other side has a position, one direction is open at a time: while bytes are read, m_write_at
/// equals m_write_end, so that the next put asks first; while bytes are written, none are unread. Where it
/// has none both directions may be open.
struct stream : ombrel_file_stream_ts {
    const ombrel_file_stream_calls_t* calls;
    void* context;
    /// Takes back the bytes that were read ahead, where seeking is not how it is done; or null.
    void (*give_back)(void* context, size_t unread);
    call_site opener;
    file_access access;
    int descriptor;
    uint32_t flags;
    int buffering;
    size_t buffer_size, line_limit;

    unsigned char* read_block; ///< null until the first read, as the other one until the first write
    size_t read_room;          ///< bytes behind `read_base()`
    unsigned char* write_base;
    /// From here on the read buffer has what the other side has: lines before it were terminated in place,
    /// and bytes put back over others.
    const unsigned char* intact_from;
    int64_t side_position; ///< of the other side, -1 when it is not known
    fault first_fault, write_fault;
    answer has_position;
    bool is_writing; ///< put bytes may be taken into the buffer
    bool is_at_end, has_line_end;

    unsigned char* read_base() const { return read_block + read_margin; }
    size_t unread() const { return static_cast<size_t>(m_read_end - m_read_at); }
    size_t held() const { return static_cast<size_t>(m_write_at - write_base); }
    /// Room for bytes of which nothing is due.
    size_t open_room() const { return static_cast<size_t>(m_write_end - m_write_at); }
    size_t write_room() const { return buffer_size - held(); }
};

inline stream* stream_of(ombrel_file_stream_t* of) {
    return static_cast<stream*>(of);
}
inline const stream* stream_of(const ombrel_file_stream_t* of) {
    return static_cast<const stream*>(of);
}

/// Leaves a fault and gives -1.
inline int fail_with(fault_code why) {
    leave_fault(why);
    return -1;
}

/// False, with the fault, for a null argument that must not be.
inline bool is_given(const void* argument) {
    return argument != nullptr || refuse(fault_code::invalid);
}

/// What a stream is opened with.
struct stream_opening {
    ombrel_file_stream_options_t options;
    file_access access;
    call_site opener;
};

/// Reads the mode and the options (null for the defaults); false, with the fault, when they make no sense.
bool read_opening(const char* mode, const ombrel_file_stream_options_t* options, call_site opener,
                  stream_opening& opening);

/// Whether a mode makes sense for what is open already; false, with the fault, when it does not.
bool is_for_open(const stream_opening& opening);

/// A stream in a record of `size` bytes that begins with it, the rest zero, and that is its side's context;
/// null, with the fault, without memory.
stream* allocate_stream(size_t size, const stream_opening& opening, const ombrel_file_stream_calls_t& calls);

template<typename Record>
Record* open_stream(const stream_opening& opening, const ombrel_file_stream_calls_t& calls) {
    return static_cast<Record*>(allocate_stream(sizeof(Record), opening, calls));
}

/// Why the other side's last call failed. A function of the caller's may not have told.
fault fault_of_side();

void free_bytes(const stream& of, void* bytes);

/// Remembers why a read or write failed, unless that passes. Gives -1.
int note_fault(stream& of, fault& kind);

/// Whether the other side has a position.
bool has_position(stream& of);

/// The other side's position, or -1.
int64_t side_position(stream& of);

/// The position of the next byte to be read or written, or -1. Bytes must not be held back for appending.
int64_t position_of(stream& of);

/// Forgets what was read ahead.
void drop_unread(stream& of);

/// Lets the other side continue where the reader is; false, with the fault, when it cannot.
bool give_back_unread(stream& of);

/// Writes to the other side; bytes, at least 1, or -1.
int64_t write_side(stream& of, const void* data, size_t size);

/// The buffering, which is chosen when bytes are first put.
int buffering_of(stream& of);

/// Opens the room in which the next bytes are put without a call, if they need none.
void set_open_room(stream& of);

/// Hands on all that is held back; what cannot be written stays.
bool flush_held(stream& of);

/// Makes the stream fit for bytes to be put, or read; false with the fault.
bool begin_writing(stream& of);
bool begin_reading(stream& of);

/// Reads from the other side; bytes, 0 at the end, -1.
int64_t read_side(stream& of, void* buffer, size_t size);

/// Asks the other side for more behind the unread bytes: 1, 0 at the end, -1.
int read_ahead(stream& of);

} // namespace ombrel::system
