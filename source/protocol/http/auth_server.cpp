#include <ombrel/http_auth.h>

#include <algorithm>
#include <cstring>
#include <new>

#include <ombrel/random.h>

#include "core/call_site.h"
#include "core/wipe.h"
#include "protocol/http/auth_check.h"
#include "protocol/http/auth_digest.h"
#include "protocol/http/auth_nonce.h"
#include "protocol/http/auth_parameters.h"
#include "protocol/http/extended_value.h"
#include "protocol/http/http_text_writer.h"
#include "protocol/secret/bare_base64.h"
#include "protocol/secret/joined_digest.h"
#include "protocol/secret/secret_text.h"
#include "text/number.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

constexpr size_t longest_value = 8192;
constexpr size_t opaque_size = 16;

struct server_key {
    unsigned char bytes[def_ombrel_sha256_size];
    char opaque[opaque_size];
};

} // namespace

struct ombrel_http_auth_server_ts {
    ombrel_http_auth_server_ts(const ombrel_http_auth_server_options_t& chosen,
                               const ombrel_hmac_t& secret_key, const char (&opaque_text)[opaque_size])
        : options(chosen), key(secret_key),
          nonces(secret_key, platform_lifetime(chosen.m_lifetime_ms), chosen.m_nonce_limit) {
        const std::string_view name = chosen.m_realm != nullptr ? chosen.m_realm : def_ombrel_secret_realm;
        *put_text(realm, name) = '\0';
        options.m_realm = realm;
        memcpy(opaque, opaque_text, sizeof opaque);
    }
    ~ombrel_http_auth_server_ts() { wipe(&key, sizeof key); }

    static uint64_t platform_lifetime(int milliseconds) {
        return static_cast<uint64_t>(milliseconds) * 1'000'000;
    }

    ombrel_http_auth_server_options_t options;
    ombrel_hmac_t key; ///< of stand-ins for secrets of names that are not there
    nonce_book nonces;
    char realm[def_ombrel_secret_realm_max + 1];
    char opaque[opaque_size];
};

