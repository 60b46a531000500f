#include "document/ini/ini_place.h"

#include <algorithm>

namespace ombrel::document {

namespace {

constexpr int nearby = 256; // items that are looked at for a manner to follow

/// Behind the comments that stand directly there, unless they stand directly before a head.
ini_item* skip_comments(const ini_t& ini, ini_item* place) {
    ini_item* last = place;
    ini_item* next = place != nullptr ? next_own(*place) : ini.head;
    while (next != nullptr && next->kind == ini_kind::comment) {
        last = next;
        next = next_own(*next);
    }
    return next != nullptr && next->kind == ini_kind::section ? place : last;
}

const ini_item* find_model(const ini_t& ini, const ini_item* place) {
    const ini_item* at = place;
    for (int i = 0; i < nearby && at != nullptr; i++, at = at->m_prev)
        if (at->kind == ini_kind::key && !at->is_included && !at->is_bare)
            return at;
    at = place != nullptr ? place : ini.head;
    for (int i = 0; i < nearby && at != nullptr; i++, at = at->m_next)
        if (at->kind == ini_kind::key && !at->is_included && !at->is_bare)
            return at;
    return nullptr;
}

std::string_view indent_of(const ini_item& item) {
    return slice(item.view(), 0, skip_ini_blanks(item.view(), 0));
}

bool is_trivial(const ini_item& item) {
    return item.kind == ini_kind::blank || item.kind == ini_kind::comment;
}

/// What stands next, other than blank lines and comments.
const ini_item* find_follower(const ini_t& ini, const ini_item* place) {
    const ini_item* at = place != nullptr ? next_own(*place) : ini.head;
    while (at != nullptr && is_trivial(*at))
        at = next_own(*at);
    return at;
}

/// What stands before, from the place on, other than blank lines and comments.
const ini_item* find_leader(const ini_item* place) {
    while (place != nullptr && is_trivial(*place))
        place = previous_own(*place);
    return place;
}

/// That of the key before, as a deeper one would go on with it; else of a model, or of what follows where
/// that would go on with one indented less.
std::string_view find_indent(const ini_t& ini, const ini_item* place, const ini_item* model) {
    const ini_item* const leader = find_leader(place);
    const std::string_view usual = ini.dialect.has(def_ombrel_ini_sub_sections) ? "\t" : "";
    if (leader != nullptr && leader->kind != ini_kind::section && leader->kind != ini_kind::mark) {
        const bool is_beside_head = leader->m_prev != nullptr && is_part_of_line(*leader->m_prev);
        const bool may_be_deeper = !ini.dialect.has(def_ombrel_ini_indented_lines);
        return !is_beside_head ? indent_of(*leader) : may_be_deeper ? usual : "";
    }
    const std::string_view indent = model != nullptr ? indent_of(*model) : usual;
    const ini_item* const follower = find_follower(ini, place);
    const bool may_swallow = ini.dialect.has(def_ombrel_ini_indented_lines) && follower != nullptr &&
                             indent_of(*follower).size() > indent.size();
    return may_swallow ? indent_of(*follower) : indent;
}

bool put_separator(const ini_t& ini, const ini_item* model, size_t key_size, growing_text& to) {
    const std::string_view separator = model != nullptr
                                           ? slice(model->view(), model->key_at + model->key_size,
                                                   model->value_at - model->key_at - model->key_size)
                                           : " = ";
    const size_t gap = skip_ini_blanks(separator, 0);
    // Separators that stand below one another go on doing so.
    const bool is_column = gap > 1 && std::count(separator.begin(), separator.begin() + gap, ' ') ==
                                          static_cast<std::ptrdiff_t>(gap);
    const size_t column = is_column ? model->key_size + gap : 0;
    if (!is_column && !to.append(slice(separator, 0, gap), ini.caller))
        return false;
    for (size_t at = key_size; is_column && at < std::max(column, key_size + 1); at++)
        if (!to.append(" ", ini.caller))
            return false;
    const bool is_tight = gap > 0 && separator.size() == gap + 1; // of a key without a value
    return to.append(slice(separator, gap), ini.caller) && (!is_tight || to.append(" ", ini.caller));
}

/// The line end that an item has, or the last one within a value of several lines; empty without.
std::string_view last_line_end(const ini_item& item) {
    const std::string_view text = item.view();
    return ini_line_end_of(slice(text, 0, text.rfind('\n') + 1));
}

} // namespace

ini_item* next_own(const ini_item& item) {
    ini_item* at = item.m_next;
    while (at != nullptr && at->is_included)
        at = at->m_next;
    return at;
}

ini_item* previous_own(const ini_item& item) {
    ini_item* at = item.m_prev;
    while (at != nullptr && at->is_included)
        at = at->m_prev;
    return at;
}

ini_item* find_ini_key_place(const ini_t& ini, const ini_section& section) {
    if (section.last != nullptr)
        return section.last->kind == ini_kind::key ? section.last : skip_comments(ini, section.last);
    ini_item* const mark = ini.head != nullptr && ini.head->kind == ini_kind::mark ? ini.head : nullptr;
    return skip_comments(ini, mark);
}

ini_item* find_ini_end(const ini_t& ini) {
    return ini.tail != nullptr && ini.tail->is_included ? previous_own(*ini.tail) : ini.tail;
}

bool put_ini_key_start(const ini_t& ini, const ini_item* place, std::string_view key, growing_text& to) {
    const ini_item* const model = find_model(ini, place);
    return to.append(find_indent(ini, place, model), ini.caller) && to.append(key, ini.caller) &&
           put_separator(ini, model, key.size(), to);
}

std::string_view ini_line_end_behind(const ini_t& ini, const ini_item* place) {
    int seen = 0;
    for (const ini_item* at = place; at != nullptr && seen < nearby; at = previous_own(*at), seen++)
        if (const std::string_view end = last_line_end(*at); !end.empty())
            return end;
    for (const ini_item* at = ini.head; at != nullptr && seen < 2 * nearby; at = next_own(*at), seen++)
        if (const std::string_view end = last_line_end(*at); !end.empty())
            return end;
    return "\n";
}

bool put_missing_line_end(const ini_t& ini, const ini_item& place, const ini_item& item, growing_text& to) {
    const std::string_view end = ini_line_end_behind(ini, &place);
    const bool is_open = item.kind != ini_kind::mark && ini_line_end_of(item.view()).empty();
    // A line that is joined to the next is given an empty one.
    return (!is_open || to.append(end, ini.caller)) && (!item.is_joined || to.append(end, ini.caller));
}

bool wants_blank_line(const ini_t& ini, const ini_item& end) {
    if (end.kind == ini_kind::blank || end.kind == ini_kind::mark)
        return false;
    for (const ini_item* at = &end; at != nullptr; at = previous_own(*at)) {
        if (at->kind != ini_kind::section)
            continue;
        const ini_item* before = previous_own(*at);
        while (before != nullptr && before->kind == ini_kind::comment)
            before = previous_own(*before);
        if (before != nullptr)
            return before->kind == ini_kind::blank;
    }
    return !ini.dialect.has(def_ombrel_ini_sub_sections);
}

ini_item* skip_included(const ini_t& ini, ini_item* place) {
    ini_item* next = place != nullptr ? place->m_next : ini.head;
    for (; next != nullptr && next->is_included; next = next->m_next)
        place = next;
    return place;
}

} // namespace ombrel::document
