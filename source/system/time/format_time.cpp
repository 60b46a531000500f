// The conversions of date(1), whose widths, flags and oddities are those of GNU's.
#include <ombrel/calendar.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include <ombrel/heap.h>

#include "system/time/civil_time.h"
#include "system/time/counted_text.h"
#include "system/time/format_directive.h"
#include "system/time/iso_week.h"
#include "system/time/time_fault.h"
#include "system/time/time_names.h"
#include "text/fold.h"

using namespace ombrel::system;

namespace {

/// A number as it is to be shown.
struct shown_number {
    uint64_t magnitude;
    int digits; ///< at least
    bool is_negative = false;
    bool has_sign = false;
    unsigned colons = 0; ///< bit n for one before the nth digit from the right, counted from 0
};

enum class letter_case : uint8_t { as_it_is, upper, lower };

struct conversion;

/// Writes the parts of a time.
class time_writer {
public:
    time_writer(counted_text& out, const ombrel_civil_time_t& time) : out_(out), time_(time) {}

    void format(std::string_view format);

    const ombrel_civil_time_t& time() const { return time_; }
    int32_t hour_of_12() const { return (time_.m_hour + 11) % 12 + 1; }
    // Both whatever the record says of them.
    int32_t week_day() const { return week_day_of(day_number(time_.m_year, time_.m_month, time_.m_day)); }
    int32_t year_day() const {
        return day_number(time_.m_year, time_.m_month, time_.m_day) - day_number(time_.m_year, 1, 1) + 1;
    }
    iso_week week() const { return iso_week_of(time_.m_year, year_day(), week_day()); }

    bool put_text(const directive& how, std::string_view text, letter_case letters = letter_case::as_it_is);
    bool put_name(const directive& how, const time_name& name, bool is_short);
    bool put_pair(const directive& how, int32_t value);
    bool put_spaced(const directive& how, int32_t value);
    bool put_small(const directive& how, int32_t value, int digits);
    bool put_number(const directive& how, const shown_number& number);
    bool put_year(const directive& how, int32_t value, int digits, bool is_negative);
    bool put_composite(const directive& how, std::string_view format, char year_pad = 0, int year_width = -1);
    bool put_long_date(const directive& how);
    bool put_fraction(const directive& how);
    bool put_offset(const directive& how);

private:
    bool has_plain_year() const;
    size_t put_first(const conversion* plain, std::string_view format);
    bool convert(const directive& how, char letter);
    bool put_modified_number(const directive& how, char letter);
    void put_padding(const directive& how, size_t size);

