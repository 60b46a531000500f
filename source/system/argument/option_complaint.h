// What is wrong with arguments, in words.
#pragma once

#include <string_view>

#include <ombrel/argument.h>

#include "system/argument/option_table.h"
#include "system/argument/option_value.h"

namespace ombrel::system {

/// Stores what is wrong in the result of a parse. Each function gives -1.
class option_complaint {
public:
    explicit option_complaint(ombrel_arguments_t& to) : to_(to) {}

    /// @param index the argument that the following complaints are about
    /// @param option how the option was written: "-n" or "--name"; empty for an operand
    void about(int index, std::string_view option) {
        to_.m_index = index;
        option_ = option;
    }

    int unknown_option();
    int ambiguous_option(const found_option& found);
    int missing_value();
    int unwanted_value();
    /// Also where it is out of range.
    int unusable_value(const ombrel_argument_option_t& option, const char* given, value_outcome why);
    int list_full();
    int missing_operand();
    int unwanted_operand(std::string_view operand);
    int missing_command();
    int unknown_command(std::string_view name);
    int bad_table();

private:
    class message_text say(int what);
    class message_text say_of_option(int what);

    ombrel_arguments_t& to_;
    std::string_view option_;
};

} // namespace ombrel::system
