#include "protocol/secret/secret_text.h"

#include <algorithm>
#include <charconv>

#include <ombrel/hmac.h>
#include <ombrel/random.h>

#include "core/fault.h"
#include "core/wipe.h"
#include "protocol/secret/bare_base64.h"
#include "protocol/secret/joined_digest.h"
#include "text/digits.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr std::string_view digest_start = "$digest$", strong_start = "$pbkdf2-sha256$";
constexpr size_t own_salt_size = 16;

bool is_control(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
}

bool is_plain(std::string_view text, size_t longest) {
    return !text.empty() && text.size() <= longest && std::none_of(text.begin(), text.end(), is_control);
}

/// What stays as it is in a realm's text; all else is percent-coded, ":", "$" and blanks among it.
bool stays(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-._~").find(c) != std::string_view::npos;
}

char* put_realm(char* to, std::string_view realm) {
    for (const char c : realm) {
        if (stays(c)) {
            *to++ = c;
            continue;
        }
        *to++ = '%';
        to = put_hex(to, static_cast<uint8_t>(c));
    }
    return to;
}

bool read_realm(std::string_view text, char (&realm)[def_ombrel_secret_realm_max + 1]) {
    size_t size = 0;
    while (!text.empty() && size < def_ombrel_secret_realm_max) {
        const bool coded = text.front() == '%';
        unsigned value = static_cast<unsigned char>(text.front());
        if (coded &&
            !(text.size() >= 3 && digit_value(text[1]) != no_digit && digit_value(text[2]) != no_digit))
            return false;
        if (coded)
            value = digit_value(text[1]) << 4 | digit_value(text[2]);
        else if (!stays(text.front()))
            return false;
        realm[size++] = static_cast<char>(value);
        text.remove_prefix(coded ? 3 : 1);
    }
    realm[size] = '\0';
    return text.empty() && is_secret_realm({realm, size});
}

/// Digits of lower case, and nothing else.
bool read_digits(std::string_view text, unsigned char* bytes, size_t size) {
    const auto is_digit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    if (text.size() != 2 * size || !std::all_of(text.begin(), text.end(), is_digit))
        return false;
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<unsigned char>(digit_value(text[2 * i]) << 4 | digit_value(text[2 * i + 1]));
    return true;
}

/// Takes what stands before the next "$", or all.
std::string_view take_part(std::string_view& text) {
    const size_t end = std::min(text.find('$'), text.size());
    const std::string_view part = slice(text, 0, end);
    text = slice(text, end + 1);
    return part;
}

bool read_digest_secret(std::string_view text, ombrel_secret_t& secret) {
    secret.m_kind = def_ombrel_secret_digest;
    return std::count(text.begin(), text.end(), '$') == 2 && read_realm(take_part(text), secret.m_realm) &&
           read_digits(take_part(text), secret.m_md5, sizeof secret.m_md5) &&
           read_digits(text, secret.m_sha256, sizeof secret.m_sha256);
}

/// In the form of other programs, "." stands in the place of "+".
bool read_adapted_base64(std::string_view text, unsigned char* bytes, size_t room, size_t& size) {
    char standard[128];
    if (text.size() > sizeof standard)
        return false;
    std::replace_copy(text.begin(), text.end(), standard, '.', '+');
    return read_base64({standard, text.size()}, bytes, room, size);
}

char* put_adapted_base64(char* to, const unsigned char* bytes, size_t size) {
    char* const end = put_base64(to, bytes, size);
    std::replace(to, end, '+', '.');
    return end;
}

bool read_strong_secret(std::string_view text, ombrel_secret_t& secret) {
    secret.m_kind = def_ombrel_secret_strong;
    size_t salt_size = 0, key_size = 0;
    const bool good =
        std::count(text.begin(), text.end(), '$') == 2 &&
        parse_number(take_part(text), 1u, def_ombrel_secret_iterations_max, secret.m_iterations) &&
        read_adapted_base64(take_part(text), secret.m_salt, sizeof secret.m_salt, salt_size) &&
        read_adapted_base64(text, secret.m_sha256, sizeof secret.m_sha256, key_size);
    secret.m_salt_size = static_cast<uint32_t>(salt_size);
    return good && salt_size > 0 && key_size == sizeof secret.m_sha256;
}

