// The kind "application/tuk_stream_ftp": one file read from, written to or appended to on an FTP server.
#include "builtin/remote_file.h"
#include "protocol/ftp/ftp_client.h"

namespace ombrel::builtin {

namespace {

using protocol::ftp_client;
using protocol::ftp_direction;
using protocol::ftp_request;

constexpr int ftp_port = 21;

struct ftp_stream {
    ftp_client client;
    uint64_t position = 0; ///< of the next byte; unknown for append
    bool moved = false;    ///< the transfer has to begin again at the position
};

ftp_stream& stream_of(builtin_ctx& ctx) {
    return state_of<ftp_stream>(ctx);
}

ftp_direction direction_of(const builtin_ctx& ctx) {
    if (ctx.mode.append)
        return ftp_direction::append;
    return ctx.mode.write ? ftp_direction::store : ftp_direction::retrieve;
}

ftp_request request_for(const builtin_ctx& ctx, const transfer_place& place) {
    ftp_request request;
    request.host = place.host;
    request.port = place.port;
    request.path = place.path.get();
    request.user = ctx.uri->m_user != nullptr ? ctx.uri->m_user : option_text(ctx, "user");
    request.password = ctx.uri->m_password != nullptr ? ctx.uri->m_password : option_text(ctx, "password");
    request.direction = direction_of(ctx);
    request.limit_ms = ctx.timeout;
    return request;
}

/// The option "offset", which append, that has a place of its own, is refused.
int find_offset(const builtin_ctx& ctx, uint64_t& offset) {
    if (option_text(ctx, "offset") != nullptr && direction_of(ctx) == ftp_direction::append)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return read_option(ctx, "offset", offset, uint64_t{0}, uint64_t{INT64_MAX}) ? 0 : -1;
}

int open(builtin_ctx& ctx) {
    transfer_place place{};
    uint64_t offset = 0;
    if (check_transfer_mode(ctx) != 0 || find_transfer_place(ctx, ftp_port, "type", "i", place) != 0 ||
        find_offset(ctx, offset) != 0)
        return -1;
    ftp_request request = request_for(ctx, place);
    request.offset = offset;
    ftp_stream& stream = stream_of(ctx);
    stream.position = offset;
    return stream.client.open(request) ? 0 : fail_by_transfer(ctx, stream.client.error());
}

int close(builtin_ctx& ctx) {
    ftp_client& client = stream_of(ctx).client;
    return client.close() ? 0 : fail_by_transfer(ctx, client.error());
}

/// Seeking alone moves nothing, so that looking for the end costs no transfer.
bool go_to_position(ftp_stream& stream) {
    if (!stream.moved)
        return true;
    stream.moved = false;
    return stream.client.restart(stream.position);
}

int wait(builtin_ctx& ctx, int timeout_ms) {
    ftp_stream& stream = stream_of(ctx);
    const int ready = go_to_position(stream) ? stream.client.wait(timeout_ms) : -1;
    return ready == -1 ? fail_by_transfer(ctx, stream.client.error()) : ready;
}

int count_transferred(builtin_ctx& ctx, ptrdiff_t count) {
    ftp_stream& stream = stream_of(ctx);
    if (count > 0)
        stream.position += static_cast<uint64_t>(count);
    return transfer_result(ctx, count, stream.client.error());
}

int read(builtin_ctx& ctx, void* buffer, size_t size) {
    ftp_stream& stream = stream_of(ctx);
    return count_transferred(ctx,
                             go_to_position(stream) ? stream.client.read(buffer, size, ctx.timeout) : -1);
}

int write(builtin_ctx& ctx, const void* data, size_t size) {
    ftp_stream& stream = stream_of(ctx);
    return count_transferred(ctx, go_to_position(stream) ? stream.client.write(data, size, ctx.timeout) : -1);
}

int64_t seek(builtin_ctx& ctx, int64_t offset, int whence) {
    ftp_stream& stream = stream_of(ctx);
    if (direction_of(ctx) == ftp_direction::append)
        return fail(ctx, def_ombrel_ctx_error_not_supported);
    uint64_t base = 0;
    if (whence == def_ombrel_ctx_seek_current)
        base = stream.position;
    else if (whence == def_ombrel_ctx_seek_end && !stream.client.size())
        return fail(ctx, def_ombrel_ctx_error_not_supported);
    else if (whence == def_ombrel_ctx_seek_end)
        base = *stream.client.size();
    else if (whence != def_ombrel_ctx_seek_set)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    int64_t target = 0;
    if (__builtin_add_overflow(static_cast<int64_t>(base), offset, &target) || target < 0)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    stream.moved = stream.moved || static_cast<uint64_t>(target) != stream.position;
    stream.position = static_cast<uint64_t>(target);
    return target;
}

/// What was written is on its way; the server confirms it when the stream is closed.
int sync(builtin_ctx& ctx) {
    const ftp_client& client = stream_of(ctx).client;
    return client.error() ? fail_by_transfer(ctx, client.error()) : 0;
}

int control(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    return control_transfer(ctx, code, record, size, stream_of(ctx).client.size());
}

bool get_property(builtin_ctx& ctx, const char* name, char* text, size_t room) {
    return get_transfer_error(name, stream_of(ctx).client.error(), text, room);
}

} // namespace

constinit const builtin_kind builtin_ftp{
    .state = state_type_of<ftp_stream>,
    .timeout = network_timeout_ms,
    .is_bound_by_mode = true,
    .needs_uri = true,
    .open = open,
    .close = close,
    .is_readable = wait,
    .read = read,
    .is_writable = wait,
    .write = write,
    .seek = seek,
    .sync = sync,
    .control = control,
    .get_property = get_property,
};

} // namespace ombrel::builtin
