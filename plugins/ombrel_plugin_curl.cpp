// Streams over HTTP, HTTPS and FTP by libcurl, as a plug-in.
#include <algorithm>
#include <memory>
#include <string_view>

#include <ombrel/ctx_interface.h>
#include <ombrel/plugin_curl.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "ctx_options.h"
#include "curl_transfer.h"

namespace {

constexpr int default_timeout_ms = 60000;

int fail(int ctx, int error) {
    ombrel_ctx_set_last_error(ctx, error);
    return -1;
}

transfer& transfer_of(int ctx) {
    return *static_cast<transfer*>(ombrel_ctx_get_plugin_data(ctx));
}

// With the words of libcurl or of the server's status, where these say why.
int fail_by(const transfer& failed, int ctx, int error) {
    char reason[def_ombrel_ctx_error_text_size];
    failed.get_reason(reason, sizeof reason);
    ombrel_ctx_set_last_error_text(ctx, error, reason);
    return -1;
}

// A count, or a negative error.
int give(int ctx, int result) {
    return result < 0 ? fail_by(transfer_of(ctx), ctx, -result) : result;
}

struct scheme {
    std::string_view name;
    bool is_http;
    bool by_general_type; // left to the library's own client otherwise
};

constexpr scheme schemes[] = {
    {"http", true, true},
    {"https", true, true},
    {"ftps", false, true},
    {"ftp", false, false},
};

const scheme* find_scheme(const char* source, const char* mime_type) {
    const bool general = ombrel_compare_mime_type(mime_type, def_ombrel_plugin_curl_mime_type) != 0;
    const std::string_view text = source;
    for (const scheme& known : schemes)
        if (text.size() > known.name.size() && text[known.name.size()] == ':' &&
            ombrel_strncasecmp(source, known.name.data(), known.name.size()) == 0)
            return general && !known.by_general_type ? nullptr : &known;
    return nullptr;
}

int read_options(int ctx, const char* mime_type, transfer_options& options) {
    options.source = ombrel_ctx_get_option_string_ex(ctx, "source", "");
    const scheme* const found = find_scheme(options.source, mime_type);
    if (found == nullptr)
        return def_ombrel_ctx_error_not_supported;
    const char mode = *ombrel_ctx_get_option_string_ex(ctx, "mode", "r");
    options.is_http = found->is_http;
    options.sends = mode == 'w' || mode == 'a';
    options.appends = mode == 'a';
    if ((mode != 'r' && !options.sends) || (options.appends && options.is_http))
        return def_ombrel_ctx_error_invalid_argument;
    options.timeout_ms = default_timeout_ms;
    if (!read_switch(ctx, "any_status", options.accepts_any_status) ||
        !read_switch(ctx, "progress", options.shows_progress) ||
        !read_switch(ctx, "debug", options.shows_headers) ||
        !read_switch(ctx, "verbose", options.is_verbose) ||
        !read_switch(ctx, "insecure", options.is_insecure) ||
        !read_option(ctx, "timeout", options.timeout_ms) || !read_option(ctx, "size", options.size) ||
        !read_option(ctx, "redirects", options.redirects))
        return def_ombrel_ctx_error_invalid_argument;
    options.is_verbose = options.is_verbose || options.shows_headers;
    return 0;
}

void destroy(transfer* done) {
    std::destroy_at(done);
    ombrel_free(done);
}

int open_stream(int ctx, const char* mime_type) {
    transfer_options options = {};
    if (const int error = read_options(ctx, mime_type, options))
        return fail(ctx, error);
    void* const block = ombrel_alloc(sizeof(transfer));
    if (block == nullptr)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    transfer* const made = std::construct_at(static_cast<transfer*>(block), options);
    if (const int error = made->start(ctx)) {
        // Nobody else would do better with what is ours.
        fail_by(*made, ctx,
                error == def_ombrel_ctx_error_not_supported ? def_ombrel_ctx_error_failed : error);
        destroy(made);
        return -1;
    }
    ombrel_ctx_set_plugin_data(ctx, made);
    return 0;
}

int close_stream(int ctx) {
    transfer& closing = transfer_of(ctx);
    const int error = closing.end_sending();
    if (error != 0)
        fail_by(closing, ctx, error);
    destroy(&closing);
    return error != 0 ? -1 : 0;
}

int is_readable(int ctx, int timeout_ms) {
    return give(ctx, transfer_of(ctx).wait_readable(timeout_ms));
}

int read_stream(int ctx, void* buffer, size_t size) {
    return give(ctx, transfer_of(ctx).read(static_cast<char*>(buffer), size));
}

int is_writable(int ctx, int timeout_ms) {
    return give(ctx, transfer_of(ctx).wait_writable(timeout_ms));
}

int write_stream(int ctx, const void* buffer, size_t size) {
    return give(ctx, transfer_of(ctx).write(static_cast<const char*>(buffer), size));
}

// What was written has been handed to the transport already.
int sync_stream(int) {
    return 0;
}

template<typename Value>
Value info_of(const transfer& from, CURLINFO info, Value otherwise) {
    Value value;
    return curl_easy_getinfo(from.handle(), info, &value) == CURLE_OK ? value : otherwise;
}

ombrel_curl_response_t response_of(const transfer& from) {
    return {static_cast<int32_t>(info_of<long>(from, CURLINFO_RESPONSE_CODE, 0)),
            static_cast<int32_t>(info_of<long>(from, CURLINFO_REDIRECT_COUNT, 0)),
            info_of<curl_off_t>(from, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, -1), from.received(), from.sent()};
}

int control_stream(int ctx, uint32_t code, va_list args) {
    auto* const response = static_cast<ombrel_curl_response_t*>(va_arg(args, void*));
    const size_t size = va_arg(args, size_t);
    if (code != def_ombrel_curl_control_get_response)
        return fail(ctx, def_ombrel_ctx_error_not_supported);
    if (response == nullptr || size != sizeof *response)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    transfer& from = transfer_of(ctx);
    const int error = from.end_sending();
    *response = response_of(from);
    return error != 0 ? fail_by(from, ctx, error) : 0;
}

int store_header(int ctx, std::string_view name, void* out, size_t room) {
    const header_lines& headers = transfer_of(ctx).headers();
    const std::string_view value = name.empty() ? headers.all() : headers.field(name);
    if (value.data() == nullptr)
        return fail(ctx, def_ombrel_ctx_error_not_found);
    const size_t size = value.size() < room ? value.size() : room;
    if (size > 0)
        memcpy(out, value.data(), size);
    return static_cast<int>(value.size());
}

int bcontrol_stream(int ctx, uint32_t code, va_list args) {
    const auto* const name = static_cast<const char*>(va_arg(args, const void*));
    const size_t name_size = va_arg(args, size_t);
    void* const out = va_arg(args, void*);
    const size_t room = va_arg(args, size_t);
    if (code != def_ombrel_curl_control_get_header)
        return fail(ctx, def_ombrel_ctx_error_not_supported);
    return store_header(ctx, {name, name != nullptr ? name_size : 0}, out, out != nullptr ? room : 0);
}

int store_number(int64_t number, char* text, size_t room) {
    char digits[24];
    ombrel_snprintf(digits, sizeof digits, "%lld", static_cast<long long>(number));
    return store_env(digits, text, room);
}

int store_text(const char* value, char* text, size_t room) {
    return store_env(value != nullptr ? value : "", text, room);
}

struct property {
    const char* name;
    int (*store)(const transfer& from, char* text, size_t room);
};

constexpr property properties[] = {
    {"response_code", [](const transfer& from, char* text,
                         size_t room) { return store_number(response_of(from).m_code, text, room); }},
    {"content_length",
     [](const transfer& from, char* text, size_t room) {
         return store_number(response_of(from).m_content_length, text, room);
     }},
    {"content_type",
     [](const transfer& from, char* text, size_t room) {
         return store_text(info_of<char*>(from, CURLINFO_CONTENT_TYPE, nullptr), text, room);
     }},
    {"effective_url",
     [](const transfer& from, char* text, size_t room) {
         return store_text(info_of<char*>(from, CURLINFO_EFFECTIVE_URL, nullptr), text, room);
     }},
    {"headers", [](const transfer& from, char* text,
                   size_t room) { return store_env(from.headers().all(), text, room); }},
    {"error",
     [](const transfer& from, char* text, size_t room) { return store_text(from.error_text(), text, room); }},
};

int get_env(int ctx, const char* name, char* text, size_t room) {
    transfer& from = transfer_of(ctx);
    for (const property& known : properties)
        if (ombrel_strcasecmp(name, known.name) == 0)
            return known.store(from, text, room);
    const std::string_view field = from.headers().field(name);
    return field.data() != nullptr ? store_env(field, text, room) : fail(ctx, def_ombrel_ctx_error_not_found);
}

int set_env(int ctx, const char* name, const char* text) {
    int timeout = default_timeout_ms;
    if (ombrel_strcasecmp(name, "timeout") != 0)
        return fail(ctx, def_ombrel_ctx_error_not_found);
    if (text != nullptr && !read_number(text, timeout))
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    transfer_of(ctx).set_timeout(timeout);
    return 0;
}

constexpr ombrel_ctx0_v0_interface_t table = {
    def_ombrel_interface_kind_ctx,
    sizeof(ombrel_ctx0_v0_interface_t),
    0,
    0,
    open_stream,
    close_stream,
    bcontrol_stream,
    nullptr,
    control_stream,
    is_readable,
    read_stream,
    is_writable,
    write_stream,
    nullptr,
    sync_stream,
    get_env,
    set_env,
    nullptr,
    nullptr,
    nullptr,
};

} // namespace

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** interface_table, size_t* size);
OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void);

int ombrel_plugin_initialize(const char** hint, const void** interface_table, size_t* size) {
    if (hint == nullptr || interface_table == nullptr || size == nullptr ||
        curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK)
        return -1;
    *hint = "application/tuk_stream;" def_ombrel_plugin_curl_mime_type;
    *interface_table = &table;
    *size = sizeof table;
    return 0;
}

int ombrel_plugin_uninitialize(void) {
    curl_global_cleanup();
    return 0;
}
