// The options of a command's arguments, one after the other.
#pragma once

#include <string_view>
#include <utility>

#include "text/slice.h"

namespace ombrel::command {

/// Walks the arguments that begin with "-", up to the first that does not or to "--". Letters may cluster,
/// and values stand in the same argument ("-w5", "--wrap=5") or in the next.
class option_walk {
public:
    option_walk(int argc, char** argv) : argc_(argc), argv_(argv) {}

    /// Steps to the next option; false when there are no more.
    bool next() {
        if (*letters_ == '\0' && !next_argument())
            return false;
        letter_ = *letters_ != '\0' ? *letters_++ : '\0';
        return true;
    }

    /// Whether the present option is one without a value.
    bool is(char letter, std::string_view word) const {
        return is_word() ? word_ == word : letter_ == letter;
    }

    /// Whether the present option is one that needs a value.
    bool takes(char letter, std::string_view word) const {
        return is_word() ? slice(word_, 0, word_.find('=')) == word : letter_ == letter;
    }

    /// The value of the present option; null when there is none.
    const char* value() {
        if (!is_word() && *letters_ != '\0')
            return std::exchange(letters_, "");
        const size_t sign = is_word() ? word_.find('=') : word_.npos;
        if (sign != word_.npos)
            return word_.data() + sign + 1;
        return at_ < argc_ ? argv_[at_++] : nullptr;
    }

    /// What follows the options.
    int operand_count() const { return argc_ - at_; }
    const char* operand(int index) const { return argv_[at_ + index]; }

    /// The operand that is the only one allowed, "-" when there is none, null when there are more.
    const char* only_operand() const {
        return operand_count() == 0 ? "-" : operand_count() == 1 ? operand(0) : nullptr;
    }

private:
    bool is_word() const { return letter_ == '\0'; }

    /// Takes the next argument of options; "--" is taken too but has none.
    bool next_argument() {
        if (at_ >= argc_ || argv_[at_][0] != '-' || argv_[at_][1] == '\0')
            return false;
        const char* const text = argv_[at_++] + 1;
        if (*text != '-') {
            letters_ = text;
            return true;
        }
        word_ = text + 1;
        return !word_.empty();
    }

    int argc_;
    char** argv_;
    int at_ = 1;
    const char* letters_ = ""; ///< of a cluster that are still to come
    char letter_ = '\0';       ///< the present option, or 0 where it is a word
    std::string_view word_;
};

} // namespace ombrel::command
