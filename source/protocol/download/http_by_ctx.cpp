// Requests of HTTP that a context of a plug-in makes.
#include <cstring>
#include <iterator>

#include <ombrel/printf.h>

#include "context/ctx_guard.h"
#include "protocol/download/ctx_source.h"
#include "protocol/download/http_source.h"
#include "text/number.h"

namespace ombrel::protocol {

using context::ctx_guard;

namespace {

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

bool set_login(int ctx, const http_login& login) {
    return login.user == nullptr ||
           ombrel_ctx_set_option_fstring(ctx, "user", "%s:%s", login.user,
                                         login.password != nullptr ? login.password : "") == 0;
}

bool prepare_request(const transfer& what, const ctx_guard& from, const http_login& login) {
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
           ombrel_ctx_set_option(ctx, "redirects", "0") == 0 && set_login(ctx, login);
}

} // namespace

http_step ask_by_ctx(const transfer& what, const char* uri, const http_login& login) {
    const ctx_guard from;
    if (!prepare_request(what, from, login) || ombrel_open_ctx_stream(from.handle(), uri, "rb", 0) != 0)
        return {fail_by_ctx(what, from), {}};
    ctx_fields fields(from.handle());
    const http_reply reply = {static_cast<int>(ctx_number(fields.ctx, "response_code", 0)),
                              ctx_number(fields.ctx, "content_length", -1), ctx_field, &fields};
    source_answer answer;
    const reply_verdict verdict = judge_reply(what, reply, answer);
    if (verdict.use == reply_use::redirect)
        return follow_redirect(what, uri, reply.value("Location"));
    if (verdict.use == reply_use::over)
        return {verdict.end, {}};
    if (!what.watch.enter(def_ombrel_download_receiving) || !what.sink.begin(what.sink.context, answer))
        return {source_end::stopped, {}};
    return {read_ctx(what, from), {}};
}

} // namespace ombrel::protocol
