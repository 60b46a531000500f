#include "protocol/http/http_list.h"

#include "protocol/http/http_character.h"
#include "protocol/http/http_text_writer.h"

namespace ombrel::protocol {

namespace {

/// A place in a value.
class value_cursor {
public:
    value_cursor(std::string_view text, size_t at) : text_(text), at_(at < text.size() ? at : text.size()) {}

    size_t at() const { return at_; }
    bool is_at_end() const { return at_ == text_.size(); }
    bool is_at(char c) const { return !is_at_end() && text_[at_] == c; }
    bool take(char c) {
        const bool is_there = is_at(c);
        at_ += is_there ? 1 : 0;
        return is_there;
    }
    void skip_space() {
        while (!is_at_end() && is_http_space(text_[at_]))
            at_++;
    }
    std::string_view take_token() {
        const std::string_view token = slice(text_, at_, count_http(slice(text_, at_), http_token));
        at_ += token.size();
        return token;
    }
    /// The inside of a quoted string that begins here; false for one that does not end, or has a control
    /// character.
    bool take_quoted(std::string_view& inside) {
        const size_t start = ++at_;
        for (; !is_at_end() && is_http(text_[at_], http_value); at_++) {
            if (text_[at_] == '"') {
                inside = slice(text_, start, at_++ - start);
                return true;
            }
            if (text_[at_] == '\\' && at_ + 1 < text_.size() && is_http(text_[at_ + 1], http_value))
                at_++;
        }
        return false;
    }
    /// Goes to the next comma that stands in no quoted string, or the end.
    bool skip_element() {
        std::string_view inside;
        while (!is_at_end() && text_[at_] != ',')
            if (text_[at_] != '"')
                at_++;
            else if (!take_quoted(inside))
                return false;
        return true;
    }
    std::string_view since(size_t start) const { return slice(text_, start, at_ - start); }

private:
    std::string_view text_;
    size_t at_;
};

bool take_value(value_cursor& cursor, ombrel_http_parameter_t& parameter) {
    std::string_view value;
    parameter.m_is_quoted = cursor.is_at('"') ? 1 : 0;
    if (parameter.m_is_quoted ? !cursor.take_quoted(value) : (value = cursor.take_token()).empty())
        return false;
    parameter.m_value = http_text(value);
    return true;
}

} // namespace

bool take_chunk_extension(std::string_view text, size_t& at, ombrel_http_parameter_t& extension) {
    value_cursor cursor(text, at);
    cursor.skip_space();
    if (!cursor.take(';'))
        return false;
    cursor.skip_space();
    const std::string_view name = cursor.take_token();
    at = cursor.at();
    cursor.skip_space();
    if (name.empty())
        return false;
    extension = {http_text(name), {}, 0};
    if (!cursor.take('='))
        return true;
    cursor.skip_space();
    const bool has_value = take_value(cursor, extension);
    at = cursor.at();
    return has_value;
}

} // namespace ombrel::protocol

using namespace ombrel;
using namespace ombrel::protocol;

int ombrel_next_http_element(const char* text, size_t size, size_t* at, ombrel_http_text_t* element) {
    if (at == nullptr || element == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    value_cursor cursor({text, size}, *at);
    while (!cursor.is_at_end()) {
        const size_t start = cursor.at();
        if (!cursor.skip_element())
            return refuse_http(fault_code::violation);
        const std::string_view found = trim_http(cursor.since(start));
        cursor.take(',');
        *at = cursor.at();
        *element = http_text(found);
        if (!found.empty())
            return 1;
    }
    return 0;
}

int ombrel_has_http_element(const char* text, size_t size, const char* name) {
    ombrel_http_text_t element;
    size_t at = 0;
    while (ombrel_next_http_element(text, size, &at, &element) == 1)
        if (ombrel_is_http_name(element.m_data, element.m_size, name))
            return 1;
    return 0;
}

int ombrel_next_http_parameter(const char* text, size_t size, char separator, size_t* at,
                               ombrel_http_parameter_t* parameter) {
    if (at == nullptr || parameter == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    value_cursor cursor({text, size}, *at);
    const bool is_first = *at == 0;
    bool is_separated = false;
    cursor.skip_space();
    for (; cursor.take(separator); cursor.skip_space())
        is_separated = true;
    if (cursor.is_at_end())
        return 0;
    const std::string_view name = cursor.take_token();
    if ((!is_first && !is_separated) || name.empty() || !cursor.take('=') || !take_value(cursor, *parameter))
        return refuse_http(fault_code::violation);
    parameter->m_name = http_text(name);
    *at = cursor.at();
    return 1;
}

int64_t ombrel_get_http_parameter(const char* text, size_t size, const char* name, char* buf, size_t room) {
    if (name == nullptr || buf == nullptr)
        return refuse_http(fault_code::invalid);
    ombrel_http_parameter_t parameter;
    size_t at = 0;
    int step;
    while ((step = ombrel_next_http_parameter(text, size, ';', &at, &parameter)) == 1)
        if (ombrel_is_http_name(parameter.m_name.m_data, parameter.m_name.m_size, name)) {
            if (parameter.m_is_quoted)
                return ombrel_unquote_http_text(parameter.m_value.m_data, parameter.m_value.m_size, buf,
                                                room);
            http_text_writer writer(buf, room);
            writer.put(view_of(parameter.m_value));
            return writer.end();
        }
    return step == 0 ? refuse_http(fault_code::not_found) : -1;
}

int64_t ombrel_unquote_http_text(const char* text, size_t size, char* buf, size_t room) {
    if (buf == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    http_text_writer writer(buf, room);
    for (size_t at = 0; at < size; at++) {
        if (text[at] == '\\' && at + 1 < size)
            at++;
        writer.put(text[at]);
    }
    return writer.end();
}

int64_t ombrel_quote_http_text(const char* text, size_t size, char* buf, size_t room) {
    if (buf == nullptr || !ombrel_is_http_value(text, size))
        return refuse_http(fault_code::invalid);
    http_text_writer writer(buf, room);
    writer.put('"');
    for (const char c : std::string_view(text, size)) {
        if (c == '"' || c == '\\')
            writer.put('\\');
        writer.put(c);
    }
    writer.put('"');
    return writer.end();
}
