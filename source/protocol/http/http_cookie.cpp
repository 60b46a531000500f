#include <ombrel/http_field.h>

#include <algorithm>
#include <iterator>

#include "protocol/http/http_character.h"
#include "protocol/http/http_text_writer.h"
#include "text/number.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

struct named_value {
    std::string_view name, value;
    bool has_value;
};

/// Takes what stands before the next ";" off the text.
named_value take_pair(std::string_view& text) {
    const size_t end = std::min(text.find(';'), text.size());
    const std::string_view pair = slice(text, 0, end);
    text = slice(text, end + 1);
    const size_t sign = pair.find('=');
    const bool has_value = sign != pair.npos;
    return {trim_http(slice(pair, 0, sign)),
            has_value ? trim_http(slice(pair, sign + 1)) : std::string_view(), has_value};
}

std::string_view without_quotes(std::string_view text) {
    const bool is_quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return is_quoted ? slice(text, 1, text.size() - 2) : text;
}

bool is_cookie(const named_value& pair) {
    return pair.has_value && is_http_word(pair.name, http_token) &&
           ombrel_is_http_value(pair.value.data(), pair.value.size());
}

constexpr std::string_view same_site_words[] = {"", "strict", "lax", "none"};
constexpr std::string_view same_site_texts[] = {"", "; SameSite=Strict", "; SameSite=Lax", "; SameSite=None"};

void take_max_age(std::string_view value, int64_t& age) {
    const bool is_negative = starts_with(value, "-");
    if (!is_http_word(slice(value, is_negative ? 1 : 0), http_decimal))
        return;
    if (is_negative)
        age = 0;
    else if (!parse_number(value, age))
        age = INT64_MAX;
}

void take_expires(std::string_view value, int64_t& expires) {
    char copy[48];
    ombrel_instant_t instant;
    if (value.size() >= sizeof copy)
        return;
    *put_text(copy, value) = '\0';
    if (ombrel_parse_http_date(copy, nullptr, &instant, nullptr) == 0)
        expires = instant.m_seconds;
}

void take_attribute(const named_value& pair, ombrel_http_set_cookie_t& cookie) {
    if (is_http_word_like(pair.name, "path")) {
        cookie.m_path = http_text(starts_with(pair.value, "/") ? pair.value : std::string_view());
    } else if (is_http_word_like(pair.name, "domain")) {
        cookie.m_domain = http_text(slice(pair.value, starts_with(pair.value, ".") ? 1 : 0));
    } else if (is_http_word_like(pair.name, "max-age")) {
        take_max_age(pair.value, cookie.m_max_age);
    } else if (is_http_word_like(pair.name, "expires")) {
        take_expires(pair.value, cookie.m_expires);
    } else if (is_http_word_like(pair.name, "secure")) {
        cookie.m_is_secure = 1;
    } else if (is_http_word_like(pair.name, "httponly")) {
        cookie.m_is_http_only = 1;
    } else if (is_http_word_like(pair.name, "samesite")) {
        for (size_t word = 1; word < std::size(same_site_words); word++)
            if (is_http_word_like(pair.value, same_site_words[word]))
                cookie.m_same_site = static_cast<int>(word);
    }
}

bool are_all(const ombrel_http_text_t& text, http_class what) {
    const std::string_view view = view_of(text);
    return count_http(view, what) == view.size();
}

bool is_sound(const ombrel_http_set_cookie_t& cookie) {
    return is_http_word(view_of(cookie.m_name), http_token) && are_all(cookie.m_value, http_cookie) &&
           are_all(cookie.m_path, http_attribute) &&
           (cookie.m_path.m_size == 0 || starts_with(view_of(cookie.m_path), "/")) &&
           are_all(cookie.m_domain, http_host) && cookie.m_same_site >= def_ombrel_http_same_site_unset &&
           cookie.m_same_site <= def_ombrel_http_same_site_none &&
           (cookie.m_same_site != def_ombrel_http_same_site_none || cookie.m_is_secure);
}

void put_attribute(http_text_writer& writer, std::string_view name, const ombrel_http_text_t& value) {
    if (value.m_size == 0)
        return;
    writer.put(name);
    writer.put(view_of(value));
}

} // namespace

int ombrel_next_http_cookie(const char* text, size_t size, size_t* at, ombrel_http_cookie_t* cookie) {
    if (at == nullptr || cookie == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    std::string_view rest = slice({text, size}, *at);
    while (!rest.empty()) {
        const named_value pair = take_pair(rest);
        *at = size - rest.size();
        if (is_cookie(pair)) {
            *cookie = {http_text(pair.name), http_text(without_quotes(pair.value))};
            return 1;
        }
    }
    return 0;
}

int ombrel_init_http_set_cookie(ombrel_http_set_cookie_t* cookie) {
    if (cookie == nullptr)
        return refuse_http(fault_code::invalid);
    *cookie = {{}, {}, {}, {}, -1, INT64_MIN, 0, 0, def_ombrel_http_same_site_unset};
    return 0;
}

int64_t ombrel_format_http_set_cookie(const ombrel_http_set_cookie_t* cookie, char* buf, size_t room) {
    if (cookie == nullptr || buf == nullptr || !is_sound(*cookie))
        return refuse_http(fault_code::invalid);
    http_text_writer writer(buf, room);
    writer.put(view_of(cookie->m_name));
    writer.put('=');
    writer.put(view_of(cookie->m_value));
    put_attribute(writer, "; Path=", cookie->m_path);
    put_attribute(writer, "; Domain=", cookie->m_domain);
    if (cookie->m_max_age >= 0) {
        writer.put("; Max-Age=");
        writer.put_number(cookie->m_max_age);
    }
    if (cookie->m_expires != INT64_MIN) {
        const ombrel_instant_t instant = {cookie->m_expires, 0};
        char date[40];
        if (ombrel_format_http_date(date, sizeof date, &instant, def_ombrel_http_date_rfc1123) < 0)
            return refuse_http(fault_code::invalid);
        writer.put("; Expires=");
        writer.put(date);
    }
    writer.put(cookie->m_is_secure ? "; Secure" : "");
    writer.put(cookie->m_is_http_only ? "; HttpOnly" : "");
    writer.put(same_site_texts[cookie->m_same_site]);
    return writer.end();
}

int ombrel_parse_http_set_cookie(const char* text, size_t size, ombrel_http_set_cookie_t* cookie) {
    if (text == nullptr || ombrel_init_http_set_cookie(cookie) != 0)
        return refuse_http(fault_code::invalid);
    std::string_view rest(text, size);
    const named_value pair = take_pair(rest);
    if (!is_cookie(pair))
        return refuse_http(fault_code::violation);
    cookie->m_name = http_text(pair.name);
    cookie->m_value = http_text(without_quotes(pair.value));
    while (!rest.empty())
        take_attribute(take_pair(rest), *cookie);
    return 0;
}
