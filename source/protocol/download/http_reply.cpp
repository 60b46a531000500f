#include "protocol/download/http_reply.h"

#include <algorithm>
#include <cstring>

#include <ombrel/calendar.h>
#include <ombrel/http_field.h>
#include <ombrel/printf.h>

#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

using std::string_view;

string_view value_of(const http_reply& reply, const char* name) {
    const char* const value = reply.value(name);
    return value != nullptr ? value : "";
}

reply_verdict over(source_end end) {
    return {reply_use::over, end};
}

/// Times of HTTP are whole seconds.
bool is_change_recent(const http_reply& reply) {
    const string_view changed = value_of(reply, "Last-Modified"), sent = value_of(reply, "Date");
    ombrel_instant_t change, answer;
    return ombrel_read_http_date(changed.data(), changed.size(), &change) == 0 &&
           ombrel_read_http_date(sent.data(), sent.size(), &answer) == 0 &&
           answer.m_seconds <= change.m_seconds;
}

/// A weak tag tells nothing of single bytes.
resource_info resource_of(const http_reply& reply) {
    resource_info resource;
    const string_view tag = value_of(reply, "ETag");
    if (starts_with(tag, "\""))
        resource.entity_tag.set(tag);
    resource.changed.set(value_of(reply, "Last-Modified"));
    resource.is_change_recent = is_change_recent(reply);
    return resource;
}

/// Seconds, or a date.
void read_retry_after(const transfer& what, const http_reply& reply) {
    constexpr int64_t most_seconds = 1'000'000;
    const string_view value = value_of(reply, "Retry-After");
    int64_t seconds = 0;
    ombrel_instant_t then, now;
    if (parse_number(value, int64_t{0}, INT64_MAX, seconds))
        seconds = std::min(seconds, most_seconds);
    else if (!value.empty() && ombrel_parse_http_date(value.data(), nullptr, &then, nullptr) == 0 &&
             ombrel_get_instant(&now) == 0)
        seconds = std::clamp<int64_t>(then.m_seconds - now.m_seconds, 0, most_seconds);
    if (!value.empty())
        what.wait_ms = static_cast<int>(seconds * 1000);
}

struct status_meaning {
    int status;
    fault_code code;
    bool is_for_now;
};

constexpr status_meaning meanings[] = {
    {401, fault_code::access_denied, false}, {403, fault_code::access_denied, false},
    {404, fault_code::not_found, false},     {407, fault_code::access_denied, false},
    {408, fault_code::timed_out, true},      {410, fault_code::not_found, false},
    {425, fault_code::rejected, true},       {429, fault_code::rejected, true},
    {500, fault_code::rejected, true},       {502, fault_code::rejected, true},
    {503, fault_code::rejected, true},       {504, fault_code::timed_out, true},
};

reply_verdict judge_refusal(const transfer& what, const http_reply& reply) {
    char text[40];
    ombrel_snprintf(text, sizeof text, "the server answers %d", reply.status);
    status_meaning meaning = {reply.status, fault_code::rejected, false};
    for (const status_meaning& known : meanings)
        if (known.status == reply.status)
            meaning = known;
    read_retry_after(what, reply);
    fail_source(what, meaning.code, text, reply.status);
    return over(meaning.is_for_now ? source_end::failed : source_end::refused);
}

reply_verdict judge_part(const transfer& what, const http_reply& reply, source_answer& answer) {
    const string_view value = value_of(reply, "Content-Range");
    ombrel_http_range_t range;
    int64_t total;
    const bool is_read = ombrel_parse_http_content_range(value.data(), value.size(), &range, &total) == 0;
    if (!is_read || range.m_first != what.request.offset || what.request.offset == 0)
        return over(source_end::anew);
    answer.offset = range.m_first;
    answer.resource.size = total >= 0 ? total : range.m_first + range.m_size;
    return {reply_use::body, source_end::whole};
}

/// Nothing is missing if the file is as large as what is here.
reply_verdict judge_unsatisfied(const transfer& what, const http_reply& reply) {
    const string_view value = value_of(reply, "Content-Range");
    ombrel_http_range_t range;
    int64_t total;
    const resource_info* const known = what.request.known;
    const bool is_all = ombrel_parse_http_content_range(value.data(), value.size(), &range, &total) == 0 &&
                        range.m_first < 0 && total == what.request.offset;
    const resource_info now = resource_of(reply);
    if (!is_all || known == nullptr || !known->agrees_with(now))
        return over(source_end::anew);
    source_answer answer = {total, now};
    answer.resource.size = total;
    return over(what.sink.begin(what.sink.context, answer) ? source_end::whole : source_end::stopped);
}

bool is_redirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

} // namespace

reply_verdict judge_reply(const transfer& what, const http_reply& reply, source_answer& answer) {
    constexpr int whole = 200, of_proxy = 203, part = 206, unsatisfied = 416;
    answer = {0, resource_of(reply)};
    answer.resource.size = reply.length;
    if (reply.status == whole || reply.status == of_proxy)
        return {reply_use::body, source_end::whole};
    if (reply.status == part)
        return judge_part(what, reply, answer);
    if (reply.status == unsatisfied && what.request.offset > 0)
        return judge_unsatisfied(what, reply);
    if (is_redirect(reply.status) && !value_of(reply, "Location").empty())
        return {reply_use::redirect, source_end::failed};
    return judge_refusal(what, reply);
}

http_conditions conditions_of(const source_request& request) {
    http_conditions conditions;
    if (request.offset == 0)
        return conditions;
    ombrel_snprintf(conditions.range, sizeof conditions.range, "bytes=%lld-",
                    static_cast<long long>(request.offset));
    const resource_info& known = *request.known;
    const char* const validator =
        !known.entity_tag.get().empty() ? known.entity_tag.c_str() : known.changed.c_str();
    ombrel_snprintf(conditions.if_range, sizeof conditions.if_range, "%s", validator);
    return conditions;
}

} // namespace ombrel::protocol
