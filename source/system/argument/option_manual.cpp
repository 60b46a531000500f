#include <ombrel/argument_manual.h>

#include <algorithm>
#include <string_view>

#include <ombrel/calendar.h>
#include <ombrel/environment.h>
#include <ombrel/printf.h>
#include <ombrel/version.h>

#include "core/fault.h"
#include "system/argument/option_table.h"
#include "system/argument/roff_text.h"

namespace ombrel::system {

namespace {

constexpr ombrel_argument_manual_t nothing_more{};

constexpr ombrel_argument_exit_t usual_exits[] = {{"0", "All is well, or help was asked for."},
                                                  {"1", "Something could not be read, written or done."},
                                                  {"2", "The arguments make no sense."},
                                                  {}};

/// The moment that builds name so that they give the same again, or that of now.
ombrel_instant_t moment_of_page() {
    constexpr std::string_view name = "SOURCE_DATE_EPOCH=";
    constexpr ombrel_argument_option_t seconds = {.m_kind = def_ombrel_argument_integer64};
    ombrel_instant_t moment{};
    ombrel_get_instant(&moment);
    char** const variables = ombrel_environ();
    for (char** one = variables; one != nullptr && *one != nullptr; one++)
        if (starts_with(*one, name))
            ombrel_parse_argument_value(&seconds, *one + name.size(), &moment.m_seconds);
    return moment;
}

struct date_text {
    char text[sizeof "1000000-12-31"];
};

date_text date_of_page() {
    const ombrel_instant_t moment = moment_of_page();
    ombrel_civil_time_t time{};
    date_text date;
    ombrel_make_utc_time(&moment, &time);
    ombrel_snprintf(date.text, sizeof date.text, "%04d-%02d-%02d", time.m_year, time.m_month, time.m_day);
    return date;
}

class page_layout {
public:
    page_layout(const ombrel_argument_table_t& table, const ombrel_argument_manual_t& page, char* to)
        : table_(table), page_(page), text_(to) {}

    size_t put_all() {
        put_title();
        put_name();
        text_.put_request(".SH SYNOPSIS");
        put_synopsis(table_);
        text_.put_request(".SH DESCRIPTION");
        put_description(table_);
        if (has_usual_help(table_) || has_shown_options(table_))
            text_.put_request(".SH OPTIONS");
        put_options(table_);
        put_commands();
        put_exits();
        put_sections();
        put_see_also();
        text_.end_line();
        return text_.size();
    }

private:
    bool commands_have_pages() const {
        return (page_.m_flags & def_ombrel_argument_manual_pages_of_commands) != 0;
    }

    /// "PROGRAM-NAME", where spaces of the name are dashes too.
    template<typename Put>
    void for_each_part_of_page_name(Put put) const {
        if (page_.m_program != nullptr) {
            put(std::string_view(page_.m_program));
            put("-");
        }
        std::string_view name = table_.m_name;
        for (size_t length; !name.empty(); name = slice(name, length + 1)) {
            length = std::min(name.find(' '), name.size());
            put(slice(name, 0, length));
            if (length < name.size())
                put("-");
        }
    }

    void put_title() {
        char name[128], *end = name;
        for_each_part_of_page_name([&](std::string_view part) {
            const size_t room = sizeof name - 1 - static_cast<size_t>(end - name);
            end = put_text(end, slice(part, 0, room));
        });
        const std::string_view page_name(name, static_cast<size_t>(end - name));
        const date_text date = date_of_page();
        char title[sizeof name], source[sizeof name + 32];
        std::transform(name, end, title,
                       [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ' ') : c; });
        *end = '\0';
        put_source(source, sizeof source, name);
        text_.put_request(".TH", {{title, page_name.size()},
                                  "1",
                                  page_.m_date != nullptr ? page_.m_date : date.text,
                                  page_.m_source != nullptr ? page_.m_source : source});
    }

    /// The page's name, with the version that the table tells.
    void put_source(char* to, size_t size, const char* name) const {
        const auto* const version = find_kind(table_, def_ombrel_argument_version);
        if (version == nullptr)
            ombrel_snprintf(to, size, "%s", name);
        else if (version->m_otherwise != nullptr)
            ombrel_snprintf(to, size, "%s %s", name, version->m_otherwise);
        else
            ombrel_snprintf(to, size, "libombrel_tuk %s", ombrel_get_tuk_version_string());
    }

