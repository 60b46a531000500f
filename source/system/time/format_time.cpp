// The conversions of date(1), whose widths, flags and oddities are those of GNU's.
#include <ombrel/calendar.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <ombrel/heap.h>

#include "system/time/civil_time.h"
#include "system/time/counted_text.h"
#include "system/time/iso_week.h"
#include "system/time/time_fault.h"
#include "system/time/time_names.h"
#include "text/fold.h"

using namespace ombrel::system;

namespace {

constexpr int width_max = 65535;

/// What stands between "%" and the letter.
struct directive {
    char pad = 0; ///< '-', '_', '0', '+'; 0 for what the letter wants
    bool is_upper = false;
    bool is_other_case = false;
    bool is_lower = false; ///< which no flag says by itself
    int width = -1;
    char modifier = 0;
    int colons = 0;
    std::string_view text; ///< the whole of it, from "%" to the letter, or to where the next one begins

    bool is_plain() const { return pad == 0 && width < 0; }
};

/// A number as it is to be shown.
struct shown_number {
    uint64_t magnitude;
    int digits; ///< at least
    bool is_negative = false;
    bool has_sign = false;
    unsigned colons = 0; ///< bit n for one before the nth digit from the right, counted from 0
};

/// Reads the parts of a conversion that are before its letter.
class directive_reader {
public:
    explicit directive_reader(std::string_view format) : format_(format) {}

    directive read() {
        read_flags();
        if (is_digit())
            result_.width = 0;
        for (; is_digit(); at_++)
            result_.width = std::min(result_.width * 10 + (peek() - '0'), width_max);
        if (peek() == 'E' || peek() == 'O')
            result_.modifier = format_[at_++];
        read_colons();
        const bool is_cut_off = at_ == format_.size() || (peek() == '%' && at_ > 1);
        result_.text = {format_.data(), is_cut_off ? at_ : at_ + 1};
        return result_;
    }

private:
    char peek() const { return at_ < format_.size() ? format_[at_] : '\0'; }
    bool is_digit() const { return peek() >= '0' && peek() <= '9'; }

    void read_flags() {
        for (;; at_++)
            switch (peek()) {
            case '-':
            case '_':
            case '0':
            case '+':
                result_.pad = peek();
                break;
            case '^':
                result_.is_upper = true;
                break;
            case '#':
                result_.is_other_case = true;
                break;
            default:
                return;
            }
    }

    void read_colons() {
        const size_t start = at_;
        while (peek() == ':')
            at_++;
        result_.colons = static_cast<int>(std::min<size_t>(at_ - start, 4));
        if (result_.colons != 0 && peek() != 'z')
            at_ = start; // nothing else has colons: the first is as a letter that is none
    }

    std::string_view format_; // from "%" on
    size_t at_ = 1;
    directive result_;
};

class time_formatter {
public:
    time_formatter(ombrel::system::counted_text& out, const ombrel_civil_time_t& time)
        : out_(out), time_(time) {}

    void format(std::string_view format) {
        while (!format.empty()) {
            const size_t literal = std::min(format.find('%'), format.size());
            out_.put({format.data(), literal});
            format.remove_prefix(literal);
            if (!format.empty())
                format.remove_prefix(convert_first(format));
        }
    }

private:
    /// Converts what begins with "%"; how much of the format that was.
    size_t convert_first(std::string_view format) {
        directive how;
        // Most conversions are a letter alone.
        if (format.size() >= 2 && (format[1] >= 'A' && format[1] != 'E' && format[1] != 'O' &&
                                   format[1] != '^' && format[1] != '_'))
            how.text = {format.data(), 2};
        else
            how = directive_reader(format).read();
        if (!convert(how, how.text.back()))
            put_text(how, how.text);
        return how.text.size();
    }

    /// False when there is no such conversion.
    bool convert(directive& how, char letter) {
        if (how.text.size() < 2 || (how.modifier != 0 && refuses(letter, how.modifier)))
            return false;
        if (is_modified_number(letter, how.modifier))
            return put_modified_number(how, letter);
        return convert_name(how, letter) || convert_clock(how, letter) || convert_date(how, letter) ||
               convert_year(how, letter) || convert_composite(how, letter) || convert_rest(how, letter);
    }

