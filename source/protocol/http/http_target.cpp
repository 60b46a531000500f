#include <ombrel/http_field.h>

#include <algorithm>

#include <ombrel/address.h>
#include <ombrel/host_socket.h>

#include "protocol/http/http_character.h"
#include "protocol/http/http_text_writer.h"
#include "text/charset/utf8_run.h"
#include "text/digits.h"
#include "text/number.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

using authority_t = ombrel_http_authority_t;
using target_t = ombrel_http_target_t;

/// Names without empty labels, save the one behind a last point.
bool is_host_name(std::string_view text) {
    char before = '.';
    for (const char c : text) {
        if (!is_http(c, http_host) || (c == '.' && before == '.'))
            return false;
        before = c;
    }
    return !text.empty();
}

bool is_ipv6(std::string_view text) {
    char copy[48];
    const auto belongs = [](char c) { return digit_value(c) != no_digit || c == ':' || c == '.'; };
    if (text.size() >= sizeof copy || !std::all_of(text.begin(), text.end(), belongs))
        return false;
    *put_text(copy, text) = '\0';
    return ombrel_inet_pton(AF_INET6, copy, nullptr) == 0;
}

/// What stands behind a host: nothing, or ":" and a port, which may be empty.
bool read_port(std::string_view text, int& port) {
    constexpr int highest = 65535;
    port = -1;
    if (text.empty())
        return true;
    const std::string_view digits = slice(text, 1);
    return text[0] == ':' &&
           (digits.empty() || (is_http_word(digits, http_decimal) && parse_number(digits, 0, highest, port)));
}

bool read_authority(std::string_view text, authority_t& authority) {
    const bool is_literal = starts_with(text, "[");
    const size_t end = std::min(text.find(is_literal ? ']' : ':'), text.size());
    if (is_literal && end == text.size())
        return false;
    const std::string_view host = is_literal ? slice(text, 1, end - 1) : slice(text, 0, end);
    authority.m_host = http_text(host);
    authority.m_is_ip_literal = is_literal ? 1 : 0;
    return (is_literal ? is_ipv6(host) : is_host_name(host)) &&
           read_port(slice(text, end + (is_literal ? 1 : 0)), authority.m_port);
}

/// Path and query; a fragment, which parsers refuse unless told not to, does not count.
void split_path(std::string_view text, target_t& target) {
    text = slice(text, 0, text.find('#'));
    const size_t mark = text.find('?');
    target.m_path = http_text(slice(text, 0, mark));
    target.m_has_query = mark != text.npos ? 1 : 0;
    if (target.m_has_query)
        target.m_query = http_text(slice(text, mark + 1));
}

bool split_absolute(std::string_view text, target_t& target) {
    constexpr std::string_view mark = "://";
    const size_t colon = text.find(':');
    const std::string_view scheme = slice(text, 0, colon);
    if ((!is_http_word_like(scheme, "http") && !is_http_word_like(scheme, "https")) ||
        !starts_with(slice(text, colon), mark))
        return false;
    text = slice(text, colon + mark.size());
    const size_t end = std::min(text.find_first_of("/?#"), text.size());
    target.m_form = def_ombrel_http_target_absolute;
    target.m_scheme = http_text(scheme);
    split_path(slice(text, end), target);
    if (target.m_path.m_size == 0)
        target.m_path = http_text("/");
    return read_authority(slice(text, 0, end), target.m_authority);
}

bool split_target(std::string_view method, std::string_view text, target_t& target) {
    if (method == "CONNECT") {
        target.m_form = def_ombrel_http_target_authority;
        return read_authority(text, target.m_authority) && target.m_authority.m_port >= 0;
    }
    if (text == "*") {
        target.m_form = def_ombrel_http_target_asterisk;
        return method == "OPTIONS";
    }
    if (!starts_with(text, "/"))
        return split_absolute(text, target);
    target.m_form = def_ombrel_http_target_origin;
    split_path(text, target);
    return true;
}

