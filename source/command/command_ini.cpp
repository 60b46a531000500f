#include <cstddef>
#include <cstdint>
#include <cstring>

#include <ombrel/fault.h>
#include <ombrel/ini.h>
#include <ombrel/printf.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "core/heap_ptr.h"
#include "document/ini/ini_query.h"

namespace ombrel::command {

namespace {

struct ini_choice {
    int dialect = 0;
    int is_all = 0;
};

constexpr ombrel_argument_option_t dialect_option = {
    .m_letter = 'd',
    .m_name = "dialect",
    .m_kind = def_ombrel_argument_choice,
    .m_offset = offsetof(ini_choice, dialect),
    .m_value = "DIALECT",
    .m_help = "how the file is read and written: plain (the default), python or git",
    .m_choices = "plain|python|git"};

/// A key without a value is no reason to leave a whole file alone.
constexpr uint32_t dialects[] = {def_ombrel_ini_dialect_plain | def_ombrel_ini_bare_keys,
                                 def_ombrel_ini_dialect_python, def_ombrel_ini_dialect_git};

constexpr ombrel_argument_option_t change_options[] = {dialect_option, help_option, version_option, {}};
constexpr ombrel_argument_option_t get_options[] = {
    dialect_option,
    {.m_letter = 'a',
     .m_name = "all",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ini_choice, is_all),
     .m_help = "print all values that the key has, a line each, not the last alone"},
    help_option,
    version_option,
    {}};

// Options stand before operands, so that a value may begin with "-".
constexpr ombrel_argument_table_t get_table = {.m_name = "ini get",
                                               .m_operands = "FILE SECTION KEY",
                                               .m_least_operands = 3,
                                               .m_most_operands = 3,
                                               .m_summary = "Prints the value of a key; fails when it is not "
                                                            "there.",
                                               .m_options = get_options,
                                               .m_flags = def_ombrel_argument_stop_at_operand};
constexpr ombrel_argument_table_t set_table = {.m_name = "ini set",
                                               .m_operands = "FILE SECTION KEY VALUE",
                                               .m_least_operands = 4,
                                               .m_most_operands = 4,
                                               .m_summary = "Changes the value of a key, the last if it has "
                                                            "several, or adds it, and the file if need be.",
                                               .m_options = change_options,
                                               .m_flags = def_ombrel_argument_stop_at_operand};
constexpr ombrel_argument_table_t delete_table = {.m_name = "ini delete",
                                                  .m_operands = "FILE SECTION KEY",
                                                  .m_least_operands = 3,
                                                  .m_most_operands = 3,
                                                  .m_summary = "Deletes a key with all its values; fails "
                                                               "when it is not there.",
                                                  .m_options = change_options,
                                                  .m_flags = def_ombrel_argument_stop_at_operand};
constexpr const ombrel_argument_table_t* commands[] = {&get_table, &set_table, &delete_table, nullptr};

constexpr ombrel_argument_table_t table = {
    .m_name = "ini",
    .m_usage = "get|set|delete FILE SECTION KEY [VALUE]",
    .m_operands = "get|set|delete FILE SECTION KEY [VALUE]",
    .m_summary = "Reads and changes INI files; all that is not changed stays as it was written.",
    .m_notes = "SECTION is what stands between the brackets, \"\" for the keys before the first section; "
               "NAME.SUB finds [NAME \"SUB\"] too. The file is stored as a whole or not at all; of \"-\" the "
               "changed text is printed.",
    .m_options = usual_options,
    .m_commands = commands};

/// A document that ends with the command.
class open_ini {
public:
    explicit open_ini(uint32_t flags) {
        ombrel_ini_options_t options;
        ombrel_init_ini_options(&options);
        options.m_flags = flags;
        ini_ = ombrel_open_ini(&options);
    }
    ~open_ini() { ombrel_close_ini(ini_); }
    open_ini(const open_ini&) = delete;
    open_ini& operator=(const open_ini&) = delete;

