#include "protocol/cgi/cgi_head.h"

#include <algorithm>
#include <cstdint>

#include "protocol/http/http_character.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// What the server says itself, or what is between it and the program.
constexpr std::string_view own_fields[] = {"connection", "content-length", "content-type",      "date",
                                           "keep-alive", "server",         "transfer-encoding", "status",
                                           "trailer",    "upgrade"};

std::string_view without_return(std::string_view line) {
    return !line.empty() && line.back() == '\r' ? slice(line, 0, line.size() - 1) : line;
}

} // namespace

bool cgi_head::is_own(std::string_view name) {
    return std::any_of(std::begin(own_fields), std::end(own_fields),
                       [=](std::string_view each) { return is_http_word_like(name, each); });
}

/// The head is looked through when its last line has come, which is an empty one.
cgi_head::step cgi_head::push(std::string_view bytes, size_t& read) {
    read = 0;
    while (read < bytes.size()) {
        const size_t feed = bytes.find('\n', read);
        const size_t end = feed != std::string_view::npos ? feed + 1 : bytes.size();
        const size_t line_start = raw_.size() - std::min(raw_.size(), open_line_);
        if (end - read > limit_ - raw_.size())
            return step::too_large;
        if (!raw_.append(slice(bytes, read, end - read), caller_))
            return step::no_memory;
        open_line_ = feed != std::string_view::npos ? 0 : raw_.size() - line_start;
        read = end;
        if (feed != std::string_view::npos &&
            without_return(slice(raw_.view(), line_start, raw_.size() - line_start - 1)).empty())
            return take_apart() ? step::complete : lacks_memory_ ? step::no_memory : step::malformed;
    }
    return step::more;
}

bool cgi_head::take_apart() {
    std::string_view rest = raw_.view();
    while (!rest.empty()) {
        const size_t feed = rest.find('\n');
        const std::string_view line = without_return(slice(rest, 0, feed));
        rest = slice(rest, feed + 1);
        if (!line.empty() && !read_line(line))
            return false;
    }
    if (type_at_ > 0)
        type_ = text_.data() + type_at_ - 1;
    if (status_ == 0)
        status_ = has_location_ ? 302 : 200;
    // One without a field is a body whose program forgot the head.
    return field_count_ > 0;
}

bool cgi_head::read_line(std::string_view line) {
    // Programs that write whole responses begin with "HTTP/1.1 200 OK".
    if (field_count_ == 0 && status_ == 0 && starts_with(line, "HTTP/1.") && line.size() > 9 &&
        line[8] == ' ')
        return read_status(slice(line, 9));
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos)
        return false;
    return read_field(slice(line, 0, colon), trim_http(slice(line, colon + 1)));
}

bool cgi_head::read_status(std::string_view value) {
    const std::string_view digits = slice(value, 0, 3);
    return status_ == 0 && digits.size() == 3 && (value.size() == 3 || value[3] == ' ') &&
           parse_number(digits, 200, 599, status_);
}

bool cgi_head::read_field(std::string_view name, std::string_view value) {
    if (!is_http_word(name, http_token) || (!value.empty() && !is_http_word(value, http_value)))
        return false;
    if (is_http_word_like(name, "status") && !read_status(value))
        return false;
    if (is_http_word_like(name, "content-length") &&
        (size_ >= 0 || !parse_number(value, int64_t{0}, INT64_MAX, size_)))
        return false;
    const bool is_type = is_http_word_like(name, "content-type");
    if (is_type && type_at_ > 0)
        return false;
    has_location_ = has_location_ || is_http_word_like(name, "location");
    const size_t value_at = text_.size() + name.size() + 1;
    lacks_memory_ = !text_.append(name, caller_) || !text_.append({"", 1}, caller_) ||
                    !text_.append(value, caller_) || !text_.append({"", 1}, caller_);
    if (is_type)
        type_at_ = value_at + 1;
    field_count_++;
    return !lacks_memory_;
}

} // namespace ombrel::protocol
