#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

constexpr ombrel_argument_table_t table = {.m_name = "cat",
                                           .m_operands = "[FILE...]",
                                           .m_summary =
                                               "Writes files one after the other to standard output.",
                                           .m_options = usual_options};

int run_cat(int argc, char** argv) {
    const command_arguments arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    return for_each_input(arguments, [](const char* name) { return read_input("cat", name, put_bytes); });
}

} // namespace

constexpr own_command cat_command = command_of(table, run_cat);

} // namespace ombrel::command