    counted_text& out_;
    const ombrel_civil_time_t& time_;
    bool is_upper_ = false; // the composite conversion that this is a part of is in upper case
    char year_pad_ = 0;     // and has its year padded so,
    int year_width_ = -1;   // and so wide
};

struct conversion {
    char letter;
    const char* refused; ///< of "E" and "O", which mean nothing without a locale, those that it does not take
    bool (*put)(time_writer& to, const directive& how); ///< false where it does not know the directive
    /// What two digits show, for those that are no more than that.
    int32_t ombrel_civil_time_t::*pair = nullptr;
};

template<int32_t ombrel_civil_time_t::*field>
constexpr conversion pair_of(char letter) {
    return {letter, "E",
            [](time_writer& to, const directive& how) { return to.put_pair(how, to.time().*field); }, field};
}

using how_t = const directive&;

constexpr conversion conversions[] = {
    {'a', "EO",
     [](time_writer& to, how_t how) { return to.put_name(how, week_day_names[to.week_day()], true); }},
    {'A', "EO",
     [](time_writer& to, how_t how) { return to.put_name(how, week_day_names[to.week_day()], false); }},
    {'b', "E",
     [](time_writer& to, how_t how) { return to.put_name(how, month_names[to.time().m_month - 1], true); }},
    {'h', "E",
     [](time_writer& to, how_t how) { return to.put_name(how, month_names[to.time().m_month - 1], true); }},
    {'B', "E",
     [](time_writer& to, how_t how) { return to.put_name(how, month_names[to.time().m_month - 1], false); }},
    {'p', "",
     [](time_writer& to, how_t how) {
         return to.put_text(how, to.time().m_hour < 12 ? "AM" : "PM",
                            how.is_other_case ? letter_case::lower : letter_case::as_it_is);
     }},
    {'P', "",
     [](time_writer& to, how_t how) {
         return to.put_text(how, to.time().m_hour < 12 ? "am" : "pm", letter_case::lower);
     }},
    {'Z', "",
     [](time_writer& to, how_t how) {
         return to.put_text(how, to.time().m_zone,
                            how.is_other_case ? letter_case::lower : letter_case::as_it_is);
     }},
    pair_of<&ombrel_civil_time_t::m_hour>('H'),
    {'k', "E", [](time_writer& to, how_t how) { return to.put_spaced(how, to.time().m_hour); }},
    {'I', "E", [](time_writer& to, how_t how) { return to.put_pair(how, to.hour_of_12()); }},
    {'l', "E", [](time_writer& to, how_t how) { return to.put_spaced(how, to.hour_of_12()); }},
    pair_of<&ombrel_civil_time_t::m_minute>('M'),
    pair_of<&ombrel_civil_time_t::m_second>('S'),
    {'N', "E", [](time_writer& to, how_t how) { return to.put_fraction(how); }},
    {'z', "", [](time_writer& to, how_t how) { return to.put_offset(how); }},
    pair_of<&ombrel_civil_time_t::m_month>('m'),
    pair_of<&ombrel_civil_time_t::m_day>('d'),
    {'e', "E", [](time_writer& to, how_t how) { return to.put_spaced(how, to.time().m_day); }},
    {'j', "E", [](time_writer& to, how_t how) { return to.put_small(how, to.year_day(), 3); }},
    {'q', "O",
     [](time_writer& to, how_t how) { return to.put_small(how, (to.time().m_month - 1) / 3 + 1, 1); }},
    {'u', "", [](time_writer& to, how_t how) { return to.put_small(how, (to.week_day() + 6) % 7 + 1, 1); }},
    {'w', "E", [](time_writer& to, how_t how) { return to.put_small(how, to.week_day(), 1); }},
    {'U', "E",
     [](time_writer& to, how_t how) {
         return to.put_pair(how, (to.year_day() - 1 - to.week_day() + 7) / 7);
     }},
    {'W', "E",
     [](time_writer& to, how_t how) {
         return to.put_pair(how, (to.year_day() - 1 - (to.week_day() + 6) % 7 + 7) / 7);
     }},
    {'V', "E", [](time_writer& to, how_t how) { return to.put_pair(how, to.week().week); }},
    {'Y', "O",
     [](time_writer& to, how_t how) { return to.put_year(how, to.time().m_year, 4, to.time().m_year < 0); }},
    {'C', "",
     [](time_writer& to, how_t how) {
         return to.put_year(how, to.time().m_year / 100, 2, to.time().m_year < 0);
     }},
    // By design the last two digits of a year before 0 have no sign.
    {'y', "", [](time_writer& to, how_t how) { return to.put_year(how, to.time().m_year % 100, 2, false); }},
    {'G', "E",
     [](time_writer& to, how_t how) { return to.put_year(how, to.week().year, 4, to.week().year < 0); }},
    {'g', "E", [](time_writer& to, how_t how) { return to.put_year(how, to.week().year % 100, 2, false); }},
    {'c', "O", [](time_writer& to, how_t how) { return to.put_composite(how, "%a %b %e %H:%M:%S %-Y"); }},
    {'D', "EO", [](time_writer& to, how_t how) { return to.put_composite(how, "%m/%d/%y", how.pad); }},
    {'x', "O", [](time_writer& to, how_t how) { return to.put_composite(how, "%m/%d/%y"); }},
    {'F', "EO", [](time_writer& to, how_t how) { return to.put_long_date(how); }},
    {'r', "", [](time_writer& to, how_t how) { return to.put_composite(how, "%I:%M:%S %p"); }},
    {'R', "", [](time_writer& to, how_t how) { return to.put_composite(how, "%H:%M"); }},
    {'T', "", [](time_writer& to, how_t how) { return to.put_composite(how, "%H:%M:%S"); }},
    {'X', "O", [](time_writer& to, how_t how) { return to.put_composite(how, "%H:%M:%S"); }},
    {'s', "",
     [](time_writer& to, how_t how) {
         const int64_t second = instant_of(to.time()).m_seconds;
         return to.put_number(how, {magnitude_of(second), 1, second < 0});
     }},
    {'n', "", [](time_writer& to, how_t how) { return to.put_text(how, "\n"); }},
    {'t', "", [](time_writer& to, how_t how) { return to.put_text(how, "\t"); }},
    {'%', "", [](time_writer& to, how_t) { return to.put_text({}, "%"); }},
};

/// Each letter's place among them, from 1.
constexpr std::array<uint8_t, 256> conversion_places = [] {
    std::array<uint8_t, 256> places{};
    for (size_t i = 0; i < std::size(conversions); i++)
        places[static_cast<unsigned char>(conversions[i].letter)] = static_cast<uint8_t>(i + 1);
    return places;
}();

/// Which is looked for as often as those of two digits.
constexpr const conversion& year_conversion = conversions[conversion_places['Y'] - 1];

/// Null for a letter that is none.
const conversion* find_conversion(char letter) {
    const uint8_t place = conversion_places[static_cast<unsigned char>(letter)];
    return place == 0 ? nullptr : &conversions[place - 1];
}

void time_writer::format(std::string_view format) {
    hasty_text out(out_);
    const bool is_year_plain = has_plain_year();
    const char* at = format.data();
    const char* const end = at + format.size();
    while (at != end) {
        if (*at != '%') {
            out.put(*at++);
            continue;
        }
        // Most conversions are a letter alone, and most of those digits.
        const conversion* const plain = end - at > 1 ? find_conversion(at[1]) : nullptr;
        if (plain != nullptr && plain->pair != nullptr) {
            out.put_pair(time_.*plain->pair);
            at += 2;
            continue;
        }
        if (is_year_plain && plain == &year_conversion) {
            out.put_pair(time_.m_year / 100);
            out.put_pair(time_.m_year % 100);
            at += 2;
            continue;
        }
        out.hand_back();
        at += put_first(plain, {at, static_cast<size_t>(end - at)});
        out.take();
    }
}

/// Converts what begins with "%", or copies it; how long that was.
size_t time_writer::put_first(const conversion* plain, std::string_view format) {
    constexpr directive plainly;
    if (plain != nullptr && plain->put(*this, plainly))
        return 2;
    directive how;
    const std::string_view text = read_directive(format, how);
    if (text.size() < 2 || !convert(how, text.back()))
        put_text(how, text);
    return text.size();
}

bool time_writer::convert(const directive& how, char letter) {
    const conversion* const found = find_conversion(letter);
    if (found == nullptr ||
        (how.modifier != 0 && std::string_view(found->refused).find(how.modifier) != std::string_view::npos))
        return false;
    const char* const modified_numbers = how.modifier == 'O'   ? "CdegGHIjklmMSuUVwWy"
                                         : how.modifier == 'E' ? "CyY"
                                                               : "";
    return std::string_view(modified_numbers).find(letter) != std::string_view::npos
               ? put_modified_number(how, letter)
               : found->put(*this, how);
}

void time_writer::put_padding(const directive& how, size_t size) {
    if (how.pad != '-' && how.width >= 0 && static_cast<size_t>(how.width) > size)
        out_.fill(how.pad == '0' || how.pad == '+' ? '0' : ' ', static_cast<size_t>(how.width) - size);
}

bool time_writer::put_text(const directive& how, std::string_view text, letter_case letters) {
    put_padding(how, text.size());
    if (letters == letter_case::as_it_is && (how.is_upper || is_upper_))
        letters = letter_case::upper;
    if (letters == letter_case::as_it_is)
        out_.put(text);
    else
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            out_.put(static_cast<char>(letters == letter_case::lower ? ombrel::to_lower(byte)
                                                                     : ombrel::to_upper(byte)));
        }
    return true;
}

