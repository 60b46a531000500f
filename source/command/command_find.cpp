#include <climits>

#include "command/command_table.h"
#include "command/command_tree_options.h"
#include "system/file/path_parts.h"

namespace ombrel::command {

namespace {

struct find_choice {
    ombrel_argument_list_t patterns;
    int kind = -1;
    int depth = -1;
};

constexpr ombrel_argument_option_t options[] = {
    include_option(offsetof(find_choice, patterns)),
    exclude_option(offsetof(find_choice, patterns)),
    {.m_letter = 't',
     .m_name = "type",
     .m_kind = def_ombrel_argument_choice,
     .m_offset = offsetof(find_choice, kind),
     .m_value = "f|d|l",
     .m_help = "print only files, directories or symbolic links",
     .m_choices = "f|d|l"},
    {.m_letter = 'm',
     .m_name = "max-depth",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(find_choice, depth),
     .m_value = "DEPTH",
     .m_help = "go no deeper: 0 for the directories alone, 1 for what is in them",
     .m_least = 0,
     .m_most = INT_MAX},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {.m_name = "find",
                                           .m_operands = "DIRECTORY...",
                                           .m_least_operands = 1,
                                           .m_summary = "Prints what is in directories, at any depth.",
                                           .m_options = options};

/// In the order of the choices.
constexpr int kinds[] = {def_ombrel_file_kind_regular, def_ombrel_file_kind_directory,
                         def_ombrel_file_kind_link};

/// Of the directories that are named, which no pattern keeps from being entered: after "-i" only what matches
/// by its name is printed.
bool is_root_wanted(const char* path, const ombrel_argument_list_t& patterns,
                    const ombrel_match_filter_t* filter) {
    const bool is_strict = patterns.m_count > 0 && patterns.m_entries[0].m_option->m_letter == 'i';
    const char* const name = system::last_name(system::without_last_separators(path)).data();
    return !is_strict || ombrel_match_filter_match(filter, name, 1) == def_ombrel_match_include;
}

bool is_wanted(const find_choice& choice, const ombrel_match_filter_t* filter,
               const ombrel_walk_entry_t& entry) {
    return (choice.kind < 0 || entry.m_kind == kinds[choice.kind]) &&
           (entry.m_depth > 0 || is_root_wanted(entry.m_path, choice.patterns, filter));
}

/// False when it could not be written.
bool put_line(const char* path) {
    return put_bytes(path, strlen(path)) && put_bytes("\n", 1);
}

struct walk_closer {
    ombrel_walk_t* walk;
    ~walk_closer() { ombrel_close_walk(walk); }
};

bool find_in(const char* directory, const find_choice& choice, const ombrel_match_filter_t* filter) {
    const ombrel_walk_options_t settings{0, choice.depth, filter, complain_and_go_on,
                                         handler_context("find")};
    const walk_closer walk{ombrel_open_walk(directory, &settings)};
    if (walk.walk == nullptr) {
        complain("find", directory, ombrel_fault_text());
        return false;
    }
    ombrel_walk_entry_t entry;
    int result;
    while ((result = ombrel_walk_next(walk.walk, &entry)) == 1) {
        if (is_wanted(choice, filter, entry) && !put_line(entry.m_path))
            return false;
    }
    return result == 0 && ombrel_walk_get_failures(walk.walk) == 0;
}

int run_find(int argc, char** argv) {
    const pattern_room room("find", argc);
    const command_arguments<find_choice> arguments(table, argc, argv, {.patterns = room.list()});
    if (!arguments)
        return arguments.exit_code();
    const chosen_filter filter(arguments->patterns);
    if (!filter.check("find"))
        return def_ombrel_multicall_exit_usage;
    return for_each_input(arguments,
                          [&](const char* name) { return find_in(name, *arguments, filter.get()); });
}

} // namespace

constexpr own_command find_command = command_of(table, run_find);

} // namespace ombrel::command
