#include <ombrel/calendar.h>

#include "system/time/counted_text.h"
#include "system/time/time_fault.h"
#include "system/time/time_reader.h"
#include "text/integer_text.h"
#include "text/number.h"

using namespace ombrel::system;
using ombrel::fault_code;

namespace {

constexpr int64_t second_nanoseconds = nanoseconds_per_second;

struct duration_unit {
    std::string_view name;
    int64_t nanoseconds;
};

/// From large to small.
constexpr duration_unit units[] = {{"w", 7 * 86'400 * second_nanoseconds},
                                   {"d", 86'400 * second_nanoseconds},
                                   {"h", 3600 * second_nanoseconds},
                                   {"min", 60 * second_nanoseconds},
                                   {"s", second_nanoseconds},
                                   {"ms", 1'000'000},
                                   {"us", 1000},
                                   {"ns", 1}};
constexpr size_t minute_unit = 3;
constexpr size_t second_unit = 4;

/// Adds up a duration, of either sign, from its parts.
class duration_reader : public time_reader {
public:
    explicit duration_reader(std::string_view text) : time_reader(text), text_(text) {}

    bool take_duration() {
        is_negative_ = take_sign() < 0;
        skip_spaces();
        do {
            if (!take_part())
                return false;
            skip_spaces();
        } while (!at_end() && !is_last_);
        return at_end();
    }

    int64_t nanoseconds() const { return sum_; }
    /// Whether it is one, but no number for it.
    bool is_too_large() const { return is_too_large_; }

private:
    void skip_spaces() {
        while (take(' ')) {
        }
    }

    /// A number and its unit, or a time of day.
    bool take_part() {
        uint64_t number;
        if (!take_amount(number))
            return false;
        if (peek() == ':')
            return take_clock(number);
        const std::string_view fraction = take_fraction();
        is_last_ = !fraction.empty();
        skip_spaces();
        size_t unit;
        if (!take_unit(unit))
            return false;
        return add(number, units[unit].nanoseconds) && add_fraction(fraction, units[unit].nanoseconds);
    }

    /// Minutes behind hours, and maybe seconds.
    bool take_clock(uint64_t hours) {
        int32_t minute, second = 0;
        is_last_ = true;
        if (next_unit_ > minute_unit - 1 || !take(':') || !take_number(2, 0, 59, minute))
            return false;
        if (take(':') && !take_number(2, 0, 59, second))
            return false;
        return add(hours, units[minute_unit - 1].nanoseconds) &&
               add(static_cast<uint64_t>(minute * 60 + second), second_nanoseconds) &&
               add_fraction(take_fraction(), second_nanoseconds);
    }

    bool take_amount(uint64_t& number) {
        const size_t digits = count_digits();
        if (digits == 0)
            return false;
        is_too_large_ = !ombrel::parse_number(ombrel::slice(text_, at(), digits), number);
        for (size_t i = 0; !is_too_large_ && i < digits; i++)
            take(peek());
        return !is_too_large_;
    }

    /// One that is smaller than those before; seconds where none is named, as the last.
    bool take_unit(size_t& unit) {
        size_t letters = 0;
        while (is_letter(peek(letters)))
            letters++;
        unit = letters == 0 ? second_unit : find_unit(letters);
        if (unit < next_unit_ || unit == std::size(units))
            return false;
        is_last_ |= letters == 0;
        next_unit_ = unit + 1;
        return true;
    }

    size_t find_unit(size_t letters) {
        if (letters == 1 && take('m'))
            return minute_unit;
        size_t unit = 0;
        while (unit < std::size(units) &&
               !(units[unit].name.size() == letters && take_word(units[unit].name)))
            unit++;
        return unit;
    }

    bool add(uint64_t number, int64_t unit) {
        int64_t part;
        is_too_large_ = number > INT64_MAX ||
                        __builtin_mul_overflow(static_cast<int64_t>(number), unit, &part) ||
                        __builtin_add_overflow(sum_, is_negative_ ? -part : part, &sum_);
        return !is_too_large_;
    }

    bool add_fraction(std::string_view digits, int64_t unit) {
        return add(static_cast<uint64_t>(fraction_of(digits, unit)), 1);
    }

    const std::string_view text_;
    int64_t sum_ = 0;
    size_t next_unit_ = 0;
    bool is_negative_ = false;
    bool is_last_ = false; // nothing may follow the part
    bool is_too_large_ = false;
};

void put_days(counted_text& out, uint64_t days) {
    char digits[20];
    ombrel::text_sink sink(digits, sizeof digits);
    ombrel::write_integer(sink, days, 10, 0, ombrel::lower_digits);
    out.put(std::string_view(digits, static_cast<size_t>(sink.cursor() - digits)));
    out.put(" d ");
}

} // namespace

int ombrel_format_duration(char* buf, size_t size, int64_t nanoseconds, int digits) {
    if (buf == nullptr && size != 0)
        return refuse();
    counted_text out(buf, size);
    if (digits < def_ombrel_calendar_all_digits || digits > 9)
        return refuse();
    const uint64_t magnitude = magnitude_of(nanoseconds);
    const uint64_t seconds = magnitude / nanoseconds_per_second;
    const auto second = static_cast<int32_t>(seconds % seconds_per_day);
    if (nanoseconds < 0)
        out.put('-');
    if (seconds >= seconds_per_day)
        put_days(out, seconds / seconds_per_day);
    out.put_pair(second / 3600);
    out.put(':');
    out.put_pair(second / 60 % 60);
    out.put(':');
    out.put_pair(second % 60);
    out.put_point_and_fraction(static_cast<int32_t>(magnitude % nanoseconds_per_second), digits);
    return out.end();
}

int ombrel_parse_duration(const char* text, int64_t* nanoseconds, size_t* fault_at) {
    if (text == nullptr || nanoseconds == nullptr)
        return refuse();
    duration_reader reader(text);
    if (!reader.take_duration()) {
        if (fault_at != nullptr)
            *fault_at = reader.at();
        return fail(reader.is_too_large() ? fault_code::too_large : fault_code::invalid);
    }
    *nanoseconds = reader.nanoseconds();
    return 0;
}