    /// "name - what it does", which indexes of pages take.
    void put_name() {
        text_.put_request(".SH NAME");
        for_each_part_of_page_name([&](std::string_view part) { text_.put(part); });
        std::string_view summary = text_or_empty(table_.m_summary);
        if (!summary.empty() && summary.back() == '.')
            summary.remove_suffix(1);
        if (!summary.empty()) {
            text_.put_space();
            text_.put("-");
            put_uncapitalised(summary);
        }
        text_.end_line();
    }

    /// A word that is more than one capital is a name.
    void put_uncapitalised(std::string_view summary) {
        const size_t length = std::min(summary.find(' '), summary.size());
        const bool is_word = length > 1 && summary[1] >= 'a' && summary[1] <= 'z';
        const bool is_capital = summary[0] >= 'A' && summary[0] <= 'Z';
        const char first[] = {static_cast<char>(is_capital && is_word ? summary[0] | ' ' : summary[0]), '\0'};
        text_.put_space();
        text_.put(first);
        text_.put(slice(summary, 1, length - 1));
        text_.put_words(slice(summary, length + 1));
    }

    void put_command_name(const ombrel_argument_table_t& table) {
        if (page_.m_program != nullptr) {
            text_.put(page_.m_program, roff_font::bold);
            text_.put(" ");
        }
        text_.put(text_or_empty(table.m_name), roff_font::bold);
    }

    // Each part has a line of its own, as nothing in it is to be broken.
    void put_synopsis(const ombrel_argument_table_t& table) {
        put_command_name(table);
        text_.end_line();
        if (table.m_usage != nullptr)
            return put_usage_words(table.m_usage);
        for_each_row(table, [&](const ombrel_argument_option_t& option) {
            if (is_in_usage(option))
                put_usage(option);
        });
        put_usage_words(table.m_commands != nullptr ? "COMMAND [ARGUMENT...]" : "");
        put_usage_words(text_or_empty(table.m_operands));
    }

    void put_usage_words(std::string_view text) {
        for (size_t length; !text.empty(); text = slice(text, length + 1)) {
            length = std::min(text.find(' '), text.size());
            text_.put_usage(slice(text, 0, length));
            text_.end_line();
        }
    }

    void put_letter(const ombrel_argument_option_t& option) {
        const char written[] = {'-', option.m_letter, '\0'};
        text_.put(written, roff_font::bold);
    }

    void put_long_name(const ombrel_argument_option_t& option) {
        text_.put(has_flag(option, def_ombrel_argument_negatable) ? "--[no-]" : "--", roff_font::bold);
        text_.put(option.m_name, roff_font::bold);
    }

    void put_value(const ombrel_argument_option_t& option, bool behind_name) {
        if (!takes_value(option))
            return;
        const bool is_optional = has_flag(option, def_ombrel_argument_optional);
        text_.put(!is_optional ? " " : behind_name ? "[=" : "[");
        text_.put_usage(option.m_value != nullptr ? option.m_value : "VALUE");
        text_.put(is_optional ? "]" : "");
    }

    void put_usage(const ombrel_argument_option_t& option) {
        const bool by_letter = option.m_letter != '\0';
        text_.put("[");
        by_letter ? put_letter(option) : put_long_name(option);
        put_value(option, !by_letter);
        text_.put_usage(may_repeat(option) ? "]..." : "]");
        text_.end_line();
    }

    void put_description(const ombrel_argument_table_t& table) {
        text_.put_lines(text_or_empty(table.m_summary));
        if (table.m_notes == nullptr)
            return;
        text_.put_request(".PP");
        text_.put_lines(table.m_notes);
    }

    static bool has_shown_options(const ombrel_argument_table_t& table) {
        bool has_any = false;
        for_each_row(table,
                     [&](const ombrel_argument_option_t& option) { has_any = has_any || is_shown(option); });
        return has_any;
    }

    void put_options(const ombrel_argument_table_t& table) {
        for_each_row(table, [&](const ombrel_argument_option_t& option) {
            if (option.m_kind == def_ombrel_argument_heading)
                text_.put_request(".SS", {text_or_empty(option.m_help)});
            if (is_shown(option))
                put_option(option);
        });
        if (has_usual_help(table))
            put_option(usual_help);
    }

