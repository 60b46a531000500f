#include <algorithm>
#include <iterator>

#include "system/argument/quoting.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

class posix_split {
public:
    posix_split(std::string_view text, word_text& words) : text_(text), words_(words) {}

    size_t run() {
        while (at_ < text_.size())
            if (!step())
                return begin_;
        words_.end();
        return text_.size();
    }

private:
    // False when what begins at begin_ is not finished.
    bool step() {
        begin_ = at_;
        switch (const char c = text_[at_++]) {
        case ' ':
        case '\t':
        case '\n':
            words_.end();
            return true;
        case '\'':
            return take_single();
        case '"':
            return take_double();
        case '\\':
            return take_escaped();
        default:
            words_.put(c);
            return true;
        }
    }

    bool take_single() {
        words_.begin();
        while (at_ < text_.size() && text_[at_] != '\'')
            words_.put(text_[at_++]);
        return at_++ < text_.size();
    }

    bool take_double() {
        words_.begin();
        while (at_ < text_.size() && text_[at_] != '"')
            if (text_[at_] == '\\' && at_ + 1 < text_.size())
                take_escaped_in_double();
            else
                words_.put(text_[at_++]);
        return at_++ < text_.size();
    }

    void take_escaped_in_double() {
        constexpr std::string_view with_meaning = "$`\"\\\n";
        const char c = text_[at_ + 1];
        if (with_meaning.find(c) == with_meaning.npos)
            words_.put('\\');
        if (c != '\n')
            words_.put(c);
        at_ += 2;
    }

    // A newline that is escaped joins two lines and is no character, nor does it begin a word.
    bool take_escaped() {
        if (at_ == text_.size())
            return false;
        const char c = text_[at_++];
        if (c != '\n')
            words_.put(c);
        return true;
    }

    std::string_view text_;
    word_text& words_;
    size_t at_ = 0;
    size_t begin_ = 0;
};

size_t split(std::string_view text, word_text& words) {
    return posix_split(text, words).run();
}

bool is_plain(char c) {
    constexpr std::string_view plain_marks = "%+,-./:@_";
    const bool is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return is_letter || (c >= '0' && c <= '9') || plain_marks.find(c) != plain_marks.npos;
}

// A "=" would make a first word an assignment; in options, where it is usual, it can do no harm.
bool needs_quotes(std::string_view argument) {
    const bool is_option = starts_with(argument, "-");
    for (const char c : argument)
        if (!is_plain(c) && !(is_option && c == '='))
            return true;
    return argument.empty();
}

void put_quoted(std::string_view argument, line_text& line) {
    line.put('\'');
    for (const char c : argument)
        c == '\'' ? line.put("'\\''") : line.put(c);
    line.put('\'');
}

void join(std::string_view argument, line_text& line) {
    if (needs_quotes(argument))
        put_quoted(argument, line);
    else
        line.put(argument);
}

// Words that a shell takes for its own where a command begins.
bool is_reserved(std::string_view word) {
    constexpr std::string_view reserved[] = {"case",   "coproc", "do",   "done",     "elif", "else",
                                             "esac",   "fi",     "for",  "function", "if",   "in",
                                             "select", "then",   "time", "until",    "while"};
    return std::find(std::begin(reserved), std::end(reserved), word) != std::end(reserved);
}

void join_first(std::string_view name, line_text& line) {
    is_reserved(name) ? put_quoted(name, line) : join(name, line);
}

} // namespace

constexpr quoting posix_quoting = {split, false, nullptr, join_first, join};

} // namespace ombrel::system
