// Reads any text as a time, a duration, an identifier, a rule of summer time and a format. What is understood
// is in range and comes to the same when it is written and read again; what is written never depends on the
// room.

#include <cstdint>
#include <string>

#include <ombrel_tuk.h>

#include "platform/civil_date.h"
#include "platform/zone_rule.h"
#include "support/byte_source.h"

namespace {

bool are_equal(const ombrel_instant_t& a, const ombrel_instant_t& b) {
    return ombrel_compare_instants(&a, &b) == 0;
}

void check_iso_time(const std::string& text) {
    ombrel_civil_time_t time, again;
    ombrel_instant_t instant, same;
    uint32_t given = 0;
    size_t fault_at = 0;
    if (ombrel_parse_iso_time(text.c_str(), 0, &time, &given, &fault_at) != 0) {
        require(fault_at <= text.size());
        require(ombrel_parse_iso_time(text.c_str(), def_ombrel_parse_rfc3339, &time, &given, &fault_at) != 0);
        require(fault_at <= text.size());
        return;
    }
    require(ombrel_check_civil_time(&time) == 0);
    require(ombrel_get_civil_instant(&time, &instant) == 0);
    for (const uint32_t flags : {0u, def_ombrel_iso_week, def_ombrel_iso_ordinal}) {
        char written[48];
        if (ombrel_format_iso_time(written, sizeof written, &time, flags, def_ombrel_calendar_all_digits) >
            40)
            require(false, "no text is so long");
        // The weeks of the calendar's first and last days are those of years beyond.
        if (ombrel_parse_iso_time(written, 0, &again, nullptr, nullptr) == 0)
            require(ombrel_get_civil_instant(&again, &same) == 0 && are_equal(instant, same));
        else
            require(flags == def_ombrel_iso_week && (time.m_year < -999'999 || time.m_year > 999'999));
    }
}

void check_http_date(const std::string& text) {
    ombrel_instant_t instant, again;
    size_t fault_at = 0;
    if (ombrel_parse_http_date(text.c_str(), nullptr, &instant, &fault_at) != 0)
        return require(fault_at <= text.size());
    char written[48];
    if (ombrel_format_http_date(written, sizeof written, &instant, def_ombrel_http_date_rfc1123) > 0)
        require(ombrel_parse_http_date(written, nullptr, &again, nullptr) == 0 && are_equal(instant, again));
}

void check_instant(const std::string& text) {
    ombrel_instant_t instant;
    size_t fault_at = 0;
    if (ombrel_parse_instant(text.c_str(), 0, &instant, &fault_at) != 0)
        require(fault_at <= text.size());
    else
        require(instant.m_nanoseconds >= 0 && instant.m_nanoseconds < 1'000'000'000);
}

void check_duration(const std::string& text) {
    int64_t duration, again;
    size_t fault_at = 0;
    if (ombrel_parse_duration(text.c_str(), &duration, &fault_at) != 0)
        return require(fault_at <= text.size());
    char written[48];
    require(ombrel_format_duration(written, sizeof written, duration, def_ombrel_calendar_all_digits) <= 40);
    require(ombrel_parse_duration(written, &again, nullptr) == 0 && duration == again);
}

void check_uuid(const std::string& text) {
    ombrel_uuid_t uuid, again;
    size_t fault_at = 0;
    if (ombrel_parse_uuid(text.c_str(), UINT32_MAX, &uuid, &fault_at) != 0)
        return require(fault_at <= text.size());
    char written[def_ombrel_uuid_text_size];
    require(ombrel_format_uuid(written, sizeof written, &uuid, 0) == 36);
    require(ombrel_parse_uuid(written, 0, &again, nullptr) == 0 && ombrel_compare_uuids(&uuid, &again) == 0);
}

void check_zone_rule(const std::string& text) {
    ombrel::platform::zone_rule rule;
    if (!ombrel::platform::read_zone_rule(text.c_str(), rule))
        return;
    for (const int64_t day : {ombrel::platform::first_day, -1, 0, 20'000, ombrel::platform::last_day}) {
        const int32_t offset = rule.at(day * 86'400).offset;
        require(offset > -2 * 86'400 && offset < 2 * 86'400);
    }
}

void check_format(const std::string& format, size_t size) {
    const ombrel_instant_t instant{784'111'777, 120'000'000};
    ombrel_civil_time_t time;
    require(ombrel_make_local_time(&instant, &time) == 0);
    char* const whole = ombrel_alloc_time_text(format.c_str(), &time);
    require(whole != nullptr);
    std::string cut(size + 1, '#');
    const int stored = ombrel_format_time(cut.data(), size, format.c_str(), &time);
    require(stored >= 0 &&
            static_cast<size_t>(stored) == std::min(std::string(whole).size(), size == 0 ? 0 : size - 1));
    require(cut.compare(0, static_cast<size_t>(stored), whole, static_cast<size_t>(stored)) == 0 &&
            cut[size] == '#');
    ombrel_free(whole);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source source(data, size);
    const unsigned room = source.number(64);
    const std::string text = source.rest().c_str(); // up to the first zero
    for (const auto check :
         {check_iso_time, check_http_date, check_instant, check_duration, check_uuid, check_zone_rule})
        check(text);
    check_format(text, room);
    return 0;
}
