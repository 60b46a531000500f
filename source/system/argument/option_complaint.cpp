#include "system/argument/option_complaint.h"

#include <ombrel/printf.h>

#include "core/fault.h"
#include "system/argument/message_text.h"
#include "text/slice.h"
#include "text/word_list.h"

namespace ombrel::system {

namespace {

void put_name(message_text& message, const ombrel_argument_option_t& option, bool is_negated) {
    message.put(is_negated ? "\"--no-" : "\"--").put(option.m_name).put("\"");
}

void put_choices(message_text& message, const char* choices) {
    word_list words(choices, "|");
    std::string_view word;
    for (const char* between = ""; words.next(word); between = ", ")
        message.put(between).put(word);
}

bool is_time(int kind) {
    return kind == def_ombrel_argument_duration || kind == def_ombrel_argument_time_limit;
}

void put_range(message_text& message, const ombrel_argument_option_t& option, std::string_view value) {
    if (option.m_least == 0 && option.m_most == 0) {
        message.put(starts_with(value, "-") ? " is too small" : " is too large");
        return;
    }
    if (is_time(option.m_kind)) {
        message.put(" is too short or too long");
        return;
    }
    char range[64];
    ombrel_snprintf(range, sizeof range, " is not from %lld to %lld", static_cast<long long>(option.m_least),
                    static_cast<long long>(option.m_most));
    message.put(range);
}

} // namespace

message_text option_complaint::say(int what) {
    leave_fault(fault_code::invalid);
    to_.m_wrong = what;
    to_.m_exit_code = 2;
    return {to_.m_message, sizeof to_.m_message};
}

message_text option_complaint::say_of_option(int what) {
    return say(what).put("option ").quote(option_);
}

int option_complaint::unknown_option() {
    say(def_ombrel_argument_unknown_option).put("unknown option ").quote(option_);
    return -1;
}

int option_complaint::ambiguous_option(const found_option& found) {
    message_text message = say_of_option(def_ombrel_argument_ambiguous_option);
    message.put(" could be ");
    put_name(message, *found.option, found.is_negated);
    message.put(" or ");
    put_name(message, *found.other, found.other_negated);
    return -1;
}

int option_complaint::missing_value() {
    say_of_option(def_ombrel_argument_missing_value).put(" needs a value");
    return -1;
}

int option_complaint::unwanted_value() {
    say_of_option(def_ombrel_argument_unwanted_value).put(" takes no value");
    return -1;
}

int option_complaint::unusable_value(const ombrel_argument_option_t& option, const char* given,
                                     value_outcome why) {
    const std::string_view value = given != nullptr ? given : "";
    const bool is_choice = option.m_kind == def_ombrel_argument_choice;
    message_text message = say_of_option(why == value_outcome::bad ? def_ombrel_argument_bad_value
                                                                   : def_ombrel_argument_out_of_range);
    message.put(": ").quote(value);
    if (why == value_outcome::out_of_range) {
        put_range(message, option, value);
    } else if (is_choice) {
        message.put(" is none of ");
        put_choices(message, option.m_choices);
    } else {
        const char* const noun = value_noun(option.m_kind);
        message.put(noun != nullptr ? " is no " : " will not do").put(noun != nullptr ? noun : "");
    }
    return -1;
}

int option_complaint::list_full() {
    say_of_option(def_ombrel_argument_list_full).put(" is given too often");
    return -1;
}

int option_complaint::missing_operand() {
    say(def_ombrel_argument_missing_operand).put("missing operand");
    return -1;
}

int option_complaint::unwanted_operand(std::string_view operand) {
    say(def_ombrel_argument_unwanted_operand).put("extra operand ").quote(operand);
    return -1;
}

int option_complaint::missing_command() {
    say(def_ombrel_argument_missing_command).put("missing command");
    return -1;
}

int option_complaint::unknown_command(std::string_view name) {
    say(def_ombrel_argument_unknown_command).put("unknown command ").quote(name);
    return -1;
}

int option_complaint::bad_table() {
    say(def_ombrel_argument_bad_table).put("the table of options makes no sense at ").quote(option_);
    return -1;
}

} // namespace ombrel::system
