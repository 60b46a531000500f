#include <ombrel/argument_manual.h>

#include <algorithm>
#include <string_view>

#include "core/fault.h"
#include "system/argument/laid_out_text.h"
#include "system/argument/option_table.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

// What is the same for all programs; "`" stands for the function's name. The case statements of the program
// say what stands where:
//   `_table PATH       options= the shown ones, commands= the sub-commands, stops= where operands end options
//   `_value PATH NAME  how= what completes the value of an option, or the operand of a number: "" for none,
//   ":"
//                      for a value of which nothing is known, ":file", ":directory", ":program", or words;
//                      with
//                      "?" before it where the value may be left out
// PATH is made of the sub-commands, each with a space behind it. Where bash has made several words of an
// argument
// ("=" and ":" are words for it), they are counted as one.
constexpr const char engine[] = R"(
`_offer() {
    local each
    case $how in
    :file) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    :directory) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
    :program) mapfile -t COMPREPLY < <(compgen -c -- "$word") ;;
    :) ;;
    *) local -a words
        read -r -d '' -a words <<<"$how"
        for each in "${words[@]}"; do
            [[ $each != "$word"* ]] || COMPREPLY+=("$each")
        done ;;
    esac
}

`_letters() {
    local at
    for ((at = 1; at < ${#each}; at++)); do
        `_value "$path" "-${each:at:1}"
        [[ -z $how ]] || break
    done
    [[ $how != \?* && $at -eq $((${#each} - 1)) ]] || how=
}

`() {
    local IFS=$' \t\n' word=${COMP_WORDS[COMP_CWORD]} path='' how='' options commands stops each
    local -i at operands=1 only_operands=0
    COMPREPLY=()
    `_table "$path"
    for ((at = 1; at < COMP_CWORD; at++)); do
        each=${COMP_WORDS[at]}
        if [[ $each == = && -n $how ]]; then
            how=${how#\?}
            continue
        elif [[ $each == [:=] ]]; then
            at+=1
            how=
            continue
        elif [[ -n $how && $how != \?* ]]; then
            how=
            continue
        fi
        how=
        if ((only_operands)) || [[ $each != -?* ]]; then
            if [[ " $commands " == *" $each "* ]]; then
                path+="$each "
                `_table "$path"
                continue
            fi
            operands+=1
            [[ -z $stops ]] || only_operands=1
        elif [[ $each == -- ]]; then
            only_operands=1
        elif [[ $each == --* ]]; then
            `_value "$path" "${each%%=*}"
            [[ $each != *=* ]] || how=
        else
            `_letters
        fi
    done
    if [[ $word == = && -n $how ]]; then
        how=${how#\?} word=
    elif [[ $how == \?* ]]; then
        how=
    fi
    if [[ -z $how ]] && ((!only_operands)) && [[ $word == --*=* ]]; then
        `_value "$path" "${word%%=*}"
        each=${word%%=*} how=${how#\?} word=${word#*=}
        `_offer
        COMPREPLY=("${COMPREPLY[@]/#/$each=}")
        return
    fi
    if [[ -z $how ]]; then
        if ((!only_operands)) && [[ $word == -* ]]; then
            how=$options
        elif [[ -n $commands ]]; then
            how=$commands
        else
            `_value "$path" "$operands"
        fi
    fi
    `_offer
}

complete -F ` )";

std::string_view last_letters(std::string_view text) {
    size_t end = text.size();
    while (end > 0 && !(text[end - 1] >= 'A' && text[end - 1] <= 'Z'))
        end--;
    size_t begin = end;
    while (begin > 0 && text[begin - 1] >= 'A' && text[begin - 1] <= 'Z')
        begin--;
    return slice(text, begin, end - begin);
}

bool has_small_letter(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

bool are_words(std::string_view name) {
    return name.find('|') != name.npos && has_small_letter(name);
}

struct named {
    std::string_view name;
    const char* how;
};

constexpr named names[] = {
    {"FILE", ":file"},       {"FILES", ":file"},          {"PATH", ":file"},
    {"LIST", ":file"},       {"FROM", ":file"},           {"TO", ":file"},
    {"URI", ":file"},        {"ACCOUNTS", ":file"},       {"PORT", ":file"},
    {"COMMAND", ":program"}, {"DIRECTORY", ":directory"}, {"FOLDER", ":directory"},
};

class script_layout {
public:
    script_layout(const ombrel_argument_table_t& table, char* to) : table_(table), text_(to) {}

    size_t put_all() {
        text_.put("# Completion of the arguments of ");
        put_command();
        text_.put(" in bash.\n\n");
        put_function("_table", [&] { put_tables(table_, 0); });
        text_.put("\n");
        put_function("_value", [&] { put_values(table_, 0); });
        put_engine();
        put_command();
        text_.put("\n");
        return text_.size();
    }

private:
    static constexpr size_t deepest = 8;

    static bool is_name(char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    }

    /// "_" and the program's name, of which other characters than those of names are "_" too.
    void put_name() {
        text_.put("_");
        for (const char& c : std::string_view(table_.m_name))
            text_.put(is_name(c) ? std::string_view(&c, 1) : "_");
    }

    /// The program's name as a word of bash, on one line.
    void put_command() {
        const std::string_view name = table_.m_name;
        const bool is_bare = std::all_of(name.begin(), name.end(), [](char c) {
            return std::string_view("._-+").find(c) != std::string_view::npos || is_name(c);
        });
        if (is_bare)
            return text_.put(name);
        text_.put("$'");
        for (const char& c : name)
            text_.put(c == '\n' ? "\\n" : c == '\'' ? "\\'" : c == '\\' ? "\\\\" : std::string_view(&c, 1));
        text_.put("'");
    }

    void put_engine() {
        std::string_view text = engine;
        for (size_t length; !text.empty(); text = slice(text, length + 1)) {
            length = std::min(text.find('`'), text.size());
            text_.put(slice(text, 0, length));
            if (length < text.size())
                put_name();
        }
    }

    template<typename PutCases>
    void put_function(const char* suffix, PutCases put_cases) {
        put_name();
        text_.put(suffix);
        text_.put("() {\n    case $1$2 in\n");
        put_cases();
        text_.put("    *) how='' ;;\n    esac\n}\n");
    }

    /// In single quotes.
    void put_quoted(std::string_view text) {
        text_.put("'");
        put_inside(text);
        text_.put("'");
    }
    void put_inside(std::string_view text) {
        for (const char& c : text)
            text_.put(c == '\'' ? "'\\''" : std::string_view(&c, 1));
    }
    /// Words between "|" become words between spaces.
    void put_choices(std::string_view choices) {
        for (const char& c : choices)
            put_inside(c == '|' ? " " : std::string_view(&c, 1));
    }

    void put_path(size_t depth) {
        for (size_t i = 0; i < depth; i++) {
            put_inside(path_[i]);
            text_.put(" ");
        }
    }

    template<typename Put>
    void for_each_inner(const ombrel_argument_table_t& table, size_t depth, Put put) {
        if (depth == deepest)
            return;
        for_each_command(table, [&](const ombrel_argument_table_t& command) {
            path_[depth] = called_by(command);
            put(command);
        });
    }

    void put_tables(const ombrel_argument_table_t& table, size_t depth) {
        text_.put("    '");
        put_path(depth);
        text_.put("') options='");
        for_each_row(table, [&](const ombrel_argument_option_t& option) {
            if (is_shown(option))
                put_option_names(option);
        });
        text_.put(has_usual_help(table) ? "--help' commands='" : "' commands='");
        for_each_command(table, [&](const ombrel_argument_table_t& command) {
            put_inside(called_by(command));
            text_.put(" ");
        });
        text_.put((table.m_flags & def_ombrel_argument_stop_at_operand) != 0 ? "' stops=1 ;;\n"
                                                                             : "' stops= ;;\n");
        for_each_inner(table, depth,
                       [&](const ombrel_argument_table_t& command) { put_tables(command, depth + 1); });
    }

    void put_option_names(const ombrel_argument_option_t& option) {
        if (option.m_letter != '\0') {
            put_inside("-");
            put_inside({&option.m_letter, 1});
            text_.put(" ");
        }
        if (option.m_name == nullptr)
            return;
        put_long_name("--", option);
        if (has_flag(option, def_ombrel_argument_negatable))
            put_long_name("--no-", option);
    }
    void put_long_name(const char* dashes, const ombrel_argument_option_t& option) {
        text_.put(dashes);
        put_inside(option.m_name);
        text_.put(" ");
    }

    void put_values(const ombrel_argument_table_t& table, size_t depth) {
        for_each_row(table, [&](const ombrel_argument_option_t& option) {
            if (is_option(option) && takes_value(option))
                put_option_value(option, depth);
        });
        put_operands(table, depth);
        for_each_inner(table, depth,
                       [&](const ombrel_argument_table_t& command) { put_values(command, depth + 1); });
    }

    void put_option_value(const ombrel_argument_option_t& option, size_t depth) {
        text_.put("    ");
        if (option.m_letter != '\0') {
            begin_pattern(depth);
            text_.put("-");
            put_inside({&option.m_letter, 1});
            text_.put(option.m_name != nullptr ? "' | " : "'");
        }
        if (option.m_name != nullptr) {
            begin_pattern(depth);
            text_.put("--");
            put_inside(option.m_name);
            text_.put("'");
        }
        text_.put(has_flag(option, def_ombrel_argument_optional) ? ") how='?" : ") how='");
        if (option.m_choices != nullptr)
            put_choices(option.m_choices);
        else
            put_how(text_or_empty(option.m_value));
        text_.put("' ;;\n");
    }

    void begin_pattern(size_t depth) {
        text_.put("'");
        put_path(depth);
    }

    void put_how(std::string_view name) {
        if (are_words(name))
            return put_choices(name);
        const std::string_view letters = last_letters(name);
        for (const named& one : names)
            if (one.name == letters)
                return text_.put(one.how);
        text_.put(":");
    }

    /// The operands in their order; the last stands for all that follow if "..." says so.
    void put_operands(const ombrel_argument_table_t& table, size_t depth) {
        std::string_view operands = text_or_empty(table.m_operands);
        char number = '1';
        for (size_t length; !operands.empty() && number <= '9'; operands = slice(operands, length + 1)) {
            length = std::min(operands.find(' '), operands.size());
            const std::string_view word = slice(operands, 0, length);
            const bool is_last = length == operands.size();
            const bool repeats = is_last && word.find("...") != word.npos;
            text_.put("    ");
            begin_pattern(depth);
            text_.put(repeats ? "'[0-9]*" : std::string_view(&number, 1));
            text_.put(repeats ? ") how='" : "') how='");
            put_how(without_brackets(word));
            text_.put("' ;;\n");
            number++;
        }
    }

    static std::string_view without_brackets(std::string_view word) {
        while (starts_with(word, "["))
            word = slice(word, 1);
        while (!word.empty() && (word.back() == ']' || word.back() == '.'))
            word.remove_suffix(1);
        return word;
    }

    const ombrel_argument_table_t& table_;
    laid_out_text text_;
    std::string_view path_[deepest];
};

} // namespace

} // namespace ombrel::system

using namespace ombrel;

char* ombrel_alloc_argument_completion_tag(const ombrel_argument_table_t* table, const char* function,
                                           unsigned long line) {
    if (table == nullptr || table->m_name == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    return system::alloc_laid_out(function, line,
                                  [&](char* to) { return system::script_layout(*table, to).put_all(); });
}
