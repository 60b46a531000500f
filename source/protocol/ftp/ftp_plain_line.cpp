// Lines of LIST as servers of Unix and DOS write them. No standard says how; what is not in one of these
// shapes is not guessed at.
#include "protocol/ftp/ftp_entry.h"
#include "system/time/time_reader.h"
#include "text/number.h"

namespace ombrel::protocol {

namespace {

using system::time_reader;

constexpr size_t most_words = 16;
constexpr int64_t day_seconds = 86400;
/// Years in which the 29th of February comes at least once, whatever the century.
constexpr int leap_gap = 8;

/// The words at the beginning of a line, divided by spaces.
struct line_words {
    std::string_view words[most_words];
    size_t ends[most_words]; ///< where each ends in the line
    size_t count = 0;

    explicit line_words(std::string_view line) {
        for (size_t at = 0; count < most_words;) {
            at = std::min(line.find_first_not_of(' ', at), line.size());
            if (at == line.size())
                return;
            const size_t end = std::min(line.find(' ', at), line.size());
            words[count] = slice(line, at, end - at);
            ends[count++] = at = end;
        }
    }
    /// Empty beyond the last one.
    std::string_view operator[](size_t index) const {
        return index < count ? words[index] : std::string_view();
    }
};

/// A time as lists tell it.
struct listed_time {
    ombrel_civil_time_t civil{};
    int precision = def_ombrel_ftp_time_none;
    bool has_year = true;
    size_t words = 0; ///< that it takes
};

bool is_number(std::string_view word) {
    uint64_t ignored;
    return parse_number(word, ignored);
}

bool read_month(std::string_view word, ombrel_civil_time_t& civil) {
    time_reader reader(word);
    civil.m_month = reader.take_name(system::month_names) + 1;
    return word.size() == system::short_name_size && civil.m_month > 0;
}

bool read_day(std::string_view word, ombrel_civil_time_t& civil) {
    return word.size() <= 2 && parse_number(word, 1, 31, civil.m_day);
}

/// "12:42"
bool read_clock(std::string_view word, ombrel_civil_time_t& civil) {
    time_reader reader(word);
    return reader.take_number(word.size() > 4 ? 2 : 1, 0, 23, civil.m_hour) && reader.take(':') &&
           reader.take_number(2, 0, 59, civil.m_minute) && reader.at_end();
}

bool read_clock_or_year(std::string_view word, listed_time& time) {
    time.precision = def_ombrel_ftp_time_minute;
    time.has_year = !read_clock(word, time.civil);
    if (!time.has_year)
        return true;
    time.civil.m_hour = time.civil.m_minute = 0; // of which a part may have looked like an hour
    time.precision = def_ombrel_ftp_time_day;
    return word.size() == 4 && parse_number(word, 0, 9999, time.civil.m_year);
}

/// "2026-11-22"
bool read_iso_date(std::string_view word, ombrel_civil_time_t& civil) {
    time_reader reader(word);
    return reader.take_number(4, 0, 9999, civil.m_year) && reader.take('-') &&
           reader.take_number(2, 1, 12, civil.m_month) && reader.take('-') &&
           reader.take_number(2, 1, 31, civil.m_day) && reader.at_end();
}

/// "Nov 22 12:42", "22 Nov 2026" or "2026-11-22 12:42", beginning at a word.
bool read_unix_time(const line_words& line, size_t at, listed_time& time) {
    time = {};
    time.words = 3;
    ombrel_civil_time_t& civil = time.civil;
    if ((read_month(line[at], civil) && read_day(line[at + 1], civil)) ||
        (read_day(line[at], civil) && read_month(line[at + 1], civil)))
        return read_clock_or_year(line[at + 2], time);
    time.words = 2;
    time.precision = def_ombrel_ftp_time_minute;
    return read_iso_date(line[at], civil) && read_clock(line[at + 1], civil);
}

/// The latest year in which it is not more than a day ahead, as the server's clock need not be ours.
bool guess_year(ombrel_civil_time_t& civil, const ombrel_instant_t& now, ombrel_instant_t& time) {
    ombrel_civil_time_t today;
    if (ombrel_make_utc_time(&now, &today) != 0)
        return false;
    for (int back = -1; back <= leap_gap; back++) {
        civil.m_year = today.m_year - back;
        if (make_ftp_instant(civil, time) && time.m_seconds <= now.m_seconds + day_seconds)
            return true;
    }
    return false;
}

/// A date that does not exist leaves the entry without a time.
void note_time(listed_time& time, ftp_entry_reading& to) {
    ombrel_instant_t instant;
    if (time.has_year ? make_ftp_instant(time.civil, instant) : guess_year(time.civil, to.now, instant)) {
        to.entry.m_time = instant;
        to.entry.m_time_precision = time.precision;
    }
}

int kind_of_letter(char letter) {
    switch (letter) {
    case '-':
        return def_ombrel_ftp_kind_file;
    case 'd':
        return def_ombrel_ftp_kind_directory;
    case 'l':
        return def_ombrel_ftp_kind_link;
    default:
        return def_ombrel_ftp_kind_other;
    }
}

/// One of the nine letters of permissions: the bit it sets, and the one of set-id or sticky; -1 for another.
int mode_of_letter(char letter, size_t place) {
    const int bit = 0400 >> place;
    const int special = 04000 >> place / 3;
    if (letter == '-')
        return 0;
    if (letter == "rwx"[place % 3])
        return bit;
    if (place % 3 != 2)
        return -1;
    const char executable = place == 8 ? 't' : 's';
    if (letter == executable)
        return bit | special;
    return letter == static_cast<char>(to_upper(static_cast<unsigned char>(executable))) ? special : -1;
}

/// "drwxr-xr-x", and a sign of further rights behind it.
bool read_mode(std::string_view word, ombrel_ftp_entry_t& entry) {
    constexpr std::string_view kinds = "-dlbcpsD";
    if (word.size() < 10 || word.size() > 11 || kinds.find(word[0]) == kinds.npos)
        return false;
    int mode = 0;
    for (size_t place = 0; place < 9; place++) {
        const int bits = mode_of_letter(word[place + 1], place);
        if (bits < 0)
            return false;
        mode |= bits;
    }
    entry.m_mode = mode;
    entry.m_kind = kind_of_letter(word[0]);
    return true;
}

/// The number of links is there as a rule, and names of owners and groups may have spaces.
void read_owners(const line_words& line, size_t end, ftp_entry_reading& to) {
    size_t at = 1;
    if (at + 1 < end && is_number(line[at]))
        at++;
    if (at < end)
        to.entry.m_owner = to.room.put(line[at]);
    if (at + 1 < end)
        to.entry.m_group = to.room.put(line[at + 1]);
}

void put_link(std::string_view name, ftp_entry_reading& to) {
    constexpr std::string_view arrow = " -> ";
    const size_t at = to.entry.m_kind == def_ombrel_ftp_kind_link ? name.find(arrow) : name.npos;
    to.entry.m_name = to.room.put(slice(name, 0, at));
    if (at != name.npos)
        to.entry.m_target = to.room.put(slice(name, at + arrow.size()));
}

/// Two digits are those of the years from 1970 on.
bool read_dos_date(std::string_view word, ombrel_civil_time_t& civil) {
    if (read_iso_date(word, civil))
        return true;
    time_reader reader(word);
    const size_t digits = word.size() > 8 ? 4 : 2;
    if (!reader.take_number(2, 1, 12, civil.m_month) || !reader.take('-') ||
        !reader.take_number(2, 1, 31, civil.m_day) || !reader.take('-') ||
        !reader.take_number(digits, 0, 9999, civil.m_year) || !reader.at_end())
        return false;
    if (digits == 2)
        civil.m_year += civil.m_year < 70 ? 2000 : 1900;
    return true;
}

/// "12:42PM" or "12:42"
bool read_dos_clock(std::string_view word, ombrel_civil_time_t& civil) {
    const std::string_view half = slice(word, word.size() > 2 ? word.size() - 2 : 0);
    const bool is_morning = half == "AM", is_evening = half == "PM";
    if (!is_morning && !is_evening)
        return read_clock(word, civil);
    if (!read_clock(slice(word, 0, word.size() - 2), civil) || civil.m_hour < 1 || civil.m_hour > 12)
        return false;
    civil.m_hour = civil.m_hour % 12 + (is_evening ? 12 : 0);
    return true;
}

bool read_dos_kind(std::string_view word, ombrel_ftp_entry_t& entry) {
    if (word == "<DIR>")
        entry.m_kind = def_ombrel_ftp_kind_directory;
    else if (word == "<JUNCTION>" || word == "<SYMLINK>" || word == "<SYMLINKD>")
        entry.m_kind = def_ombrel_ftp_kind_link;
    else if (parse_number(word, int64_t{0}, INT64_MAX, entry.m_size))
        entry.m_kind = def_ombrel_ftp_kind_file;
    return entry.m_kind != def_ombrel_ftp_kind_unknown;
}

} // namespace

bool is_ftp_heading(std::string_view line) {
    constexpr std::string_view total = "total ";
    return line.empty() || (starts_with(line, total) && is_number(slice(line, total.size())));
}

bool read_ftp_unix_line(std::string_view line, ftp_entry_reading& to) {
    const line_words words(line);
    listed_time time;
    if (!read_mode(words[0], to.entry))
        return false;
    // The time stands behind the size. A device has two numbers ("8, 0") in the size's place.
    size_t at = 2;
    while (at < words.count && !(is_number(words[at - 1]) && read_unix_time(words, at, time)))
        at++;
    if (at >= words.count || words.ends[at + time.words - 1] + 1 >= line.size())
        return false;
    const bool is_device = words[at - 2].ends_with(',');
    if (!is_device)
        parse_number(words[at - 1], int64_t{0}, INT64_MAX, to.entry.m_size);
    note_time(time, to);
    read_owners(words, at - (is_device ? 2 : 1), to);
    put_link(slice(line, words.ends[at + time.words - 1] + 1), to);
    return true;
}

bool read_ftp_dos_line(std::string_view line, ftp_entry_reading& to) {
    const line_words words(line);
    listed_time time;
    time.precision = def_ombrel_ftp_time_minute;
    if (words.count < 4 || !read_dos_date(words[0], time.civil) || !read_dos_clock(words[1], time.civil) ||
        !read_dos_kind(words[2], to.entry))
        return false;
    note_time(time, to);
    // A name may begin with a space behind a size; behind the mark of a directory all of them are the gap.
    const bool is_file = to.entry.m_kind == def_ombrel_ftp_kind_file;
    to.entry.m_name =
        to.room.put(slice(line, is_file ? words.ends[2] + 1 : line.find_first_not_of(' ', words.ends[2])));
    return true;
}

} // namespace ombrel::protocol
