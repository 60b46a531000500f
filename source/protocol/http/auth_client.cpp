#include <ombrel/http_auth.h>

#include <algorithm>
#include <cstring>
#include <new>

#include <ombrel/random.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "protocol/http/auth_digest.h"
#include "protocol/http/auth_parameters.h"
#include "protocol/http/http_text_writer.h"
#include "protocol/secret/bare_base64.h"
#include "protocol/secret/joined_digest.h"
#include "text/digits.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

/// Of a text that a server names.
constexpr size_t longest_text = 1024;

struct challenge {
    uint32_t scheme; ///< 0 for none
    char realm[longest_text + 1];
    char nonce[longest_text + 1];
    char opaque[longest_text + 1];
    bool has_opaque, has_qop, names_algorithm, wants_userhash, is_utf8, is_stale;
};

} // namespace

struct ombrel_http_auth_client_ts {
    ombrel_http_auth_client_options_t options;
    char name[def_ombrel_secret_name_max + 1];
    char password[def_ombrel_secret_password_max + 1];
    challenge chosen;
    uint32_t count;    ///< answers with the nonce
    char cnonce[32];   ///< of the nonce
    digest_text proof; ///< what the server has to show in turn; empty before the first answer
    unsigned answers;  ///< since challenges were taken
    unsigned refusals; ///< challenges in a row without a request that went well in between
    bool is_refused;
};

