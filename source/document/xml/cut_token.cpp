#include "document/xml/cut_token.h"

#include <algorithm>

#include "document/xml/character.h"
#include "text/slice.h"

namespace ombrel::document {

bool cut_token::find(std::string_view token, std::string_view wanted, size_t least) {
    const size_t overlap = wanted.size() - 1;
    const size_t from = std::max(seen_ > overlap ? seen_ - overlap : 0, least);
    seen_ = token.size();
    return slice(token, from).find(wanted) != std::string_view::npos;
}

bool cut_token::find_close(std::string_view token, char also) {
    for (; seen_ < token.size(); seen_++) {
        const char c = token[seen_];
        if (quote_ != '\0')
            quote_ = c == quote_ ? '\0' : quote_;
        else if (c == '>' || c == also)
            return true;
        else if (c == '"' || c == '\'')
            quote_ = c;
    }
    return false;
}

// What neither names nor numbers have ends a reference, one way or the other.
bool cut_token::find_other(std::string_view token) {
    for (seen_ = std::max<size_t>(seen_, 1); seen_ < token.size(); seen_++)
        if (!has_class(token[seen_], class_name | class_beyond_ascii) && token[seen_] != '#')
            return true;
    return false;
}

bool cut_token::look_at_declaration(std::string_view token) {
    if (token.size() < 3)
        return false;
    if (token[2] == '-')
        return find(token, "-->", 4);
    if (token[2] == '[')
        return token.size() >= std::string_view("<![CDATA[").size();
    return find_close(token, token[2] == 'D' ? '[' : '>');
}

bool cut_token::look_at_markup(std::string_view token) {
    if (token.size() < 2)
        return false;
    if (token[1] == '!')
        return look_at_declaration(token);
    return token[1] == '?' ? find(token, "?>", 2) : find_close(token, '>');
}

bool cut_token::look(std::string_view token) {
    if (token.empty())
        return false;
    switch (token[0]) {
    case '<':
        return look_at_markup(token);
    case '&':
    case '%':
        return find_other(token);
    case ']':
        return token.size() >= 3;
    default:
        return token.size() >= 2;
    }
}

} // namespace ombrel::document
