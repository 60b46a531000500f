#include <ombrel/argument.h>

#include <utility>

#include <ombrel/argument_manual.h>
#include <ombrel/output.h>
#include <ombrel/printf.h>
#include <ombrel/terminal.h>
#include <ombrel/version.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/terminal.h"
#include "system/argument/column_text.h"
#include "system/argument/finished_output.h"
#include "system/argument/laid_out_text.h"
#include "system/argument/option_table.h"
#include "text/text_sink.h"

namespace ombrel::system {

namespace {

// A part of the help that is put together from pieces; what does not fit is left out.
class short_text {
public:
    short_text& put(std::string_view text) {
        sink_.copy(text.data(), text.size());
        return *this;
    }
    std::string_view get() const { return {text_, sizeof text_ - sink_.room()}; }

private:
    char text_[128];
    text_sink sink_{text_, sizeof text_};
};

// " FILE" behind a letter or a name, or "[FILE]" and "[=FILE]" where it must stand in the same argument.
void put_value(short_text& to, const ombrel_argument_option_t& option, bool behind_name) {
    if (!takes_value(option))
        return;
    const bool is_optional = has_flag(option, def_ombrel_argument_optional);
    to.put(!is_optional ? " " : behind_name ? "[=" : "[");
    to.put(option.m_value != nullptr ? option.m_value : "VALUE");
    to.put(is_optional ? "]" : "");
}

void put_name(short_text& to, const ombrel_argument_option_t& option) {
    to.put(has_flag(option, def_ombrel_argument_negatable) ? "--[no-]" : "--").put(option.m_name);
}

void put_letter(short_text& to, const ombrel_argument_option_t& option) {
    to.put("-").put({&option.m_letter, 1});
}

// "[-n COUNT]", as usage lines have it.
void put_usage(short_text& to, const ombrel_argument_option_t& option) {
    const bool by_letter = option.m_letter != '\0';
    to.put("[");
    by_letter ? put_letter(to, option) : put_name(to, option);
    put_value(to, option, !by_letter);
    to.put(may_repeat(option) ? "]..." : "]");
}

// "  -n, --copies COUNT", as the lines of options have it; names stand under one another.
void put_heads(short_text& to, const ombrel_argument_option_t& option) {
    to.put("  ");
    if (option.m_letter != '\0')
        put_letter(to, option);
    if (option.m_name != nullptr) {
        to.put(option.m_letter != '\0' ? ", " : "    ");
        put_name(to, option);
    }
    put_value(to, option, option.m_name != nullptr);
}

class help_layout {
public:
    help_layout(const ombrel_argument_table_t& table, char* to, size_t columns)
        : table_(table), text_(to, columns), most_help_column_(columns / 2) {}

    size_t put_all() {
        put_usage_line();
        put_paragraph(table_.m_summary);
        put_options();
        put_commands();
        put_paragraph(table_.m_notes);
        return text_.size();
    }

    void put_usage_line() {
        text_.put("usage: ");
        text_.put(text_or_empty(table_.m_name));
        // Words go below the first, unless the name is so long that there is no room.
        const size_t indent = std::min(text_.column() + 1, most_help_column_);
        if (table_.m_usage != nullptr)
            put_usage_words(table_.m_usage, indent);
        else
            put_made_usage(indent);
        text_.end_line();
    }

    size_t size() const { return text_.size(); }

private:
    void put_usage_words(std::string_view text, size_t indent) {
        for (size_t length; !text.empty(); text = slice(text, length + 1)) {
            length = std::min(text.find(' '), text.size());
            put_usage_word(slice(text, 0, length), indent);
        }
    }

    void put_usage_word(std::string_view word, size_t indent) {
        if (!word.empty())
            text_.put_word(word, indent);
    }

    void put_made_usage(size_t indent) {
        for_each_row(table_, [&](const ombrel_argument_option_t& option) {
            short_text usage;
            if (!is_in_usage(option))
                return;
            put_usage(usage, option);
            text_.put_word(usage.get(), indent);
        });
        put_usage_words(table_.m_commands != nullptr ? "COMMAND [ARGUMENT...]" : "", indent);
        put_usage_words(text_or_empty(table_.m_operands), indent);
    }

    void put_paragraph(const char* text) {
        if (text != nullptr)
            text_.put_words(text, 0);
    }

    // Where the words begin that explain: behind the longest head that leaves them room.
    size_t help_column() const {
        size_t column = 0;
        const auto make_room = [&](std::string_view head) {
            const size_t wanted = column_text::width_of(head) + 2;
            column = wanted <= most_help_column_ ? std::max(column, wanted) : column;
        };
        for_each_head([&](const short_text& head, const char*) { make_room(head.get()); });
        return column;
    }

    /// Calls `use(head, words)` for each option and each sub-command.
    template<typename Use>
    void for_each_head(Use use) const {
        for_each_row(table_, [&](const ombrel_argument_option_t& option) {
            short_text head;
            if (!is_shown(option))
                return;
            put_heads(head, option);
            use(head, option.m_help);
        });
        for_each_command_head(use);
    }

    template<typename Use>
    void for_each_command_head(Use use) const {
        for_each_command(table_, [&](const ombrel_argument_table_t& command) {
            short_text head;
            head.put("  ").put(called_by(command));
            use(head, command.m_summary);
        });
    }

    void put_row(const short_text& head, const char* words, size_t column) {
        text_.put(head.get());
        if (text_.column() + 2 > column && words != nullptr)
            text_.end_line();
        if (words != nullptr)
            text_.fill_to(column);
        text_.put_words(text_or_empty(words), column);
    }

