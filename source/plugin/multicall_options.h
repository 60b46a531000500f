// The options of a command's arguments, one after the other.
#pragma once

#include <string_view>

namespace ombrel::plugin {

/// Walks the arguments that begin with "-", up to the first that does not or to "--". Letters do not cluster.
class option_walk {
public:
    option_walk(int argc, char** argv) : argc_(argc), argv_(argv) {}

    /// Steps to the next option; false when there are no more.
    bool next() {
        if (at_ >= argc_ || argv_[at_][0] != '-' || argv_[at_][1] == '\0')
            return false;
        current_ = argv_[at_++];
        return current_ != "--";
    }

    bool is(std::string_view letter, std::string_view word) const {
        return current_ == letter || current_ == word;
    }

    /// The argument of the present option: the next one; null when there is none.
    const char* value() { return at_ < argc_ ? argv_[at_++] : nullptr; }

    /// What follows the options.
    int operand_count() const { return argc_ - at_; }
    const char* operand(int index) const { return argv_[at_ + index]; }

    /// The operand that is the only one allowed, "-" when there is none, null when there are more.
    const char* only_operand() const {
        return operand_count() == 0 ? "-" : operand_count() == 1 ? operand(0) : nullptr;
    }

private:
    int argc_;
    char** argv_;
    int at_ = 1;
    std::string_view current_;
};

} // namespace ombrel::plugin
