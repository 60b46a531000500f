#include "system/argument/option_table.h"

#include "text/slice.h"

namespace ombrel::system {

namespace {

// A name that the options have, one after the other; a negatable one has two.
class name_search {
public:
    name_search(std::string_view name, bool by_beginning) : name_(name), by_beginning_(by_beginning) {}

    void look_at(const ombrel_argument_option_t& option) {
        if (option.m_name == nullptr || !is_option(option))
            return;
        if (fits(name_, option.m_name))
            add(option, false);
        constexpr std::string_view negation = "no-";
        const bool may_be_negated = has_flag(option, def_ombrel_argument_negatable);
        if (may_be_negated && by_beginning_ && fits(name_, negation))
            add(option, true);
        else if (may_be_negated && starts_with(name_, negation) &&
                 fits(slice(name_, negation.size()), option.m_name))
            add(option, true);
    }

    const found_option& found() const { return found_; }

private:
    bool fits(std::string_view beginning, std::string_view name) const {
        return by_beginning_ ? starts_with(name, beginning) : name == beginning;
    }

    void add(const ombrel_argument_option_t& option, bool is_negated) {
        if (found_.option == nullptr) {
            found_.option = &option;
            found_.is_negated = is_negated;
        } else if (found_.other == nullptr) {
            found_.other = &option;
            found_.other_negated = is_negated;
        }
    }

    std::string_view name_;
    bool by_beginning_;
    found_option found_;
};

found_option search(const ombrel_argument_table_t& table, std::string_view name, bool by_beginning) {
    name_search search(name, by_beginning);
    for_each_row(table, [&](const ombrel_argument_option_t& option) { search.look_at(option); });
    if (has_usual_help(table))
        search.look_at(usual_help);
    return search.found();
}

} // namespace

int wanted_by(int kind) {
    switch (kind) {
    case def_ombrel_argument_help:
        return def_ombrel_argument_help_wanted;
    case def_ombrel_argument_version:
        return def_ombrel_argument_version_wanted;
    case def_ombrel_argument_manual:
        return def_ombrel_argument_manual_wanted;
    case def_ombrel_argument_completion:
        return def_ombrel_argument_completion_wanted;
    default:
        return 0;
    }
}

bool takes_value(const ombrel_argument_option_t& option) {
    if (wanted_by(option.m_kind) != 0)
        return false;
    switch (option.m_kind) {
    case def_ombrel_argument_flag:
    case def_ombrel_argument_count:
        return false;
    case def_ombrel_argument_listed:
    case def_ombrel_argument_call:
        return option.m_value != nullptr;
    default:
        return true;
    }
}

bool is_option(const ombrel_argument_option_t& option) {
    return option.m_kind != def_ombrel_argument_end && option.m_kind != def_ombrel_argument_heading;
}

bool is_shown(const ombrel_argument_option_t& option) {
    return is_option(option) && !has_flag(option, def_ombrel_argument_hidden);
}

bool is_in_usage(const ombrel_argument_option_t& option) {
    return is_shown(option) && wanted_by(option.m_kind) == 0;
}

bool has_usual_help(const ombrel_argument_table_t& table) {
    bool is_taken = (table.m_flags & def_ombrel_argument_no_help) != 0;
    for_each_row(table, [&](const ombrel_argument_option_t& option) {
        is_taken =
            is_taken || (option.m_name != nullptr && std::string_view(option.m_name) == usual_help.m_name);
    });
    return !is_taken;
}

bool may_repeat(const ombrel_argument_option_t& option) {
    return option.m_kind == def_ombrel_argument_listed || has_flag(option, def_ombrel_argument_repeatable);
}

const ombrel_argument_option_t* find_letter(const ombrel_argument_table_t& table, char letter) {
    const ombrel_argument_option_t* found = nullptr;
    for_each_row(table, [&](const ombrel_argument_option_t& option) {
        if (found == nullptr && letter != '\0' && option.m_letter == letter && is_option(option))
            found = &option;
    });
    return found;
}

const ombrel_argument_option_t* find_kind(const ombrel_argument_table_t& table, int kind) {
    const ombrel_argument_option_t* found = nullptr;
    for_each_row(table, [&](const ombrel_argument_option_t& option) {
        if (found == nullptr && option.m_kind == kind)
            found = &option;
    });
    return found;
}

// The first of two rows of one name counts.
found_option find_name(const ombrel_argument_table_t& table, std::string_view name) {
    found_option found = search(table, name, false);
    if (found.option == nullptr && !name.empty() && (table.m_flags & def_ombrel_argument_prefixes) != 0)
        return search(table, name, true);
    found.other = nullptr;
    return found;
}

const ombrel_argument_table_t* find_command(const ombrel_argument_table_t& table, std::string_view name) {
    const ombrel_argument_table_t* found = nullptr;
    for_each_command(table, [&](const ombrel_argument_table_t& command) {
        if (found == nullptr && called_by(command) == name)
            found = &command;
    });
    return found;
}

std::string_view called_by(const ombrel_argument_table_t& table) {
    const std::string_view name = table.m_name != nullptr ? table.m_name : "";
    const size_t space = name.rfind(' ');
    return space == name.npos ? name : slice(name, space + 1);
}

} // namespace ombrel::system
