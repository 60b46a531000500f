#include <algorithm>
#include <cstring>

#include "protocol/http/form_readers.h"
#include "protocol/http/http_character.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr int none = def_ombrel_http_form_fault_none, bad_boundary = def_ombrel_http_form_fault_boundary;
constexpr size_t line_end_size = 2;

} // namespace

multipart_form::multipart_form(form_parts& parts, const ombrel_http_form_options_t& options,
                               std::string_view boundary, call_site caller)
    : parts_(parts), head_limit_(options.m_head_limit), name_limit_(options.m_name_limit), caller_(caller) {
    delimiter_size_ = static_cast<size_t>(put_text(put_text(delimiter_, "\r\n--"), boundary) - delimiter_);
    matched_ = line_end_size; // the first boundary needs no end of a line before it
}

form_step multipart_form::push(std::string_view bytes) {
    size_t at = 0;
    while (at < bytes.size()) {
        const form_step step =
            place_ == place::data ? take_data(slice(bytes, at)) : form_step{take(bytes[at]), 1};
        if (step.fault != none)
            return {step.fault, at + (place_ == place::data ? step.read : 0)};
        at += step.read;
    }
    return {none, at};
}

int multipart_form::finish() const {
    return place_ == place::epilogue ? none : def_ombrel_http_form_fault_end;
}

int multipart_form::take(char c) {
    switch (place_) {
    case place::start:
        return take_start(c);
    case place::behind_boundary:
        return take_behind_boundary(c);
    case place::closing:
        place_ = place::epilogue;
        last_ = '\0';
        return c == '-' ? none : bad_boundary;
    case place::head:
        return take_head(c);
    case place::data:
    case place::epilogue:
        break;
    }
    return take_epilogue(c);
}

/// The first boundary, of which the end of a line may stand in front.
int multipart_form::take_start(char c) {
    if (matched_ == line_end_size && c == '\r' && !is_padded_) {
        is_padded_ = true;
        matched_ = 0;
    }
    if (c != delimiter_[matched_])
        return bad_boundary;
    if (++matched_ == delimiter_size_)
        begin_boundary();
    return none;
}

/// Blanks may follow a boundary, before the end of its line; two dashes make it the last.
int multipart_form::take_behind_boundary(char c) {
    const bool is_first = last_ == '\0' && !is_padded_;
    if (c == '-' && is_first) {
        place_ = place::closing;
        return none;
    }
    if (is_http_space(c) && last_ == '\0') {
        is_padded_ = true;
        return none;
    }
    if (last_ == '\r' && c == '\n') {
        place_ = place::head;
        is_padded_ = false;
        parts_.current().head.clear();
    } else if (c != '\r' || last_ == '\r')
        return bad_boundary;
    last_ = c;
    return none;
}

int multipart_form::take_head(char c) {
    form_part& part = parts_.current();
    if ((last_ == '\r') != (c == '\n'))
        return def_ombrel_http_form_fault_head;
    last_ = c;
    const std::string_view before = part.head.view();
    const bool is_blank_line = before.empty()
                                   ? false
                                   : before == "\r" || (before.size() > 2 && before.back() == '\r' &&
                                                        before[before.size() - 2] == '\n');
    if (c != '\n' || !is_blank_line)
        return parts_.add_head({&c, 1}, head_limit_, def_ombrel_http_form_fault_head_limit);
    growing_text& head = part.head;
    head.drop_last();
    if (const int why = read_form_head(part, name_limit_, caller_); why != none)
        return why;
    place_ = place::data;
    matched_ = borrowed_ = line_end_size; // a part without a byte may have its boundary at once
    return parts_.begin();
}

/// Hands on what cannot be of a delimiter, which begins with the only carriage return in it.
form_step multipart_form::take_data(std::string_view bytes) {
    size_t at = 0;
    while (at < bytes.size()) {
        if (matched_ == 0) {
            const void* const found = memchr(bytes.data() + at, '\r', bytes.size() - at);
            const size_t end = found != nullptr
                                   ? static_cast<size_t>(static_cast<const char*>(found) - bytes.data())
                                   : bytes.size();
            if (const int why = parts_.add(slice(bytes, at, end - at)); why != none)
                return {why, at};
            at = end;
            matched_ = found != nullptr ? 1 : 0;
            at += matched_;
            continue;
        }
        if (bytes[at] == delimiter_[matched_]) {
            at++;
            if (++matched_ < delimiter_size_)
                continue;
            begin_boundary();
            return {parts_.end(), at};
        }
        const std::string_view missed = slice(delimiter(), borrowed_, matched_ - borrowed_);
        matched_ = borrowed_ = 0;
        if (const int why = parts_.add(missed); why != none)
            return {why, at};
    }
    return {none, at};
}

void multipart_form::begin_boundary() {
    place_ = place::behind_boundary;
    borrowed_ = 0;
    last_ = '\0';
    is_padded_ = false;
}

/// The end of one line may follow, and no more.
int multipart_form::take_epilogue(char c) {
    const bool is_good = c == (last_ == '\0' ? '\r' : last_ == '\r' ? '\n' : '\0') && c != '\0';
    last_ = c;
    return is_good ? none : bad_boundary;
}

} // namespace ombrel::protocol
