// Sentences as text.
#include <cstring>
#include <string_view>

#include "core/fault.h"
#include "protocol/nmea/nmea_rules.h"
#include "protocol/nmea/nmea_sentence.h"
#include "system/time/civil_time.h"
#include "system/time/counted_text.h"
#include "text/digits.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;
using ombrel::system::counted_text;

namespace {

using std::string_view;

constexpr uint64_t scale = def_ombrel_nmea_scale;

void put_whole(counted_text& text, uint64_t value, int width) {
    char digits[20];
    char* at = digits + sizeof digits;
    for (; value > 0 || width > 0; value /= 10, width--)
        *--at = static_cast<char>('0' + value % 10);
    text.put(string_view(at, static_cast<size_t>(digits + sizeof digits - at)));
}

/// As many digits behind the point as are needed, and at least so many.
void put_fraction(counted_text& text, uint64_t billionths, int least) {
    int digits = 9;
    for (; digits > least && billionths % 10 == 0; billionths /= 10)
        digits--;
    if (digits == 0)
        return;
    text.put('.');
    put_whole(text, billionths, digits);
}

void put_sign(counted_text& text, int64_t value) {
    if (value < 0)
        text.put('-');
}

void put_number(counted_text& text, int64_t value) {
    const uint64_t size = system::magnitude_of(value);
    put_sign(text, value);
    put_whole(text, size / scale, 1);
    put_fraction(text, size % scale, 0);
}

/// @param digits of the degrees
void put_angle(counted_text& text, int64_t value, int digits) {
    constexpr uint64_t minutes_per_degree = 60;
    const uint64_t size = system::magnitude_of(value);
    put_whole(text, size / scale / minutes_per_degree, digits);
    put_whole(text, size / scale % minutes_per_degree, 2);
    put_fraction(text, size % scale, 4);
}

void put_time(counted_text& text, const ombrel_civil_time_t& time) {
    for (const int32_t part : {time.m_hour, time.m_minute, time.m_second})
        text.put_pair(part);
    put_fraction(text, static_cast<uint64_t>(time.m_nanosecond), 2);
}

void put_date(counted_text& text, const ombrel_civil_time_t& time) {
    for (const int32_t part : {time.m_day, time.m_month, time.m_year % 100})
        text.put_pair(part);
}

bool has_time(const ombrel_civil_time_t& time) {
    return time.m_hour != -1;
}

bool has_date(const ombrel_civil_time_t& time) {
    return time.m_month != 0;
}

/// Whether a date is one that fits its field, which has the year's last two digits or all four.
bool is_writable_date(const ombrel_civil_time_t& time, bool is_short) {
    const int32_t first = is_short ? 1980 : 1, last = is_short ? 2079 : 9999;
    return time.m_year >= first && time.m_year <= last &&
           system::is_date(time.m_year, time.m_month, time.m_day);
}

/// A value with a side: latitude, longitude or variation.
bool put_sided(counted_text& text, const nmea_rule& rule, int64_t value) {
    const bool is_latitude = rule.kind == nmea_kind::latitude;
    const int64_t most = (is_latitude ? 90 : 180) * int64_t{60} * def_ombrel_nmea_scale;
    if (value == def_ombrel_nmea_not_given)
        return text.put(','), true;
    if (rule.kind == nmea_kind::variation)
        put_number(text, value < 0 ? -value : value);
    else if (value < -most || value > most)
        return false;
    else
        put_angle(text, value, is_latitude ? 2 : 3);
    text.put(',');
    text.put((is_latitude ? "NS" : "EW")[value < 0 ? 1 : 0]);
    return true;
}

bool put_count(counted_text& text, const nmea_rule& rule, int64_t value) {
    if (value < rule.least || value > rule.most)
        return false;
    put_sign(text, value);
    put_whole(text, system::magnitude_of(value), rule.width);
    return true;
}

bool put_clock(counted_text& text, const ombrel_civil_time_t& time) {
    if (!has_time(time))
        return true;
    if (!system::has_clock_fields(time))
        return false;
    put_time(text, time);
    return true;
}

bool put_date_part(counted_text& text, nmea_kind kind, const ombrel_civil_time_t& time) {
    if (!has_date(time))
        return true;
    if (!is_writable_date(time, kind == nmea_kind::date))
        return false;
    if (kind == nmea_kind::date)
        put_date(text, time);
    else if (kind == nmea_kind::year)
        put_whole(text, static_cast<uint64_t>(time.m_year), 4);
    else
        text.put_pair(kind == nmea_kind::day ? time.m_day : time.m_month);
    return true;
}

bool put_letter(counted_text& text, const nmea_rule& rule, char letter) {
    if (letter == '\0')
        return true;
    text.put(letter);
    return strchr(rule.letters, letter) != nullptr;
}

bool put_value(counted_text& text, const nmea_rule& rule, int64_t value) {
    constexpr int64_t most_digit = 15;
    if (value == def_ombrel_nmea_not_given)
        return true;
    if (rule.kind == nmea_kind::count)
        return put_count(text, rule, value);
    if (rule.kind == nmea_kind::number)
        return put_number(text, value), true;
    if (value < 0 || value > most_digit)
        return false;
    text.put(upper_digits[value]);
    return true;
}

/// The value of a rule, without the comma before it; false for one that the type does not have.
bool put_field(counted_text& text, const nmea_rule& rule, const ombrel_nmea_sentence_t& sentence) {
    switch (rule.kind) {
    case nmea_kind::time:
        return put_clock(text, nmea_value<ombrel_civil_time_t>(sentence, rule));
    case nmea_kind::date:
    case nmea_kind::day:
    case nmea_kind::month:
    case nmea_kind::year:
        return put_date_part(text, rule.kind, nmea_value<ombrel_civil_time_t>(sentence, rule));
    case nmea_kind::latitude:
    case nmea_kind::longitude:
    case nmea_kind::variation:
        return put_sided(text, rule, nmea_value<int64_t>(sentence, rule));
    case nmea_kind::letter:
        return put_letter(text, rule, nmea_value<char>(sentence, rule));
    case nmea_kind::unit:
        return text.put(rule.letters[0]), true;
    default:
        return put_value(text, rule, nmea_value<int64_t>(sentence, rule));
    }
}

bool is_given(const nmea_rule& rule, const ombrel_nmea_sentence_t& sentence) {
    return rule.kind == nmea_kind::letter ? nmea_value<char>(sentence, rule) != '\0'
                                          : nmea_value<int64_t>(sentence, rule) != def_ombrel_nmea_not_given;
}

/// How many fields are written: those of later versions of the standard only up to the last one given.
int count_rules(const ombrel_nmea_sentence_t& sentence, int groups) {
    int count = 0;
    const nmea_rule* rule;
    for (int i = 0; (rule = nmea_rule_at(sentence.m_type, groups, i)) != nullptr; i++)
        if (!rule->is_later || is_given(*rule, sentence))
            count = i + 1;
    return count;
}

int groups_of(const ombrel_nmea_sentence_t& sentence) {
    return sentence.m_type == def_ombrel_nmea_gsv ? static_cast<int>(sentence.m_value.m_gsv.m_satellite_count)
                                                  : 0;
}

bool put_fields(counted_text& text, const ombrel_nmea_sentence_t& sentence) {
    const int groups = groups_of(sentence);
    const int count = count_rules(sentence, groups);
    for (int i = 0; i < count; i++) {
        text.put(',');
        if (!put_field(text, *nmea_rule_at(sentence.m_type, groups, i), sentence))
            return false;
    }
    return true;
}

bool is_talker(const char* talker) {
    return strnlen(talker, 3) == 2 && talker[0] != 'P' && is_nmea_address(talker);
}

bool is_writable(const ombrel_nmea_sentence_t* sentence) {
    if (sentence == nullptr || find_nmea_type(sentence->m_type) == nullptr || !is_talker(sentence->m_talker))
        return false;
    const int64_t groups =
        sentence->m_type == def_ombrel_nmea_gsv ? sentence->m_value.m_gsv.m_satellite_count : 0;
    return groups >= 0 && groups <= def_ombrel_nmea_gsv_satellites;
}

int refuse_text(char* buf, size_t size, fault_code why) {
    if (buf != nullptr && size > 0)
        buf[0] = '\0';
    leave_fault(why);
    return -1;
}

/// Adds the checksum and the line end to what stands in the buffer.
int end_sentence(counted_text& text, char* buf, size_t size) {
    if (text.size() < size) {
        char sum[2];
        put_hex(sum, nmea_checksum(string_view(buf + 1, text.size() - 1)));
        text.put('*');
        text.put(string_view(sum, sizeof sum));
        text.put("\r\n");
    }
    return text.size() < size ? text.end() : refuse_text(buf, size, fault_code::too_large);
}

bool is_field(const char* field) {
    constexpr char meaning[] = "$!*,\\~";
    if (field == nullptr)
        return false;
    for (; *field != '\0'; field++)
        if (*field < ' ' || *field > '~' || strchr(meaning, *field) != nullptr)
            return false;
    return true;
}

bool is_writable_address(const char* address) {
    constexpr size_t plain = 5, least = 4, most = 16;
    const string_view text = address != nullptr ? address : "";
    const bool is_own = text.starts_with('P');
    return (is_own ? text.size() >= least && text.size() <= most : text.size() == plain) &&
           is_nmea_address(text);
}

} // namespace

