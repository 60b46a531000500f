#include "builtin/remote_file.h"

#include <string_view>

#include <ombrel/builtin_stream.h>
#include <ombrel/output.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "context/ctx_fault.h"
#include "text/slice.h"

namespace ombrel::builtin {

namespace {

/// Takes ";parameter=…" off the end of a path that is still encoded. False when its value is another.
bool take_parameter(std::string_view& path, std::string_view parameter, std::string_view value) {
    const size_t at = path.rfind(';');
    if (at == path.npos)
        return true;
    const std::string_view found = slice(path, at + 1);
    if (!starts_with(found, parameter) || !slice(found, parameter.size()).starts_with('='))
        return true;
    path = slice(path, 0, at);
    return slice(found, parameter.size() + 1) == value;
}

} // namespace

int find_transfer_place(const builtin_ctx& ctx, int default_port, const char* parameter, const char* value,
                        transfer_place& place) {
    const ombrel_uri_t& uri = *ctx.uri;
    std::string_view path = uri.m_encoded_path;
    if (!is_given(uri.m_host) || uri.m_port == 0 || !path.starts_with('/'))
        return fail(ctx, def_ombrel_ctx_error_syntax);
    if (!take_parameter(path, parameter, value))
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    path.remove_prefix(1);
    if (path.empty())
        return fail(ctx, def_ombrel_ctx_error_syntax);
    place.host = uri.m_host;
    place.port = uri.m_port < 0 ? default_port : uri.m_port;
    place.path.reset(ombrel_decode_uri(path.data(), path.size()));
    // The parser has already refused what cannot be decoded.
    return place.path ? 0 : fail(ctx, def_ombrel_ctx_error_no_memory);
}

int check_transfer_mode(const builtin_ctx& ctx) {
    const bool both = ctx.mode.read && ctx.mode.write;
    return both || ctx.mode.exclusive ? fail(ctx, def_ombrel_ctx_error_invalid_argument) : 0;
}

int fail_by_transfer(const builtin_ctx& ctx, const protocol::transfer_error& error) {
    if (ctx.debug || ctx.verbose)
        ombrel_error_printf("transfer failed ! (url=\"\x1b[1;32m%s\x1b[0m\", code=%d, \"%s\")\n", ctx.source,
                            error.peer_code(), error.text());
    char words[def_ombrel_ctx_error_text_size];
    const int code = context::ctx_error_of(error.fault());
    if (error.peer_code() == 0)
        return fail_in_words(ctx, code, error.text());
    ombrel_snprintf(words, sizeof words, "%d %s", error.peer_code(), error.text());
    return fail_in_words(ctx, code, words);
}

int transfer_result(const builtin_ctx& ctx, ptrdiff_t count, const protocol::transfer_error& error) {
    if (count >= 0)
        return static_cast<int>(count);
    if (count == protocol::transfer_waited)
        return fail(ctx, def_ombrel_ctx_error_timed_out);
    return error ? fail_by_transfer(ctx, error) : fail(ctx, def_ombrel_ctx_error_not_supported);
}

int control_transfer(const builtin_ctx& ctx, uint32_t code, void* record, size_t size,
                     std::optional<uint64_t> file_size) {
    if (code != def_ombrel_stream_control_get_size)
        return refuse_control(ctx);
    auto* const answer = control_record<ombrel_stream_size_t>(ctx, record, size);
    if (answer == nullptr)
        return -1;
    if (!file_size)
        return refuse_control(ctx);
    answer->m_size = *file_size;
    return 0;
}

bool get_transfer_error(const char* name, const protocol::transfer_error& error, char* text, size_t room) {
    if (ombrel_strcasecmp(name, "error") != 0)
        return false;
    ombrel_snprintf(text, room, "%s", error.text());
    return true;
}

} // namespace ombrel::builtin
