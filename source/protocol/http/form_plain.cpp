#include "protocol/http/form_readers.h"

#include "text/digits.h"

namespace ombrel::protocol {

namespace {

constexpr int none = def_ombrel_http_form_fault_none;

} // namespace

form_step plain_form::push(std::string_view bytes) {
    for (size_t i = 0; i < bytes.size(); i++)
        if (const int why = take(bytes[i]); why != none)
            return {why, i};
    return {flush(), bytes.size()};
}

int plain_form::finish() {
    if (escape_size_ > 0)
        if (const int why = put_bad_escape(); why != none)
            return why;
    return place_ != place::start ? end_part() : none;
}

int plain_form::take(char c) {
    if (escape_size_ > 0)
        return take_escape(c);
    if (c == '&')
        return place_ != place::start ? end_part() : none;
    if (place_ == place::start)
        place_ = place::name;
    if (c == '=' && place_ == place::name)
        return begin_value();
    if (c == '%') {
        escape_[0] = c;
        escape_size_ = 1;
        return none;
    }
    return put(c == '+' ? ' ' : c);
}

int plain_form::take_escape(char c) {
    const unsigned digit = digit_value(c);
    if (digit == no_digit) {
        const int why = put_bad_escape();
        return why != none ? why : take(c);
    }
    if (escape_size_ == 1) {
        escape_[1] = c;
        escape_size_ = 2;
        return none;
    }
    escape_size_ = 0;
    return put(static_cast<char>(digit_value(escape_[1]) << 4 | digit));
}

int plain_form::put_bad_escape() {
    if (!keeps_bad_escapes_)
        return def_ombrel_http_form_fault_escape;
    const unsigned size = escape_size_;
    escape_size_ = 0;
    int why = none;
    for (unsigned i = 0; i < size && why == none; i++)
        why = put(escape_[i]);
    return why;
}

int plain_form::put(char c) {
    if (place_ == place::name) {
        if (c == '\0')
            return def_ombrel_http_form_fault_nul;
        return parts_.add_head({&c, 1}, name_limit_, def_ombrel_http_form_fault_name_limit);
    }
    // Looked at here, so that the first fault of a body is told however its bytes come.
    if (c == '\0' && !allows_nul_)
        return def_ombrel_http_form_fault_nul;
    if (whole_size_++ == value_limit_)
        return def_ombrel_http_form_fault_value_limit;
    value_[value_size_++] = c;
    return value_size_ == sizeof value_ ? flush() : none;
}

int plain_form::flush() {
    const size_t size = value_size_;
    value_size_ = 0;
    return parts_.add({value_, size});
}

int plain_form::begin_value() {
    if (const int why = parts_.add_head({"", 0}, name_limit_, none);
        why != none) // an empty name is a text too
        return why;
    form_part& part = parts_.current();
    part.shown = {};
    part.shown.m_name = part.head.data();
    place_ = place::value;
    whole_size_ = 0;
    return parts_.begin();
}

int plain_form::end_part() {
    int why = place_ == place::name ? begin_value() : none;
    if (why == none)
        why = flush();
    place_ = place::start;
    return why == none ? parts_.end() : why;
}

} // namespace ombrel::protocol
