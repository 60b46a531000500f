#include "system/argument/quoting.h"

namespace ombrel::system {

namespace {

size_t split(std::string_view text, word_text& words) {
    char quote = '\0';
    size_t begin = 0;
    for (size_t at = 0; at < text.size(); at++) {
        const char c = text[at];
        if (quote != '\0' ? c == quote : c == '"' || c == '\'') {
            words.begin();
            begin = at;
            quote = quote != '\0' ? '\0' : c;
        } else if (quote == '\0' && c == ' ') {
            words.end();
        } else {
            words.put(c);
        }
    }
    words.end();
    return quote != '\0' ? begin : text.size();
}

// The other kind of quotes holds a quote; there is nothing else that does.
void join(std::string_view argument, line_text& line) {
    constexpr std::string_view special = " '\"";
    if (argument.find_first_of(special) == argument.npos && !argument.empty()) {
        line.put(argument);
        return;
    }
    char quote = '"';
    line.put(quote);
    for (const char c : argument) {
        if (c == quote) {
            quote = c == '"' ? '\'' : '"';
            line.put(c);
            line.put(quote);
        }
        line.put(c);
    }
    line.put(quote);
}

} // namespace

constexpr quoting plain_quoting = {split, false, nullptr, join, join};

} // namespace ombrel::system
