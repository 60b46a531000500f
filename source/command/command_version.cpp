#include <ombrel/version.h>

#include "command/command_input.h"
#include "command/command_table.h"
#include "command/multicall_options.h"

namespace ombrel::command {

namespace {

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
    option_walk arguments(argc, argv);
    bool as_xml = false;
    while (arguments.next()) {
        if (!arguments.is('x', "xml"))
            return ombrel_refuse_multicall_arguments(&version_command);
        as_xml = true;
    }
    if (arguments.operand_count() != 0)
        return ombrel_refuse_multicall_arguments(&version_command);
    if (as_xml)
        return exit_code(ombrel_push_version_xml(nullptr, "ombrel_tuk") == 0);
    print_version();
    return def_ombrel_multicall_exit_good;
}

} // namespace

constexpr ombrel_multicall_command_t version_command = {"version", run_version, "[-x]",
                                                        "Prints what this library is and how it was built.",
                                                        "  -x, --xml             as an XML document\n"};

} // namespace ombrel::command