namespace {

using server_t = ombrel_http_auth_server_ts;
using result_t = ombrel_http_auth_result_t;

/// What a request claims.
struct claim {
    std::string_view value, method, target;
};

void put_name(result_t& result, std::string_view name) {
    if (is_secret_name(name))
        *put_text(result.m_name, name) = '\0';
}

/// False when nobody has the name.
bool find_secret(server_t& server, const char* name, ombrel_secret_t& secret) {
    const ombrel_http_auth_server_options_t& options = server.options;
    if (options.m_secrets == nullptr)
        return options.m_find(name, &secret, options.m_context) == 1;
    const int64_t index = ombrel_secret_list_find(options.m_secrets, name);
    if (index >= 0)
        secret = *ombrel_secret_list_get_secret(options.m_secrets, static_cast<size_t>(index));
    return index >= 0;
}

/// 1, 0 or check_goes_on.
int check_password(server_t& server, const char* name, const char* password, auth_steps steps) {
    const ombrel_http_auth_server_options_t& options = server.options;
    if (options.m_secrets != nullptr)
        return check_by_list(*options.m_secrets, name, password, steps.check, steps.most);
    ombrel_secret_t secret{};
    const wipe_guard wiped(secret);
    const bool is_there = options.m_find(name, &secret, options.m_context) == 1;
    if (!is_there)
        return ombrel_check_secret(nullptr, name, password);
    if (!steps.check.has_begun())
        steps.check.begin(secret, name, password);
    return !steps.check.step(steps.most) ? check_goes_on : steps.check.is_password_of(secret) ? 1 : 0;
}

int outcome_of(int checked) {
    if (checked == check_goes_on)
        return auth_goes_on;
    return checked == 1 ? def_ombrel_http_auth_granted : def_ombrel_http_auth_denied;
}

int check_basic(server_t& server, std::string_view value, auth_steps steps, result_t& result) {
    unsigned char decoded[def_ombrel_secret_name_max + 1 + def_ombrel_secret_password_max + 1];
    const wipe_guard wiped(decoded);
    const size_t padding = value.size() - std::min(value.find('='), value.size());
    if (padding > 2 || (padding > 0 && value.size() % 4 != 0) ||
        slice(value, value.size() - padding) != slice("==", 0, padding))
        return def_ombrel_http_auth_malformed;
    size_t size = 0;
    if (!read_base64(slice(value, 0, value.size() - padding), decoded, sizeof decoded - 1, size))
        return def_ombrel_http_auth_malformed;
    decoded[size] = '\0';
    auto* const name = reinterpret_cast<char*>(decoded);
    char* const colon = std::find(name, name + size, ':');
    if (colon == name + size || std::find(name, name + size, '\0') != name + size)
        return def_ombrel_http_auth_malformed;
    *colon = '\0';
    put_name(result, name);
    return outcome_of(check_password(server, name, colon + 1, steps));
}

bool read_extended_name(std::string_view value, char (&name)[def_ombrel_secret_name_max + 1]) {
    size_t size;
    if (!decode_extended_value(value, name, def_ombrel_secret_name_max, size))
        return false;
    name[size] = '\0';
    return true;
}

/// The name behind a hash. Each secret costs a digest, found or not.
const char* find_hashed_name(const server_t& server, const digest_scheme& scheme, std::string_view hash) {
    const ombrel_secret_list_t* const secrets = server.options.m_secrets;
    const char* found = nullptr;
    for (size_t i = 0; i < ombrel_secret_list_get_count(secrets); i++) {
        const char* const name = ombrel_secret_list_get_name(secrets, i);
        if (digest_of(scheme, {name, server.realm}).is_same(hash))
            found = name;
    }
    return found;
}

/// Reads who it claims to be; false for what is malformed. A hash that is nobody's gives no name.
bool read_name(const server_t& server, const digest_scheme& scheme, const auth_parameters& parameters,
               char (&name)[def_ombrel_secret_name_max + 1]) {
    name[0] = '\0';
    const bool is_hashed = is_word(parameters[auth_name::userhash], "true");
    if (parameters.has(auth_name::username) == parameters.has(auth_name::extended_username))
        return false;
    if (parameters.has(auth_name::extended_username))
        return !is_hashed && read_extended_name(parameters[auth_name::extended_username], name);
    std::string_view given = parameters[auth_name::username];
    if (is_hashed) {
        const char* const found =
            server.options.m_userhash != 0 ? find_hashed_name(server, scheme, given) : nullptr;
        given = found != nullptr ? found : "";
    }
    if (is_secret_name(given))
        *put_text(name, given) = '\0';
    return true;
}

/// The digits of the digest of name, realm and password. Of a name that is not there, or has no secret for
/// this, others that nobody can know, at the same cost.
bool find_base(server_t& server, const digest_scheme& scheme, const char* name, digest_text& base) {
    ombrel_secret_t secret{};
    const wipe_guard wiped(secret);
    unsigned char stand_in[def_ombrel_digest_size_max];
    ombrel_hmac_t keyed = server.key;
    ombrel_hmac_push(&keyed, name, strlen(name));
    ombrel_hmac_result(&keyed, stand_in);
    const bool is_there = *name != '\0' && find_secret(server, name, secret) &&
                          secret.m_kind == def_ombrel_secret_digest &&
                          strcmp(secret.m_realm, server.realm) == 0;
    const size_t size = ombrel_find_digest_algorithm(scheme.digest)->m_size;
    const unsigned char* const stored = size == sizeof secret.m_md5 ? secret.m_md5 : secret.m_sha256;
    base.size =
        static_cast<size_t>(put_digits(base.digits, is_there ? stored : stand_in, size) - base.digits);
    return is_there;
}

/// Whether what a request names as its target is the target: also the part of an absolute one from the path
/// on, as clients of proxies have it.
bool is_target(std::string_view named, std::string_view target) {
    if (named == target)
        return true;
    const size_t authority = target.find("://");
    if (authority == std::string_view::npos || target.front() == '/')
        return false;
    const size_t path = target.find('/', authority + 3);
    return path != std::string_view::npos && named == slice(target, path);
}

/// A count is eight digits.
bool read_count(const auth_parameters& parameters, uint32_t& count) {
    const std::string_view digits = parameters[auth_name::nc];
    return digits.size() == 8 && digits.front() != '-' && parse_number(digits, 1u, UINT32_MAX, count, 16);
}

/// Whether all is there that a proof is made of, as it must be.
bool read_proof(const auth_parameters& parameters, const claim& asked, digest_proof& proof, uint32_t& count) {
    for (const auth_name needed : {auth_name::realm, auth_name::nonce, auth_name::uri, auth_name::response})
        if (!parameters.has(needed))
            return false;
    proof = {.nonce = parameters[auth_name::nonce],
             .cnonce = parameters[auth_name::cnonce],
             .nc = parameters[auth_name::nc],
             .has_qop = parameters.has(auth_name::qop),
             .method = asked.method,
             .target = parameters[auth_name::uri]};
    count = 0;
    if (!proof.has_qop)
        return true;
    return is_word(parameters[auth_name::qop], "auth") && !proof.cnonce.empty() &&
           read_count(parameters, count);
}

/// The proof of this side, for the client.
void put_info(const digest_scheme& scheme, const digest_text& base, digest_proof proof, result_t& result) {
    proof.method = {};
    http_text_writer writer(result.m_info, sizeof result.m_info);
    writer.put("rspauth=\"");
    writer.put(prove(scheme, base.view(), proof).view());
    writer.put('"');
    if (proof.has_qop) {
        char quoted[200];
        const int64_t size =
            ombrel_quote_http_text(proof.cnonce.data(), proof.cnonce.size(), quoted, sizeof quoted);
        writer.put(", qop=auth, nc=");
        writer.put(proof.nc);
        writer.put(", cnonce=");
        writer.put({quoted, size > 0 ? static_cast<size_t>(size) : 0});
        if (size < 0) // it may be left out
            writer.shrink_to(0);
    }
    writer.end();
}

/// What the use of a nonce means for a request that is right otherwise.
int take_nonce(server_t& server, const digest_proof& proof, uint32_t count) {
    nonce_book::known nonce;
    if (!server.nonces.read(proof.nonce, nonce))
        return def_ombrel_http_auth_stale;
    switch (server.nonces.take(nonce, count)) {
    case nonce_book::use::first:
        return def_ombrel_http_auth_granted;
    case nonce_book::use::replayed:
        return def_ombrel_http_auth_replayed;
    case nonce_book::use::stale:
        break;
    }
    return def_ombrel_http_auth_stale;
}

int check_digest(server_t& server, const claim& asked, std::string_view text, result_t& result) {
    auth_parameters parameters;
    if (!parameters.read(text))
        return def_ombrel_http_auth_malformed;
    const digest_scheme* const scheme = find_digest_scheme(parameters[auth_name::algorithm]);
    if (scheme == nullptr || (scheme->flag & server.options.m_schemes) == 0)
        return def_ombrel_http_auth_missing;
    result.m_scheme = scheme->flag;
    digest_proof proof;
    uint32_t count;
    char name[def_ombrel_secret_name_max + 1];
    if (!read_proof(parameters, asked, proof, count) || !read_name(server, *scheme, parameters, name))
        return def_ombrel_http_auth_malformed;
    put_name(result, name);
    if (parameters[auth_name::realm] != server.realm || !is_target(proof.target, asked.target) ||
        (parameters.has(auth_name::opaque) &&
         parameters[auth_name::opaque] != std::string_view(server.opaque, sizeof server.opaque)))
        return def_ombrel_http_auth_misplaced;
    digest_text base;
    const wipe_guard wiped(base);
    const bool is_there = find_base(server, *scheme, name, base);
    if (!prove(*scheme, base.view(), proof).is_same(parameters[auth_name::response]) || !is_there)
        return def_ombrel_http_auth_denied;
    const int outcome = take_nonce(server, proof, count);
    if (outcome == def_ombrel_http_auth_granted)
        put_info(*scheme, base, proof, result);
    return outcome;
}

int check(server_t& server, const claim& asked, auth_steps steps, result_t& result) {
    const std::string_view value = asked.value;
    std::string_view scheme, rest;
    if (value.size() > longest_value || ombrel_is_http_value(value.data(), value.size()) == 0 ||
        !split_scheme(value, scheme, rest))
        return def_ombrel_http_auth_malformed;
    if (server.options.m_secrets != nullptr)
        ombrel_secret_list_refresh(server.options.m_secrets); // a file at fault leaves what was read before
    if (is_word(scheme, "Digest"))
        return check_digest(server, asked, rest, result);
    if (!is_word(scheme, "Basic") || (server.options.m_schemes & def_ombrel_http_auth_basic) == 0)
        return def_ombrel_http_auth_missing;
    result.m_scheme = def_ombrel_http_auth_basic;
    return check_basic(server, rest, steps, result);
}

int put_basic_challenge(const server_t& server, http_text_writer& writer) {
    writer.put("Basic realm=\"");
    writer.put(server.realm);
    writer.put("\", charset=\"UTF-8\"");
    return static_cast<int>(writer.end());
}

int put_digest_challenge(server_t& server, const digest_scheme& scheme, bool is_stale,
                         http_text_writer& writer) {
    char nonce[nonce_book::text_size];
    server.nonces.make(nonce);
    writer.put("Digest realm=\"");
    writer.put(server.realm);
    writer.put("\", nonce=\"");
    writer.put({nonce, sizeof nonce});
    writer.put("\", opaque=\"");
    writer.put({server.opaque, sizeof server.opaque});
    writer.put("\", algorithm=");
    writer.put(scheme.name);
    writer.put(", qop=\"auth\", charset=UTF-8");
    if (server.options.m_userhash != 0)
        writer.put(", userhash=true");
    if (is_stale)
        writer.put(", stale=true");
    return static_cast<int>(writer.end());
}

bool is_sound(const ombrel_http_auth_server_options_t* options) {
    return options != nullptr && (options->m_realm == nullptr || is_secret_realm(options->m_realm)) &&
           (options->m_schemes & def_ombrel_http_auth_any) != 0 &&
           (options->m_schemes & ~def_ombrel_http_auth_any) == 0 && options->m_lifetime_ms > 0 &&
           options->m_nonce_limit >= 1 && options->m_nonce_limit <= 1'000'000 &&
           (options->m_secrets != nullptr || options->m_find != nullptr);
}

} // namespace