bool time_writer::put_name(const directive& how, const time_name& name, bool is_short) {
    if (!how.is_plain() || how.is_upper || how.is_other_case || is_upper_)
        return put_text(how, is_short ? std::string_view(name.text, short_name_size) : name.view(),
                        how.is_other_case ? letter_case::upper : letter_case::as_it_is);
    out_.put_name(name, is_short);
    return true;
}

bool time_writer::put_number(const directive& how, const shown_number& number) {
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

bool time_writer::put_small(const directive& how, int32_t value, int digits) {
    return put_number(how, {static_cast<uint64_t>(value), digits});
}

bool time_writer::put_pair(const directive& how, int32_t value) {
    if (!how.is_plain())
        return put_small(how, value, 2);
    out_.put_pair(value);
    return true;
}

bool time_writer::put_spaced(const directive& how, int32_t value) {
    if (how.is_plain()) {
        out_.put_pair(value, ' ');
        return true;
    }
    directive spaced = how;
    spaced.pad = how.pad == 0 ? '_' : how.pad;
    return put_small(spaced, value, 2);
}

bool time_writer::put_year(const directive& how, int32_t value, int digits, bool is_negative) {
    const uint64_t magnitude = magnitude_of(value);
    directive padded = how;
    padded.pad = how.pad == 0 ? year_pad_ : how.pad;
    padded.width = how.width < 0 ? year_width_ : how.width;
    const bool is_long = magnitude > (digits == 2 ? 99 : 9999) || padded.width > digits;
    return put_number(padded, {magnitude, digits, is_negative, padded.pad == '+' && is_long});
}

/// Whether the year alone is four digits here.
bool time_writer::has_plain_year() const {
    const bool is_plain = year_width_ < 0 ? year_pad_ == 0 : year_width_ == 4 && year_pad_ == '+';
    return is_plain && time_.m_year >= 0 && time_.m_year <= 9999;
}

/// By design: flags and width are for the text that the number makes, and years are no longer than they are.
bool time_writer::put_modified_number(const directive& how, char letter) {
    const char alone[] = {'%', letter}, unpadded[] = {'%', '-', letter};
    const bool is_year = letter == 'C' || letter == 'G' || letter == 'Y';
    return put_composite(how, is_year ? std::string_view(unpadded, 3) : std::string_view(alone, 2), 0);
}

bool time_writer::put_composite(const directive& how, std::string_view format, char year_pad,
                                int year_width) {
    const auto put_into = [&](counted_text& out) {
        time_writer part(out, time_);
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
bool time_writer::put_long_date(const directive& how) {
    constexpr int width_without_year = 6;
    constexpr std::string_view format = "%Y-%m-%d";
    directive unpadded = how;
    unpadded.width = -1;
    return how.is_plain()
               ? put_composite(unpadded, format, '+', 4)
               : put_composite(unpadded, format, how.pad, std::max(how.width - width_without_year, 0));
}

/// A width says how many digits there are; other padding than zeros is shown in place of the last zeros.
bool time_writer::put_fraction(const directive& how) {
    constexpr int all_digits = 9;
    const bool is_padded = how.pad != '-' || how.width < 0; // by design: "%-N" has as many as the clock
    const int width = how.width <= 0 ? all_digits : how.width;
    int32_t value = time_.m_nanosecond;
    int digits = all_digits;
    for (; digits > width || (digits > 1 && value % 10 == 0); value /= 10)
        digits--;
    out_.put_fraction(time_.m_nanosecond, digits);
    if (is_padded)
        out_.fill(how.pad == '_' ? ' ' : '0', static_cast<size_t>(width - digits));
    return true;
}

bool time_writer::put_offset(const directive& how) {
    const uint64_t offset = magnitude_of(time_.m_offset);
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

} // namespace

int ombrel_format_time(char* buf, size_t size, const char* format, const ombrel_civil_time_t* time) {
    if (buf == nullptr && size != 0)
        return refuse();
    counted_text out(buf, size);
    if (format == nullptr || !is_civil_time(time))
        return refuse();
    time_writer(out, *time).format(format);
    return out.end();
}

char* ombrel_alloc_time_text_tag(const char* format, const ombrel_civil_time_t* time, const char* function,
                                 unsigned long line) {
    if (format == nullptr || !is_civil_time(time)) {
        leave_fault(ombrel::fault_code::invalid);
        return nullptr;
    }
    counted_text measured(nullptr, 0);
    time_writer(measured, *time).format(format);
    auto* text = static_cast<char*>(ombrel_alloc_tag(measured.size() + 1, function, line));
    if (text == nullptr) {
        leave_fault(ombrel::fault_code::no_memory);
        return nullptr;
    }
    counted_text out(text, measured.size() + 1);
    time_writer(out, *time).format(format);
    out.end();
    return text;
}
