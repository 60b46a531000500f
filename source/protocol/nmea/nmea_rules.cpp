#include "protocol/nmea/nmea_rules.h"

#include <array>
#include <cstring>
#include <iterator>

namespace ombrel::protocol {

namespace {

using kind = nmea_kind;

constexpr char states[] = "AV";
constexpr char modes[] = "ADEFMNPRS";

template<typename Place>
constexpr nmea_rule at(nmea_kind what, Place place) {
    return {what, static_cast<uint16_t>(place)};
}

template<typename Place>
constexpr nmea_rule count_at(Place place, int16_t least, int16_t most, int16_t width = 1) {
    return {kind::count, static_cast<uint16_t>(place), least, most, width};
}

template<typename Place>
constexpr nmea_rule letter_at(Place place, const char* letters) {
    return {kind::letter, static_cast<uint16_t>(place), 0, 0, 0, letters};
}

constexpr nmea_rule unit(const char* letter) {
    return {kind::unit, 0, 0, 0, 0, letter};
}

constexpr nmea_rule later(nmea_rule rule) {
    rule.is_later = true;
    return rule;
}

#define OMBREL_PLACE(field) offsetof(record, field)

constexpr std::array gga_rules = [] {
    using record = ombrel_nmea_gga_t;
    return std::array{at(kind::time, OMBREL_PLACE(m_time)),
                      at(kind::latitude, OMBREL_PLACE(m_latitude)),
                      at(kind::longitude, OMBREL_PLACE(m_longitude)),
                      count_at(OMBREL_PLACE(m_quality), 0, 9),
                      count_at(OMBREL_PLACE(m_satellites), 0, 999, 2),
                      at(kind::number, OMBREL_PLACE(m_hdop)),
                      at(kind::number, OMBREL_PLACE(m_altitude)),
                      unit("M"),
                      at(kind::number, OMBREL_PLACE(m_separation)),
                      unit("M"),
                      at(kind::number, OMBREL_PLACE(m_correction_age)),
                      count_at(OMBREL_PLACE(m_station), 0, 4095, 4)};
}();

constexpr std::array gll_rules = [] {
    using record = ombrel_nmea_gll_t;
    return std::array{at(kind::latitude, OMBREL_PLACE(m_latitude)),
                      at(kind::longitude, OMBREL_PLACE(m_longitude)), at(kind::time, OMBREL_PLACE(m_time)),
                      letter_at(OMBREL_PLACE(m_status), states),
                      later(letter_at(OMBREL_PLACE(m_mode), modes))};
}();

constexpr std::array gsa_rules = [] {
    using record = ombrel_nmea_gsa_t;
    constexpr size_t satellites = def_ombrel_nmea_gsa_satellites;
    std::array<nmea_rule, 2 + satellites + 4> rules{};
    size_t next = 0;
    rules[next++] = letter_at(OMBREL_PLACE(m_selection), "MA");
    rules[next++] = count_at(OMBREL_PLACE(m_fix), 1, 3);
    for (size_t i = 0; i < satellites; i++)
        rules[next++] = count_at(OMBREL_PLACE(m_satellites) + i * sizeof(int64_t), 0, 999, 2);
    for (const size_t place : {OMBREL_PLACE(m_pdop), OMBREL_PLACE(m_hdop), OMBREL_PLACE(m_vdop)})
        rules[next++] = at(kind::number, place);
    rules[next] = later(at(kind::digit, OMBREL_PLACE(m_system)));
    return rules;
}();

constexpr std::array gsv_rules = [] {
    using record = ombrel_nmea_gsv_t;
    using satellite = ombrel_nmea_satellite_t;
    constexpr size_t groups = def_ombrel_nmea_gsv_satellites;
    std::array<nmea_rule, gsv_head_rules + groups * gsv_group_rules + 1> rules{};
    size_t next = 0;
    rules[next++] = count_at(OMBREL_PLACE(m_sentences), 1, 99);
    rules[next++] = count_at(OMBREL_PLACE(m_sentence), 1, 99);
    rules[next++] = count_at(OMBREL_PLACE(m_in_view), 0, 999, 2);
    for (size_t i = 0; i < groups; i++) {
        const size_t group = OMBREL_PLACE(m_satellites) + i * sizeof(satellite);
        rules[next++] = count_at(group + offsetof(satellite, m_number), 0, 999, 2);
        rules[next++] = count_at(group + offsetof(satellite, m_elevation), -90, 90, 2);
        rules[next++] = count_at(group + offsetof(satellite, m_azimuth), 0, 360, 3);
        rules[next++] = count_at(group + offsetof(satellite, m_strength), 0, 99, 2);
    }
    rules[next] = later(at(kind::digit, OMBREL_PLACE(m_signal)));
    return rules;
}();

constexpr std::array hdt_rules{at(kind::number, offsetof(ombrel_nmea_hdt_t, m_heading)), unit("T")};

constexpr std::array rmc_rules = [] {
    using record = ombrel_nmea_rmc_t;
    return std::array{
        at(kind::time, OMBREL_PLACE(m_time)),          letter_at(OMBREL_PLACE(m_status), states),
        at(kind::latitude, OMBREL_PLACE(m_latitude)),  at(kind::longitude, OMBREL_PLACE(m_longitude)),
        at(kind::number, OMBREL_PLACE(m_speed)),       at(kind::number, OMBREL_PLACE(m_course)),
        at(kind::date, OMBREL_PLACE(m_time)),          at(kind::variation, OMBREL_PLACE(m_variation)),
        later(letter_at(OMBREL_PLACE(m_mode), modes)), later(letter_at(OMBREL_PLACE(m_navigation), "SCUV"))};
}();

constexpr std::array vtg_rules = [] {
    using record = ombrel_nmea_vtg_t;
    return std::array{at(kind::number, OMBREL_PLACE(m_course)),          unit("T"),
                      at(kind::number, OMBREL_PLACE(m_magnetic_course)), unit("M"),
                      at(kind::number, OMBREL_PLACE(m_speed)),           unit("N"),
                      at(kind::number, OMBREL_PLACE(m_speed_kmh)),       unit("K"),
                      later(letter_at(OMBREL_PLACE(m_mode), modes))};
}();

constexpr std::array zda_rules = [] {
    using record = ombrel_nmea_zda_t;
    return std::array{at(kind::time, OMBREL_PLACE(m_time)),
                      at(kind::day, OMBREL_PLACE(m_time)),
                      at(kind::month, OMBREL_PLACE(m_time)),
                      at(kind::year, OMBREL_PLACE(m_time)),
                      count_at(OMBREL_PLACE(m_zone_hours), -13, 13, 2),
                      count_at(OMBREL_PLACE(m_zone_minutes), -59, 59, 2)};
}();

#undef OMBREL_PLACE

// By the numbers of the types, from 1 on.
constexpr nmea_type types[] = {{"GGA", gga_rules}, {"GLL", gll_rules}, {"GSA", gsa_rules},
                               {"GSV", gsv_rules}, {"HDT", hdt_rules}, {"RMC", rmc_rules},
                               {"VTG", vtg_rules}, {"ZDA", zda_rules}};
static_assert(std::size(types) == def_ombrel_nmea_zda);

bool is_time(nmea_kind what) {
    return what == kind::time || what == kind::date || what == kind::day || what == kind::month ||
           what == kind::year;
}

void clear_time(ombrel_civil_time_t& time) {
    time = {};
    time.m_hour = -1;
    memcpy(time.m_zone, "UTC", sizeof "UTC");
}

} // namespace

const nmea_type* find_nmea_type(int type) {
    return type > def_ombrel_nmea_other && type <= def_ombrel_nmea_zda ? &types[type - 1] : nullptr;
}

int find_nmea_type(const char* formatter) {
    for (const nmea_type& type : types)
        if (strcmp(type.formatter, formatter) == 0)
            return static_cast<int>(&type - types) + 1;
    return def_ombrel_nmea_other;
}

const nmea_rule* nmea_rule_at(int type, int groups, int index) {
    const std::span<const nmea_rule> rules = find_nmea_type(type)->rules;
    const int left_out = (def_ombrel_nmea_gsv_satellites - groups) * gsv_group_rules;
    if (type == def_ombrel_nmea_gsv && index >= gsv_head_rules + groups * gsv_group_rules)
        index += left_out;
    return static_cast<size_t>(index) < rules.size() ? &rules[static_cast<size_t>(index)] : nullptr;
}

ombrel_civil_time_t* nmea_time_of(ombrel_nmea_sentence_t& sentence) {
    for (const nmea_rule& rule : find_nmea_type(sentence.m_type)->rules)
        if (is_time(rule.kind))
            return &nmea_value<ombrel_civil_time_t>(sentence, rule);
    return nullptr;
}

void clear_nmea_values(ombrel_nmea_sentence_t& sentence) {
    memset(&sentence.m_value, 0, sizeof sentence.m_value);
    const nmea_type* const type = find_nmea_type(sentence.m_type);
    if (type == nullptr)
        return;
    for (const nmea_rule& rule : type->rules)
        if (is_time(rule.kind))
            clear_time(nmea_value<ombrel_civil_time_t>(sentence, rule));
        else if (rule.kind != kind::letter && rule.kind != kind::unit)
            nmea_value<int64_t>(sentence, rule) = def_ombrel_nmea_not_given;
}

} // namespace ombrel::protocol