    /// "E" and "O" mean nothing without a locale, but not every letter takes them.
    static bool refuses(char letter, char modifier) {
        const std::string_view letters = modifier == 'E' ? "aAbBhdeHIklMSmjUVWwgGNDF" : "aAcxXYDFq";
        return letters.find(letter) != std::string_view::npos;
    }

    static bool is_modified_number(char letter, char modifier) {
        const std::string_view letters = modifier == 'O'   ? "CdegGHIjklmMSuUVwWy"
                                         : modifier == 'E' ? "CyY"
                                                           : "";
        return letters.find(letter) != std::string_view::npos;
    }

    bool convert_name(directive& how, char letter);
    bool convert_clock(const directive& how, char letter);
    bool convert_date(const directive& how, char letter);
    bool convert_year(directive& how, char letter);
    bool convert_composite(directive& how, char letter);
    bool convert_rest(const directive& how, char letter);

    bool put_name(directive& how, std::string_view name, bool is_short);
    bool put_text(const directive& how, std::string_view text);
    bool put_pair(const directive& how, int32_t value);
    bool put_spaced(directive how, int32_t value);
    bool put_number(const directive& how, const shown_number& number);
    bool put_modified_number(const directive& how, char letter);
    bool put_year(directive how, int32_t value, int digits, bool is_negative);
    bool put_composite(const directive& how, std::string_view format, char year_pad, int year_width = -1);
    bool put_long_date(directive& how);
    bool put_fraction(directive how);
    bool put_offset(const directive& how);
    void put_padding(const directive& how, size_t size);

    int32_t hour_of_12() const { return (time_.m_hour + 11) % 12 + 1; }
    int32_t year_day() const { return number_.year_day; }
    iso_week week() const { return iso_week_of(time_.m_year, number_.year_day, number_.week_day); }

    /// What follows from a date, whatever the record says of it.
    struct date_numbers {
        int32_t week_day;
        int32_t year_day;
    };
    static date_numbers numbers_of(const ombrel_civil_time_t& time) {
        const int32_t day = day_number(time.m_year, time.m_month, time.m_day);
        return {week_day_of(day), day - day_number(time.m_year, 1, 1) + 1};
    }

    counted_text& out_;
    const ombrel_civil_time_t& time_;
    const date_numbers number_ = numbers_of(time_);
    bool is_upper_ = false; // the composite conversion that this is a part of is in upper case
    char year_pad_ = 0;     // and has its year padded so,
    int year_width_ = -1;   // and so wide
};

void time_formatter::put_padding(const directive& how, size_t size) {
    if (how.pad != '-' && how.width >= 0 && static_cast<size_t>(how.width) > size)
        out_.fill(how.pad == '0' || how.pad == '+' ? '0' : ' ', static_cast<size_t>(how.width) - size);
}

bool time_formatter::put_text(const directive& how, std::string_view text) {
    put_padding(how, text.size());
    if (!how.is_lower && !how.is_upper && !is_upper_) {
        out_.put(text);
        return true;
    }
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        out_.put(static_cast<char>(how.is_lower ? ombrel::to_lower(byte) : ombrel::to_upper(byte)));
    }
    return true;
}

bool time_formatter::put_name(directive& how, std::string_view name, bool is_short) {
    how.is_upper |= how.is_other_case;
    return put_text(how, is_short ? std::string_view(name.data(), short_name_size) : name);
}

bool time_formatter::put_number(const directive& how, const shown_number& number) {
    char digits[32];
    char* first = digits + sizeof digits;
    uint64_t rest = number.magnitude;
    unsigned colons = number.colons;
    do {
        if ((colons & 1) != 0)
            *--first = ':';
        colons >>= 1;
        *--first = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0 || colons != 0);

    directive padded = how;
    padded.pad = how.pad == 0 ? '0' : how.pad;
    padded.width = how.width < 0 ? number.digits : how.width;
    const std::string_view text(first, static_cast<size_t>(digits + sizeof digits - first));
    const char sign = number.is_negative ? '-' : '+';
    if (!number.is_negative && !number.has_sign) {
        put_padding(padded, text.size());
    } else if (padded.pad == '_') { // spaces before the sign, zeros behind it
        put_padding(padded, text.size() + 1);
        out_.put(sign);
    } else {
        out_.put(sign);
        put_padding(padded, text.size() + 1);
    }
    out_.put(text);
    return true;
}

bool time_formatter::put_pair(const directive& how, int32_t value) {
    if (!how.is_plain())
        return put_number(how, {static_cast<uint64_t>(value), 2});
    out_.put_pair(value);
    return true;
}

