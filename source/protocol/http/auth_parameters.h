// What stands in the fields of log-in: schemes with parameters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/http_field.h>

namespace ombrel::protocol {

/// The parameters that are known here.
enum class auth_name {
    realm,
    nonce,
    opaque,
    algorithm,
    qop,
    stale,
    charset,
    userhash,
    username,
    extended_username, ///< "username*"
    uri,
    response,
    cnonce,
    nc,
    rspauth,
    nextnonce,
    count
};

/// The parameters of one scheme, unquoted. They point into the text that was read, which must live as long.
class auth_parameters {
public:
    auth_parameters() = default;
    auth_parameters(const auth_parameters&) = delete;
    auth_parameters& operator=(const auth_parameters&) = delete;

    /// Forgets all.
    void clear();

    /// Takes `name=value`, with blanks around "=" where senders put them; others than those above are passed
    /// over. False for anything else, one that is there twice, and more characters behind backslashes than
    /// there is room for.
    bool add(std::string_view parameter);

    /// Takes all parameters of a text. False when it has anything else.
    bool read(std::string_view text);

    bool has(auth_name name) const { return (present_ >> index_of(name) & 1u) != 0; }
    /// Empty when it is not there.
    std::string_view operator[](auth_name name) const { return values_[index_of(name)]; }

private:
    bool unquote(std::string_view& value);

    static constexpr size_t index_of(auth_name name) { return static_cast<size_t>(name); }

    std::string_view values_[static_cast<size_t>(auth_name::count)];
    uint32_t present_ = 0;
    char unquoted_[1024]; ///< values with backslashes, without them
    size_t unquoted_size_ = 0;
};

/// The scheme that a text begins with, and what follows it; false when it begins with none.
bool split_scheme(std::string_view text, std::string_view& scheme, std::string_view& rest);

/// Whether a word is another one, letters in either case.
inline bool is_word(std::string_view text, const char* word) {
    return ombrel_is_http_name(text.data(), text.size(), word) == 1;
}

} // namespace ombrel::protocol
