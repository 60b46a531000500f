#include "protocol/http/auth_digest.h"

#include <algorithm>

#include <ombrel/hmac.h>

#include "core/wipe.h"
#include "protocol/http/auth_parameters.h"
#include "protocol/secret/joined_digest.h"

namespace ombrel::protocol {

namespace {

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

const digest_scheme* find_digest_scheme(std::string_view algorithm) {
    for (const digest_scheme& each : digest_schemes)
        if (is_word(algorithm.empty() ? "MD5" : algorithm, each.name))
            return &each;
    return nullptr;
}

bool digest_text::is_same(std::string_view other) const {
    char lowered[sizeof digits];
    if (other.size() != size)
        return false;
    std::transform(other.begin(), other.end(), lowered, lower);
    return ombrel_is_same_secret(digits, lowered, size) == 1;
}

digest_text digest_of(const digest_scheme& scheme, std::initializer_list<std::string_view> parts) {
    const ombrel_digest_algorithm_t& algorithm = *ombrel_find_digest_algorithm(scheme.digest);
    unsigned char result[def_ombrel_digest_size_max];
    const wipe_guard wiped(result);
    digest_joined(algorithm, parts, result);
    digest_text text;
    text.size = static_cast<size_t>(put_digits(text.digits, result, algorithm.m_size) - text.digits);
    text.digits[text.size] = '\0';
    return text;
}

digest_text prove(const digest_scheme& scheme, std::string_view base, const digest_proof& proof) {
    digest_text session;
    const wipe_guard wiped(session);
    if (scheme.is_session) {
        session = digest_of(scheme, {base, proof.nonce, proof.cnonce});
        base = session.view();
    }
    const digest_text request = digest_of(scheme, {proof.method, proof.target});
    if (!proof.has_qop)
        return digest_of(scheme, {base, proof.nonce, request.view()});
    return digest_of(scheme, {base, proof.nonce, proof.nc, proof.cnonce, "auth", request.view()});
}

} // namespace ombrel::protocol