char* put_digest_secret(char* to, const char* name, const char* password, std::string_view realm) {
    to = put_realm(put_text(to, digest_start), realm);
    for (const char* const algorithm_name : {"md5", "sha256"}) {
        const ombrel_digest_algorithm_t& algorithm = *ombrel_find_digest_algorithm(algorithm_name);
        unsigned char digest[def_ombrel_digest_size_max];
        const wipe_guard wiped(digest);
        digest_joined(algorithm, {name, realm, password}, digest);
        *to++ = '$';
        to = put_digits(to, digest, algorithm.m_size);
    }
    return to;
}

/// Null when the host gives no salt.
char* put_strong_secret(char* to, std::string_view password, uint32_t iterations) {
    unsigned char salt[own_salt_size], key[def_ombrel_sha256_size];
    const wipe_guard wiped(key);
    if (ombrel_get_random_bytes(salt, sizeof salt) != 0)
        return nullptr;
    ombrel_make_pbkdf2(ombrel_find_digest_algorithm("sha256"), password.data(), password.size(), salt,
                       sizeof salt, iterations, key, sizeof key);
    to = put_text(to, strong_start);
    to = std::to_chars(to, to + 10, iterations).ptr;
    *to++ = '$';
    to = put_adapted_base64(to, salt, sizeof salt);
    *to++ = '$';
    return put_adapted_base64(to, key, sizeof key);
}

int fail(fault_code why) {
    leave_fault(why);
    return -1;
}

} // namespace

bool is_secret_name(std::string_view name) {
    return is_plain(name, def_ombrel_secret_name_max) && name.front() != '#' &&
           name.find(':') == std::string_view::npos;
}

bool is_secret_realm(std::string_view realm) {
    return is_plain(realm, def_ombrel_secret_realm_max) &&
           realm.find_first_of("\"\\") == std::string_view::npos;
}

bool parse_secret(std::string_view text, ombrel_secret_t& secret) {
    secret = {};
    if (starts_with(text, digest_start)   ? read_digest_secret(slice(text, digest_start.size()), secret)
        : starts_with(text, strong_start) ? read_strong_secret(slice(text, strong_start.size()), secret)
                                          : false)
        return true;
    wipe(&secret, sizeof secret);
    return false;
}

} // namespace ombrel::protocol

using namespace ombrel;
using namespace ombrel::protocol;

int ombrel_init_secret_options(ombrel_secret_options_t* options) {
    if (options == nullptr)
        return fail(fault_code::invalid);
    *options = {
        .m_kind = def_ombrel_secret_digest, .m_realm = nullptr, .m_iterations = def_ombrel_secret_iterations};
    return 0;
}

int ombrel_is_secret_name(const char* name) {
    return name != nullptr && is_secret_name(name) ? 1 : 0;
}

int ombrel_is_secret_password(const char* password) {
    return password != nullptr && is_plain(password, def_ombrel_secret_password_max) ? 1 : 0;
}

int ombrel_parse_secret(const char* text, ombrel_secret_t* secret) {
    if (secret == nullptr || !parse_secret(text != nullptr ? text : "", *secret))
        return fail(fault_code::invalid);
    return 0;
}

int ombrel_make_secret(char* buf, size_t size, const char* name, const char* password,
                       const ombrel_secret_options_t* options) {
    if (buf == nullptr || size == 0)
        return fail(fault_code::invalid);
    *buf = '\0';
    ombrel_secret_options_t chosen;
    ombrel_init_secret_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    const std::string_view realm = chosen.m_realm != nullptr ? chosen.m_realm : def_ombrel_secret_realm;
    const bool is_strong = chosen.m_kind == def_ombrel_secret_strong;
    if (ombrel_is_secret_name(name) == 0 || ombrel_is_secret_password(password) == 0 ||
        (!is_strong && (chosen.m_kind != def_ombrel_secret_digest || !is_secret_realm(realm))) ||
        (is_strong && (chosen.m_iterations < 1 || chosen.m_iterations > def_ombrel_secret_iterations_max)))
        return fail(fault_code::invalid);
    char text[def_ombrel_secret_text_size];
    const wipe_guard wiped(text);
    const char* end = nullptr;
    // Digits that are made several at once pass over the stack.
    without_trace([&] {
        end = is_strong ? put_strong_secret(text, password, chosen.m_iterations)
                        : put_digest_secret(text, name, password, realm);
    });
    if (end == nullptr)
        return -1;
    const auto length = static_cast<size_t>(end - text);
    if (length >= size)
        return fail(fault_code::too_large);
    *put_text(buf, {text, length}) = '\0';
    return static_cast<int>(length);
}