/// Decodes the text's first character and takes it away. False for a NUL and for "%" without two digits.
bool take_decoded(std::string_view& text, char& decoded) {
    decoded = text[0];
    const bool is_encoded = decoded == '%';
    if (is_encoded) {
        const unsigned high = text.size() > 2 ? digit_value(text[1]) : no_digit;
        const unsigned low = text.size() > 2 ? digit_value(text[2]) : no_digit;
        if (high == no_digit || low == no_digit)
            return false;
        decoded = static_cast<char>(high << 4 | low);
    }
    text.remove_prefix(is_encoded ? 3 : 1);
    return decoded != '\0';
}

bool is_dots(std::string_view name) {
    return name == "." || name == "..";
}

bool is_utf8(std::string_view text) {
    return utf8_run(text.data(), text.size()) == text.size();
}

/// Writes a name of a path. False for one that may not be written.
bool put_name(std::string_view name, http_text_writer& path) {
    const size_t start = path.text().size();
    char decoded;
    while (!name.empty()) {
        if (!take_decoded(name, decoded) || is_one_of("/\\\x7F", decoded) ||
            static_cast<unsigned char>(decoded) < ' ')
            return false;
        path.put(decoded);
    }
    const std::string_view put = slice(path.text(), start);
    return !is_dots(put) && is_utf8(put);
}

/// Takes the last name with the "/" before it away. False when there is none.
bool leave_directory(http_text_writer& path) {
    if (path.text().empty())
        return false;
    path.shrink_to(std::min(path.text().rfind('/') + 1, path.text().size()));
    if (!path.text().empty())
        path.shrink_to(path.text().size() - 1);
    return true;
}

bool clean_path(std::string_view text, http_text_writer& path) {
    bool asks_for_directory = true;
    while (!text.empty()) {
        text.remove_prefix(1); // the "/"
        const size_t size = std::min(text.find('/'), text.size());
        const std::string_view name = slice(text, 0, size);
        text.remove_prefix(size);
        asks_for_directory = name.empty() || is_dots(name);
        if (name == ".." && !leave_directory(path))
            return false;
        if (asks_for_directory)
            continue;
        if (!path.text().empty())
            path.put('/');
        if (!put_name(name, path))
            return false;
    }
    if (asks_for_directory && !path.text().empty())
        path.put('/');
    return true;
}

} // namespace

int ombrel_parse_http_authority(const char* text, size_t size, ombrel_http_authority_t* authority) {
    if (authority == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    authority_t read{};
    if (!read_authority({text, size}, read))
        return refuse_http(fault_code::violation);
    *authority = read;
    return 0;
}

int ombrel_split_http_target(ombrel_http_text_t method, ombrel_http_text_t text,
                             ombrel_http_target_t* target) {
    if (target == nullptr || method.m_data == nullptr || text.m_data == nullptr)
        return refuse_http(fault_code::invalid);
    target_t split{};
    split.m_authority.m_port = -1;
    if (!split_target(view_of(method), view_of(text), split))
        return refuse_http(fault_code::violation);
    *target = split;
    return 0;
}

int64_t ombrel_decode_http_text(const char* text, size_t size, int is_form, char* buf, size_t room) {
    if (buf == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    http_text_writer writer(buf, room);
    std::string_view rest(text, size);
    while (!rest.empty()) {
        const bool is_space = is_form && rest[0] == '+';
        char decoded;
        if (!take_decoded(rest, decoded))
            return writer.refuse(fault_code::violation);
        writer.put(is_space ? ' ' : decoded);
    }
    return writer.end();
}

int64_t ombrel_clean_http_path(const char* text, size_t size, char* buf, size_t room) {
    if (text == nullptr || buf == nullptr)
        return refuse_http(fault_code::invalid);
    // Names that ".." takes away again need room, too.
    if (room <= size)
        return refuse_http(fault_code::too_large);
    http_text_writer writer(buf, room);
    if (!starts_with({text, size}, "/") || !clean_path({text, size}, writer))
        return writer.refuse(fault_code::violation);
    return writer.end();
}
