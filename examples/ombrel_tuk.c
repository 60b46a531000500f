/*
 * ombrel_tuk COMMAND [ARGUMENT...]: the library's commands as one program.
 *
 * Linked or renamed to the name of a command ("ln -s ombrel_tuk digest"), it is that command. Beside the
 * library's own there is "count", to show how a program adds one.
 */
#include <stdio.h>

#include <ombrel/argument.h>
#include <ombrel/multicall.h>

#include "binary_streams.h"
#include "standard_stream.h"
#include "whole_arguments.h"

static const ombrel_argument_option_t options[] = {
    {.m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show this"},
    {.m_name = "version", .m_kind = def_ombrel_argument_version, .m_help = "print the version"},
    {0}};

static const ombrel_argument_table_t table = {
    .m_name = "count", .m_summary = "Counts the lines and bytes of standard input.", .m_options = options};

static int count_input(int argc, char** argv) {
    unsigned long long lines = 0, bytes = 0;
    ombrel_file_stream_t* input;
    ombrel_arguments_t arguments;
    int has_failed;
    if (ombrel_take_arguments(&table, argc, argv, NULL, &arguments) != 0)
        return arguments.m_exit_code;
    input = open_standard_stream(0, "r");
    for (int byte; (byte = ombrel_file_stream_get_byte(input)) >= 0; bytes++)
        lines += byte == '\n';
    has_failed = ombrel_file_stream_is_at_end(input) == 0;
    ombrel_close_file_stream(input);
    printf("%llu %llu\n", lines, bytes);
    return has_failed ? def_ombrel_multicall_exit_failed : def_ombrel_multicall_exit_good;
}

static const ombrel_multicall_command_t count_command = {"count", count_input, NULL,
                                                         "Counts the lines and bytes of standard input.",
                                                         def_ombrel_multicall_own_help};

int main(int argc, char** argv) {
    int result;
    make_streams_binary();
    if (ombrel_register_multicall_command(&count_command) != 0)
        return def_ombrel_multicall_exit_failed;
    result = ombrel_execute_multicall(argc, whole_arguments(argv));
    ombrel_unregister_multicall_command(&count_command);
    return result;
}
