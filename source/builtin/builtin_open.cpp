#include "builtin/builtin_open.h"

#include <array>
#include <string_view>
#include <utility>

#include <ombrel/builtin_plugin.h>
#include <ombrel/ctx_interface.h>
#include <ombrel/heap.h>
#include <ombrel/output.h>
#include <ombrel/plugin.h>
#include <ombrel/printf.h>
#include <ombrel/scan.h>
#include <ombrel/string.h>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "system/stream/open_mode.h"
#include "text/slice.h"
#include "text/uri_scheme.h"

namespace ombrel::builtin {

namespace {

using std::string_view;

/// A context that has neither operations nor anything to open.
int accept(builtin_ctx&) {
    return 0;
}

constinit const builtin_kind base{.open = accept};

struct served_type {
    const char* mime_type;
    int code;                 ///< def_ombrel_builtin_kind_…
    const builtin_kind* kind; ///< null for a stream of any kind
    string_view scheme;       ///< of a stream's URI
};

constexpr std::array served_types{
    served_type{"application/tuk_base", def_ombrel_builtin_kind_base, &base, {}},
    served_type{"application/tuk_stream", def_ombrel_builtin_kind_stream, nullptr, {}},
    served_type{"application/tuk_stream_file", def_ombrel_builtin_kind_stream_file, &builtin_file, "file"},
    served_type{"application/tuk_stream_pipe", def_ombrel_builtin_kind_stream_pipe, &builtin_pipe, "pipe"},
    served_type{"application/tuk_stream_tftp", def_ombrel_builtin_kind_stream_tftp, &builtin_tftp, "tftp"},
    served_type{"application/tuk_stream_ftp", def_ombrel_builtin_kind_stream_ftp, &builtin_ftp, "ftp"},
    served_type{"application/tuk_stream_udp", def_ombrel_builtin_kind_stream_udp, &builtin_udp, "udp"},
    served_type{"application/tuk_stream_tcp", def_ombrel_builtin_kind_stream_tcp, &builtin_tcp, "tcp"},
    served_type{"application/tuk_fb", def_ombrel_builtin_kind_fb, &builtin_fb, {}},
    served_type{"application/tuk_linuxfb", def_ombrel_builtin_kind_linuxfb, &builtin_linuxfb, {}},
    served_type{"application/tuk_windows_dib", def_ombrel_builtin_kind_windows_dib, &builtin_windows_dib, {}},
    served_type{"application/tuk_multicall", def_ombrel_builtin_kind_multicall, &builtin_multicall, {}},
    served_type{
        "application/tuk_multicall_builtin", def_ombrel_builtin_kind_multicall, &builtin_multicall, {}},
};

struct scheme_alias {
    string_view scheme, kind_scheme;
};

constexpr std::array scheme_aliases{scheme_alias{"fd", "file"}, scheme_alias{"stdin", "file"},
                                    scheme_alias{"stdout", "file"}, scheme_alias{"stderr", "file"}};

const served_type* find_type(const char* mime_type) {
    for (const served_type& type : served_types) {
        if (ombrel_compare_mime_type(type.mime_type, mime_type) == 0)
            return &type;
    }
    return nullptr;
}

bool is_same_scheme(string_view a, string_view b) {
    return a.size() == b.size() && ombrel_strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool is_scheme_of(string_view scheme, const served_type& type) {
    if (type.scheme.empty())
        return false;
    for (const scheme_alias& alias : scheme_aliases) {
        if (is_same_scheme(alias.scheme, scheme))
            return is_same_scheme(alias.kind_scheme, type.scheme);
    }
    return is_same_scheme(type.scheme, scheme);
}

const served_type* find_stream(string_view scheme) {
    for (const served_type& type : served_types) {
        if (is_scheme_of(scheme, type))
            return &type;
    }
    return nullptr;
}

string_view scheme_of(const char* source) {
    const string_view text = source;
    return slice(text, 0, uri_scheme_size(text));
}

/// What a context is opened with.
struct opening {
    int handle;
    const context::option_list& options;
    const char* mime_type;
    const char* source;
    bool has_descriptor; ///< an open one, which goes before the source
};

/// The stream that the source names.
const served_type* choose_stream(const opening& wanted) {
    const string_view scheme = scheme_of(wanted.source);
    return find_stream(scheme.empty() || wanted.has_descriptor ? string_view("file") : scheme);
}

/// A source that names another kind. One with a colon but no "//" may as well be a host or a file.
bool is_foreign(const opening& wanted, const served_type& type) {
    const string_view scheme = scheme_of(wanted.source);
    if (type.scheme.empty() || scheme.empty() || is_scheme_of(scheme, type) || wanted.has_descriptor)
        return false;
    return slice(wanted.source, scheme.size() + 1, 2) == "//";
}

ombrel_uri_t* parse_source(const char* source, bool has_scheme, const served_type& type) {
    if (has_scheme)
        return ombrel_parse_uri_tag(source, "ombrel_open_ctx", __LINE__);
    const heap_ptr<char> text(ombrel_alloc_sprintf("%s://%s", type.scheme.data(), source));
    ombrel_uri_t* const uri = text ? ombrel_parse_uri_tag(text.get(), "ombrel_open_ctx", __LINE__) : nullptr;
    wipe_text(text.get()); // it may hold a password
    return uri;
}

constexpr size_t aligned(size_t size) {
    constexpr size_t alignment = alignof(std::max_align_t);
    return (size + alignment - 1) / alignment * alignment;
}

/// The record, the kind's state and both texts in one block.
builtin_ctx* allocate(const opening& wanted, const served_type& type) {
    const size_t state_place = aligned(sizeof(builtin_ctx));
    const size_t text_place = state_place + type.kind->state.size;
    const string_view mime_text = wanted.mime_type, source_text = wanted.source;
    const size_t size = text_place + mime_text.size() + 1 + source_text.size() + 1;
    auto* const block = static_cast<char*>(ombrel_calloc_tag(1, size, "ombrel_open_ctx", __LINE__));
    if (block == nullptr)
        return nullptr;
    auto* const ctx = reinterpret_cast<builtin_ctx*>(block);
    char* const mime_copy = block + text_place;
    char* const source_copy = mime_copy + mime_text.size() + 1;
    put_text(mime_copy, mime_text);
    put_text(source_copy, source_text);
    ctx->handle = wanted.handle;
    ctx->options = &wanted.options;
    ctx->kind = type.kind;
    ctx->state = block + state_place;
    ctx->mime_type = mime_copy;
    ctx->source = source_copy;
    if (type.kind->state.construct != nullptr)
        type.kind->state.construct(ctx->state);
    return ctx;
}

void free_builtin(builtin_ctx* ctx) {
    if (ctx->kind->state.destroy != nullptr)
        ctx->kind->state.destroy(ctx->state);
    // A source may have a password in it.
    wipe_text(const_cast<char*>(ctx->source));
    ombrel_free_uri_tag(const_cast<ombrel_uri_t*>(ctx->uri), "ombrel_close_ctx", __LINE__);
    ombrel_free_tag(ctx, "ombrel_close_ctx", __LINE__);
}

int read_mode(builtin_ctx& ctx) {
    ctx.mode = {.read = true};
    const char* const mode = option_text(ctx, "mode");
    return mode == nullptr || system::parse_open_mode(mode, ctx.mode)
               ? 0
               : fail(ctx, def_ombrel_ctx_error_syntax);
}

int read_options(builtin_ctx& ctx) {
    ctx.timeout = ctx.kind->timeout;
    const bool are_read = read_switch(ctx, "debug", ctx.debug) && read_switch(ctx, "verbose", ctx.verbose) &&
                          read_option(ctx, "missed_time", ctx.missed_time) &&
                          read_option(ctx, "timeout", ctx.timeout);
    return are_read ? read_mode(ctx) : -1;
}

int take_source_apart(builtin_ctx& ctx, const served_type& type) {
    ctx.has_scheme = is_scheme_of(scheme_of(ctx.source), type);
    if (!ctx.kind->needs_uri)
        return 0;
    ctx.uri = parse_source(ctx.source, ctx.has_scheme, type);
    return ctx.uri != nullptr ? 0 : fail(ctx, def_ombrel_ctx_error_syntax);
}

void report_refusal(const builtin_ctx& ctx) {
    if (!ctx.debug && !ctx.verbose)
        return;
    ombrel_error_printf("open failed ! (mime_type=\"\x1b[1;37m%s\x1b[0m\", url=\"\x1b[1;32m%s\x1b[0m\", "
                        "error=%d)\n",
                        ctx.mime_type, ctx.source, ombrel_ctx_get_error_word(ctx.handle));
}

int open_kind(builtin_ctx& ctx, const served_type& type) {
    const bool is_open =
        read_options(ctx) == 0 && take_source_apart(ctx, type) == 0 && ctx.kind->open(ctx) == 0;
    if (!is_open)
        report_refusal(ctx);
    return is_open ? 0 : -1;
}

/// The type of the MIME type, or that of the stream; null, with the error set, when it is refused.
const served_type* choose_type(const opening& wanted, const served_type* named) {
    const bool is_any_stream = named != nullptr && named->kind == nullptr;
    const served_type* const type = is_any_stream ? choose_stream(wanted) : named;
    if (type != nullptr && !is_foreign(wanted, *type))
        return type;
    refuse(wanted.handle, type == nullptr ? def_ombrel_ctx_error_not_supported : def_ombrel_ctx_error_syntax);
    return nullptr;
}

opening read_opening(int handle, const context::option_list& options, const char* mime_type) {
    const char* const source = options.get("source");
    return {handle, options, mime_type, source != nullptr ? source : "", options.get("fd") != nullptr};
}

} // namespace

builtin_ctx* open_builtin(int handle, const context::option_list& options, const char* mime_type) {
    const opening wanted = read_opening(handle, options, mime_type);
    const served_type* const named = find_type(mime_type);
    const served_type* const type = choose_type(wanted, named);
    if (type == nullptr)
        return nullptr;
    builtin_ctx* const ctx = allocate(wanted, *type);
    if (ctx == nullptr) {
        refuse(handle, def_ombrel_ctx_error_no_memory);
        return nullptr;
    }
    if (open_kind(*ctx, *type) == 0) {
        ombrel_ctx_set_plugin_descriptor(handle, named->code);
        return ctx;
    }
    free_builtin(ctx);
    return nullptr;
}

int close_builtin(builtin_ctx* ctx) {
    const int result = ctx->kind->close != nullptr ? ctx->kind->close(*ctx) : 0;
    free_builtin(ctx);
    return result;
}

} // namespace ombrel::builtin