bool time_formatter::put_spaced(directive how, int32_t value) {
    how.pad = how.pad == 0 ? '_' : how.pad;
    return put_number(how, {static_cast<uint64_t>(value), 2});
}

bool time_formatter::put_year(directive how, int32_t value, int digits, bool is_negative) {
    how.pad = how.pad == 0 ? year_pad_ : how.pad;
    how.width = how.width < 0 ? year_width_ : how.width;
    const auto magnitude = static_cast<uint64_t>(std::abs(value));
    const bool is_long = magnitude > (digits == 2 ? 99 : 9999) || how.width > digits;
    return put_number(how, {magnitude, digits, is_negative, how.pad == '+' && is_long});
}

/// By design: flags and width are for the text that the number makes, and years are no longer than they are.
bool time_formatter::put_modified_number(const directive& how, char letter) {
    const char alone[] = {'%', letter}, unpadded[] = {'%', '-', letter};
    const bool is_year = letter == 'C' || letter == 'G' || letter == 'Y';
    return put_composite(how, is_year ? std::string_view(unpadded, 3) : std::string_view(alone, 2), 0);
}

bool time_formatter::put_composite(const directive& how, std::string_view format, char year_pad,
                                   int year_width) {
    const auto put_into = [&](counted_text& out) {
        time_formatter part(out, time_);
        part.is_upper_ = is_upper_ || how.is_upper;
        part.year_pad_ = year_pad;
        part.year_width_ = year_width;
        part.format(format);
    };
    if (how.width > 0) {
        counted_text measured(nullptr, 0);
        put_into(measured);
        put_padding(how, measured.size());
    }
    put_into(out_);
    return true;
}

/// The width of "%F" is that of the whole, but the year alone is widened.
bool time_formatter::put_long_date(directive& how) {
    constexpr int width_without_year = 6;
    if (how.is_plain())
        return put_composite(how, "%Y-%m-%d", '+', 4);
    const int year_width = std::max(how.width - width_without_year, 0);
    how.width = -1;
    return put_composite(how, "%Y-%m-%d", how.pad, year_width);
}

/// A width says how many digits there are; other padding than zeros is shown in place of the last zeros.
bool time_formatter::put_fraction(directive how) {
    constexpr int all_digits = 9;
    if (how.pad == '-' && how.width < 0)
        how.pad = 0; // by design: as many as the clock has
    const int width = how.width <= 0 ? all_digits : how.width;
    int32_t value = time_.m_nanosecond;
    int digits = all_digits;
    for (; digits > width || (digits > 1 && value % 10 == 0); value /= 10)
        digits--;
    out_.put_fraction(time_.m_nanosecond, digits);
    if (how.pad != '-')
        out_.fill(how.pad == '_' ? ' ' : '0', static_cast<size_t>(width - digits));
    return true;
}