    void put_options() {
        const size_t column = help_column();
        for_each_row(table_, [&](const ombrel_argument_option_t& option) {
            short_text head;
            if (option.m_kind == def_ombrel_argument_heading)
                put_paragraph(text_or_empty(option.m_help));
            if (!is_shown(option))
                return;
            put_heads(head, option);
            put_row(head, option.m_help, column);
        });
    }

    void put_commands() {
        const size_t column = help_column();
        if (table_.m_commands != nullptr)
            put_paragraph("commands:");
        for_each_command_head(
            [&](const short_text& head, const char* words) { put_row(head, words, column); });
    }

    const ombrel_argument_table_t& table_;
    column_text text_;
    size_t most_help_column_;
};

// What `lay_out(layout)` puts, as a text.
template<typename LayOut>
char* alloc_text(const ombrel_argument_table_t& table, int columns, const char* function, unsigned long line,
                 LayOut lay_out) {
    constexpr int least_columns = 20;
    const auto width = static_cast<size_t>(std::max(columns, least_columns));
    return alloc_laid_out(function, line, [&](char* to) {
        help_layout layout(table, to, width);
        lay_out(layout);
        return layout.size();
    });
}

int terminal_columns() {
    int columns = def_ombrel_terminal_columns;
    int rows;
    platform::terminal_size(columns, rows);
    return columns;
}

// The complaint, and how the program is called.
void print_complaint(const ombrel_argument_table_t& table, const char* words) {
    const heap_ptr<char> usage(alloc_text(table, terminal_columns(), "ombrel_refuse_arguments", __LINE__,
                                          [](help_layout& layout) { layout.put_usage_line(); }));
    ombrel_puts(nullptr);
    ombrel_error_printf("%s: %s\n%s", text_or_empty(table.m_name), words, usage ? usage.get() : "");
}

bool print_text(heap_ptr<char> text) {
    if (text && static_cast<int>(ombrel_puts(text.get())) < 0)
        note_failed_output();
    return static_cast<bool>(text);
}

bool print_version(const ombrel_argument_table_t& table) {
    const auto* const option = find_kind(table, def_ombrel_argument_version);
    const char* const own = option != nullptr ? option->m_otherwise : nullptr;
    const char* const name = text_or_empty(table.m_name);
    if (own != nullptr)
        ombrel_printf("%s %s\n", name, own);
    else
        ombrel_printf("%s (libombrel_tuk) %s\n", name, ombrel_get_tuk_version_string());
    return true;
}

bool print_manual(const ombrel_argument_table_t& table) {
    const auto* const option = find_kind(table, def_ombrel_argument_manual);
    const auto* const page =
        option != nullptr ? static_cast<const ombrel_argument_manual_t*>(option->m_target) : nullptr;
    return print_text(
        heap_ptr<char>(ombrel_alloc_argument_manual_tag(&table, page, "ombrel_take_arguments", __LINE__)));
}

bool print_completion(const ombrel_argument_table_t& table) {
    return print_text(
        heap_ptr<char>(ombrel_alloc_argument_completion_tag(&table, "ombrel_take_arguments", __LINE__)));
}

// What a parse ended for; false when it could not be.
bool print_wanted(const ombrel_argument_table_t& table, int wanted) {
    switch (wanted) {
    case def_ombrel_argument_help_wanted:
        return ombrel_print_argument_help(&table) == 0;
    case def_ombrel_argument_version_wanted:
        return print_version(table);
    case def_ombrel_argument_manual_wanted:
        return print_manual(table);
    case def_ombrel_argument_completion_wanted:
        return print_completion(table);
    default:
        return true;
    }
}

int fail_to_print(ombrel_arguments_t& arguments) {
    arguments.m_exit_code = 1;
    return -1;
}

} // namespace

} // namespace ombrel::system

using namespace ombrel;

char* ombrel_alloc_argument_help_tag(const ombrel_argument_table_t* table, int columns, const char* function,
                                     unsigned long line) {
    if (table == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    return system::alloc_text(*table, columns, function, line,
                              [](system::help_layout& layout) { layout.put_all(); });
}

int ombrel_print_argument_help(const ombrel_argument_table_t* table) {
    heap_ptr<char> text(ombrel_alloc_argument_help(table, system::terminal_columns()));
    return system::print_text(std::move(text)) ? 0 : -1;
}

int ombrel_refuse_arguments(const ombrel_argument_table_t* table, const char* format, ...) {
    constexpr int exit_code = 2;
    if (table == nullptr || format == nullptr)
        return exit_code;
    char words[def_ombrel_argument_message_size];
    va_list arguments;
    va_start(arguments, format);
    ombrel_vsnprintf(words, sizeof words, format, arguments);
    va_end(arguments);
    system::print_complaint(*table, words);
    return exit_code;
}

int ombrel_take_arguments(const ombrel_argument_table_t* table, int argc, char** argv, void* record,
                          ombrel_arguments_t* arguments) {
    const int outcome = ombrel_parse_arguments(table, argc, argv, record, arguments);
    if (table == nullptr || arguments == nullptr || outcome == 0)
        return outcome;
    const ombrel_argument_table_t& innermost = *arguments->m_table;
    if (arguments->m_wrong != def_ombrel_argument_good)
        system::print_complaint(innermost, arguments->m_message);
    else if (arguments->m_exit_code == 0 &&
             !(system::print_wanted(innermost, outcome) &&
               system::finish_program_output(system::text_or_empty(innermost.m_name))))
        return system::fail_to_print(*arguments);
    return outcome;
}