    ombrel_ini_t* get() const { return ini_; }

private:
    ombrel_ini_t* ini_;
};

/// "FILE:LINE:COLUMN: text" for a text that is refused; a complaint for a file that cannot be read.
bool complain_of(const ombrel_ini_t* ini, const char* file) {
    const ombrel_ini_fault_t* const fault = ombrel_ini_get_fault(ini);
    if (fault == nullptr || fault->m_line == 0) {
        complain("ini", file, ombrel_fault_text());
        return false;
    }
    ombrel_puts(nullptr);
    ombrel_error_printf("%s:%lld:%lld: %s\n", file, static_cast<long long>(fault->m_line),
                        static_cast<long long>(fault->m_column), ombrel_ini_fault_text(fault->m_reason));
    return false;
}

/// False after a complaint.
bool load(ombrel_ini_t* ini, const char* file, bool may_be_missing) {
    if (ini != nullptr && strcmp(file, "-") == 0) {
        bool good = true;
        const bool is_read = read_input("ini", file, [&](const char* bytes, size_t size) {
            good = ombrel_ini_push(ini, bytes, size) == 0;
            return good;
        });
        return is_read && ((good && ombrel_ini_end(ini) == 0) || complain_of(ini, file));
    }
    return ombrel_ini_load_file(ini, file) == 0 ||
           (may_be_missing && ombrel_last_fault() == def_ombrel_fault_not_found) || complain_of(ini, file);
}

/// A section as the file has it: NAME.SUB may stand as [NAME "SUB"] there.
class found_section {
public:
    found_section(const ombrel_ini_t* ini, const char* section) : section_(section) {
        const char* const dot = strchr(section, '.');
        if (dot == nullptr || ombrel_ini_has_section(ini, section) != 0)
            return;
        char name[sizeof text_];
        const auto size = static_cast<size_t>(dot - section);
        if (size >= sizeof name)
            return;
        memcpy(name, section, size);
        name[size] = '\0';
        const int64_t whole = ombrel_format_ini_section(text_, sizeof text_, name, dot + 1);
        if (whole < static_cast<int64_t>(sizeof text_) && ombrel_ini_has_section(ini, text_) == 1)
            section_ = text_;
    }
    const char* get() const { return section_; }

private:
    const char* section_;
    char text_[1024];
};

bool print_values(const ombrel_ini_t* ini, const char* section, const char* key, bool is_all) {
    const char* const value = ombrel_ini_get(ini, section, key);
    if (value == nullptr)
        return false;
    bool good = true;
    if (!is_all)
        return put_bytes(value, strlen(value)) && put_bytes("\n", 1);
    // From one to the next: a look-up by number would count from the first each time.
    for (const auto* each = document::look_up_ini(ini, section, key)->values.first; good && each != nullptr;
         each = each->m_behind)
        good = put_bytes(each->value(), strlen(each->value())) && put_bytes("\n", 1);
    return good;
}

/// What came from standard input goes to standard output.
bool print_text(const ombrel_ini_t* ini) {
    size_t size = 0;
    const heap_ptr<char> text(ombrel_alloc_ini_text(ini, &size));
    if (text)
        return put_bytes(text.get(), size);
    complain("ini", "-", ombrel_fault_text());
    return false;
}

bool store(ombrel_ini_t* ini, const char* file) {
    if (strcmp(file, "-") == 0)
        return print_text(ini);
    constexpr uint32_t usual_mode = 0666;
    if (ombrel_ini_store_file(ini, file, usual_mode) == 0)
        return true;
    complain("ini", file, ombrel_fault_text());
    return false;
}

bool set_value(ombrel_ini_t* ini, const char* section, char** operands) {
    if (ombrel_ini_set(ini, section, operands[2], operands[3]) == 0)
        return store(ini, operands[0]);
    const int reason = ombrel_ini_get_fault(ini)->m_reason;
    complain("ini", operands[0], reason != 0 ? ombrel_ini_fault_text(reason) : ombrel_fault_text());
    return false;
}

int run_ini(int argc, char** argv) {
    const command_arguments<ini_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    char** const operands = arguments.operands();
    const bool is_set = arguments.table() == &set_table;
    const open_ini ini(dialects[arguments->dialect]);
    if (!load(ini.get(), operands[0], is_set))
        return def_ombrel_multicall_exit_failed;
    const found_section section(ini.get(), operands[1]);
    if (is_set)
        return exit_code(set_value(ini.get(), section.get(), operands));
    if (arguments.table() == &get_table)
        return exit_code(print_values(ini.get(), section.get(), operands[2], arguments->is_all != 0));
    return exit_code(ombrel_ini_delete(ini.get(), section.get(), operands[2]) > 0 &&
                     store(ini.get(), operands[0]));
}

} // namespace

constexpr own_command ini_command = command_of(table, run_ini);

} // namespace ombrel::command