bool time_formatter::put_offset(const directive& how) {
    const auto offset = static_cast<uint64_t>(std::abs(time_.m_offset));
    const bool is_negative = time_.m_offset < 0 || (offset == 0 && time_.m_zone[0] == '-');
    const uint64_t hour = offset / 3600, minute = offset / 60 % 60, second = offset % 60;
    int colons = how.colons;
    if (colons == 3 && second != 0)
        colons = 2;
    if (colons == 3 && minute != 0)
        colons = 1;
    switch (colons) {
    case 0:
        return put_number(how, {hour * 100 + minute, 5, is_negative, true});
    case 1:
        return put_number(how, {hour * 100 + minute, 6, is_negative, true, 0b100});
    case 2:
        return put_number(how, {hour * 10'000 + minute * 100 + second, 9, is_negative, true, 0b10100});
    case 3:
        return put_number(how, {hour, 3, is_negative, true});
    default:
        return false;
    }
}

bool time_formatter::convert_name(directive& how, char letter) {
    switch (letter) {
    case 'a':
    case 'A':
        return put_name(how, week_day_names[number_.week_day], letter == 'a');
    case 'b':
    case 'h':
    case 'B':
        return put_name(how, month_names[time_.m_month - 1], letter != 'B');
    case 'p':
    case 'P':
        how.is_lower = letter == 'P' || how.is_other_case;
        return put_text(how, time_.m_hour < 12 ? "AM" : "PM");
    case 'Z':
        how.is_lower = how.is_other_case;
        return put_text(how, time_.m_zone);
    default:
        return false;
    }
}

bool time_formatter::convert_clock(const directive& how, char letter) {
    switch (letter) {
    case 'H':
        return put_pair(how, time_.m_hour);
    case 'k':
        return put_spaced(how, time_.m_hour);
    case 'I':
        return put_pair(how, hour_of_12());
    case 'l':
        return put_spaced(how, hour_of_12());
    case 'M':
        return put_pair(how, time_.m_minute);
    case 'S':
        return put_pair(how, time_.m_second);
    case 'N':
        return put_fraction(how);
    case 'z':
        return put_offset(how);
    default:
        return false;
    }
}

bool time_formatter::convert_date(const directive& how, char letter) {
    switch (letter) {
    case 'm':
        return put_pair(how, time_.m_month);
    case 'd':
        return put_pair(how, time_.m_day);
    case 'e':
        return put_spaced(how, time_.m_day);
    case 'j':
        return put_number(how, {static_cast<uint64_t>(year_day()), 3});
    case 'q':
        return put_number(how, {static_cast<uint64_t>((time_.m_month - 1) / 3 + 1), 1});
    case 'u':
        return put_number(how, {static_cast<uint64_t>((number_.week_day + 6) % 7 + 1), 1});
    case 'w':
        return put_number(how, {static_cast<uint64_t>(number_.week_day), 1});
    case 'U':
        return put_pair(how, (year_day() - 1 - number_.week_day + 7) / 7);
    case 'W':
        return put_pair(how, (year_day() - 1 - (number_.week_day + 6) % 7 + 7) / 7);
    case 'V':
        return put_pair(how, week().week);
    default:
        return false;
    }
}

bool time_formatter::convert_year(directive& how, char letter) {
    const int32_t year = letter == 'G' || letter == 'g' ? week().year : time_.m_year;
    switch (letter) {
    case 'Y':
    case 'G':
        return put_year(how, year, 4, year < 0);
    case 'y':
    case 'g': // by design: that of a year before 0 has no sign
        return put_year(how, year % 100, 2, false);
    case 'C':
        return put_year(how, year / 100, 2, year < 0);
    default:
        return false;
    }
}

bool time_formatter::convert_composite(directive& how, char letter) {
    switch (letter) {
    case 'c':
        return put_composite(how, "%a %b %e %H:%M:%S %-Y", 0);
    case 'D':
        return put_composite(how, "%m/%d/%y", how.pad);
    case 'x':
        return put_composite(how, "%m/%d/%y", 0);
    case 'F':
        return put_long_date(how);
    case 'r':
        return put_composite(how, "%I:%M:%S %p", 0);
    case 'R':
        return put_composite(how, "%H:%M", 0);
    case 'T':
    case 'X':
        return put_composite(how, "%H:%M:%S", 0);
    default:
        return false;
    }
}

bool time_formatter::convert_rest(const directive& how, char letter) {
    const int64_t second = instant_of(time_).m_seconds;
    switch (letter) {
    case 's':
        return put_number(how, {static_cast<uint64_t>(std::abs(second)), 1, second < 0});
    case 'n':
        return put_text(how, "\n");
    case 't':
        return put_text(how, "\t");
    case '%':
        out_.put('%');
        return true;
    default:
        return false;
    }
}

} // namespace

int ombrel_format_time(char* buf, size_t size, const char* format, const ombrel_civil_time_t* time) {
    if (buf == nullptr && size != 0)
        return refuse();
    counted_text out(buf, size);
    if (format == nullptr || !is_civil_time(time))
        return refuse();
    time_formatter(out, *time).format(format);
    return out.end();
}

char* ombrel_alloc_time_text_tag(const char* format, const ombrel_civil_time_t* time, const char* function,
                                 unsigned long line) {
    if (format == nullptr || !is_civil_time(time)) {
        leave_fault(ombrel::fault_code::invalid);
        return nullptr;
    }
    counted_text measured(nullptr, 0);
    time_formatter(measured, *time).format(format);
    auto* text = static_cast<char*>(ombrel_alloc_tag(measured.size() + 1, function, line));
    if (text == nullptr) {
        leave_fault(ombrel::fault_code::no_memory);
        return nullptr;
    }
    counted_text out(text, measured.size() + 1);
    time_formatter(out, *time).format(format);
    out.end();
    return text;
}
