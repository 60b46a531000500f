#include "protocol/http/auth_parameters.h"

#include <algorithm>
#include <iterator>

#include "protocol/http/http_character.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr const char* names[] = {"realm",   "nonce",    "opaque",   "algorithm", "qop", "stale",
                                 "charset", "userhash", "username", "username*", "uri", "response",
                                 "cnonce",  "nc",       "rspauth",  "nextnonce"};
static_assert(std::size(names) == static_cast<size_t>(auth_name::count));

} // namespace

void auth_parameters::clear() {
    std::fill(std::begin(values_), std::end(values_), std::string_view());
    present_ = 0;
    unquoted_size_ = 0;
}

/// Takes the quotes off a text, and backslashes out of it. False when it does not end where it should.
bool auth_parameters::unquote(std::string_view& value) {
    if (value.size() < 2 || value.back() != '"')
        return false;
    value = slice(value, 1, value.size() - 2);
    for (size_t i = 0; i < value.size(); i++)
        if (value[i] == '"' || (value[i] == '\\' && ++i == value.size()))
            return false;
    if (value.find('\\') == std::string_view::npos)
        return true;
    char* const room = unquoted_ + unquoted_size_;
    const int64_t size =
        ombrel_unquote_http_text(value.data(), value.size(), room, sizeof unquoted_ - unquoted_size_);
    if (size < 0)
        return false;
    value = {room, static_cast<size_t>(size)};
    unquoted_size_ += value.size() + 1;
    return true;
}

bool auth_parameters::add(std::string_view parameter) {
    const size_t equals = parameter.find('=');
    if (equals == std::string_view::npos)
        return false;
    const std::string_view name = trim_http(slice(parameter, 0, equals));
    std::string_view value = trim_http(slice(parameter, equals + 1));
    const bool is_quoted = !value.empty() && value.front() == '"';
    if (!is_http_word(name, http_token) || (is_quoted ? !unquote(value) : !is_http_word(value, http_token)))
        return false;
    const auto* const known = std::find_if(std::begin(names), std::end(names),
                                           [=](const char* each) { return is_word(name, each); });
    const auto index = static_cast<size_t>(known - names);
    if (index == std::size(names))
        return true;
    const bool is_first = (present_ >> index & 1u) == 0;
    present_ |= 1u << index;
    values_[index] = value;
    return is_first;
}

bool auth_parameters::read(std::string_view text) {
    clear();
    size_t at = 0;
    ombrel_http_text_t element;
    int step;
    while ((step = ombrel_next_http_element(text.data(), text.size(), &at, &element)) == 1)
        if (!add({element.m_data, element.m_size}))
            return false;
    return step == 0;
}

bool split_scheme(std::string_view text, std::string_view& scheme, std::string_view& rest) {
    const auto* const end = std::find_if(text.begin(), text.end(), is_http_space);
    scheme = slice(text, 0, static_cast<size_t>(end - text.begin()));
    rest = trim_http(slice(text, scheme.size()));
    // A parameter may have blanks before its "=".
    return is_http_word(scheme, http_token) && (rest.empty() || rest.front() != '=');
}

} // namespace ombrel::protocol
