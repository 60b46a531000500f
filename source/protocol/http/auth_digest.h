// The computations of log-in by digest, which both sides make.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/digest.h>
#include <ombrel/http_auth.h>
#include <ombrel/secret.h>

namespace ombrel::protocol {

/// A way of Digest.
struct digest_scheme {
    uint32_t flag; ///< def_ombrel_http_auth_*
    const char* name;
    const char* digest;
    bool is_session;
};

/// The best first.
inline constexpr digest_scheme digest_schemes[] = {
    {def_ombrel_http_auth_sha256_session, "SHA-256-sess", "sha256", true},
    {def_ombrel_http_auth_sha256, "SHA-256", "sha256", false},
    {def_ombrel_http_auth_md5_session, "MD5-sess", "md5", true},
    {def_ombrel_http_auth_md5, "MD5", "md5", false},
};

/// By the name of an algorithm; none stands for MD5. Null for one that is not spoken.
const digest_scheme* find_digest_scheme(std::string_view algorithm);

/// A result as digits.
struct digest_text {
    char digits[def_ombrel_digest_text_size];
    size_t size;

    std::string_view view() const { return {digits, size}; }
    /// In a time that does not depend on where they differ; letters in either case.
    bool is_same(std::string_view other) const;
};

/// The digest of parts joined by ":".
digest_text digest_of(const digest_scheme& scheme, std::initializer_list<std::string_view> parts);

/// What proves that somebody knows a password.
struct digest_proof {
    std::string_view nonce, cnonce, nc;
    bool has_qop;
    std::string_view method; ///< empty for the proof of a server
    std::string_view target;
};

/// @param base digits of the digest of name, realm and password
digest_text prove(const digest_scheme& scheme, std::string_view base, const digest_proof& proof);

} // namespace ombrel::protocol
