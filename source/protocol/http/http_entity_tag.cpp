#include <ombrel/http_field.h>

#include "protocol/http/http_character.h"
#include "protocol/http/http_text_writer.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

/// Takes a tag off the front of the text.
bool take_tag(std::string_view& text, ombrel_http_entity_tag_t& tag) {
    const bool is_weak = starts_with(text, "W/");
    std::string_view rest = slice(text, is_weak ? 2 : 0);
    if (rest.empty() || rest[0] != '"')
        return false;
    rest.remove_prefix(1);
    const size_t size = count_http(rest, http_tag);
    if (size == rest.size() || rest[size] != '"')
        return false;
    tag = {http_text(slice(rest, 0, size)), is_weak ? 1 : 0, 0};
    text = slice(rest, size + 1);
    return true;
}

std::string_view skip_spaces(std::string_view text) {
    while (!text.empty() && is_http_space(text.front()))
        text.remove_prefix(1);
    return text;
}

bool was_sent(const ombrel_http_text_t& field) {
    return field.m_data != nullptr;
}

/// Whether the field is a date, and what it says of the last change: below 0 when that was before it.
bool compare_with_date(const ombrel_http_text_t& field, const ombrel_instant_t* modified, int& order) {
    ombrel_instant_t date;
    if (!was_sent(field) || modified == nullptr ||
        ombrel_read_http_date(field.m_data, field.m_size, &date) != 0)
        return false;
    order = modified->m_seconds < date.m_seconds ? -1 : modified->m_seconds > date.m_seconds ? 1 : 0;
    return true;
}

/// Whether what is to be changed is another than the one meant.
bool fails_match(const ombrel_http_conditions_t& conditions, const char* tag,
                 const ombrel_instant_t* modified) {
    const ombrel_http_text_t& match = conditions.m_if_match;
    if (was_sent(match))
        return ombrel_match_http_entity_tag(match.m_data, match.m_size, tag, 1) != 1;
    int order = 0;
    return compare_with_date(conditions.m_if_unmodified_since, modified, order) && order > 0;
}

/// Whether the peer has what it asks for.
bool is_known(const ombrel_http_conditions_t& conditions, bool is_read, const char* tag,
              const ombrel_instant_t* modified) {
    const ombrel_http_text_t& none_match = conditions.m_if_none_match;
    if (was_sent(none_match))
        return ombrel_match_http_entity_tag(none_match.m_data, none_match.m_size, tag, 0) == 1;
    int order = 0;
    return is_read && compare_with_date(conditions.m_if_modified_since, modified, order) && order <= 0;
}

} // namespace

int ombrel_next_http_entity_tag(const char* text, size_t size, size_t* at, ombrel_http_entity_tag_t* tag) {
    if (at == nullptr || tag == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    const std::string_view all(text, size);
    if (*at == 0 && trim_http(all) == "*") {
        *tag = {{}, 0, 1};
        *at = size;
        return 1;
    }
    std::string_view rest = skip_spaces(slice(all, *at));
    while (!rest.empty() && rest[0] == ',')
        rest = skip_spaces(slice(rest, 1));
    if (rest.empty())
        return 0;
    if (!take_tag(rest, *tag))
        return refuse_http(fault_code::violation);
    rest = skip_spaces(rest);
    if (!rest.empty() && rest[0] != ',')
        return refuse_http(fault_code::violation);
    *at = size - rest.size();
    return 1;
}

int ombrel_match_http_entity_tag(const char* text, size_t size, const char* tag, int is_strong) {
    ombrel_http_entity_tag_t ours{}, theirs;
    size_t at = 0;
    if (tag != nullptr && (ombrel_next_http_entity_tag(tag, strlen(tag), &at, &ours) != 1 ||
                           at != strlen(tag) || ours.m_is_any))
        return refuse_http(fault_code::violation);
    bool fits = false;
    int step;
    at = 0;
    while ((step = ombrel_next_http_entity_tag(text, size, &at, &theirs)) == 1) {
        const bool is_same = view_of(theirs.m_value) == view_of(ours.m_value) &&
                             !(is_strong && (theirs.m_is_weak || ours.m_is_weak));
        fits |= tag != nullptr && (theirs.m_is_any || is_same);
    }
    return step == 0 ? fits : -1;
}

int ombrel_read_http_date(const char* text, size_t size, ombrel_instant_t* instant) {
    char copy[40];
    if (text == nullptr || instant == nullptr)
        return refuse_http(fault_code::invalid);
    if (size >= sizeof copy || memchr(text, '\0', size) != nullptr)
        return refuse_http(fault_code::violation);
    *put_text(copy, {text, size}) = '\0';
    ombrel_instant_t read;
    if (ombrel_parse_http_date(copy, nullptr, &read, nullptr) != 0)
        return refuse_http(fault_code::violation);
    // Mail's other forms do not come back as they were.
    for (const int form :
         {def_ombrel_http_date_rfc1123, def_ombrel_http_date_rfc850, def_ombrel_http_date_asctime}) {
        char again[40];
        const int length = ombrel_format_http_date(again, sizeof again, &read, form);
        if (length >= 0 &&
            std::string_view(again, static_cast<size_t>(length)) == std::string_view(text, size)) {
            *instant = read;
            return 0;
        }
    }
    return refuse_http(fault_code::violation);
}

int ombrel_check_http_conditions(const ombrel_http_conditions_t* conditions, int is_read, const char* tag,
                                 const ombrel_instant_t* modified) {
    if (conditions == nullptr)
        return refuse_http(fault_code::invalid);
    if (fails_match(*conditions, tag, modified))
        return 412;
    if (is_known(*conditions, is_read != 0, tag, modified))
        return is_read ? 304 : 412;
    return 200;
}

int ombrel_check_http_range_condition(const ombrel_http_conditions_t* conditions, const char* tag,
                                      const ombrel_instant_t* modified) {
    if (conditions == nullptr)
        return refuse_http(fault_code::invalid);
    const ombrel_http_text_t& field = conditions->m_if_range;
    if (!was_sent(field))
        return 1;
    int order = 0;
    if (compare_with_date(field, modified, order))
        return order == 0 ? 1 : 0;
    return tag != nullptr && view_of(field) != "*" &&
                   ombrel_match_http_entity_tag(field.m_data, field.m_size, tag, 1) == 1
               ? 1
               : 0;
}
