#include "protocol/ftp/ftp_reply.h"

#include <algorithm>
#include <cstring>

#include "text/ctype_table.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// The text between the first pair of brackets.
bool find_bracketed(std::string_view text, std::string_view& inside) {
    const size_t open = text.find('(');
    const size_t close = text.find(')', open == text.npos ? text.size() : open);
    if (close == text.npos)
        return false;
    inside = slice(text, open + 1, close - open - 1);
    return true;
}

bool is_printable(char c) {
    return c > ' ' && c < 0x7f;
}

} // namespace

ftp_reply_parser::state ftp_reply_parser::feed(char byte) {
    if (state_ == state::malformed)
        return state_;
    if (state_ == state::complete) {
        multiline_ = false;
        lines_ = length_ = 0;
        state_ = state::incomplete;
    }
    if (byte == '\n')
        return state_ = end_line();
    if (byte == '\0' || length_ == sizeof line_)
        return state_ = state::malformed;
    line_[length_++] = byte;
    return state_;
}

bool ftp_reply_parser::read_code(int& code) const {
    unsigned number;
    if (length_ < 3 || !parse_number({line_, 3}, number))
        return false;
    code = static_cast<int>(number);
    return true;
}

/// A line of several is the last when it begins with the first one's code and no hyphen; all others are text.
ftp_reply_parser::state ftp_reply_parser::end_line() {
    if (length_ > 0 && line_[length_ - 1] == '\r')
        length_--;
    ended_ = length_;
    int code = 0;
    const bool has_code = read_code(code);
    const char mark = length_ > 3 ? line_[3] : ' ';
    if (lines_ == 0) {
        if (!has_code || code < 100 || code > 599 || (mark != ' ' && mark != '-'))
            return state::malformed;
        code_ = code;
        multiline_ = mark == '-';
    } else if (has_code && code == code_ && mark == ' ') {
        multiline_ = false;
    }
    if (!multiline_)
        return state::complete;
    length_ = 0;
    return ++lines_ < most_ftp_lines ? state::incomplete : state::malformed;
}

bool parse_ftp_extended_passive(std::string_view text, int& port) {
    std::string_view inside;
    if (!find_bracketed(text, inside) || inside.size() < 5)
        return false;
    // The server chooses what divides the fields; the first two stay empty.
    const char mark = inside[0];
    if (!is_printable(mark) || is_digit(mark) || inside[1] != mark || inside[2] != mark ||
        inside.back() != mark)
        return false;
    unsigned number;
    if (!parse_number(slice(inside, 3, inside.size() - 4), 1u, 65535u, number))
        return false;
    port = static_cast<int>(number);
    return true;
}

bool parse_ftp_passive(std::string_view text, int& port, uint8_t* address) {
    // Some servers leave the brackets out, so the numbers begin at the first digit.
    const auto first = std::find_if(text.begin(), text.end(), is_digit);
    text.remove_prefix(static_cast<size_t>(first - text.begin()));
    unsigned numbers[6];
    for (size_t i = 0; i < 6; i++) {
        if (!take_number(text, 0u, 255u, numbers[i]))
            return false;
        if (i < 5 && (text.empty() || text[0] != ','))
            return false;
        if (i < 5)
            text.remove_prefix(1);
    }
    port = static_cast<int>(numbers[4] << 8 | numbers[5]);
    if (address != nullptr)
        std::transform(numbers, numbers + 4, address, [](unsigned n) { return static_cast<uint8_t>(n); });
    return port != 0;
}

bool parse_ftp_size(std::string_view text, uint64_t& size) {
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return parse_number(text, uint64_t{0}, uint64_t{INT64_MAX}, size);
}

ptrdiff_t parse_ftp_path(std::string_view text, char* path, size_t room) {
    if (!text.starts_with('"'))
        return -1;
    size_t length = 0;
    for (size_t at = 1; at < text.size(); at++) {
        if (text[at] == '"' && (at + 1 == text.size() || text[++at] != '"'))
            return length < room ? path[length] = '\0', static_cast<ptrdiff_t>(length) : -2;
        if (length + 1 >= room)
            return -2;
        path[length++] = text[at];
    }
    return -1;
}

bool is_ftp_argument(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos;
}

size_t write_ftp_command(char (&room)[most_ftp_command], std::string_view verb, std::string_view argument) {
    const size_t gap = argument.empty() ? 0 : 1;
    if (!is_ftp_argument(argument) || verb.size() + gap + 2 > sizeof room ||
        argument.size() > sizeof room - verb.size() - gap - 2)
        return 0;
    char* at = std::copy(verb.begin(), verb.end(), room);
    if (gap != 0)
        *at++ = ' ';
    at = std::copy(argument.begin(), argument.end(), at);
    *at++ = '\r';
    *at++ = '\n';
    return static_cast<size_t>(at - room);
}

} // namespace ombrel::protocol
