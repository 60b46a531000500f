#include <ombrel/file_stream.h>

#include <ombrel/heap.h>

#include "system/stream/file_stream_internal.h"
#include "system/stream/open_mode.h"

namespace ombrel::system {

namespace {

constexpr size_t largest_buffer = size_t{1} << 30;

constexpr ombrel_file_stream_options_t default_options{
    .m_buffer_size = def_ombrel_file_stream_buffer_size,
    .m_line_limit = def_ombrel_file_stream_line_limit,
    .m_memory_limit = def_ombrel_file_stream_memory_limit,
    .m_buffering = def_ombrel_file_stream_buffering_automatic,
    .m_flags = 0,
};

bool make_sense(const ombrel_file_stream_options_t& options) {
    constexpr uint32_t known_flags = def_ombrel_file_stream_flag_keep_open | def_ombrel_file_stream_flag_crlf;
    return options.m_buffer_size > 0 && options.m_buffer_size <= largest_buffer && options.m_line_limit > 0 &&
           options.m_buffering >= def_ombrel_file_stream_buffering_automatic &&
           options.m_buffering <= def_ombrel_file_stream_buffering_none &&
           (options.m_flags & ~known_flags) == 0;
}

} // namespace

bool read_opening(const char* mode, const ombrel_file_stream_options_t* options, call_site opener,
                  stream_opening& opening) {
    opening.options = options != nullptr ? *options : default_options;
    opening.opener = opener;
    const bool is_good =
        mode != nullptr && parse_open_mode(mode, opening.access) && make_sense(opening.options);
    return is_good || refuse(fault_code::invalid);
}

bool is_for_open(const stream_opening& opening) {
    return !opening.access.exclusive || refuse(fault_code::invalid);
}

stream* allocate_stream(size_t size, const stream_opening& opening, const ombrel_file_stream_calls_t& calls) {
    auto* const record = ombrel_calloc_tag(1, size, opening.opener.tag, opening.opener.line);
    if (record == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const made = static_cast<stream*>(record);
    made->calls = &calls;
    made->context = made;
    made->opener = opening.opener;
    made->access = opening.access;
    made->descriptor = -1;
    made->flags = opening.options.m_flags;
    made->buffering = opening.options.m_buffering;
    made->buffer_size = opening.options.m_buffer_size;
    made->line_limit = opening.options.m_line_limit;
    made->side_position = -1;
    return made;
}

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

namespace {

/// Moves within what was read ahead or still stands there.
bool seek_in_buffer(stream& of, int64_t target) {
    const int64_t before_end = of.side_position - target;
    if (of.side_position < 0 || before_end < 0 || before_end > of.m_read_end - of.intact_from)
        return false;
    of.m_read_at += static_cast<int64_t>(of.unread()) - before_end;
    of.is_at_end = false;
    return true;
}

int64_t seek_side(stream& of, int64_t offset, int origin) {
    if (of.calls->m_seek == nullptr)
        return fail_with(fault_code::not_seekable);
    const int64_t position = of.calls->m_seek(of.context, offset, origin);
    if (position < 0)
        return -1;
    drop_unread(of);
    of.side_position = position;
    of.is_at_end = false;
    return position;
}

/// Where a seek leads, from the start.
bool find_target(stream& of, int64_t offset, int origin, int64_t& target) {
    int64_t from = 0;
    if (origin == def_ombrel_file_seek_current)
        from = position_of(of);
    if (from < 0)
        return false;
    return (!__builtin_add_overflow(from, offset, &target) && target >= 0) || refuse(fault_code::invalid);
}

int64_t seek(stream& of, int64_t offset, int origin) {
    if (!flush_held(of))
        return -1;
    if (origin == def_ombrel_file_seek_end)
        return seek_side(of, offset, origin);
    int64_t target;
    if (!find_target(of, offset, origin, target))
        return -1;
    return seek_in_buffer(of, target) ? target : seek_side(of, target, def_ombrel_file_seek_start);
}

/// Lets the other side stand where the stream does, as far as it can.
bool settle(stream& of) {
    if (!flush_held(of))
        return false;
    const bool can_give_back = of.access.read && (of.give_back != nullptr || has_position(of));
    if (can_give_back && !give_back_unread(of))
        return false;
    of.side_position = -1; // others may move it now
    return true;
}

bool outlives_stream(const stream& of) {
    return of.give_back != nullptr || (of.flags & def_ombrel_file_stream_flag_keep_open) != 0;
}

/// Why bytes may be lost, or no fault.
fault finish(stream& of) {
    fault lost;
    if (!flush_held(of))
        lost = last_fault();
    else if (outlives_stream(of))
        settle(of);
    if (of.write_fault)
        lost = of.write_fault;
    const bool is_closed = of.calls->m_close == nullptr || of.calls->m_close(of.context) == 0;
    return is_closed || lost ? lost : fault_of_side();
}

} // namespace

int ombrel_init_file_stream_options(ombrel_file_stream_options_t* options) {
    if (options == nullptr)
        return fail_with(fault_code::invalid);
    *options = default_options;
    return 0;
}

int ombrel_close_file_stream(ombrel_file_stream_t* stream) {
    if (stream == nullptr)
        return 0;
    auto& closing = *stream_of(stream);
    fault lost;
    {
        const fault_keeper keeper;
        lost = finish(closing);
        free_bytes(closing, closing.read_block);
        free_bytes(closing, closing.write_base);
        free_bytes(closing, stream);
    }
    if (!lost)
        return 0;
    leave_fault(lost);
    return -1;
}

int ombrel_file_stream_flush(ombrel_file_stream_t* stream) {
    if (stream == nullptr)
        return fail_with(fault_code::invalid);
    return result_of(settle(*stream_of(stream)));
}

int ombrel_file_stream_clear(ombrel_file_stream_t* stream) {
    if (stream == nullptr)
        return fail_with(fault_code::invalid);
    auto& of = *stream_of(stream);
    of.is_at_end = false;
    of.first_fault = of.write_fault = {};
    return 0;
}

int ombrel_file_stream_is_at_end(const ombrel_file_stream_t* stream) {
    return stream != nullptr && stream_of(stream)->is_at_end ? 1 : 0;
}

int ombrel_file_stream_get_fault(const ombrel_file_stream_t* stream) {
    return stream != nullptr ? static_cast<int>(stream_of(stream)->first_fault.code)
                             : def_ombrel_fault_invalid;
}

int ombrel_file_stream_get_descriptor(const ombrel_file_stream_t* stream) {
    return stream != nullptr ? stream_of(stream)->descriptor : -1;
}

int64_t ombrel_file_stream_seek(ombrel_file_stream_t* stream, int64_t offset, int origin) {
    if (stream == nullptr || origin < def_ombrel_file_seek_start || origin > def_ombrel_file_seek_end)
        return fail_with(fault_code::invalid);
    return seek(*stream_of(stream), offset, origin);
}

int64_t ombrel_file_stream_tell(ombrel_file_stream_t* stream) {
    if (stream == nullptr)
        return fail_with(fault_code::invalid);
    auto& of = *stream_of(stream);
    return !of.access.append || flush_held(of) ? position_of(of) : -1;
}

int ombrel_file_stream_truncate(ombrel_file_stream_t* stream, int64_t size) {
    if (stream == nullptr || size < 0)
        return fail_with(fault_code::invalid);
    auto& of = *stream_of(stream);
    if (!of.access.write)
        return fail_with(fault_code::bad_descriptor);
    if (of.calls->m_truncate == nullptr)
        return fail_with(fault_code::not_supported);
    return settle(of) && of.calls->m_truncate(of.context, size) == 0 ? 0 : -1;
}
