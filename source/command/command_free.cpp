#include <ombrel/meminfo.h>

#include <iterator>
#include <utility>

#include <ombrel/output.h>
#include <ombrel/printf.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

constexpr int64_t kibibyte = 1024, for_people = 0;

struct free_choice {
    int64_t unit = kibibyte; ///< bytes, or `for_people`
    int with_total = 0, with_container = 0;
};

int choose_unit(const ombrel_argument_option_t* option, const char* /* value */, void* unit) {
    constexpr std::pair<char, int64_t> units[] = {{'b', 1},
                                                  {'k', kibibyte},
                                                  {'m', kibibyte * kibibyte},
                                                  {'g', kibibyte * kibibyte * kibibyte},
                                                  {'h', for_people}};
    for (const auto& [letter, bytes] : units)
        if (letter == option->m_letter)
            *static_cast<int64_t*>(unit) = bytes;
    return 0;
}

constexpr ombrel_argument_option_t unit_option(char letter, const char* name, const char* help) {
    return {.m_letter = letter,
            .m_name = name,
            .m_kind = def_ombrel_argument_call,
            .m_offset = offsetof(free_choice, unit),
            .m_help = help,
            .m_handler = choose_unit};
}

constexpr ombrel_argument_option_t options[] = {
    unit_option('b', "bytes", "in bytes"),
    unit_option('k', "kibi", "in KiB (default)"),
    unit_option('m', "mebi", "in MiB"),
    unit_option('g', "gibi", "in GiB"),
    unit_option('h', "human", "three digits and a unit"),
    {.m_letter = 't',
     .m_name = "total",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(free_choice, with_total),
     .m_help = "the sum of memory and swap as well"},
    {.m_name = "container",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(free_choice, with_container),
     .m_help = "the limit and use of the container, control group or job as well"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {.m_name = "free",
                                           .m_most_operands = 0,
                                           .m_summary = "Shows how much memory there is and is used.",
                                           .m_options = options};

struct figure_text {
    char text[24];
};

/// One digit and a decimal, or as many as three, before the unit.
figure_text text_for_people(int64_t bytes) {
    constexpr int64_t most = 1000;
    constexpr const char* names[] = {"Ki", "Mi", "Gi", "Ti", "Pi", "Ei"};
    figure_text result;
    if (bytes < most) {
        ombrel_snprintf(result.text, sizeof result.text, "%lldB", static_cast<long long>(bytes));
        return result;
    }
    size_t unit = 0;
    for (; bytes / kibibyte >= most && unit + 1 < std::size(names); unit++)
        bytes /= kibibyte;
    const auto whole = static_cast<long long>(bytes / kibibyte);
    const auto tenths =
        static_cast<long long>((bytes % kibibyte * 10 + kibibyte / 2) / kibibyte) + whole * 10;
    if (tenths < 100)
        ombrel_snprintf(result.text, sizeof result.text, "%lld.%lld%s", tenths / 10, tenths % 10,
                        names[unit]);
    else
        ombrel_snprintf(result.text, sizeof result.text, "%lld%s", whole, names[unit]);
    return result;
}

figure_text text_of(int64_t bytes, int64_t unit) {
    if (bytes >= 0 && unit == for_people)
        return text_for_people(bytes);
    figure_text result = {"-"};
    if (bytes >= 0)
        ombrel_snprintf(result.text, sizeof result.text, "%lld", static_cast<long long>(bytes / unit));
    return result;
}

/// A row of the table.
template<typename... Figures>
void print_row(const char* name, int64_t unit, Figures... figures) {
    ombrel_printf("%-8s", name);
    (ombrel_printf("%12s", text_of(figures, unit).text), ...);
    ombrel_puts("\n");
}

int64_t sum(int64_t a, int64_t b) {
    return a >= 0 && b >= 0 ? a + b : def_ombrel_meminfo_unknown;
}

void print_table(const ombrel_meminfo_t& info, const free_choice& choice) {
    ombrel_printf("%-8s%12s%12s%12s%12s%12s%12s\n", "", "total", "used", "free", "shared", "buff/cache",
                  "available");
    const int64_t cached =
        info.m_buffers == def_ombrel_meminfo_unknown ? info.m_cached : sum(info.m_buffers, info.m_cached);
    print_row("Mem:", choice.unit, info.m_total, info.m_used, info.m_free, info.m_shared, cached,
              info.m_available);
    const int64_t swap_used = info.m_swap_total - info.m_swap_free;
    print_row("Swap:", choice.unit, info.m_swap_total, swap_used, info.m_swap_free);
    if (choice.with_total != 0)
        print_row("Total:", choice.unit, sum(info.m_total, info.m_swap_total), sum(info.m_used, swap_used),
                  sum(info.m_free, info.m_swap_free));
}

bool fail(const char* what) {
    complain("free", what, ombrel_fault_text());
    return false;
}

/// The row of the container, whose limit may be none.
bool print_container(int64_t unit) {
    ombrel_container_meminfo_t info;
    if (ombrel_get_container_meminfo(&info) != 0)
        return fail("container");
    const bool is_limited = info.m_limit != def_ombrel_meminfo_unlimited;
    const int64_t left =
        is_limited && info.m_used >= 0 ? info.m_limit - info.m_used : def_ombrel_meminfo_unknown;
    print_row("Group:", unit, is_limited ? info.m_limit : def_ombrel_meminfo_unknown, info.m_used, left);
    return true;
}

int run_free(int argc, char** argv) {
    const command_arguments<free_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    ombrel_meminfo_t info;
    if (ombrel_get_meminfo(&info) != 0)
        return exit_code(fail("memory"));
    print_table(info, *arguments);
    return exit_code(arguments->with_container == 0 || print_container(arguments->unit));
}

} // namespace

constexpr own_command free_command = command_of(table, run_free);

} // namespace ombrel::command
