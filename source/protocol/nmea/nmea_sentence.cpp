// One sentence taken apart.
#include "protocol/nmea/nmea_sentence.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "core/fault.h"
#include "protocol/nmea/nmea_rules.h"
#include "system/time/civil_time.h"
#include "text/ctype_table.h"
#include "text/digits.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

using std::string_view;

constexpr int64_t scale = def_ombrel_nmea_scale;
constexpr int64_t minutes_per_degree = 60;

/// The fields behind the address, one after the other; empty ones behind the last.
class field_cursor {
public:
    explicit field_cursor(const ombrel_nmea_sentence_t& sentence)
        : start_(sentence.m_text), rest_(sentence.m_text, nmea_content_size(sentence)) {
        take(); // the address
    }

    string_view take() {
        const size_t comma = std::min(rest_.find(','), rest_.size());
        const string_view field = slice(rest_, 0, comma);
        is_over_ = comma == rest_.size();
        rest_ = slice(rest_, comma + 1);
        last_ = field;
        return field;
    }
    bool is_over() const { return is_over_; }
    /// Of the field that was taken last, in the sentence.
    size_t offset() const { return static_cast<size_t>(last_.data() - start_); }

private:
    const char* start_;
    string_view rest_;
    string_view last_;
    bool is_over_ = false;
};

/// Digits behind a point, as billionths; those beyond the ninth are dropped. Takes nothing without a point.
bool take_fraction(string_view& text, int64_t& billionths) {
    billionths = 0;
    if (!text.starts_with('.'))
        return true;
    text.remove_prefix(1);
    for (int64_t unit = scale / 10; !text.empty() && is_digit(text.front()); unit /= 10) {
        billionths += unit * (text.front() - '0');
        text.remove_prefix(1);
    }
    return text.empty();
}

bool parse_decimal(string_view text, int64_t& value) {
    constexpr int64_t most = INT64_MAX / scale - 1;
    const bool is_negative = text.starts_with('-');
    text.remove_prefix(is_negative ? 1 : 0);
    int64_t whole = 0, fraction;
    const bool has_whole = !text.empty() && is_digit(text.front());
    const bool begins_well =
        has_whole ? take_number(text, int64_t{0}, most, whole) : text.size() > 1 && text.front() == '.';
    if (!begins_well || !take_fraction(text, fraction))
        return false;
    value = whole * scale + fraction;
    value = is_negative ? -value : value;
    return true;
}

