#include "command/command_table.h"
#include "command/command_tree_options.h"

namespace ombrel::command {

namespace {

struct rm_choice {
    int recursive = 0;
};

constexpr ombrel_argument_option_t options[] = {{.m_letter = 'r',
                                                 .m_name = "recursive",
                                                 .m_kind = def_ombrel_argument_flag,
                                                 .m_offset = offsetof(rm_choice, recursive),
                                                 .m_help = "remove directories with all that is in them"},
                                                help_option,
                                                version_option,
                                                {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "rm",
    .m_operands = "PATH...",
    .m_least_operands = 1,
    .m_summary = "Removes files, and symbolic links themselves.",
    .m_notes = "A root, \".\" and \"..\" are never removed, nor is anything that a link leads to.\n",
    .m_options = options};

bool remove_one(const char* path, const rm_choice& choice) {
    if (choice.recursive == 0) {
        if (ombrel_remove_file(path) == 0)
            return true;
        complain("rm", path, ombrel_fault_text());
        return false;
    }
    int64_t told = 0;
    const auto tell = [](const char* which, int fault, void* count) {
        ++*static_cast<int64_t*>(count);
        return complain_and_go_on(which, fault, handler_context("rm"));
    };
    if (ombrel_remove_tree(path, tell, &told) == 0)
        return true;
    if (told == 0) // nothing was tried
        complain("rm", path, "it is not to be removed");
    return false;
}

int run_rm(int argc, char** argv) {
    const command_arguments<rm_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    return for_each_input(arguments, [&](const char* path) { return remove_one(path, *arguments); });
}

} // namespace

constexpr own_command rm_command = command_of(table, run_rm);

} // namespace ombrel::command
