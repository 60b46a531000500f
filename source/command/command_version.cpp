#include <ombrel/version.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct version_choice {
    int as_xml = 0;
};

constexpr ombrel_argument_option_t options[] = {{.m_letter = 'x',
                                                 .m_name = "xml",
                                                 .m_kind = def_ombrel_argument_flag,
                                                 .m_offset = offsetof(version_choice, as_xml),
                                                 .m_help = "as an XML document"},
                                                help_option,
                                                version_option,
                                                {}};

constexpr ombrel_argument_table_t table = {.m_name = "version",
                                           .m_summary = "Prints what this library is and how it was built.",
                                           .m_options = options};

void print_version() {
    const uint32_t compiler = ombrel_get_compiler_version();
    const uint32_t libc = ombrel_get_libc_version();
    ombrel_printf("libombrel_tuk %s\n", ombrel_get_tuk_version_string());
    ombrel_printf("%s, %s %lu.%lu.%lu, %s %lu.%lu, %s %s\n", ombrel_get_target_build_profile(),
                  ombrel_get_compiler_name(), static_cast<unsigned long>(compiler >> 24),
                  static_cast<unsigned long>(compiler >> 16 & 255),
                  static_cast<unsigned long>(compiler >> 8 & 255), ombrel_get_libc_name(),
                  static_cast<unsigned long>(libc >> 24), static_cast<unsigned long>(libc >> 16 & 255),
                  ombrel_get_os_name(), ombrel_get_os_version_string());
    ombrel_printf("built %s %s on %s\n", ombrel_get_tuk_build_date(), ombrel_get_tuk_build_time(),
                  ombrel_get_build_hostname());
    ombrel_printf("%s\n", ombrel_get_tuk_copyrights());
}

int run_version(int argc, char** argv) {
    const command_arguments<version_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    if (arguments->as_xml != 0)
        return exit_code(ombrel_push_version_xml(nullptr, "ombrel_tuk") == 0);
    print_version();
    return def_ombrel_multicall_exit_good;
}

} // namespace

constexpr own_command version_command = command_of(table, run_version);

} // namespace ombrel::command
