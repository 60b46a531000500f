// The kind "application/tuk_stream_tftp": one file read from or written to a TFTP server.
#include <algorithm>

#include "builtin/remote_file.h"
#include "protocol/tftp/tftp_client.h"

namespace ombrel::builtin {

namespace {

using protocol::tftp_client;
using protocol::tftp_request;

constexpr int tftp_port = 69;

tftp_client& client_of(builtin_ctx& ctx) {
    return state_of<tftp_client>(ctx);
}

bool read_options(const builtin_ctx& ctx, tftp_request& request) {
    constexpr size_t least_block = protocol::least_tftp_block, most_block = protocol::most_tftp_block;
    int tries = static_cast<int>(request.tries);
    uint64_t size = 0;
    if (!read_option(ctx, "block_size", request.block_size, least_block, most_block) ||
        !read_option(ctx, "interval", request.interval_ms) || !read_option(ctx, "tries", tries) ||
        !read_option(ctx, "size", size, uint64_t{0}, uint64_t{INT64_MAX}))
        return false;
    request.tries = static_cast<unsigned>(std::max(tries, 1));
    if (option_text(ctx, "size") != nullptr)
        request.size = size;
    return true;
}

/// False, with the error set, when an option makes no sense.
bool fill_request(const builtin_ctx& ctx, const transfer_place& place, tftp_request& request) {
    request.host = place.host;
    request.port = place.port;
    request.name = place.path.get();
    request.write = ctx.mode.write;
    request.limit_ms = ctx.timeout;
    return read_options(ctx, request);
}

int open(builtin_ctx& ctx) {
    // The protocol replaces files as a whole.
    if (ctx.mode.append)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    transfer_place place{};
    tftp_request request;
    if (check_transfer_mode(ctx) != 0 || find_transfer_place(ctx, tftp_port, "mode", "octet", place) != 0 ||
        !fill_request(ctx, place, request))
        return -1;
    tftp_client& client = client_of(ctx);
    return client.open(request) ? 0 : fail_by_transfer(ctx, client.error());
}

int close(builtin_ctx& ctx) {
    tftp_client& client = client_of(ctx);
    return client.close() ? 0 : fail_by_transfer(ctx, client.error());
}

int wait(builtin_ctx& ctx, int timeout_ms) {
    tftp_client& client = client_of(ctx);
    const int ready = client.wait(timeout_ms);
    return ready == -1 ? fail_by_transfer(ctx, client.error()) : ready;
}

int is_readable(builtin_ctx& ctx, int timeout_ms) {
    return client_of(ctx).is_writing() ? fail(ctx, def_ombrel_ctx_error_not_supported)
                                       : wait(ctx, timeout_ms);
}

int is_writable(builtin_ctx& ctx, int timeout_ms) {
    return client_of(ctx).is_writing() ? wait(ctx, timeout_ms)
                                       : fail(ctx, def_ombrel_ctx_error_not_supported);
}

int read(builtin_ctx& ctx, void* buffer, size_t size) {
    tftp_client& client = client_of(ctx);
    return transfer_result(ctx, client.read(buffer, size, ctx.timeout), client.error());
}

int write(builtin_ctx& ctx, const void* data, size_t size) {
    tftp_client& client = client_of(ctx);
    return transfer_result(ctx, client.write(data, size, ctx.timeout), client.error());
}

/// Only a full block can be sent before the end, so this waits for the last of these to arrive.
int sync(builtin_ctx& ctx) {
    if (!client_of(ctx).is_writing())
        return 0;
    const int ready = wait(ctx, ctx.timeout);
    return ready == 0 ? fail(ctx, def_ombrel_ctx_error_timed_out) : ready - 1;
}

int control(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    return control_transfer(ctx, code, record, size, client_of(ctx).size());
}

bool get_property(builtin_ctx& ctx, const char* name, char* text, size_t room) {
    return get_transfer_error(name, client_of(ctx).error(), text, room);
}

} // namespace

constinit const builtin_kind builtin_tftp{
    .state = state_type_of<tftp_client>,
    .timeout = network_timeout_ms,
    .is_bound_by_mode = true,
    .needs_uri = true,
    .open = open,
    .close = close,
    .is_readable = is_readable,
    .read = read,
    .is_writable = is_writable,
    .write = write,
    .sync = sync,
    .control = control,
    .get_property = get_property,
};

} // namespace ombrel::builtin