    void put_option(const ombrel_argument_option_t& option) {
        text_.put_request(".TP");
        if (option.m_letter != '\0')
            put_letter(option);
        if (option.m_name != nullptr) {
            text_.put(option.m_letter != '\0' ? ", " : "");
            put_long_name(option);
        }
        put_value(option, option.m_name != nullptr);
        text_.end_line();
        text_.put_lines(text_or_empty(option.m_help));
        if (option.m_kind == def_ombrel_argument_choice)
            put_choices(option);
    }

    void put_choices(const ombrel_argument_option_t& option) {
        if (option.m_help != nullptr)
            text_.put_request(".br");
        text_.put_words("One of");
        text_.put_space();
        text_.put_usage(text_or_empty(option.m_choices));
        text_.put(".");
        text_.end_line();
    }

    void put_commands() {
        if (table_.m_commands != nullptr)
            text_.put_request(".SH COMMANDS");
        for_each_command(table_, [&](const ombrel_argument_table_t& command) {
            commands_have_pages() ? put_command_summary(command) : put_command(command);
        });
    }

    void put_command_summary(const ombrel_argument_table_t& command) {
        text_.put_request(".TP");
        text_.put(called_by(command), roff_font::bold);
        text_.end_line();
        text_.put_lines(text_or_empty(command.m_summary));
    }

    // Sub-commands of it follow it.
    void put_command(const ombrel_argument_table_t& command) {
        text_.put_request(".SS", {text_or_empty(command.m_name)});
        put_synopsis(command);
        text_.put_request(".PP");
        put_description(command);
        put_options(command);
        for_each_command(command, [&](const ombrel_argument_table_t& inner) { put_command(inner); });
    }

    void put_exits() {
        text_.put_request(".SH EXIT STATUS");
        const ombrel_argument_exit_t* exit = page_.m_exits != nullptr ? page_.m_exits : usual_exits;
        for (; exit->m_code != nullptr; exit++) {
            text_.put_request(".TP");
            text_.put_usage(exit->m_code);
            text_.end_line();
            text_.put_lines(text_or_empty(exit->m_help));
        }
    }

    void put_sections() {
        const ombrel_argument_section_t* section = page_.m_sections;
        for (; section != nullptr && section->m_title != nullptr; section++) {
            text_.put_request(".SH", {section->m_title});
            text_.put_lines(text_or_empty(section->m_text));
        }
    }

    void put_see_also() {
        if (page_.m_program == nullptr && page_.m_see_also == nullptr && !commands_have_pages())
            return;
        text_.put_request(".SH SEE ALSO");
        if (page_.m_program != nullptr)
            put_reference([&] { text_.put(page_.m_program, roff_font::bold); });
        if (commands_have_pages())
            for_each_command(table_, [&](const ombrel_argument_table_t& command) {
                put_reference([&] {
                    for_each_part_of_page_name(
                        [&](std::string_view part) { text_.put(part, roff_font::bold); });
                    text_.put("-", roff_font::bold);
                    text_.put(called_by(command), roff_font::bold);
                });
            });
        put_more_references(text_or_empty(page_.m_see_also));
    }

    template<typename PutName>
    void put_reference(PutName put_name) {
        separate_reference();
        put_name();
        text_.put("(1)");
    }

    void put_more_references(std::string_view names) {
        for (size_t length; !names.empty(); names = slice(names, length + 2)) {
            length = std::min(names.find(", "), names.size());
            const std::string_view name = slice(names, 0, length);
            const size_t bracket = std::min(name.find('('), name.size());
            separate_reference();
            text_.put(slice(name, 0, bracket), roff_font::bold);
            text_.put(slice(name, bracket));
        }
    }

    void separate_reference() {
        if (has_reference_)
            text_.put(",");
        text_.end_line();
        has_reference_ = true;
    }

    const ombrel_argument_table_t& table_;
    const ombrel_argument_manual_t& page_;
    roff_text text_;
    bool has_reference_ = false;
};

} // namespace

} // namespace ombrel::system

using namespace ombrel;

char* ombrel_alloc_argument_manual_tag(const ombrel_argument_table_t* table,
                                       const ombrel_argument_manual_t* page, const char* function,
                                       unsigned long line) {
    if (table == nullptr || table->m_name == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    return system::alloc_laid_out(function, line, [&](char* to) {
        return system::page_layout(*table, page != nullptr ? *page : system::nothing_more, to).put_all();
    });
}
