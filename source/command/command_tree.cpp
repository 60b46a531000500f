#include <climits>

#include "command/command_table.h"
#include "command/command_tree_options.h"
#include "core/scratch_array.h"

namespace ombrel::command {

namespace {

struct tree_choice {
    ombrel_argument_list_t patterns;
    int depth = -1;
    int sizes = 0;
};

constexpr ombrel_argument_option_t options[] = {
    include_option(offsetof(tree_choice, patterns)),
    exclude_option(offsetof(tree_choice, patterns)),
    {.m_letter = 'm',
     .m_name = "max-depth",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(tree_choice, depth),
     .m_value = "DEPTH",
     .m_help = "go no deeper",
     .m_least = 0,
     .m_most = INT_MAX},
    {.m_letter = 's',
     .m_name = "sizes",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(tree_choice, sizes),
     .m_help = "print the bytes of files, and of all files in directories"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {.m_name = "tree",
                                           .m_operands = "DIRECTORY...",
                                           .m_least_operands = 1,
                                           .m_summary = "Prints directories as trees.",
                                           .m_options = options};

/// The lines that lead to what is printed, and how much that was.
class tree_printer {
public:
    tree_printer(const ombrel_tree_t& tree, bool sizes)
        : tree_(tree), sizes_(sizes), ends_("ombrel_alloc_tree") {}

    /// False when memory has run out.
    bool print() {
        for (size_t i = 0; i < tree_.m_count; i++) {
            const ombrel_tree_record_t& record = tree_.m_records[i];
            if (sizes_)
                printf("%12lld  ", static_cast<long long>(record.m_total));
            if (!put_lines(record))
                return false;
            put(record.m_name);
            put("\n");
            (record.m_kind == def_ombrel_file_kind_directory ? directories_ : files_) += i > 0;
        }
        printf("%llu %s, %llu %s\n", directories_, directories_ == 1 ? "directory" : "directories", files_,
               files_ == 1 ? "file" : "files");
        return true;
    }

private:
    bool put_lines(const ombrel_tree_record_t& record) {
        const auto depth = static_cast<size_t>(record.m_depth);
        if (depth == 0)
            return true;
        ends_.shrink_to(depth - 1);
        for (size_t i = 0; i < depth - 1; i++)
            put(ends_[i] ? "    " : "\xE2\x94\x82   ");
        const bool is_end = record.m_end == tree_.m_records[record.m_parent].m_end;
        put(is_end ? "\xE2\x94\x94\xE2\x94\x80\xE2\x94\x80 " : "\xE2\x94\x9C\xE2\x94\x80\xE2\x94\x80 ");
        return ends_.push(is_end);
    }

    static void put(const char* text) { put_bytes(text, strlen(text)); }

    const ombrel_tree_t& tree_;
    bool sizes_;
    scratch_array<bool, 64> ends_; ///< at each depth on the way, whether nothing follows there
    unsigned long long directories_ = 0, files_ = 0;
};

bool print_tree(const char* directory, const tree_choice& choice, const ombrel_match_filter_t* filter) {
    const ombrel_walk_options_t settings{def_ombrel_walk_sorted, choice.depth, filter, complain_and_go_on,
                                         handler_context("tree")};
    const heap_ptr<ombrel_tree_t> tree(ombrel_alloc_tree(directory, &settings));
    if (!tree) {
        complain("tree", directory, ombrel_fault_text());
        return false;
    }
    return tree_printer(*tree, choice.sizes != 0).print() && tree->m_failures == 0;
}

int run_tree(int argc, char** argv) {
    const pattern_room room("tree", argc);
    const command_arguments<tree_choice> arguments(table, argc, argv, {.patterns = room.list()});
    if (!arguments)
        return arguments.exit_code();
    const chosen_filter filter(arguments->patterns);
    if (!filter.check("tree"))
        return def_ombrel_multicall_exit_usage;
    return for_each_input(arguments,
                          [&](const char* name) { return print_tree(name, *arguments, filter.get()); });
}

} // namespace

constexpr own_command tree_command = command_of(table, run_tree);

} // namespace ombrel::command