/// So many digits.
bool take_digits(string_view& text, size_t count, int32_t& value) {
    string_view digits = slice(text, 0, count);
    if (digits.size() != count || !is_digit(digits.front()) || !parse_number(digits, 0, 999'999, value))
        return false;
    text.remove_prefix(count);
    return true;
}

bool read_time(string_view text, ombrel_civil_time_t& time) {
    int64_t nanoseconds;
    if (!take_digits(text, 2, time.m_hour) || !take_digits(text, 2, time.m_minute) ||
        !take_digits(text, 2, time.m_second) || !take_fraction(text, nanoseconds) || !text.empty())
        return false;
    time.m_nanosecond = static_cast<int32_t>(nanoseconds);
    const bool is_leap_second = time.m_hour == 23 && time.m_minute == 59 && time.m_second == 60;
    return is_leap_second || system::has_clock_fields(time);
}

bool read_date(string_view text, ombrel_civil_time_t& time) {
    constexpr int32_t first_year = 1980, century = 100;
    int32_t year;
    if (!take_digits(text, 2, time.m_day) || !take_digits(text, 2, time.m_month) ||
        !take_digits(text, 2, year) || !text.empty())
        return false;
    time.m_year = year + (year < first_year % century ? 2000 : 1900);
    return system::is_date(time.m_year, time.m_month, time.m_day);
}

bool read_part(string_view text, int32_t most, int32_t& part) {
    return is_digit(text.front()) && parse_number(text, 1, most, part);
}

/// Degrees and minutes, the latter's two digits before the point.
bool read_angle(string_view text, int64_t most_degrees, int64_t& angle) {
    constexpr size_t minute_digits = 2;
    const size_t whole = std::min(text.find('.'), text.size());
    int32_t degrees, minutes;
    int64_t fraction;
    if (whole <= minute_digits || whole > minute_digits + 3 ||
        !take_digits(text, whole - minute_digits, degrees) || !take_digits(text, minute_digits, minutes) ||
        !take_fraction(text, fraction) || !text.empty() || minutes >= minutes_per_degree)
        return false;
    angle = (degrees * minutes_per_degree + minutes) * scale + fraction;
    return angle <= most_degrees * minutes_per_degree * scale;
}

/// The second letter, in the next field, makes the value negative. Without a value it means nothing.
bool read_side(string_view side, string_view letters, bool is_given, int64_t& value) {
    const bool is_letter = side.size() == 1 && letters.find(side.front()) != letters.npos;
    if (!is_letter)
        return side.empty() && !is_given;
    if (is_given && side.front() == letters.back())
        value = -value;
    return true;
}

bool read_sided(const nmea_rule& rule, string_view text, field_cursor& fields, int64_t& value) {
    constexpr int64_t most_latitude = 90, most_longitude = 180;
    const bool is_latitude = rule.kind == nmea_kind::latitude;
    int64_t read = def_ombrel_nmea_not_given;
    const bool is_read =
        text.empty() || (rule.kind == nmea_kind::variation
                             ? parse_decimal(text, read) && read >= 0
                             : read_angle(text, is_latitude ? most_latitude : most_longitude, read));
    if (!is_read || !read_side(fields.take(), is_latitude ? "NS" : "EW", !text.empty(), read))
        return false;
    value = read;
    return true;
}

bool read_count(const nmea_rule& rule, string_view text, int64_t& value) {
    return parse_number(text, int64_t{rule.least}, int64_t{rule.most}, value);
}

bool read_digit(string_view text, int64_t& value) {
    const unsigned digit = text.size() == 1 ? digit_value(text.front()) : no_digit;
    value = digit != no_digit ? static_cast<int64_t>(digit) : value;
    return digit != no_digit;
}

bool is_letter_of(const nmea_rule& rule, string_view text) {
    return text.size() == 1 && strchr(rule.letters, text.front()) != nullptr;
}

/// A field that is not empty.
bool read_given(const nmea_rule& rule, string_view text, ombrel_nmea_sentence_t& sentence) {
    constexpr int32_t last_month = 12, last_day = 31, last_year = 9999;
    switch (rule.kind) {
    case nmea_kind::time:
        return read_time(text, nmea_value<ombrel_civil_time_t>(sentence, rule));
    case nmea_kind::date:
        return read_date(text, nmea_value<ombrel_civil_time_t>(sentence, rule));
    case nmea_kind::day:
        return read_part(text, last_day, nmea_value<ombrel_civil_time_t>(sentence, rule).m_day);
    case nmea_kind::month:
        return read_part(text, last_month, nmea_value<ombrel_civil_time_t>(sentence, rule).m_month);
    case nmea_kind::year:
        return read_part(text, last_year, nmea_value<ombrel_civil_time_t>(sentence, rule).m_year);
    case nmea_kind::number:
        return parse_decimal(text, nmea_value<int64_t>(sentence, rule));
    case nmea_kind::count:
        return read_count(rule, text, nmea_value<int64_t>(sentence, rule));
    case nmea_kind::digit:
        return read_digit(text, nmea_value<int64_t>(sentence, rule));
    case nmea_kind::letter:
        return is_letter_of(rule, text) && (nmea_value<char>(sentence, rule) = text.front()) != '\0';
    default:
        return is_letter_of(rule, text);
    }
}

bool read_field(const nmea_rule& rule, field_cursor& fields, ombrel_nmea_sentence_t& sentence) {
    const string_view text = fields.take();
    const bool is_sided = rule.kind == nmea_kind::latitude || rule.kind == nmea_kind::longitude ||
                          rule.kind == nmea_kind::variation;
    if (is_sided)
        return read_sided(rule, text, fields, nmea_value<int64_t>(sentence, rule));
    return text.empty() || read_given(rule, text, sentence);
}

/// The date as a whole, with what follows from it; a leap second is the next day's first, when a sentence can
/// tell its year.
bool settle_time(ombrel_civil_time_t& time, int32_t last_year) {
    const bool is_leap_second = time.m_hour >= 0 && time.m_second == 60;
    if (is_leap_second)
        time.m_hour = time.m_minute = time.m_second = 0;
    if (time.m_year == 0 && time.m_month == 0 && time.m_day == 0)
        return true;
    if (time.m_year == 0 || !system::is_date(time.m_year, time.m_month, time.m_day))
        return false;
    system::set_date(time,
                     system::day_number(time.m_year, time.m_month, time.m_day) + (is_leap_second ? 1 : 0));
    return time.m_year <= last_year;
}

/// How many groups there are in what stands behind the first three fields: one field left over is the signal.
int count_groups(const ombrel_nmea_sentence_t& sentence) {
    const int left = std::max(sentence.m_field_count - gsv_head_rules, 0);
    const int groups = left / gsv_group_rules + (left % gsv_group_rules > 1 ? 1 : 0);
    return std::min(groups, def_ombrel_nmea_gsv_satellites);
}

bool is_given(const ombrel_nmea_satellite_t& satellite) {
    constexpr int64_t none = def_ombrel_nmea_not_given;
    return satellite.m_number != none || satellite.m_elevation != none || satellite.m_azimuth != none ||
           satellite.m_strength != none;
}

/// Some talkers fill a sentence up with empty groups.
void count_satellites(ombrel_nmea_gsv_t& gsv, int groups) {
    while (groups > 0 && !is_given(gsv.m_satellites[groups - 1]))
        groups--;
    gsv.m_satellite_count = groups;
}

bool fail_at(ombrel_nmea_sentence_t& sentence, int fault, size_t offset) {
    sentence.m_fault = fault;
    sentence.m_fault_at = offset;
    return false;
}

bool read_fields(ombrel_nmea_sentence_t& sentence) {
    const int groups = count_groups(sentence);
    field_cursor fields(sentence);
    const nmea_rule* rule;
    for (int i = 0; (rule = nmea_rule_at(sentence.m_type, groups, i)) != nullptr && !fields.is_over(); i++)
        if (!read_field(*rule, fields, sentence))
            return fail_at(sentence, def_ombrel_nmea_fault_field, fields.offset());
    ombrel_civil_time_t* const time = nmea_time_of(sentence);
    if (time != nullptr && !settle_time(*time, sentence.m_type == def_ombrel_nmea_rmc ? 2079 : 9999))
        return fail_at(sentence, def_ombrel_nmea_fault_field, nmea_content_size(sentence));
    if (sentence.m_type == def_ombrel_nmea_gsv)
        count_satellites(sentence.m_value.m_gsv, groups);
    return true;
}

bool read_address(ombrel_nmea_sentence_t& sentence) {
    constexpr size_t talker_size = 2, formatter_size = 3;
    const string_view content(sentence.m_text, nmea_content_size(sentence));
    const string_view address = slice(content, 1, std::min(content.find(','), content.size()) - 1);
    const bool is_own = address.starts_with('P');
    const size_t talker = is_own ? 1 : talker_size;
    const bool is_sized =
        is_own ? address.size() > formatter_size && address.size() <= sizeof sentence.m_formatter
               : address.size() == talker_size + formatter_size;
    if (!is_sized || !is_nmea_address(address))
        return fail_at(sentence, def_ombrel_nmea_fault_address, 1);
    *put_text(sentence.m_talker, slice(address, 0, talker)) = '\0';
    *put_text(sentence.m_formatter, slice(address, talker)) = '\0';
    return true;
}

bool check_characters(ombrel_nmea_sentence_t& sentence) {
    if (sentence.m_size == 0 || !is_nmea_start(sentence.m_start))
        return fail_at(sentence, def_ombrel_nmea_fault_start, 0);
    for (size_t i = 1; i < sentence.m_size; i++) {
        if (is_nmea_start(sentence.m_text[i]))
            return fail_at(sentence, def_ombrel_nmea_fault_unfinished, i);
        if (sentence.m_text[i] < ' ' || sentence.m_text[i] > '~')
            return fail_at(sentence, def_ombrel_nmea_fault_character, i);
    }
    return true;
}

/// Sets whether there is a checksum, behind the last "*" that anything else could stand behind.
bool check_sum(ombrel_nmea_sentence_t& sentence, uint32_t flags) {
    const string_view text(sentence.m_text, sentence.m_size);
    const size_t star = text.find('*');
    sentence.m_is_checked = star != text.npos;
    if (star == text.npos)
        return (flags & def_ombrel_nmea_unchecked) != 0 ||
               fail_at(sentence, def_ombrel_nmea_fault_unchecked, text.size());
    int sum;
    const string_view digits = slice(text, star + 1);
    const bool is_right = digits.size() == 2 && parse_number(digits, 0, 0xff, sum, 16) &&
                          sum == nmea_checksum(slice(text, 1, star - 1));
    return is_right || fail_at(sentence, def_ombrel_nmea_fault_checksum, star + 1);
}

void count_fields(ombrel_nmea_sentence_t& sentence) {
    const char* const end = sentence.m_text + nmea_content_size(sentence);
    sentence.m_field_count = static_cast<int>(std::count(sentence.m_text, end, ','));
}

size_t size_without_end(const char* text, size_t size) {
    size -= size > 0 && text[size - 1] == '\n' ? 1 : 0;
    return size - (size > 0 && text[size - 1] == '\r' ? 1 : 0);
}

double unless_missing(int64_t value, double number) {
    return value != def_ombrel_nmea_not_given ? number : std::numeric_limits<double>::quiet_NaN();
}

} // namespace

bool is_nmea_address(string_view address) {
    constexpr unsigned allowed = def_ombrel_ctype_upper | def_ombrel_ctype_digit;
    return std::all_of(address.begin(), address.end(),
                       [](char c) { return is_class(static_cast<unsigned char>(c), allowed); });
}

uint8_t nmea_checksum(string_view content) {
    uint8_t sum = 0;
    for (const char c : content)
        sum = static_cast<uint8_t>(sum ^ static_cast<uint8_t>(c));
    return sum;
}

size_t nmea_content_size(const ombrel_nmea_sentence_t& sentence) {
    constexpr size_t checksum_size = 3;
    return sentence.m_size - (sentence.m_is_checked != 0 ? checksum_size : 0);
}

bool check_nmea_options(const ombrel_nmea_options_t& options) {
    constexpr uint32_t known = def_ombrel_nmea_unchecked | def_ombrel_nmea_bad_too;
    constexpr size_t least = 16;
    const bool makes_sense = (options.m_flags & ~known) == 0 && options.m_length_limit >= least &&
                             options.m_length_limit <= def_ombrel_nmea_length_highest;
    if (!makes_sense)
        leave_fault(fault_code::invalid);
    return makes_sense;
}

bool read_nmea_sentence(string_view text, const ombrel_nmea_options_t& options,
                        ombrel_nmea_sentence_t& sentence) {
    constexpr size_t line_end = 2;
    sentence = {};
    sentence.m_text = text.data();
    sentence.m_size = text.size();
    sentence.m_start = text.empty() ? '\0' : text.front();
    if (text.size() + line_end > options.m_length_limit)
        return fail_at(sentence, def_ombrel_nmea_fault_too_long, options.m_length_limit - line_end);
    if (!check_characters(sentence) || !check_sum(sentence, options.m_flags) || !read_address(sentence))
        return false;
    count_fields(sentence);
    sentence.m_type = sentence.m_start == '$' && strcmp(sentence.m_talker, "P") != 0
                          ? find_nmea_type(sentence.m_formatter)
                          : def_ombrel_nmea_other;
    clear_nmea_values(sentence);
    return sentence.m_type == def_ombrel_nmea_other || read_fields(sentence);
}

} // namespace ombrel::protocol

