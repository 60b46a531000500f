#include <ombrel/uri.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

#include <ombrel/heap.h>
#include <ombrel/string.h>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "text/ctype_table.h"
#include "text/digits.h"
#include "text/number.h"
#include "text/slice.h"
#include "text/uri_scheme.h"

using ombrel::digit_value;
using ombrel::is_class;
using ombrel::is_digit;
using ombrel::no_digit;
using ombrel::parse_number;
using ombrel::slice;

namespace {

constexpr unsigned letter = def_ombrel_ctype_upper | def_ombrel_ctype_lower;
constexpr unsigned highest_port = 65535;

bool is_scheme_character(char c) {
    return is_class(c, letter) || is_digit(c) || c == '+' || c == '-' || c == '.';
}

bool has_control_character(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7f;
    });
}

/// Views into the text; one without data is absent.
struct parts {
    std::string_view scheme = "file";
    std::string_view user, password, host, path, query, fragment, rest;
    int port = -1;
    bool is_plain_path = false, is_ip_literal = false;
};

/// Cuts `text` before the first of some characters and gives what stood before it; `text` keeps the rest, the
/// character included.
std::string_view take_until(std::string_view& text, const char* characters) {
    const size_t size = std::min(text.find_first_of(characters), text.size());
    const std::string_view taken = slice(text, 0, size);
    text.remove_prefix(size);
    return taken;
}

void split_user_information(std::string_view text, parts& found) {
    const size_t colon = text.find(':');
    found.user = slice(text, 0, colon);
    if (colon != text.npos)
        found.password = slice(text, colon + 1);
}

bool parse_port(std::string_view text, int& port) {
    unsigned number;
    if (text.empty())
        return true;
    if (!parse_number(text, 0u, highest_port, number))
        return false;
    port = static_cast<int>(number);
    return true;
}

/// "v", a version in hexadecimal, "." and at least one more character.
bool is_future_address(std::string_view text) {
    if (text.empty() || (text[0] != 'v' && text[0] != 'V'))
        return false;
    const size_t dot = text.find('.');
    if (dot == text.npos || dot < 2 || dot + 1 == text.size())
        return false;
    return std::all_of(text.begin() + 1, text.begin() + static_cast<ptrdiff_t>(dot),
                       [](char c) { return digit_value(c) != no_digit; });
}

/// The shape of an IPv6 address; whether it is one, and its zone exists, the resolver will see.
bool is_ipv6_shape(std::string_view text) {
    const std::string_view address = slice(text, 0, text.find('%'));
    const auto is_address_character = [](char c) {
        return digit_value(c) != no_digit || c == ':' || c == '.';
    };
    return std::count(address.begin(), address.end(), ':') >= 2 &&
           std::all_of(address.begin(), address.end(), is_address_character);
}

bool split_bracketed_host(std::string_view text, parts& found) {
    const size_t end = text.find(']');
    if (end == text.npos)
        return false;
    found.host = slice(text, 1, end - 1);
    found.is_ip_literal = true;
    const std::string_view behind = slice(text, end + 1);
    const bool ends_well = behind.empty() || (behind[0] == ':' && parse_port(slice(behind, 1), found.port));
    return ends_well && (is_ipv6_shape(found.host) || is_future_address(found.host));
}

bool split_authority(std::string_view text, parts& found) {
    // The last "@" counts, so that one in a password need not be encoded.
    const size_t at = text.rfind('@');
    if (at != text.npos) {
        split_user_information(slice(text, 0, at), found);
        text.remove_prefix(at + 1);
    }
    if (!text.empty() && text[0] == '[')
        return split_bracketed_host(text, found);
    const size_t colon = text.find(':');
    found.host = slice(text, 0, colon);
    const bool has_brackets = found.host.find_first_of("[]") != text.npos;
    return !has_brackets && (colon == text.npos || parse_port(slice(text, colon + 1), found.port));
}

bool split_hierarchy(std::string_view text, parts& found) {
    if (slice(text, 0, 2) == "//") {
        text.remove_prefix(2);
        if (!split_authority(take_until(text, "/?#"), found))
            return false;
    }
    found.path = take_until(text, "?#");
    if (!text.empty() && text[0] == '?') {
        text.remove_prefix(1);
        found.query = take_until(text, "#");
    }
    if (!text.empty())
        found.fragment = slice(text, 1);
    return true;
}

bool split(std::string_view text, parts& found) {
    const size_t scheme = ombrel::uri_scheme_size(text);
    found.rest = text;
    if (scheme == 0) {
        found.is_plain_path = true;
        found.path = text;
        return !text.empty();
    }
    found.scheme = slice(text, 0, scheme);
    found.rest.remove_prefix(scheme + 1);
    return !has_control_character(text) && split_hierarchy(found.rest, found);
}

/// The byte that an encoding at the start of the text stands for, or -1 when there is none.
int encoded_byte(std::string_view text) {
    if (text.size() < 3 || text[0] != '%')
        return -1;
    const unsigned high = digit_value(text[1]), low = digit_value(text[2]);
    return high == no_digit || low == no_digit ? -1 : static_cast<int>(high << 4 | low);
}

