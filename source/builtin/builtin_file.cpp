// Streams over files and over descriptors of the process.
#include "builtin/builtin_kind.h"

#include <array>
#include <atomic>
#include <climits>

#include <ombrel/builtin_stream.h>
#include <ombrel/file.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "builtin/descriptor_stream.h"
#include "core/heap_ptr.h"
#include "platform/file.h"
#include "platform/path.h"
#include "system/stream/open_mode.h"
#include "text/ctype_table.h"
#include "text/number.h"

namespace ombrel::builtin {

namespace {

enum class waiting : uint8_t { unknown, possible, never };

struct file_state {
    int descriptor;
    waiting waits; ///< of reads and writes, once one asked
};

int descriptor_of(builtin_ctx& ctx) {
    return state_of<file_state>(ctx).descriptor;
}

/// Whether what is open is a regular file. The host is asked for it when it first matters.
bool never_waits(builtin_ctx& ctx) {
    file_state& state = state_of<file_state>(ctx);
    const std::atomic_ref<waiting> waits(state.waits);
    waiting known = waits.load(std::memory_order_relaxed);
    if (known == waiting::unknown) {
        known = platform::is_regular_file(state.descriptor) ? waiting::never : waiting::possible;
        waits.store(known, std::memory_order_relaxed);
    }
    return known == waiting::never;
}

/// A descriptor's number in decimal, or -1.
int parse_descriptor(const char* text) {
    int number;
    return parse_number(text, 0, INT_MAX, number) ? number : -1;
}

struct standard_stream {
    const char* scheme;
    int descriptor;
};

constexpr std::array standard_streams{standard_stream{"stdin", 0}, standard_stream{"stdout", 1},
                                      standard_stream{"stderr", 2}};

/// The process's descriptor that a URI names, or -1.
int named_descriptor(const ombrel_uri_t& uri) {
    for (const standard_stream& one : standard_streams) {
        if (ombrel_strcmp(uri.m_scheme, one.scheme) == 0)
            return one.descriptor;
    }
    return ombrel_strcmp(uri.m_scheme, "fd") == 0 ? parse_descriptor(uri.m_rest) : -1;
}

/// Makes a descriptor of the process fit for the mode.
bool prepare_descriptor(builtin_ctx& ctx, int descriptor) {
    if (descriptor >= 0 && system::adapt_descriptor(descriptor, ctx.mode))
        return true;
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return false;
}

int open_own_copy(builtin_ctx& ctx, int descriptor) {
    if (!prepare_descriptor(ctx, descriptor))
        return -1;
    const int copy = platform::duplicate_descriptor(descriptor);
    return copy >= 0 ? copy : fail_by_system(ctx);
}

int open_path(builtin_ctx& ctx, const char* path) {
    const int descriptor = platform::open_file(path, ctx.mode);
    return descriptor >= 0 ? descriptor : fail_by_system(ctx);
}

bool is_local(const ombrel_uri_t& uri) {
    return !is_given(uri.m_host) || ombrel_strcasecmp(uri.m_host, "localhost") == 0;
}

/// Whether a URI's path is that of a drive, which stands behind a slash there.
bool names_drive(const char* path) {
    constexpr unsigned letter = def_ombrel_ctype_upper | def_ombrel_ctype_lower;
    return platform::paths_have_drives_and_hosts && path[0] == '/' && is_class(path[1], letter) &&
           path[2] == ':';
}

/// A file of this machine or, where paths can name one, of another.
int open_file_uri(builtin_ctx& ctx, const ombrel_uri_t& uri) {
    if (!is_given(uri.m_path) || (!is_local(uri) && !platform::paths_have_drives_and_hosts))
        return fail(ctx, def_ombrel_ctx_error_syntax);
    if (is_local(uri))
        return open_path(ctx, names_drive(uri.m_path) ? uri.m_path + 1 : uri.m_path);
    const heap_ptr<char> path(ombrel_alloc_sprintf("//%s%s", uri.m_host, uri.m_path));
    return path ? open_path(ctx, path.get()) : fail(ctx, def_ombrel_ctx_error_no_memory);
}

int open_uri(builtin_ctx& ctx) {
    const heap_ptr<ombrel_uri_t> uri(ombrel_parse_uri_tag(ctx.source, "builtin_file", __LINE__));
    if (!uri)
        return fail(ctx, def_ombrel_ctx_error_syntax);
    if (ombrel_strcmp(uri->m_scheme, "file") != 0)
        return open_own_copy(ctx, named_descriptor(*uri));
    return open_file_uri(ctx, *uri);
}

int open_descriptor(builtin_ctx& ctx) {
    if (const char* number = option_text(ctx, "fd")) {
        const int descriptor = parse_descriptor(number);
        return prepare_descriptor(ctx, descriptor) ? descriptor : -1;
    }
    if (!is_given(ctx.source))
        return fail(ctx, def_ombrel_ctx_error_syntax);
    return ctx.has_scheme ? open_uri(ctx) : open_path(ctx, ctx.source);
}

int open(builtin_ctx& ctx) {
    const int descriptor = open_descriptor(ctx);
    state_of<file_state>(ctx).descriptor = descriptor;
    return descriptor >= 0 ? 0 : -1;
}

int close(builtin_ctx& ctx) {
    ombrel_close_file(descriptor_of(ctx));
    return 0;
}

int is_readable(builtin_ctx& ctx, int timeout_ms) {
    return wait_for(ctx, descriptor_of(ctx), platform::readiness::read, timeout_ms);
}

int is_writable(builtin_ctx& ctx, int timeout_ms) {
    return wait_for(ctx, descriptor_of(ctx), platform::readiness::write, timeout_ms);
}

int read(builtin_ctx& ctx, void* buffer, size_t size) {
    // What may block is asked in a way that never does, unless it may take as long as it likes.
    const bool is_limited = ctx.timeout >= 0 && !never_waits(ctx);
    return read_some(ctx, descriptor_of(ctx), is_limited ? platform::read_at_once : platform::read_descriptor,
                     buffer, size);
}

int write(builtin_ctx& ctx, const void* data, size_t size) {
    const write_attempt attempt = never_waits(ctx)   ? platform::write_file
                                  : ctx.timeout >= 0 ? platform::write_at_once
                                                     : platform::write_descriptor;
    return write_all(ctx, descriptor_of(ctx), attempt, data, size);
}

int64_t seek(builtin_ctx& ctx, int64_t offset, int whence) {
    const int origin = whence == def_ombrel_ctx_seek_set       ? def_ombrel_file_seek_start
                       : whence == def_ombrel_ctx_seek_current ? def_ombrel_file_seek_current
                                                               : def_ombrel_file_seek_end;
    const int64_t position = ombrel_file_seek(descriptor_of(ctx), offset, origin);
    return position >= 0 ? position : fail_by_system(ctx);
}

int sync(builtin_ctx& ctx) {
    return ombrel_file_sync(descriptor_of(ctx)) == 0 ? 0 : fail_by_system(ctx);
}

int get_size(builtin_ctx& ctx, ombrel_stream_size_t* record) {
    if (record == nullptr)
        return -1;
    const int64_t size = ombrel_file_get_size(descriptor_of(ctx));
    if (size < 0)
        return fail_by_system(ctx);
    record->m_size = static_cast<uint64_t>(size);
    return 0;
}

int set_size(builtin_ctx& ctx, const ombrel_stream_size_t* record) {
    if (record == nullptr || !keeps_to_mode(ctx, writing))
        return -1;
    if (record->m_size > INT64_MAX)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    const int result = ombrel_file_set_size(descriptor_of(ctx), static_cast<int64_t>(record->m_size));
    return result == 0 ? 0 : fail_by_system(ctx);
}

int control(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    switch (code) {
    case def_ombrel_stream_control_get_size:
        return get_size(ctx, control_record<ombrel_stream_size_t>(ctx, record, size));
    case def_ombrel_stream_control_set_size:
        return set_size(ctx, control_record<ombrel_stream_size_t>(ctx, record, size));
    case def_ombrel_stream_control_get_fd:
        return give_descriptor(ctx, descriptor_of(ctx), record, size);
    default:
        return refuse_control(ctx);
    }
}

} // namespace

constinit const builtin_kind builtin_file{
    .state = state_type_of<file_state>,
    .timeout = -1,
    .is_bound_by_mode = true,
    .open = open,
    .close = close,
    .is_readable = is_readable,
    .read = read,
    .is_writable = is_writable,
    .write = write,
    .seek = seek,
    .sync = sync,
    .control = control,
};

} // namespace ombrel::builtin
