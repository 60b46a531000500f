#include "platform/zone_rule.h"

#include <algorithm>
#include <cstring>

#include "platform/civil_date.h"

namespace ombrel::platform {

namespace {

constexpr int32_t hour_seconds = 3600;

/// The day since 1970 on which it is.
int32_t day_of_change(const zone_change& change, int32_t year) {
    switch (change.is) {
    case zone_change::kind::day_of_month:
        return day_number(year, change.month, change.day);
    case zone_change::kind::day_without_leap:
        return day_number(year, 1, change.day) + (change.day >= 60 && is_leap_year(year) ? 1 : 0);
    case zone_change::kind::day_of_year:
        return day_number(year, 1, 1) + change.day;
    default:
        break;
    }
    const int32_t first = day_number(year, change.month, 1);
    const int32_t earliest = first + (change.day - week_day_of(first) + 7) % 7;
    const int32_t in_week = earliest + (change.week - 1) * 7;
    return in_week < first + month_days(year, change.month) ? in_week : in_week - 7;
}

int64_t moment_of_change(const zone_change& change, int32_t year, int32_t offset_before) {
    return int64_t{day_of_change(change, year)} * seconds_per_day + change.second - offset_before;
}

/// Takes the parts of a rule off the front of a text.
class rule_reader {
public:
    explicit rule_reader(const char* text) : at_(text) {}

    bool read(zone_rule& rule) {
        if (!take_name(rule.standard) || !take_offset(rule.standard.offset))
            return false;
        if (*at_ == '\0')
            return true;
        rule.has_summer = true;
        rule.summer.offset = rule.standard.offset + hour_seconds;
        if (!take_name(rule.summer) || (*at_ != ',' && *at_ != '\0' && !take_offset(rule.summer.offset)))
            return false;
        if (*at_ == '\0') { // who says nothing means the rule of the United States
            rule.starts = {zone_change::kind::week_of_month, 3, 2};
            rule.ends = {zone_change::kind::week_of_month, 11, 1};
            return true;
        }
        return take_change(rule.starts) && take_change(rule.ends) && *at_ == '\0';
    }

private:
    static bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
    bool sees_digit() const { return *at_ >= '0' && *at_ <= '9'; }

    bool take(char c) {
        if (*at_ != c)
            return false;
        at_++;
        return true;
    }

    /// At least three letters, or what is between "<" and ">".
    bool take_name(zone_state& zone) {
        const bool is_quoted = take('<');
        const char* const start = at_;
        while (is_quoted ? *at_ != '>' && *at_ != '\0' : is_letter(*at_))
            at_++;
        const auto size = static_cast<size_t>(at_ - start);
        set_zone_name(zone, start, size);
        return size >= 3 && (!is_quoted || take('>'));
    }

    bool take_number(int32_t least, int32_t most, int32_t& value) {
        if (!sees_digit())
            return false;
        int32_t read = 0;
        for (; sees_digit() && read <= most; at_++)
            read = read * 10 + (*at_ - '0');
        value = read;
        return read >= least && read <= most;
    }

    /// "hh", "hh:mm" or "hh:mm:ss" after a sign.
    bool take_clock(int32_t most_hours, int32_t& seconds) {
        int32_t hour, minute = 0, second = 0;
        const bool is_negative = take('-');
        if (!is_negative)
            take('+');
        if (!take_number(0, most_hours, hour))
            return false;
        if (take(':') && !take_number(0, 59, minute))
            return false;
        if (take(':') && !take_number(0, 59, second))
            return false;
        seconds = (hour * hour_seconds + minute * 60 + second) * (is_negative ? -1 : 1);
        return true;
    }

    /// Such texts count west of Greenwich.
    bool take_offset(int32_t& offset) {
        if (!take_clock(24, offset))
            return false;
        offset = -offset;
        return true;
    }

    bool take_change(zone_change& change) {
        if (!take(','))
            return false;
        if (take('M')) {
            change.is = zone_change::kind::week_of_month;
            if (!take_number(1, 12, change.month) || !take('.') || !take_number(1, 5, change.week) ||
                !take('.') || !take_number(0, 6, change.day))
                return false;
        } else {
            const bool is_leap_left_out = take('J');
            change.is =
                is_leap_left_out ? zone_change::kind::day_without_leap : zone_change::kind::day_of_year;
            if (!take_number(is_leap_left_out ? 1 : 0, 365, change.day))
                return false;
        }
        return !take('/') || take_clock(167, change.second);
    }

    const char* at_;
};

} // namespace

const zone_state& zone_rule::at(int64_t seconds) const {
    if (!has_summer)
        return standard;
    const int64_t local = seconds + standard.offset;
    const int64_t day =
        (local - (local % seconds_per_day + seconds_per_day) % seconds_per_day) / seconds_per_day;
    const int32_t year = date_of(static_cast<int32_t>(day)).year;
    const int64_t start = moment_of_change(starts, year, standard.offset);
    const int64_t end = moment_of_change(ends, year, summer.offset);
    const bool is_summer =
        start < end ? seconds >= start && seconds < end : seconds >= start || seconds < end;
    return is_summer ? summer : standard;
}

bool read_zone_rule(const char* text, zone_rule& rule) {
    return text != nullptr && rule_reader(text).read(rule);
}

void set_zone_name(zone_state& zone, const char* name, size_t size) {
    size_t kept = std::min(size, sizeof zone.name - 1);
    // A byte that goes on with a character cannot be the first that is left out.
    while (kept < size && kept > 0 && (name[kept] & 0xC0) == 0x80)
        kept--;
    memcpy(zone.name, name, kept);
    zone.name[kept] = '\0';
}

} // namespace ombrel::platform
