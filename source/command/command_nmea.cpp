#include <ombrel/nmea.h>

#include <cstddef>
#include <cstdint>
#include <iterator>

#include <ombrel/fault.h>
#include <ombrel/printf.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "core/heap_ptr.h"

namespace ombrel::command {

namespace {

struct nmea_choice {
    int length = def_ombrel_nmea_length_max;
    int is_unchecked = 0;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'l',
     .m_name = "length",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(nmea_choice, length),
     .m_value = "COUNT",
     .m_help = "take sentences of up to so many characters (default 82)",
     .m_least = 16,
     .m_most = def_ombrel_nmea_length_highest},
    {.m_letter = 'u',
     .m_name = "unchecked",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(nmea_choice, is_unchecked),
     .m_help = "take sentences without a checksum"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "nmea",
    .m_operands = "[FILE]",
    .m_most_operands = 1,
    .m_summary = "Prints sentences of NMEA 0183, such as a receiver of positions sends, as JSON.",
    .m_notes =
        "Each is an object on a line of its own: \"type\", \"talker\", \"valid\", then what its type tells, "
        "null where it is not given. Angles are degrees, positive to the north and the east, times UTC. "
        "Types "
        "without a record have \"fields\". A bad sentence has \"valid\" false, \"error\", and \"sentence\" "
        "with "
        "each byte a character. It changes no exit code. Files may be devices (\"serial\" sets one up).",
    .m_options = options};

enum class shape : uint8_t { count, number, angle, letter, time, date, satellites_used, satellites_seen };

struct member {
    const char* name;
    shape form;
    size_t place;
};

constexpr member gga[] = {{"time", shape::time, offsetof(ombrel_nmea_gga_t, m_time)},
                          {"latitude", shape::angle, offsetof(ombrel_nmea_gga_t, m_latitude)},
                          {"longitude", shape::angle, offsetof(ombrel_nmea_gga_t, m_longitude)},
                          {"quality", shape::count, offsetof(ombrel_nmea_gga_t, m_quality)},
                          {"satellites", shape::count, offsetof(ombrel_nmea_gga_t, m_satellites)},
                          {"hdop", shape::number, offsetof(ombrel_nmea_gga_t, m_hdop)},
                          {"altitude", shape::number, offsetof(ombrel_nmea_gga_t, m_altitude)},
                          {"separation", shape::number, offsetof(ombrel_nmea_gga_t, m_separation)},
                          {"correction_age", shape::number, offsetof(ombrel_nmea_gga_t, m_correction_age)},
                          {"station", shape::count, offsetof(ombrel_nmea_gga_t, m_station)}};
constexpr member gll[] = {{"latitude", shape::angle, offsetof(ombrel_nmea_gll_t, m_latitude)},
                          {"longitude", shape::angle, offsetof(ombrel_nmea_gll_t, m_longitude)},
                          {"time", shape::time, offsetof(ombrel_nmea_gll_t, m_time)},
                          {"status", shape::letter, offsetof(ombrel_nmea_gll_t, m_status)},
                          {"mode", shape::letter, offsetof(ombrel_nmea_gll_t, m_mode)}};
constexpr member gsa[] = {{"selection", shape::letter, offsetof(ombrel_nmea_gsa_t, m_selection)},
                          {"fix", shape::count, offsetof(ombrel_nmea_gsa_t, m_fix)},
                          {"satellites", shape::satellites_used, offsetof(ombrel_nmea_gsa_t, m_satellites)},
                          {"pdop", shape::number, offsetof(ombrel_nmea_gsa_t, m_pdop)},
                          {"hdop", shape::number, offsetof(ombrel_nmea_gsa_t, m_hdop)},
                          {"vdop", shape::number, offsetof(ombrel_nmea_gsa_t, m_vdop)},
                          {"system", shape::count, offsetof(ombrel_nmea_gsa_t, m_system)}};
constexpr member gsv[] = {{"sentences", shape::count, offsetof(ombrel_nmea_gsv_t, m_sentences)},
                          {"sentence", shape::count, offsetof(ombrel_nmea_gsv_t, m_sentence)},
                          {"in_view", shape::count, offsetof(ombrel_nmea_gsv_t, m_in_view)},
                          {"satellites", shape::satellites_seen, 0},
                          {"signal", shape::count, offsetof(ombrel_nmea_gsv_t, m_signal)}};
constexpr member seen_satellite[] = {
    {"number", shape::count, offsetof(ombrel_nmea_satellite_t, m_number)},
    {"elevation", shape::count, offsetof(ombrel_nmea_satellite_t, m_elevation)},
    {"azimuth", shape::count, offsetof(ombrel_nmea_satellite_t, m_azimuth)},
    {"strength", shape::count, offsetof(ombrel_nmea_satellite_t, m_strength)}};
constexpr member hdt[] = {{"heading", shape::number, offsetof(ombrel_nmea_hdt_t, m_heading)}};
constexpr member rmc[] = {{"time", shape::time, offsetof(ombrel_nmea_rmc_t, m_time)},
                          {"date", shape::date, offsetof(ombrel_nmea_rmc_t, m_time)},
                          {"status", shape::letter, offsetof(ombrel_nmea_rmc_t, m_status)},
                          {"latitude", shape::angle, offsetof(ombrel_nmea_rmc_t, m_latitude)},
                          {"longitude", shape::angle, offsetof(ombrel_nmea_rmc_t, m_longitude)},
                          {"speed", shape::number, offsetof(ombrel_nmea_rmc_t, m_speed)},
                          {"course", shape::number, offsetof(ombrel_nmea_rmc_t, m_course)},
                          {"variation", shape::number, offsetof(ombrel_nmea_rmc_t, m_variation)},
                          {"mode", shape::letter, offsetof(ombrel_nmea_rmc_t, m_mode)},
                          {"navigation", shape::letter, offsetof(ombrel_nmea_rmc_t, m_navigation)}};
constexpr member vtg[] = {{"course", shape::number, offsetof(ombrel_nmea_vtg_t, m_course)},
                          {"magnetic_course", shape::number, offsetof(ombrel_nmea_vtg_t, m_magnetic_course)},
                          {"speed", shape::number, offsetof(ombrel_nmea_vtg_t, m_speed)},
                          {"speed_kmh", shape::number, offsetof(ombrel_nmea_vtg_t, m_speed_kmh)},
                          {"mode", shape::letter, offsetof(ombrel_nmea_vtg_t, m_mode)}};
constexpr member zda[] = {{"time", shape::time, offsetof(ombrel_nmea_zda_t, m_time)},
                          {"date", shape::date, offsetof(ombrel_nmea_zda_t, m_time)},
                          {"zone_hours", shape::count, offsetof(ombrel_nmea_zda_t, m_zone_hours)},
                          {"zone_minutes", shape::count, offsetof(ombrel_nmea_zda_t, m_zone_minutes)}};

constexpr std::span<const member> members_of_types[] = {{}, gga, gll, gsa, gsv, hdt, rmc, vtg, zda};
static_assert(std::size(members_of_types) == def_ombrel_nmea_zda + 1);

void put(std::string_view text) {
    put_bytes(text.data(), text.size());
}

void put_name(const char* name) {
    put(",\"");
    put(name);
    put("\":");
}

/// A text whose bytes are characters each.
void put_text(std::string_view text) {
    put("\"");
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        char escaped[8];
        const bool is_plain = byte >= ' ' && byte < 0x7f && c != '"' && c != '\\';
        const int size = is_plain ? 0 : ombrel_snprintf(escaped, sizeof escaped, "\\u%04x", unsigned{byte});
        put(is_plain ? std::string_view(&c, 1) : std::string_view(escaped, static_cast<size_t>(size)));
    }
    put("\"");
}

void put_count(int64_t value) {
    char text[24];
    put({text,
         static_cast<size_t>(ombrel_snprintf(text, sizeof text, "%lld", static_cast<long long>(value)))});
}

/// Without zeros at the end.
void put_billionths(int64_t value) {
    constexpr uint64_t scale = def_ombrel_nmea_scale;
    const uint64_t size = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    char text[32];
    int length = ombrel_snprintf(text, sizeof text, "%s%llu.%09llu", value < 0 ? "-" : "",
                                 static_cast<unsigned long long>(size / scale),
                                 static_cast<unsigned long long>(size % scale));
    while (text[length - 1] == '0')
        length--;
    put({text, static_cast<size_t>(length - (text[length - 1] == '.' ? 1 : 0))});
}

void put_time(const ombrel_civil_time_t& time, const char* format) {
    ombrel_civil_time_t shown = time;
    if (shown.m_month == 0) // any date will do for a time of day
        shown.m_year = shown.m_month = shown.m_day = 1;
    shown.m_hour = shown.m_hour == -1 ? 0 : shown.m_hour;
    char text[40];
    put({text, static_cast<size_t>(ombrel_format_time(text, sizeof text, format, &shown))});
}

void put_clock(const ombrel_civil_time_t& time) {
    constexpr int64_t per_second = 1'000'000'000;
    put("\"");
    put_time(time, "%H:%M:");
    put(time.m_second < 10 ? "0" : "");
    put_billionths(time.m_second * per_second + time.m_nanosecond);
    put("\"");
}

template<typename Value>
const Value& value_at(const void* record, size_t place) {
    return *reinterpret_cast<const Value*>(static_cast<const char*>(record) + place);
}

bool is_given(const member& one, const void* record) {
    switch (one.form) {
    case shape::letter:
        return value_at<char>(record, one.place) != '\0';
    case shape::time:
        return value_at<ombrel_civil_time_t>(record, one.place).m_hour != -1;
    case shape::date:
        return value_at<ombrel_civil_time_t>(record, one.place).m_month != 0;
    case shape::satellites_used:
    case shape::satellites_seen:
        return true;
    default:
        return value_at<int64_t>(record, one.place) != def_ombrel_nmea_not_given;
    }
}

void put_satellites_used(const int64_t* numbers) {
    const char* before = "[";
    for (int i = 0; i < def_ombrel_nmea_gsa_satellites; i++) {
        if (numbers[i] == def_ombrel_nmea_not_given)
            continue;
        put(before);
        put_count(numbers[i]);
        before = ",";
    }
    put(*before == '[' ? "[]" : "]");
}

void put_satellites_seen(const ombrel_nmea_gsv_t& seen) {
    put("[");
    for (int64_t i = 0; i < seen.m_satellite_count; i++) {
        put(i > 0 ? ",{" : "{");
        for (const member& one : seen_satellite) {
            put(&one == seen_satellite ? "\"" : ",\"");
            put(one.name);
            put("\":");
            if (is_given(one, &seen.m_satellites[i]))
                put_count(value_at<int64_t>(&seen.m_satellites[i], one.place));
            else
                put("null");
        }
        put("}");
    }
    put("]");
}

void put_given(const member& one, const void* record) {
    switch (one.form) {
    case shape::count:
        return put_count(value_at<int64_t>(record, one.place));
    case shape::number:
        return put_billionths(value_at<int64_t>(record, one.place));
    case shape::angle:
        return put_billionths(ombrel_get_nmea_nanodegrees(value_at<int64_t>(record, one.place)));
    case shape::letter:
        return put_text({&value_at<char>(record, one.place), 1});
    case shape::time:
        return put_clock(value_at<ombrel_civil_time_t>(record, one.place));
    case shape::date:
        return put_time(value_at<ombrel_civil_time_t>(record, one.place), "\"%Y-%m-%d\"");
    case shape::satellites_used:
        return put_satellites_used(&value_at<int64_t>(record, one.place));
    case shape::satellites_seen:
        return put_satellites_seen(value_at<ombrel_nmea_gsv_t>(record, one.place));
    }
}

void put_fields(const ombrel_nmea_sentence_t& sentence) {
    put(",\"fields\":[");
    for (int i = 0; i < sentence.m_field_count; i++) {
        const char* text;
        size_t size;
        put(i > 0 ? "," : "");
        if (ombrel_nmea_sentence_get_field(&sentence, i, &text, &size) == 0)
            put_text({text, size});
    }
    put("]");
}

void put_good(const ombrel_nmea_sentence_t& sentence) {
    put("{\"type\":");
    put_text(sentence.m_formatter);
    put_name("talker");
    put_text(sentence.m_talker);
    put_name("valid");
    put("true");
    for (const member& one : members_of_types[sentence.m_type]) {
        put_name(one.name);
        if (is_given(one, &sentence.m_value))
            put_given(one, &sentence.m_value);
        else
            put("null");
    }
    if (sentence.m_type == def_ombrel_nmea_other)
        put_fields(sentence);
    put("}\n");
}

void put_bad(const ombrel_nmea_sentence_t& sentence) {
    put("{\"type\":null,\"talker\":null,\"valid\":false,\"error\":");
    put_text(ombrel_nmea_fault_text(sentence.m_fault));
    put_name("sentence");
    put_text({sentence.m_text, sentence.m_size});
    put("}\n");
}

int print_sentence(const ombrel_nmea_sentence_t* sentence, void* /* context */) {
    if (sentence->m_fault == def_ombrel_nmea_fault_none)
        put_good(*sentence);
    else
        put_bad(*sentence);
    return ferror(stdout);
}

/// What a device sends is shown as it comes.
bool print_sentences(ombrel_nmea_reader_t* reader, const char* name) {
    return read_input("nmea", name, [&](const char* bytes, size_t size) {
        return ombrel_nmea_reader_push(reader, bytes, size) == 0 && fflush(stdout) == 0;
    });
}

int run_nmea(int argc, char** argv) {
    const command_arguments<nmea_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const ombrel_nmea_options_t chosen = {def_ombrel_nmea_bad_too |
                                              (arguments->is_unchecked != 0 ? def_ombrel_nmea_unchecked : 0),
                                          static_cast<size_t>(arguments->length)};
    const heap_ptr<ombrel_nmea_reader_t> reader(ombrel_open_nmea_reader(&chosen, print_sentence, nullptr));
    if (!reader) {
        complain("nmea", "sentences", ombrel_fault_text());
        return exit_code(false);
    }
    const bool is_read =
        print_sentences(reader.get(), arguments.operand_count() > 0 ? arguments.operand(0) : "-");
    ombrel_nmea_reader_push(reader.get(), nullptr, 0);
    return exit_code(is_read);
}

} // namespace

constexpr own_command nmea_command = command_of(table, run_nmea);

} // namespace ombrel::command
