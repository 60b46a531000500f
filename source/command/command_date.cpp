#include <ombrel/calendar.h>

#include <cstddef>
#include <cstring>

#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "core/heap_ptr.h"

namespace ombrel::command {

namespace {

constexpr const char* default_format = "%a %b %e %H:%M:%S %Z %Y";

struct date_choice {
    int is_utc = 0;
    const char* text = nullptr; ///< null for now
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'u',
     .m_name = "utc",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(date_choice, is_utc),
     .m_help = "in UTC, not in local time"},
    {.m_letter = 'd',
     .m_name = "date",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(date_choice, text),
     .m_value = "TEXT",
     .m_help =
         "that of a text: \"@SECONDS\" since 1970, also with a fraction and below 0; ISO 8601, without an "
         "offset in local time; or a date of HTTP. Not that of now"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "date",
    .m_operands = "[+FORMAT]",
    .m_most_operands = 1,
    .m_summary = "Shows a date and a time.",
    .m_notes =
        "FORMAT has conversions: %F date, %T time, %N nanoseconds (%3N milliseconds), %z offset (%:z with a "
        "colon), "
        "%Z zone, %s seconds since 1970, and all others of strftime(). Between \"%\" and the letter: "
        "\"-\" no padding, \"_\" spaces, \"0\" zeros, \"+\" a sign before long years, \"^\" upper case, "
        "\"#\" the other case, a width.",
    .m_options = options};

/// The moment that is to be shown; false after a complaint.
bool find_instant(const date_choice& choice, ombrel_instant_t& instant) {
    if (choice.text == nullptr)
        return ombrel_get_instant(&instant) == 0;
    const uint32_t flags = def_ombrel_parse_refuse_gap | (choice.is_utc != 0 ? def_ombrel_parse_utc : 0);
    if (ombrel_parse_instant(choice.text, flags, &instant, nullptr) == 0)
        return true;
    complain("date", choice.text,
             ombrel_last_fault() == def_ombrel_fault_too_large ? "date out of range" : "invalid date");
    return false;
}

bool find_time(const date_choice& choice, ombrel_civil_time_t& time) {
    ombrel_instant_t instant;
    if (!find_instant(choice, instant))
        return false;
    const auto make = choice.is_utc != 0 ? ombrel_make_utc_time : ombrel_make_local_time;
    if (make(&instant, &time) == 0)
        return true;
    complain("date", text_or(choice.text, "now"), "date out of range");
    return false;
}

// As bytes: what a format has beside its conversions is the user's.
bool print_time(const char* format, const ombrel_civil_time_t& time) {
    const heap_ptr<char> text(ombrel_alloc_time_text_tag(format, &time, "date", __LINE__));
    if (!text) {
        complain("date", "text", ombrel_fault_text());
        return false;
    }
    return put_bytes(text.get(), strlen(text.get())) && put_bytes("\n", 1);
}

int run_date(int argc, char** argv) {
    const command_arguments<date_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const char* const format = arguments.operand_count() > 0 ? arguments.operand(0) : nullptr;
    if (format != nullptr && format[0] != '+')
        return ombrel_refuse_arguments(&table, "\"%s\" is no format, which begins with \"+\"", format);
    ombrel_civil_time_t time;
    return exit_code(find_time(*arguments, time) &&
                     print_time(format != nullptr ? format + 1 : default_format, time));
}

} // namespace

constexpr own_command date_command = command_of(table, run_date);

} // namespace ombrel::command