int ombrel_init_http_auth_server_options(ombrel_http_auth_server_options_t* options) {
    if (options == nullptr)
        return refuse_http(fault_code::invalid);
    *options = {.m_realm = nullptr,
                .m_schemes = def_ombrel_http_auth_sha256 | def_ombrel_http_auth_md5,
                .m_userhash = 0,
                .m_lifetime_ms = 300'000,
                .m_nonce_limit = 1024,
                .m_secrets = nullptr,
                .m_find = nullptr,
                .m_context = nullptr};
    return 0;
}

ombrel_http_auth_server_t* ombrel_open_http_auth_server_tag(const ombrel_http_auth_server_options_t* options,
                                                            const char* function, unsigned long line) {
    if (!is_sound(options)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    unsigned char key[def_ombrel_sha256_size], number[opaque_size / 2];
    const wipe_guard wiped(key);
    if (ombrel_get_random_bytes(key, sizeof key) != 0 || ombrel_get_random_bytes(number, sizeof number) != 0)
        return nullptr;
    void* const block = ombrel_alloc_tag(sizeof(server_t), function, line);
    if (block == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    char opaque[opaque_size];
    put_digits(opaque, number, sizeof number);
    ombrel_hmac_t keyed;
    const wipe_guard wiped_start(keyed);
    ombrel_init_hmac(&keyed, ombrel_find_digest_algorithm("sha256"), key, sizeof key);
    return new (block) server_t(*options, keyed, opaque);
}

int ombrel_close_http_auth_server(ombrel_http_auth_server_t* server) {
    if (server == nullptr)
        return 0;
    server->~ombrel_http_auth_server_ts();
    return ombrel_free_tag(server, "ombrel_close_http_auth_server", __LINE__);
}

int ombrel::protocol::check_http_auth(ombrel_http_auth_server_t& server, const char* value,
                                      const char* method, const char* target, auth_steps steps,
                                      ombrel_http_auth_result_t& result) {
    result = {.m_outcome = def_ombrel_http_auth_missing, .m_scheme = 0, .m_name = "", .m_info = ""};
    if (value != nullptr)
        result.m_outcome = check(server, {value, method, target}, steps, result);
    return result.m_outcome == def_ombrel_http_auth_granted ? 1 : 0;
}

int ombrel_http_auth_server_check(ombrel_http_auth_server_t* server, const char* value, const char* method,
                                  const char* target, ombrel_http_auth_result_t* result) {
    result_t own;
    secret_check whole;
    result_t& found = result != nullptr ? *result : own;
    found = {.m_outcome = def_ombrel_http_auth_missing, .m_scheme = 0, .m_name = "", .m_info = ""};
    if (server == nullptr || method == nullptr || target == nullptr)
        return refuse_http(fault_code::invalid);
    return check_http_auth(*server, value, method, target, {whole, UINT32_MAX}, found);
}

int ombrel_http_auth_server_challenge(ombrel_http_auth_server_t* server, int index,
                                      const ombrel_http_auth_result_t* result, char* buf, size_t size) {
    if (server == nullptr || index < 0 || buf == nullptr)
        return refuse_http(fault_code::invalid);
    const bool is_stale = result != nullptr && (result->m_outcome == def_ombrel_http_auth_stale ||
                                                result->m_outcome == def_ombrel_http_auth_replayed);
    http_text_writer writer(buf, size);
    for (const digest_scheme& each : digest_schemes)
        if ((server->options.m_schemes & each.flag) != 0 && index-- == 0)
            return put_digest_challenge(*server, each, is_stale, writer);
    if ((server->options.m_schemes & def_ombrel_http_auth_basic) != 0 && index == 0)
        return put_basic_challenge(*server, writer);
    return 0;
}
