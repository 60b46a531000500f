// Files from servers of HTTP: redirections, and the two ways in which it is spoken.
#include <cstring>

#include <ombrel/printf.h>

#include "context/ctx_guard.h"
#include "protocol/download/ctx_source.h"
#include "protocol/download/http_reply.h"
#include "protocol/download/uri_reference.h"
#include "system/file/file_internal.h"
#include "text/number.h"

namespace ombrel::protocol {

using context::ctx_guard;
using system::quiet_ptr;

namespace {

constexpr call_site here{"ombrel_download_file", 1};

/// How one request ended: with another place to ask, or for good.
struct step {
    source_end end;
    quiet_ptr<char> next; ///< the URI of the other place; null at the end
};

bool is_safe(const char* uri) {
    return strncmp(uri, "https:", 6) == 0;
}

bool is_http(const char* uri) {
    return is_safe(uri) || strncmp(uri, "http:", 5) == 0;
}

step follow(const transfer& what, const char* uri, const char* location) {
    quiet_ptr<char> next(resolve_uri_reference(uri, location, here));
    if (!next)
        return {fail_source(what, fault_code::no_memory, "no memory"), {}};
    const bool is_good = is_http(next.get()) && is_allowed(what.request.options, next.get()) &&
                         (is_safe(next.get()) || !is_safe(uri));
    if (is_good)
        return {source_end::failed, std::move(next)};
    what.error.set(fault_code::rejected, "the server redirects to what is not allowed");
    return {source_end::refused, {}};
}

/// The fields of an answer in a context, each of which stays while the others of a request are read.
struct ctx_fields {
    explicit ctx_fields(int opened) : ctx(opened) {}

    int ctx;
    size_t next = 0;
    char texts[8][2048];
};

const char* ctx_field(void* from, const char* name) {
    auto& fields = *static_cast<ctx_fields*>(from);
    char(&text)[2048] = fields.texts[fields.next++ % std::size(fields.texts)];
    const int size = ombrel_ctx_get_env(fields.ctx, name, text, sizeof text);
    return size >= 0 && static_cast<size_t>(size) < sizeof text ? text : nullptr;
}

int64_t ctx_number(int ctx, const char* name, int64_t otherwise) {
    char text[24];
    int64_t number = otherwise;
    if (ombrel_ctx_get_env(ctx, name, text, sizeof text) > 0)
        parse_number(std::string_view(text), int64_t{-1}, INT64_MAX, number);
    return number;
}

bool prepare_request(const transfer& what, const ctx_guard& from) {
    const http_conditions conditions = conditions_of(what.request);
    char lines[512] = "Accept-Encoding: identity";
    size_t size = strlen(lines);
    const auto add = [&](const char* name, const char* value) {
        if (*value != '\0')
            size += static_cast<size_t>(
                ombrel_snprintf(lines + size, sizeof lines - size, "\n%s: %s", name, value));
    };
    add("Range", conditions.range);
    add("If-Range", conditions.if_range);
    const int ctx = from.handle();
    return prepare_ctx(what, from) && ombrel_ctx_set_option(ctx, "httpheader", lines) == 0 &&
           ombrel_ctx_set_option(ctx, "any_status", "1") == 0 &&
           ombrel_ctx_set_option(ctx, "redirects", "0") == 0;
}

step ask_by_ctx(const transfer& what, const char* uri) {
    const ctx_guard from;
    if (!prepare_request(what, from) || ombrel_open_ctx_stream(from.handle(), uri, "rb", 0) != 0)
        return {fail_by_ctx(what, from), {}};
    ctx_fields fields(from.handle());
    const http_reply reply = {static_cast<int>(ctx_number(fields.ctx, "response_code", 0)),
                              ctx_number(fields.ctx, "content_length", -1), ctx_field, &fields};
    source_answer answer;
    const reply_verdict verdict = judge_reply(what, reply, answer);
    if (verdict.use == reply_use::redirect)
        return follow(what, uri, reply.value("Location"));
    if (verdict.use == reply_use::over)
        return {verdict.end, {}};
    if (!what.watch.enter(def_ombrel_download_receiving) || !what.sink.begin(what.sink.context, answer))
        return {source_end::stopped, {}};
    return {read_ctx(what, from), {}};
}

} // namespace

source_end fetch_http(const transfer& what) {
    quiet_ptr<char> redirected;
    const char* uri = what.request.uri;
    for (size_t redirects = 0; redirects <= what.request.options.m_redirect_limit; redirects++) {
        what.watch.state().m_uri = uri;
        step taken = ask_by_ctx(what, uri);
        if (!taken.next)
            return taken.end;
        redirected = std::move(taken.next);
        uri = redirected.get();
    }
    what.watch.state().m_uri = what.request.uri;
    return fail_source(what, fault_code::link_loop, "too many redirections");
}

} // namespace ombrel::protocol