using namespace ombrel;
using namespace ombrel::protocol;

int ombrel_init_nmea_options(ombrel_nmea_options_t* options) {
    if (options == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *options = {0, def_ombrel_nmea_length_max};
    return 0;
}

int ombrel_parse_nmea_sentence(const char* text, size_t size, const ombrel_nmea_options_t* options,
                               ombrel_nmea_sentence_t* sentence) {
    ombrel_nmea_options_t chosen;
    ombrel_init_nmea_options(&chosen);
    chosen = options != nullptr ? *options : chosen;
    if ((text == nullptr && size != 0) || sentence == nullptr || !check_nmea_options(chosen))
        return leave_fault(fault_code::invalid), -1;
    if (read_nmea_sentence({text, size_without_end(text, size)}, chosen, *sentence))
        return 0;
    return leave_fault(fault_code::invalid), -1;
}

int ombrel_nmea_sentence_get_field(const ombrel_nmea_sentence_t* sentence, int index, const char** text,
                                   size_t* size) {
    if (sentence == nullptr || text == nullptr || size == nullptr || sentence->m_text == nullptr)
        return leave_fault(fault_code::invalid), -1;
    if (index < 0 || index >= sentence->m_field_count)
        return leave_fault(fault_code::not_found), -1;
    field_cursor fields(*sentence);
    while (index-- > 0)
        fields.take();
    const string_view field = fields.take();
    *text = field.data();
    *size = field.size();
    return 0;
}

const char* ombrel_nmea_fault_text(int fault) {
    static constexpr const char* texts[] = {"nothing is wrong",
                                            "no \"$\" or \"!\" at its beginning",
                                            "a character that no sentence has",
                                            "longer than the limit",
                                            "broken off",
                                            "no checksum",
                                            "wrong checksum",
                                            "no talker and type",
                                            "a field that its type does not have"};
    static_assert(std::size(texts) == def_ombrel_nmea_fault_count);
    return fault >= 0 && fault < def_ombrel_nmea_fault_count ? texts[fault] : "unknown";
}

double ombrel_get_nmea_degrees(int64_t angle) {
    return unless_missing(angle, static_cast<double>(angle) / (60.0 * def_ombrel_nmea_scale));
}

int64_t ombrel_get_nmea_nanodegrees(int64_t angle) {
    if (angle == def_ombrel_nmea_not_given)
        return angle;
    const int64_t half = angle < 0 ? -minutes_per_degree / 2 : minutes_per_degree / 2;
    return angle / minutes_per_degree + (angle % minutes_per_degree + half) / minutes_per_degree;
}

double ombrel_get_nmea_number(int64_t billionths) {
    return unless_missing(billionths, static_cast<double>(billionths) / def_ombrel_nmea_scale);
}
