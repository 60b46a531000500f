#include "command/command_input.h"
#include "command/command_table.h"
#include "command/multicall_options.h"

namespace ombrel::command {

namespace {

int run_cat(int argc, char** argv) {
    option_walk arguments(argc, argv);
    if (arguments.next())
        return ombrel_refuse_multicall_arguments(&cat_command);
    return for_each_input(arguments, [](const char* name) { return read_input("cat", name, put_bytes); });
}

} // namespace

constexpr ombrel_multicall_command_t cat_command = {
    "cat", run_cat, "[FILE...]", "Writes files one after the other to standard output.", nullptr};

} // namespace ombrel::command