/// Writes at most as many bytes as the text has, and a zero; null for an encoded zero.
char* decode(std::string_view text, char* to) {
    while (!text.empty()) {
        const int byte = encoded_byte(text);
        if (byte == 0)
            return nullptr;
        *to++ = byte > 0 ? static_cast<char>(byte) : text[0];
        text.remove_prefix(byte > 0 ? 3 : 1);
    }
    *to++ = '\0';
    return to;
}

/// Lays texts one behind the other into a block with room for all of them.
class text_store {
public:
    explicit text_store(char* to) : to_(to) {}

    const char* put(std::string_view text) {
        if (text.data() == nullptr)
            return nullptr;
        char* const stored = to_;
        to_ = std::copy(text.begin(), text.end(), to_);
        *to_++ = '\0';
        return stored;
    }
    const char* put_decoded(std::string_view text) {
        if (text.data() == nullptr)
            return nullptr;
        char* const stored = to_;
        char* const end = decode(text, to_);
        if (end == nullptr)
            is_good_ = false;
        else
            to_ = end;
        return stored;
    }
    const char* put_lower(std::string_view text) {
        char* const stored = to_;
        put(text);
        std::transform(stored, to_, stored, [](char c) {
            return is_class(c, def_ombrel_ctype_upper) ? static_cast<char>(c | 0x20) : c;
        });
        return stored;
    }

    bool is_good() const { return is_good_; }

private:
    char* to_;
    bool is_good_ = true;
};

/// Whether no decoded part held a zero.
bool store(const parts& found, ombrel_uri_t& uri, char* texts) {
    const std::string_view path = found.path.data() != nullptr ? found.path : "";
    text_store to(texts);
    uri.m_scheme = to.put_lower(found.scheme);
    uri.m_user = to.put_decoded(found.user);
    uri.m_password = to.put_decoded(found.password);
    uri.m_host = to.put_decoded(found.host);
    uri.m_port = found.port;
    uri.m_path = found.is_plain_path ? to.put(path) : to.put_decoded(path);
    uri.m_encoded_path = to.put(path);
    uri.m_query = to.put(found.query);
    uri.m_fragment = to.put(found.fragment);
    uri.m_rest = to.put(found.rest);
    uri.m_is_plain_path = found.is_plain_path;
    uri.m_is_ip_literal = found.is_ip_literal;
    return to.is_good();
}

/// Each part is stored with a zero; together the parts are no longer than the text, the path and the rest are
/// stored once more.
constexpr size_t separate_texts = 9;
constexpr size_t default_scheme_size = 4;

size_t block_size(size_t text_size) {
    const size_t fixed = sizeof(ombrel_uri_t) + separate_texts + default_scheme_size;
    return text_size > (SIZE_MAX - fixed) / 3 ? 0 : fixed + text_size * 3;
}

} // namespace

size_t ombrel::uri_scheme_size(std::string_view text) {
    const auto end = std::find_if_not(text.begin(), text.end(), is_scheme_character);
    const size_t size = static_cast<size_t>(end - text.begin());
    const bool is_scheme = size > 1 && end != text.end() && *end == ':' && is_class(text[0], letter);
    return is_scheme ? size : 0;
}

std::string_view ombrel::scheme_of(std::string_view text) {
    const size_t size = uri_scheme_size(text);
    return size > 0 ? slice(text, 0, size) : "file";
}

bool ombrel::is_same_scheme(std::string_view a, std::string_view b) {
    return a.size() == b.size() && ombrel_strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool ombrel::is_listed_scheme(std::string_view list, std::string_view scheme) {
    while (!list.empty()) {
        const size_t end = std::min(list.find('|'), list.size());
        if (is_same_scheme(slice(list, 0, end), scheme))
            return true;
        list = slice(list, end + 1);
    }
    return false;
}

ombrel_uri_t* ombrel_parse_uri_tag(const char* text, const char* caller, unsigned long line) {
    if (text == nullptr)
        return nullptr;
    const std::string_view whole = text;
    parts found;
    const size_t size = split(whole, found) ? block_size(whole.size()) : 0;
    if (size == 0)
        return nullptr;
    ombrel::heap_ptr<ombrel_uri_t> uri(static_cast<ombrel_uri_t*>(ombrel_alloc_tag(size, caller, line)));
    if (!uri || !store(found, *uri, reinterpret_cast<char*>(uri.get() + 1)))
        return nullptr;
    return uri.release();
}

int ombrel_free_uri_tag(ombrel_uri_t* uri, const char* caller, unsigned long line) {
    if (uri != nullptr && uri->m_password != nullptr)
        for (const char* text : {uri->m_user, uri->m_password, uri->m_rest})
            ombrel::wipe_text(const_cast<char*>(text));
    return ombrel_check_free_tag(uri, caller, line);
}

char* ombrel_decode_uri_tag(const char* text, size_t size, const char* caller, unsigned long line) {
    if (text == nullptr)
        return nullptr;
    const std::string_view given(text, ombrel_strnlen(text, size));
    ombrel::heap_ptr<char> result(static_cast<char*>(ombrel_alloc_tag(given.size() + 1, caller, line)));
    return result && decode(given, result.get()) != nullptr ? result.release() : nullptr;
}
