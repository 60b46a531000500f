#include "command/command_table.h"
#include "command/command_tree_options.h"

namespace ombrel::command {

namespace {

struct sync_choice {
    ombrel_argument_list_t patterns;
    int content = 0;
    int deletes = 0;
    int dry_run = 0;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'n',
     .m_name = "dry-run",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(sync_choice, dry_run),
     .m_help = "change nothing, but say what would be done"},
    {.m_letter = 'd',
     .m_name = "delete",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(sync_choice, deletes),
     .m_help = "remove what FROM does not have"},
    {.m_letter = 'c',
     .m_name = "content",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(sync_choice, content),
     .m_help = "compare the bytes of files of one size, instead of their times"},
    include_option(offsetof(sync_choice, patterns)),
    exclude_option(offsetof(sync_choice, patterns)),
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "sync",
    .m_operands = "FROM TO",
    .m_least_operands = 2,
    .m_most_operands = 2,
    .m_summary = "Makes the directory TO like FROM, and prints what that changes.",
    .m_notes = "Each line has what was found, \"new\", \"changed\", \"marks\" (permissions or times) or "
               "\"gone\", and a path below both directories.\n",
    .m_options = options};

constexpr const char* words[] = {"", "new     ", "changed ", "marks   ", "gone    "};

int print_difference(const ombrel_tree_difference_t* difference, void* /* context */) {
    const char* const path = *difference->m_path != '\0' ? difference->m_path : ".";
    const char* const word = words[difference->m_difference];
    const bool good = put_bytes(word, strlen(word)) && put_bytes(path, strlen(path)) && put_bytes("\n", 1);
    return good ? 0 : 1;
}

uint32_t flags_of(const sync_choice& choice) {
    return (choice.content != 0 ? def_ombrel_sync_content : 0) |
           (choice.deletes != 0 ? def_ombrel_sync_delete : 0) |
           (choice.dry_run != 0 ? def_ombrel_sync_dry_run : 0);
}

bool synchronise(const char* from, const char* to, const ombrel_sync_options_t& settings) {
    int64_t told = 0;
    ombrel_sync_options_t counting = settings;
    counting.m_failure_context = &told;
    counting.m_on_failure = [](const char* path, int fault, void* count) {
        ++*static_cast<int64_t*>(count);
        return complain_and_go_on(path, fault, handler_context("sync"));
    };
    const int result = ombrel_sync_trees(from, to, &counting, print_difference, nullptr);
    if (result == -1 && told == 0) { // nothing was tried
        const bool is_within = ombrel_last_fault() == def_ombrel_fault_invalid;
        complain("sync", to, is_within ? "neither directory may be within the other" : ombrel_fault_text());
    }
    return result == 0;
}

int run_sync(int argc, char** argv) {
    const pattern_room room("sync", argc);
    const command_arguments<sync_choice> arguments(table, argc, argv, {.patterns = room.list()});
    if (!arguments)
        return arguments.exit_code();
    const chosen_filter filter(arguments->patterns);
    if (!filter.check("sync"))
        return def_ombrel_multicall_exit_usage;
    const ombrel_sync_options_t settings{flags_of(*arguments), filter.get(), nullptr, nullptr};
    return exit_code(synchronise(arguments.operand(0), arguments.operand(1), settings));
}

} // namespace

constexpr own_command sync_command = command_of(table, run_sync);

} // namespace ombrel::command
