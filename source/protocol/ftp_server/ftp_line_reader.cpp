#include "protocol/ftp_server/ftp_line_reader.h"

#include <algorithm>
#include <cstring>

#include "text/fold.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr unsigned char interpret_as_command = 255;
constexpr unsigned char first_with_option = 251; // WILL, WONT, DO, DONT; an escaped 255 stands for itself

std::string_view without_return(std::string_view line) {
    return !line.empty() && line.back() == '\r' ? slice(line, 0, line.size() - 1) : line;
}

} // namespace

bool is_word(std::string_view text, std::string_view word) {
    const auto same = [](char a, char b) {
        return to_upper(static_cast<unsigned char>(a)) == to_upper(static_cast<unsigned char>(b));
    };
    return std::equal(text.begin(), text.end(), word.begin(), word.end(), same);
}

void ftp_line_reader::take(size_t count) {
    const char* const came = area_ + end_;
    // What is put back never is longer than what came, so it never catches up with what is read.
    for (size_t i = 0; i < count; i++)
        put(came[i]);
}

void ftp_line_reader::put(char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (telnet_ == telnet::option) {
        telnet_ = telnet::text;
        return;
    }
    if (telnet_ == telnet::command && byte != interpret_as_command) {
        telnet_ = byte >= first_with_option ? telnet::option : telnet::text;
        return;
    }
    if (telnet_ == telnet::text && byte == interpret_as_command) {
        telnet_ = telnet::command;
        return;
    }
    telnet_ = telnet::text;
    area_[end_++] = c;
}

ftp_line_reader::found ftp_line_reader::next(std::string_view& line) {
    const size_t length = waiting().find('\n');
    if (length == std::string_view::npos) {
        if (end_ - begin_ == size_) {
            overlong_ = true;
            begin_ = end_;
        }
        close_up();
        return found::nothing;
    }
    line = without_return(slice(waiting(), 0, length));
    begin_ += length + 1;
    const bool was_overlong = overlong_;
    overlong_ = false;
    return was_overlong ? found::too_long : found::line;
}

/// Makes room behind what waits.
void ftp_line_reader::close_up() {
    memmove(area_, area_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
}

bool ftp_line_reader::begins_with_word(std::string_view word) const {
    return has_line() && is_word(without_return(slice(waiting(), 0, waiting().find('\n'))), word);
}

bool ftp_line_reader::has_word(std::string_view word) const {
    std::string_view rest = waiting();
    for (size_t end; (end = rest.find('\n')) != std::string_view::npos; rest = slice(rest, end + 1))
        if (is_word(without_return(slice(rest, 0, end)), word))
            return true;
    return false;
}

} // namespace ombrel::protocol
