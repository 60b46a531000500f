#include <algorithm>

#include "platform/quoted_argument.h"
#include "system/argument/quoting.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

bool is_space(char c) {
    return c == ' ' || c == '\t';
}

// What follows the program's name. Backslashes stand for themselves, but before a quote each two of them are
// one.
class windows_split {
public:
    windows_split(std::string_view text, word_text& words) : text_(text), words_(words) {}

    size_t run(size_t from) {
        for (at_ = from; at_ < text_.size(); at_++)
            step(text_[at_]);
        put_backslashes(backslashes_);
        words_.end();
        return is_quoted_ ? begin_ : text_.size();
    }

private:
    void step(char c) {
        if (c == '"') {
            put_backslashes(backslashes_ / 2);
            take_quote();
        } else if (c != '\\') {
            put_backslashes(backslashes_);
            take_other(c);
        }
        backslashes_ = c == '\\' ? backslashes_ + 1 : 0;
    }

    void take_quote() {
        words_.begin();
        if (backslashes_ % 2 != 0) {
            words_.put('"');
            return;
        }
        // Two within quotes are one, and end the quoting all the same: by design of the host.
        if (is_quoted_ && at_ + 1 < text_.size() && text_[at_ + 1] == '"') {
            words_.put('"');
            at_++;
        }
        is_quoted_ = !is_quoted_;
        begin_ = at_;
    }

    void take_other(char c) {
        if (is_space(c) && !is_quoted_)
            words_.end();
        else
            words_.put(c);
    }

    void put_backslashes(size_t count) {
        while (count-- > 0)
            words_.put('\\');
    }

    std::string_view text_;
    word_text& words_;
    size_t at_ = 0;
    size_t begin_ = 0;
    size_t backslashes_ = 0;
    bool is_quoted_ = false;
};

size_t split_rest(std::string_view text, word_text& words) {
    return windows_split(text, words).run(0);
}

// The program's name reaches from a quote to the next, or to a space. No backslash has a meaning in it.
size_t split_whole(std::string_view text, word_text& words) {
    if (text.empty())
        return 0;
    const bool is_quoted = text.front() == '"';
    const size_t begin = is_quoted ? 1 : 0;
    const size_t length =
        std::min(slice(text, begin).find_first_of(is_quoted ? "\"" : " \t"), text.size() - begin);
    words.begin();
    for (const char c : slice(text, begin, length))
        words.put(c);
    words.end();
    const size_t end = begin + length;
    const size_t rest = windows_split(text, words).run(std::min(is_quoted ? end + 1 : end, text.size()));
    return is_quoted && end == text.size() ? 0 : rest;
}

void join_rest(std::string_view argument, line_text& line) {
    platform::put_quoted_argument(argument, [&](char c) {
        line.put(c);
        return true;
    });
}

bool can_name_program(std::string_view name) {
    return name.find('"') == name.npos;
}

void join_program(std::string_view name, line_text& line) {
    line.put('"');
    line.put(name);
    line.put('"');
}

} // namespace

constexpr quoting windows_quoting = {split_whole, true, can_name_program, join_program, join_rest};
constexpr quoting windows_rest_quoting = {split_rest, true, nullptr, join_rest, join_rest};

} // namespace ombrel::system