namespace {

using client_t = ombrel_http_auth_client_ts;

/// A server that asks for something new each time is believed so often.
constexpr unsigned most_refusals = 4;

template<size_t room>
bool keep(std::string_view text, char (&to)[room]) {
    if (text.size() >= room || text.find('\0') != std::string_view::npos)
        return false;
    *put_text(to, text) = '\0';
    return true;
}

/// The larger the better; 0 for none.
int rank_of(uint32_t scheme) {
    if (scheme == def_ombrel_http_auth_basic)
        return 1;
    for (size_t i = 0; i < std::size(digest_schemes); i++)
        if (digest_schemes[i].flag == scheme)
            return static_cast<int>(2 + std::size(digest_schemes) - i);
    return 0;
}

/// The scheme of a challenge; 0 for what is not spoken, or not by these options.
uint32_t scheme_of(const client_t& client, std::string_view scheme, const auth_parameters& parameters) {
    uint32_t flag = 0;
    if (is_word(scheme, "Basic") &&
        std::find(client.name, client.name + sizeof client.name, ':') == client.name + sizeof client.name)
        flag = def_ombrel_http_auth_basic;
    if (is_word(scheme, "Digest") && parameters.has(auth_name::nonce) && parameters.has(auth_name::realm)) {
        const digest_scheme* const found = find_digest_scheme(parameters[auth_name::algorithm]);
        const std::string_view qop = parameters[auth_name::qop];
        const bool is_spoken =
            !parameters.has(auth_name::qop) || ombrel_has_http_element(qop.data(), qop.size(), "auth") == 1;
        flag = found != nullptr && is_spoken ? found->flag : 0;
    }
    return flag & client.options.m_schemes;
}

/// Keeps a challenge if it is better than the one that was kept.
void consider(const client_t& client, std::string_view scheme, const auth_parameters& parameters,
              challenge& best) {
    const uint32_t flag = scheme_of(client, scheme, parameters);
    if (rank_of(flag) <= rank_of(best.scheme))
        return;
    challenge found{};
    if (!keep(parameters[auth_name::realm], found.realm) ||
        !keep(parameters[auth_name::nonce], found.nonce) ||
        !keep(parameters[auth_name::opaque], found.opaque))
        return;
    found.scheme = flag;
    found.has_opaque = parameters.has(auth_name::opaque);
    found.has_qop = parameters.has(auth_name::qop);
    found.names_algorithm = parameters.has(auth_name::algorithm);
    found.wants_userhash = is_word(parameters[auth_name::userhash], "true");
    found.is_utf8 = is_word(parameters[auth_name::charset], "UTF-8");
    found.is_stale = is_word(parameters[auth_name::stale], "true");
    best = found;
}

/// Goes through challenges, of which each begins with a scheme: the commas between them and between their
/// parameters look alike.
void read_challenges(const client_t& client, std::string_view value, challenge& best) {
    std::string_view scheme;
    auth_parameters parameters;
    bool is_good = false;
    size_t at = 0;
    ombrel_http_text_t element;
    while (ombrel_next_http_element(value.data(), value.size(), &at, &element) == 1) {
        std::string_view text(element.m_data, element.m_size), next, rest;
        if (split_scheme(text, next, rest)) {
            if (is_good)
                consider(client, scheme, parameters, best);
            parameters.clear();
            scheme = next;
            text = rest;
            is_good = true;
        }
        if (!text.empty())
            is_good = is_good && parameters.add(text);
    }
    if (is_good)
        consider(client, scheme, parameters, best);
}

/// Whether the server asked for something that was not answered already.
bool is_worth_it(client_t& client, const challenge& asked) {
    client.refusals = client.answers > 1 ? 0 : client.refusals + 1;
    if (client.is_refused || client.refusals > most_refusals)
        return false;
    if (client.answers == 0 || asked.is_stale || asked.scheme != client.chosen.scheme)
        return true;
    return asked.scheme != def_ombrel_http_auth_basic && strcmp(asked.realm, client.chosen.realm) != 0;
}

void begin_nonce(client_t& client) {
    client.count = 0;
    client.proof.size = 0;
}

bool make_cnonce(client_t& client) {
    unsigned char bytes[sizeof client.cnonce / 2];
    if (ombrel_get_random_bytes(bytes, sizeof bytes) != 0)
        return false;
    put_digits(client.cnonce, bytes, sizeof bytes);
    return true;
}

void put_quoted(http_text_writer& writer, std::string_view name, std::string_view text) {
    writer.put(name);
    writer.put("=\"");
    for (const char c : text) {
        if (c == '"' || c == '\\')
            writer.put('\\');
        writer.put(c);
    }
    writer.put('"');
}

bool is_ascii(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

void put_name(const client_t& client, const digest_scheme& scheme, http_text_writer& writer) {
    if (client.chosen.wants_userhash)
        return put_quoted(writer, "username", digest_of(scheme, {client.name, client.chosen.realm}).view());
    if (!client.chosen.is_utf8 || is_ascii(client.name))
        return put_quoted(writer, "username", client.name);
    writer.put("username*=UTF-8''");
    for (const char c : std::string_view(client.name)) {
        const bool stays =
            ombrel_is_http_token(&c, 1) == 1 && std::string_view("*'%").find(c) == std::string_view::npos;
        char coded[3] = {'%'};
        put_hex(coded + 1, static_cast<uint8_t>(c));
        writer.put(stays ? std::string_view(&c, 1) : std::string_view(coded, sizeof coded));
    }
}

int put_digest(client_t& client, const digest_scheme& scheme, const char* method, const char* target,
               http_text_writer& writer) {
    if (client.count == 0 && !make_cnonce(client))
        return -1;
    client.count++;
    char nc[8];
    for (size_t i = 0; i < sizeof nc; i++)
        nc[i] = lower_digits[client.count >> (28 - 4 * i) & 15];
    const challenge& asked = client.chosen;
    digest_proof proof = {.nonce = asked.nonce,
                          .cnonce = {client.cnonce, sizeof client.cnonce},
                          .nc = {nc, sizeof nc},
                          .has_qop = asked.has_qop,
                          .method = method,
                          .target = target};
    digest_text base = digest_of(scheme, {client.name, asked.realm, client.password});
    const wipe_guard wiped(base);
    writer.put("Digest ");
    put_name(client, scheme, writer);
    put_quoted(writer, ", realm", asked.realm);
    put_quoted(writer, ", nonce", asked.nonce);
    put_quoted(writer, ", uri", target);
    put_quoted(writer, ", response", prove(scheme, base.view(), proof).view());
    proof.method = {};
    client.proof = prove(scheme, base.view(), proof);
    if (asked.names_algorithm) {
        writer.put(", algorithm=");
        writer.put(scheme.name);
    }
    if (asked.has_opaque)
        put_quoted(writer, ", opaque", asked.opaque);
    if (asked.has_qop) {
        writer.put(", qop=auth, nc=");
        writer.put(proof.nc);
    }
    if (asked.has_qop || scheme.is_session)
        put_quoted(writer, ", cnonce", proof.cnonce);
    if (asked.wants_userhash)
        writer.put(", userhash=true");
    return static_cast<int>(writer.end());
}

int put_basic(const client_t& client, http_text_writer& writer) {
    char pair[sizeof client.name + sizeof client.password];
    char encoded[base64_size(sizeof pair) + 4];
    const wipe_guard wiped(pair), wiped_too(encoded);
    char* end = put_text(pair, client.name);
    *end++ = ':';
    end = put_text(end, client.password);
    const auto size = static_cast<size_t>(end - pair);
    end = put_base64(encoded, reinterpret_cast<const unsigned char*>(pair), size);
    end = std::fill_n(end, (3 - size % 3) % 3, '=');
    writer.put("Basic ");
    writer.put({encoded, static_cast<size_t>(end - encoded)});
    return static_cast<int>(writer.end());
}

bool is_sound(const char* name, const char* password, const ombrel_http_auth_client_options_t& options) {
    return name != nullptr && password != nullptr && *name != '\0' &&
           strlen(name) <= def_ombrel_secret_name_max && strlen(password) <= def_ombrel_secret_password_max &&
           ombrel_is_http_value(name, strlen(name)) == 1 &&
           ombrel_is_http_value(password, strlen(password)) == 1 && strchr(name, '\t') == nullptr &&
           (options.m_schemes & def_ombrel_http_auth_any) != 0 &&
           (options.m_schemes & ~def_ombrel_http_auth_any) == 0 &&
           (options.m_basic_at_once == 0 ||
            ((options.m_schemes & def_ombrel_http_auth_basic) != 0 && strchr(name, ':') == nullptr));
}

} // namespace

int ombrel_init_http_auth_client_options(ombrel_http_auth_client_options_t* options) {
    if (options == nullptr)
        return refuse_http(fault_code::invalid);
    *options = {.m_schemes = def_ombrel_http_auth_any, .m_basic_at_once = 0};
    return 0;
}

ombrel_http_auth_client_t* ombrel_open_http_auth_client_tag(const char* name, const char* password,
                                                            const ombrel_http_auth_client_options_t* options,
                                                            const char* function, unsigned long line) {
    ombrel_http_auth_client_options_t chosen;
    ombrel_init_http_auth_client_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    if (!is_sound(name, password, chosen)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    void* const block = ombrel_alloc_tag(sizeof(client_t), function, line);
    if (block == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const client = new (block) client_t();
    client->options = chosen;
    keep(name, client->name);
    keep(password, client->password);
    if (chosen.m_basic_at_once != 0)
        client->chosen.scheme = def_ombrel_http_auth_basic;
    return client;
}

int ombrel_close_http_auth_client(ombrel_http_auth_client_t* client) {
    if (client == nullptr)
        return 0;
    wipe(client, sizeof *client);
    return ombrel_free_tag(client, "ombrel_close_http_auth_client", __LINE__);
}

int ombrel_http_auth_client_take(ombrel_http_auth_client_t* client, const char* const* values, size_t count) {
    if (client == nullptr || (values == nullptr && count > 0))
        return refuse_http(fault_code::invalid);
    heap_ptr<challenge> best(allocate_record<challenge>("ombrel_http_auth_client_take", __LINE__));
    if (!best)
        return refuse_http(fault_code::no_memory);
    *best = {};
    for (size_t i = 0; i < count; i++)
        if (values[i] != nullptr)
            read_challenges(*client, values[i], *best);
    const bool is_good = best->scheme != 0 && is_worth_it(*client, *best);
    client->is_refused = client->is_refused || (best->scheme != 0 && !is_good);
    client->chosen = *best;
    if (!is_good)
        client->chosen.scheme = 0;
    client->answers = 0;
    begin_nonce(*client);
    return is_good ? 1 : 0;
}

int ombrel_http_auth_client_answer(ombrel_http_auth_client_t* client, const char* method, const char* target,
                                   char* buf, size_t size) {
    if (client == nullptr || method == nullptr || target == nullptr || buf == nullptr)
        return refuse_http(fault_code::invalid);
    const uint32_t scheme = client->chosen.scheme;
    if (scheme == 0)
        return 0;
    client->answers++;
    http_text_writer writer(buf, size);
    if (scheme == def_ombrel_http_auth_basic)
        return put_basic(*client, writer);
    const auto* const found = std::find_if(std::begin(digest_schemes), std::end(digest_schemes),
                                           [=](const digest_scheme& each) { return each.flag == scheme; });
    return put_digest(*client, *found, method, target, writer);
}

uint32_t ombrel_http_auth_client_get_scheme(const ombrel_http_auth_client_t* client) {
    return client != nullptr ? client->chosen.scheme : 0;
}

const char* ombrel_http_auth_client_get_realm(const ombrel_http_auth_client_t* client) {
    return client != nullptr ? client->chosen.realm : nullptr;
}

int ombrel_http_auth_client_check_info(ombrel_http_auth_client_t* client, const char* value) {
    auth_parameters parameters;
    if (client == nullptr || value == nullptr)
        return refuse_http(fault_code::invalid);
    if (!parameters.read(value))
        return refuse_http(fault_code::violation);
    const bool has_proof = parameters.has(auth_name::rspauth) && client->proof.size > 0;
    if (has_proof && !client->proof.is_same(parameters[auth_name::rspauth]))
        return refuse_http(fault_code::access_denied);
    if (parameters.has(auth_name::nextnonce) && keep(parameters[auth_name::nextnonce], client->chosen.nonce))
        begin_nonce(*client);
    return has_proof ? 1 : 0;
}
