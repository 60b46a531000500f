#include <ombrel/fault.h>
#include <ombrel/printf.h>
#include <ombrel/serial.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct ports_choice {
    int with_descriptions = 0;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'l',
     .m_name = "long",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ports_choice, with_descriptions),
     .m_help =
         "behind a tab each what is known of it: its description, its driver, and for USB the numbers of "
         "vendor and product and the serial number"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "ports", .m_summary = "Lists the serial ports of this host, one a line.", .m_options = options};

void print_description(const ombrel_serial_port_t& port) {
    ombrel_printf("\t%s\t%s", port.m_description, port.m_driver);
    if (port.m_vendor >= 0)
        ombrel_printf("\t%04x:%04x\t%s", static_cast<unsigned>(port.m_vendor),
                      static_cast<unsigned>(port.m_product), port.m_serial);
}

int print_port(const ombrel_serial_port_t* port, void* choice) {
    ombrel_puts(port->m_name);
    if (static_cast<const ports_choice*>(choice)->with_descriptions != 0)
        print_description(*port);
    ombrel_puts("\n");
    return 0;
}

int run_ports(int argc, char** argv) {
    const command_arguments<ports_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    ports_choice choice = *arguments;
    const bool is_good = ombrel_walk_serial_ports(print_port, &choice) == 0;
    if (!is_good)
        complain("ports", "serial ports", ombrel_fault_text());
    return exit_code(is_good);
}

} // namespace

constexpr own_command ports_command = command_of(table, run_ports);

} // namespace ombrel::command
