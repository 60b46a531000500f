// What a table of options has.
#pragma once

#include <string_view>

#include <ombrel/argument.h>

namespace ombrel::system {

/// What a parse gives for an option of a kind that ends it; 0 for the others.
int wanted_by(int kind);

/// Whether it takes a value, which may be left out where it is optional.
bool takes_value(const ombrel_argument_option_t& option);

/// An option that can be given: no heading, and not the end.
bool is_option(const ombrel_argument_option_t& option);

inline bool has_flag(const ombrel_argument_option_t& option, uint32_t flag) {
    return (option.m_flags & flag) != 0;
}

/// An option that users are told of.
bool is_shown(const ombrel_argument_option_t& option);

/// One that does something but ask for what the table can tell.
bool is_in_usage(const ombrel_argument_option_t& option);

/// That each table has, unless one of its options is called so.
inline constexpr ombrel_argument_option_t usual_help = {
    .m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show how it is used"};
bool has_usual_help(const ombrel_argument_table_t& table);

/// Whether usage lines show that it can be given more than once.
bool may_repeat(const ombrel_argument_option_t& option);

inline const char* text_or_empty(const char* text) {
    return text != nullptr ? text : "";
}

/// Calls `use(option)` for each row before the end; headings are rows too.
template<typename Use>
void for_each_row(const ombrel_argument_table_t& table, Use use) {
    const ombrel_argument_option_t* row = table.m_options;
    for (; row != nullptr && row->m_kind != def_ombrel_argument_end; row++)
        use(*row);
}

/// Calls `use(command)` for each sub-command.
template<typename Use>
void for_each_command(const ombrel_argument_table_t& table, Use use) {
    for (const auto* command = table.m_commands; command != nullptr && *command != nullptr; command++)
        use(**command);
}

/// Null when there is none.
const ombrel_argument_option_t* find_letter(const ombrel_argument_table_t& table, char letter);

/// The first of a kind; null when there is none.
const ombrel_argument_option_t* find_kind(const ombrel_argument_table_t& table, int kind);

struct found_option {
    const ombrel_argument_option_t* option = nullptr; ///< null when there is none
    bool is_negated = false;                          ///< named "no-NAME"
    const ombrel_argument_option_t* other = nullptr;  ///< one that the beginning of a name fits as well
    bool other_negated = false;
};

/// By its whole name, or by a beginning of it where the table allows that.
found_option find_name(const ombrel_argument_table_t& table, std::string_view name);

/// The sub-command that is called so; null when there is none.
const ombrel_argument_table_t* find_command(const ombrel_argument_table_t& table, std::string_view name);

/// What a sub-command is called by: the last word of its name.
std::string_view called_by(const ombrel_argument_table_t& table);

} // namespace ombrel::system
