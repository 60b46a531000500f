#include "command/command_table.h"
#include "command/command_tree_options.h"
#include "system/file/path_parts.h"

namespace ombrel::command {

namespace {

using system::last_name;
using system::without_last_separators;

struct cp_choice {
    int recursive = 0;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'r',
     .m_name = "recursive",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(cp_choice, recursive),
     .m_help = "copy directories with all that is in them; symbolic links are copied as links then"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "cp",
    .m_operands = "FROM... TO",
    .m_least_operands = 2,
    .m_summary = "Copies files, into a directory under their own names if TO is one.",
    .m_options = options};

/// False, to be returned at once.
bool refuse(const char* what, const char* why) {
    complain("cp", what, why);
    return false;
}

bool is_directory(const char* path) {
    return ombrel_get_file_kind(path, 0) == def_ombrel_file_kind_directory;
}

/// Null after a complaint. What has no name of its own, as "..", is copied over the directory itself.
char* path_in(const char* directory, const char* from) {
    const std::string_view name = last_name(without_last_separators(from));
    const bool is_named = !name.empty() && name != "." && name != "..";
    const std::string_view folder = is_named ? without_last_separators(directory) : directory;
    const size_t room = folder.size() + name.size() + 2;
    auto* const path = static_cast<char*>(ombrel_alloc_tag(room, "cp", __LINE__));
    if (path == nullptr) {
        complain("cp", from, fault_text(fault_code::no_memory));
        return nullptr;
    }
    char* end = put_text(path, folder);
    if (is_named)
        end = put_text(put_text(end, "/"), name);
    *end = '\0';
    return path;
}

bool copy_file(const char* from, const char* to, uint32_t flags) {
    if (ombrel_copy_file(from, to, flags, nullptr, nullptr) == 0)
        return true;
    if (ombrel_last_fault() == def_ombrel_fault_invalid)
        return refuse(from, "it is the copy's own file");
    const fault why = last_fault();
    constexpr int to_read = 4;
    return refuse(ombrel_check_file_access(from, to_read) == 0 ? to : from, fault_text(why));
}

bool copy_tree(const char* from, const char* to) {
    const auto tell = [](const char* path, int fault, void*) {
        if (fault != def_ombrel_fault_invalid)
            return complain_and_go_on(path, fault, handler_context("cp"));
        refuse(path, "a copy cannot be at its original or below it");
        return 0;
    };
    return ombrel_copy_tree(from, to, 0, tell, nullptr) == 0;
}

bool copy_one(const char* from, const char* to, bool recursive) {
    const int kind = ombrel_get_file_kind(from, recursive ? def_ombrel_file_no_follow : 0);
    switch (kind) {
    case -1:
        return refuse(from, ombrel_fault_text());
    case def_ombrel_file_kind_none:
        return refuse(from, fault_text(fault_code::not_found));
    case def_ombrel_file_kind_directory:
        return recursive ? copy_tree(from, to) : refuse(from, fault_text(fault_code::is_directory));
    case def_ombrel_file_kind_regular:
        return copy_file(from, to, 0);
    case def_ombrel_file_kind_link:
        return copy_file(from, to, def_ombrel_file_no_follow);
    default:
        return recursive ? copy_tree(from, to) : copy_file(from, to, 0);
    }
}

bool copy_into(const char* from, const char* directory, bool recursive) {
    const heap_ptr<char> to(path_in(directory, from));
    return to && copy_one(from, to.get(), recursive);
}

int run_cp(int argc, char** argv) {
    const command_arguments<cp_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const int count = arguments.operand_count() - 1;
    const char* const to = arguments.operand(count);
    const bool recursive = arguments->recursive != 0, into = is_directory(to);
    if (!into && count > 1)
        return exit_code(refuse(to, fault_text(fault_code::not_directory)));
    bool good = true;
    for (int i = 0; i < count; i++) {
        const char* const from = arguments.operand(i);
        good = (into ? copy_into(from, to, recursive) : copy_one(from, to, recursive)) && good;
    }
    return exit_code(good);
}

} // namespace

constexpr own_command cp_command = command_of(table, run_cp);

} // namespace ombrel::command