int ombrel_init_nmea_sentence(ombrel_nmea_sentence_t* sentence, int type, const char* talker) {
    const nmea_type* const found = find_nmea_type(type);
    if (sentence == nullptr || found == nullptr || talker == nullptr || !is_talker(talker))
        return leave_fault(fault_code::invalid), -1;
    *sentence = {};
    sentence->m_type = type;
    sentence->m_start = '$';
    *put_text(sentence->m_talker, talker) = '\0';
    *put_text(sentence->m_formatter, found->formatter) = '\0';
    clear_nmea_values(*sentence);
    return 0;
}

int ombrel_format_nmea_sentence(char* buf, size_t size, const ombrel_nmea_sentence_t* sentence) {
    if (buf == nullptr || size == 0 || !is_writable(sentence))
        return refuse_text(buf, size, fault_code::invalid);
    counted_text text(buf, size);
    text.put('$');
    text.put(sentence->m_talker);
    text.put(find_nmea_type(sentence->m_type)->formatter);
    if (!put_fields(text, *sentence))
        return refuse_text(buf, size, fault_code::invalid);
    return end_sentence(text, buf, size);
}

int ombrel_format_nmea_fields(char* buf, size_t size, char start, const char* address,
                              const char* const* fields, size_t count) {
    const bool makes_sense = buf != nullptr && size > 0 && is_nmea_start(start) &&
                             is_writable_address(address) && (fields != nullptr || count == 0);
    if (!makes_sense)
        return refuse_text(buf, size, fault_code::invalid);
    counted_text text(buf, size);
    text.put(start);
    text.put(address);
    for (size_t i = 0; i < count; i++) {
        if (!is_field(fields[i]))
            return refuse_text(buf, size, fault_code::invalid);
        text.put(',');
        text.put(fields[i]);
    }
    return end_sentence(text, buf, size);
}
