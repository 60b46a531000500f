#include "protocol/ftp_server/ftp_line.h"

#include <cstring>

#include <ombrel/calendar.h>
#include <ombrel/ftp_server.h>
#include <ombrel/printf.h>

#include "text/number.h"
#include "text/slice.h"
#include "text/text_sink.h"

namespace ombrel::protocol {

namespace {

bool is_directory(const ombrel_file_info_t& info) {
    return info.m_kind == def_ombrel_file_kind_directory;
}

char kind_letter(int kind) {
    static constexpr char letters[] = "?-dlpscb?"; // in the order of def_ombrel_file_kind_*
    return letters[kind];
}

/// As "rwxr-xr-x", with what makes programs run as others and directories sticky.
void put_mode(char (&text)[10], uint32_t mode) {
    static constexpr char letters[] = "rwxrwxrwx";
    for (int i = 0; i < 9; i++)
        text[i] = (mode & 0400u >> i) != 0 ? letters[i] : '-';
    static constexpr struct {
        uint32_t bit;
        int place;
        char with, without;
    } specials[] = {{04000, 2, 's', 'S'}, {02000, 5, 's', 'S'}, {01000, 8, 't', 'T'}};
    for (const auto& special : specials)
        if ((mode & special.bit) != 0)
            text[special.place] = text[special.place] == 'x' ? special.with : special.without;
    text[9] = '\0';
}

/// As ls has it, in UTC: the time of day of what is recent, the year of what is not.
void put_date(char (&text)[16], const ombrel_instant_t& moment, int64_t now) {
    constexpr int64_t half_a_year = 182 * 86400, ahead = 3600;
    ombrel_civil_time_t time;
    const bool is_recent = moment.m_seconds > now - half_a_year && moment.m_seconds < now + ahead;
    if (ombrel_make_utc_time(&moment, &time) != 0 ||
        ombrel_format_time(text, sizeof text, is_recent ? "%b %e %H:%M" : "%b %e  %Y", &time) <= 0)
        ombrel_snprintf(text, sizeof text, "Jan  1  1970");
}

size_t put_plain_head(char* text, size_t room, const ombrel_file_info_t& info, int64_t now) {
    char mode[10], date[16];
    put_mode(mode, info.m_mode);
    put_date(date, info.m_modified, now);
    return static_cast<size_t>(ombrel_snprintf(text, room, "%c%s %3llu %-8u %-8u %12lld %s ",
                                               kind_letter(info.m_kind), mode,
                                               static_cast<unsigned long long>(info.m_links), info.m_owner,
                                               info.m_group, static_cast<long long>(info.m_size), date));
}

const char* type_of(int kind) {
    switch (kind) {
    case def_ombrel_file_kind_regular:
        return "file";
    case def_ombrel_file_kind_directory:
        return "dir";
    case def_ombrel_file_kind_link:
        return "OS.unix=slink";
    default:
        return "OS.unix=special";
    }
}

/// What the account may do with it, in the letters of RFC 3659.
void put_permissions(text_sink& to, const ombrel_file_info_t& info, uint32_t rights) {
    enum : uint8_t { file = 1, directory = 2, other = 4 };
    static constexpr struct {
        char letter;
        uint8_t kinds;
        uint32_t rights; ///< all that are needed
    } letters[] = {
        {'a', file, def_ombrel_ftp_account_write},
        {'c', directory, def_ombrel_ftp_account_write},
        {'d', file | directory | other, def_ombrel_ftp_account_delete},
        {'e', directory, 0},
        {'f', file | directory | other, def_ombrel_ftp_account_write | def_ombrel_ftp_account_delete},
        {'l', directory, def_ombrel_ftp_account_read},
        {'m', directory, def_ombrel_ftp_account_write},
        {'p', directory, def_ombrel_ftp_account_delete},
        {'r', file, def_ombrel_ftp_account_read},
        {'w', file, def_ombrel_ftp_account_write}};
    const bool is_file = info.m_kind == def_ombrel_file_kind_regular;
    const uint8_t kind = is_file ? file : is_directory(info) ? directory : other;
    for (const auto& one : letters)
        if ((one.kinds & kind) != 0 && (one.rights & rights) == one.rights)
            to.put(one.letter);
}

void put_fact(text_sink& to, ftp_fact fact, const ombrel_file_info_t& info, uint32_t rights) {
    char value[64] = "";
    char time[ftp_stamp_room];
    switch (fact) {
    case fact_size:
        ombrel_snprintf(value, sizeof value, "%lld", static_cast<long long>(info.m_size));
        break;
    case fact_modify:
        put_ftp_stamp(time, info.m_modified);
        ombrel_snprintf(value, sizeof value, "%s", time);
        break;
    case fact_unique:
        ombrel_snprintf(value, sizeof value, "%llxg%llx", static_cast<unsigned long long>(info.m_device),
                        static_cast<unsigned long long>(info.m_serial));
        break;
    case fact_mode:
        ombrel_snprintf(value, sizeof value, "%04o", info.m_mode);
        break;
    default:
        ombrel_snprintf(value, sizeof value, "%s", fact == fact_type ? type_of(info.m_kind) : "");
    }
    to.copy(fact_names[fact].data(), fact_names[fact].size());
    to.put('=');
    to.copy(value, strlen(value));
    if (fact == fact_perm)
        put_permissions(to, info, rights);
    to.put(';');
}

size_t put_facts(char* text, size_t room, const ombrel_file_info_t& info, const line_style& style) {
    text_sink to(text, room);
    for (uint8_t fact = 0; fact < fact_count; fact++)
        if ((style.facts & 1u << fact) != 0 && (fact != fact_size || !is_directory(info)))
            put_fact(to, static_cast<ftp_fact>(fact), info, style.rights);
    to.put(' ');
    return room - to.room();
}

} // namespace

size_t put_line_head(char (&text)[line_head_room], const ombrel_file_info_t& info, const line_style& style) {
    switch (style.form) {
    case listing_form::plain:
        return put_plain_head(text, sizeof text, info, style.now);
    case listing_form::facts:
        return put_facts(text, sizeof text, info, style);
    case listing_form::names:
        break;
    }
    return 0;
}

void put_ftp_stamp(char (&text)[ftp_stamp_room], const ombrel_instant_t& moment) {
    ombrel_civil_time_t time;
    if (ombrel_make_utc_time(&moment, &time) != 0 ||
        ombrel_format_time(text, sizeof text, "%Y%m%d%H%M%S", &time) != 14)
        ombrel_snprintf(text, sizeof text, "19700101000000");
}

bool parse_ftp_stamp(std::string_view text, ombrel_instant_t& moment) {
    ombrel_civil_time_t time{};
    const bool has_fraction = text.size() > 15 && text.size() <= 24 && text[14] == '.';
    if (text.size() != 14 && !has_fraction)
        return false;
    const struct {
        int32_t& field;
        size_t start, size;
    } fields[] = {{time.m_year, 0, 4}, {time.m_month, 4, 2},   {time.m_day, 6, 2},
                  {time.m_hour, 8, 2}, {time.m_minute, 10, 2}, {time.m_second, 12, 2}};
    uint32_t value = 0; // has no sign, which is no digit
    for (const auto& part : fields) {
        if (!parse_number(slice(text, part.start, part.size), value))
            return false;
        part.field = static_cast<int32_t>(value);
    }
    const std::string_view fraction = slice(text, 15);
    if (has_fraction && !parse_number(fraction, value))
        return false;
    time.m_nanosecond = has_fraction ? static_cast<int32_t>(value) : 0;
    for (size_t digits = fraction.size(); digits < 9; digits++)
        time.m_nanosecond *= 10;
    return ombrel_get_civil_instant(&time, &moment) == 0;
}

} // namespace ombrel::protocol
