#include "protocol/http/http_framing.h"

#include <ombrel/http_parser.h>

#include "protocol/http/http_character.h"
#include "text/number.h"

namespace ombrel::protocol {

namespace {

/// Takes the element before the next comma off the list; quotes mean nothing. False at the end.
bool take_plain_element(std::string_view& list, std::string_view& element, bool& is_last) {
    if (is_last)
        return false;
    const size_t comma = list.find(',');
    is_last = comma == list.npos;
    element = trim_http({list.data(), is_last ? list.size() : comma});
    if (!is_last)
        list.remove_prefix(comma + 1);
    return true;
}

template<typename Take>
void for_each_plain_element(std::string_view list, Take take) {
    std::string_view element;
    bool is_last = false;
    while (take_plain_element(list, element, is_last))
        take(element);
}

bool is_informational(int status) {
    return status >= 100 && status < 200;
}

/// Responses whose head is all there is, and may not say otherwise.
bool has_never_body(int status) {
    return is_informational(status) || status == 204;
}

} // namespace

int http_framing::take_host(std::string_view value, uint32_t flags) {
    if (has_host)
        return def_ombrel_http_fault_two_hosts;
    has_host = true;
    ombrel_http_authority_t authority;
    if (flags & def_ombrel_http_lenient_host ||
        ombrel_parse_http_authority(value.data(), value.size(), &authority) == 0)
        return 0;
    return def_ombrel_http_fault_host;
}

int http_framing::take_length(std::string_view value, uint32_t flags) {
    const bool is_lenient = (flags & def_ombrel_http_lenient_lengths) != 0;
    if (length >= 0 && !is_lenient)
        return def_ombrel_http_fault_two_lengths;
    std::string_view element;
    bool is_last = false;
    while (take_plain_element(value, element, is_last)) {
        int64_t number = 0;
        if ((!is_last && !is_lenient) || !is_http_word(element, http_decimal) ||
            !parse_number(element, number))
            return def_ombrel_http_fault_length;
        if (length >= 0 && number != length)
            return def_ombrel_http_fault_two_lengths;
        length = number;
    }
    return 0;
}

int http_framing::take_coding(std::string_view value) {
    std::string_view element;
    bool is_last = false;
    while (take_plain_element(value, element, is_last)) {
        // Behind chunked nothing may come, another chunked neither.
        if (is_chunked || !is_http_word(element, http_token))
            return def_ombrel_http_fault_coding;
        if (!is_http_word_like(element, "chunked"))
            return def_ombrel_http_fault_other_coding;
        is_chunked = true;
    }
    return 0;
}

void http_framing::take_connection(std::string_view value) {
    for_each_plain_element(value, [this](std::string_view element) {
        wants_close |= is_http_word_like(element, "close");
        wants_keep_alive |= is_http_word_like(element, "keep-alive");
        names_upgrade |= is_http_word_like(element, "upgrade");
    });
}

void http_framing::take_expect(std::string_view value) {
    for_each_plain_element(value, [this](std::string_view element) {
        const bool is_continue = is_http_word_like(element, "100-continue");
        wants_continue |= is_continue;
        expects_other |= !is_continue && !element.empty();
    });
}

int http_framing::take_field(std::string_view name, std::string_view value, bool is_request, uint32_t flags) {
    switch (name.size()) {
    case 4:
        return is_request && is_http_word_like(name, "host") ? take_host(value, flags) : 0;
    case 6:
        if (is_request && is_http_word_like(name, "expect"))
            take_expect(value);
        return 0;
    case 7:
        has_upgrade |= is_http_word_like(name, "upgrade");
        return 0;
    case 10:
        if (is_http_word_like(name, "connection"))
            take_connection(value);
        return 0;
    case 14:
        return is_http_word_like(name, "content-length") ? take_length(value, flags) : 0;
    case 17:
        return is_http_word_like(name, "transfer-encoding") ? take_coding(value) : 0;
    default:
        return 0;
    }
}

bool is_http_framing_field(std::string_view name) {
    return is_http_word_like(name, "host") || is_http_word_like(name, "content-length") ||
           is_http_word_like(name, "transfer-encoding");
}

namespace {

/// The reason to refuse a head that is well-formed line by line, or 0.
int check_head(const http_framing& framing, const http_start& start, uint32_t flags) {
    const bool is_request = start.status == 0;
    if (is_request && start.version > 10 && !framing.has_host && !(flags & def_ombrel_http_lenient_host))
        return def_ombrel_http_fault_no_host;
    if (framing.is_chunked && start.version == 10)
        return def_ombrel_http_fault_old_coding;
    if (framing.is_chunked && framing.length >= 0 && !(flags & def_ombrel_http_lenient_both))
        return def_ombrel_http_fault_both_lengths;
    if (start.is_connect && (framing.is_chunked || framing.length > 0))
        return def_ombrel_http_fault_connect_body;
    return 0;
}

bool opens_tunnel(const http_start& start) {
    return start.status == 101 ||
           (start.answer == def_ombrel_http_answer_connect && start.status >= 200 && start.status < 300);
}

int body_of(const http_framing& framing, const http_start& start) {
    if (opens_tunnel(start))
        return def_ombrel_http_body_tunnel;
    if (has_never_body(start.status) || start.status == 304 || start.answer == def_ombrel_http_answer_head)
        return def_ombrel_http_body_none;
    if (framing.is_chunked)
        return def_ombrel_http_body_chunked;
    if (framing.length >= 0 && !start.is_connect)
        return def_ombrel_http_body_length;
    return start.status == 0 ? def_ombrel_http_body_none : def_ombrel_http_body_close;
}

/// A response that may have no body and announces one, or that has two ends, may be followed by anything.
bool ends_clearly(const http_framing& framing, const http_start& start, int body) {
    const bool announces = framing.is_chunked || framing.length > 0;
    const bool is_doubtful =
        (has_never_body(start.status) && announces) || (framing.is_chunked && framing.length >= 0);
    return !is_doubtful && !start.is_connect && body != def_ombrel_http_body_close &&
           body != def_ombrel_http_body_tunnel;
}

} // namespace

int plan_http_body(const http_framing& framing, const http_start& start, uint32_t flags,
                   http_body_plan& plan) {
    if (const int reason = check_head(framing, start, flags))
        return reason;
    plan.body = body_of(framing, start);
    plan.length = framing.is_chunked ? -1 : framing.length;
    plan.head_flags = 0;
    const auto add = [&plan](bool is_so, uint32_t flag) { plan.head_flags |= is_so ? flag : 0; };
    const bool is_interim = is_informational(start.status) && start.status != 101;
    add((is_interim || framing.keeps_alive(start.version)) && ends_clearly(framing, start, plan.body),
        def_ombrel_http_head_keep_alive);
    add(framing.has_upgrade && framing.names_upgrade && start.version > 10, def_ombrel_http_head_upgrade);
    add(framing.wants_continue && start.version > 10, def_ombrel_http_head_continue);
    add(framing.expects_other, def_ombrel_http_head_expect_other);
    add(is_interim, def_ombrel_http_head_interim);
    return 0;
}

} // namespace ombrel::protocol
