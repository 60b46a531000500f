#include <ombrel/http_field.h>

#include <algorithm>

#include "protocol/http/http_character.h"
#include "protocol/http/http_text_writer.h"
#include "text/number.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

/// Reads digits; a number that is too great becomes the greatest.
bool read_position(std::string_view text, int64_t& position) {
    if (!is_http_word(text, http_decimal))
        return false;
    if (!parse_number(text, position))
        position = INT64_MAX;
    return true;
}

/// A range as it is asked for: its size is 0 when nothing of it is there.
bool read_range(std::string_view text, int64_t total, ombrel_http_range_t& range) {
    const size_t dash = text.find('-');
    if (dash == text.npos)
        return false;
    const std::string_view before = slice(text, 0, dash), behind = slice(text, dash + 1);
    int64_t first = 0, last = INT64_MAX;
    if (before.empty()) {
        if (!read_position(behind, last))
            return false;
        const int64_t size = std::min(last, total);
        range = {total - size, size};
        return true;
    }
    if (!read_position(before, first) || (!behind.empty() && !read_position(behind, last)) || last < first)
        return false;
    range = {first, first < total ? std::min(last, total - 1) - first + 1 : 0};
    return true;
}

int64_t end_of(const ombrel_http_range_t& range) {
    return range.m_first + range.m_size;
}

bool touch(const ombrel_http_range_t& a, const ombrel_http_range_t& b) {
    return a.m_first <= end_of(b) && b.m_first <= end_of(a);
}

/// Adds a range to those that do not touch each other; what it touches becomes one with it, where the first
/// of them stands. Gives how many there are.
int add_range(ombrel_http_range_t* ranges, int count, ombrel_http_range_t added) {
    int place = count, kept = 0;
    for (int i = 0; i < count; i++) {
        if (touch(ranges[i], added)) {
            const int64_t first = std::min(added.m_first, ranges[i].m_first);
            added = {first, std::max(end_of(added), end_of(ranges[i])) - first};
            if (place != count)
                continue;
            place = kept;
        }
        ranges[kept++] = ranges[i];
    }
    if (place == count) {
        ranges[kept] = added;
        return kept + 1;
    }
    ranges[place] = added;
    return kept;
}

/// What stands behind the unit and the sign after it; null for another unit.
std::string_view behind_unit(std::string_view text, char sign) {
    constexpr std::string_view unit = "bytes";
    text = trim_http(text);
    if (!is_http_word_like(slice(text, 0, unit.size()), unit) || text.size() == unit.size() ||
        text[unit.size()] != sign)
        return {};
    return slice(text, unit.size() + 1);
}

} // namespace

int ombrel_parse_http_ranges(const char* text, size_t size, int64_t total, ombrel_http_range_t* ranges,
                             int limit) {
    if (text == nullptr || ranges == nullptr || limit < 1 || total < 0)
        return refuse_http(fault_code::invalid);
    const std::string_view list = behind_unit({text, size}, '=');
    ombrel_http_text_t element;
    size_t at = 0;
    int asked = 0, count = 0, step;
    while ((step = ombrel_next_http_element(list.data(), list.size(), &at, &element)) == 1) {
        ombrel_http_range_t range;
        if (!read_range(view_of(element), total, range))
            return refuse_http(fault_code::violation);
        if (++asked > limit)
            return refuse_http(fault_code::too_large);
        if (range.m_size > 0)
            count = add_range(ranges, count, range);
    }
    return step < 0 || asked == 0 ? refuse_http(fault_code::violation) : count;
}

int64_t ombrel_format_http_content_range(const ombrel_http_range_t* range, int64_t total, char* buf,
                                         size_t room) {
    const bool is_sound = range != nullptr ? range->m_first >= 0 && range->m_size > 0 &&
                                                 range->m_size <= INT64_MAX - range->m_first &&
                                                 (total < 0 || end_of(*range) <= total)
                                           : total >= 0;
    if (buf == nullptr || !is_sound)
        return refuse_http(fault_code::invalid);
    http_text_writer writer(buf, room);
    writer.put("bytes ");
    if (range == nullptr) {
        writer.put('*');
    } else {
        writer.put_number(range->m_first);
        writer.put('-');
        writer.put_number(end_of(*range) - 1);
    }
    writer.put('/');
    if (total < 0)
        writer.put('*');
    else
        writer.put_number(total);
    return writer.end();
}

int ombrel_parse_http_content_range(const char* text, size_t size, ombrel_http_range_t* range,
                                    int64_t* total) {
    if (text == nullptr || range == nullptr || total == nullptr)
        return refuse_http(fault_code::invalid);
    const std::string_view value = behind_unit({text, size}, ' ');
    const size_t slash = std::min(value.find('/'), value.size());
    const std::string_view part = slice(value, 0, slash), whole = slice(value, slash + 1);
    int64_t first = -1, last = -2, all = -1;
    const bool has_total = whole != "*";
    if (has_total && (!is_http_word(whole, http_decimal) || !parse_number(whole, all)))
        return refuse_http(fault_code::violation);
    if (part != "*") {
        const size_t dash = std::min(part.find('-'), part.size());
        const std::string_view before = slice(part, 0, dash), behind = slice(part, dash + 1);
        if (!is_http_word(before, http_decimal) || !is_http_word(behind, http_decimal) ||
            !parse_number(before, first) || !parse_number(behind, last) || last < first ||
            last == INT64_MAX || (has_total && last >= all))
            return refuse_http(fault_code::violation);
    } else if (!has_total) {
        return refuse_http(fault_code::violation);
    }
    *range = {first, last - first + 1};
    *total = all;
    return 0;
}
