#include <cstring>

#include <ombrel/file.h>
#include <ombrel/printf.h>
#include <ombrel/version.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/program_table.h"

namespace ombrel::command {

namespace {

struct manual_choice {
    const char* program = usual_program;
    const char* directory = nullptr;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'd',
     .m_name = "directory",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(manual_choice, directory),
     .m_value = "DIRECTORY",
     .m_help =
         "write the pages of the program and of all commands there, as PROGRAM.1 and PROGRAM-COMMAND.1"},
    {.m_letter = 'p',
     .m_name = "program",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(manual_choice, program),
     .m_value = "NAME",
     .m_help = "what the program is called there (default ombrel_tuk)"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "manual",
    .m_operands = "[COMMAND]",
    .m_most_operands = 1,
    .m_summary = "Prints the man page of this program, or of one of its commands.",
    .m_notes = "\"ombrel_tuk manual cat >cat.1; man -l cat.1\" shows it.",
    .m_options = options};

constexpr const char tag[] = "ombrel_multicall_manual";

struct source_text {
    char text[64];
};

source_text source_of_pages() {
    source_text source;
    ombrel_snprintf(source.text, sizeof source.text, "libombrel_tuk %s", ombrel_get_tuk_version_string());
    return source;
}

heap_ptr<char> page_of_program(const char* program) {
    const whole_program whole(program, tag);
    if (!whole)
        return {};
    const source_text source = source_of_pages();
    const ombrel_argument_manual_t page = {.m_source = source.text,
                                           .m_exits = naming_exits,
                                           .m_flags = def_ombrel_argument_manual_pages_of_commands};
    return heap_ptr<char>(ombrel_alloc_argument_manual_tag(&whole.table(), &page, tag, __LINE__));
}

heap_ptr<char> page_of_command(const char* program, const ombrel_multicall_command_t& command) {
    const ombrel_argument_table_t of_command = table_of(command);
    const own_command* const own = find_own_command(command.m_name);
    const source_text source = source_of_pages();
    const ombrel_argument_manual_t page = {
        .m_program = program, .m_source = source.text, .m_exits = own != nullptr ? own->exits : nullptr};
    return heap_ptr<char>(ombrel_alloc_argument_manual_tag(&of_command, &page, tag, __LINE__));
}

bool print_page(const char* what, const heap_ptr<char>& page) {
    if (!page)
        complain("manual", what, fault_text(last_fault()));
    else
        put_bytes(page.get(), strlen(page.get()));
    return static_cast<bool>(page);
}

bool store_page(const char* directory, const char* program, const char* command, const heap_ptr<char>& page) {
    const char* const dash = command != nullptr ? "-" : "";
    const heap_ptr<char> path(
        ombrel_alloc_sprintf("%s/%s%s%s.1", directory, program, dash, text_or(command, "")));
    if (path && page && ombrel_store_file(path.get(), page.get(), strlen(page.get()), 0, 0666) == 0)
        return true;
    complain("manual", path ? path.get() : directory, fault_text(last_fault()));
    return false;
}

bool store_pages(const char* directory, const char* program) {
    bool good = store_page(directory, program, nullptr, page_of_program(program));
    const ombrel_multicall_command_t* command;
    for (size_t i = 0; good && (command = ombrel_get_multicall_command(i)) != nullptr; i++)
        good = store_page(directory, program, command->m_name, page_of_command(program, *command));
    return good;
}

int run_manual(int argc, char** argv) {
    const command_arguments<manual_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const char* const program = arguments->program;
    if (arguments->directory != nullptr && arguments.operand_count() > 0)
        return ombrel_refuse_arguments(&table, "--directory is for all pages");
    if (arguments->directory != nullptr)
        return exit_code(store_pages(arguments->directory, program));
    if (arguments.operand_count() == 0)
        return exit_code(print_page(program, page_of_program(program)));
    const char* const name = arguments.operand(0);
    const auto* const command = ombrel_find_multicall_command(name);
    if (command != nullptr)
        return exit_code(print_page(name, page_of_command(program, *command)));
    complain("manual", name, "no such command");
    return def_ombrel_multicall_exit_unknown;
}

} // namespace

constexpr own_command manual_command = command_of(table, run_manual, naming_exits);

} // namespace ombrel::command
