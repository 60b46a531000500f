/**
 * @file http_auth.h
 * @brief HTTP authentication by Basic (RFC 7617) and Digest (RFC 7616 and 2617), both sides.
 *
 * These functions work on the values of fields, so they serve any server and client; `WWW-Authenticate` and
 * `Authorization` go with the status 401, and `Proxy-Authenticate` and `Proxy-Authorization` with 407, by the
 * same functions.
 *
 * A server:
 *
 * @code
 * ombrel_http_auth_server_options_t options;
 * ombrel_init_http_auth_server_options(&options);
 * options.m_secrets = ombrel_open_secret_list("passwords", NULL, NULL);
 * ombrel_http_auth_server_t* server = ombrel_open_http_auth_server(&options);
 *
 * // for each request, with the value of its field "Authorization" or null
 * ombrel_http_auth_result_t result;
 * if (ombrel_http_auth_server_check(server, value, "GET", "/private?x=1", &result) == 1)
 *     return serve(result.m_name);
 * char challenge[def_ombrel_http_auth_challenge_size];
 * for (int i = 0; ombrel_http_auth_server_challenge(server, i, &result, challenge, sizeof challenge) > 0;
 * i++) add_field("WWW-Authenticate", challenge); // and the status is 401
 * @endcode
 *
 * A client:
 *
 * @code
 * ombrel_http_auth_client_t* client = ombrel_open_http_auth_client("ann", password, NULL);
 * // with the values of the fields "WWW-Authenticate" of a response 401
 * if (ombrel_http_auth_client_take(client, values, count) == 1) {
 *     char field[def_ombrel_http_auth_value_size];
 *     if (ombrel_http_auth_client_answer(client, "GET", "/private?x=1", field, sizeof field) > 0)
 *         add_field("Authorization", field); // also with each further request, in advance
 * } else
 *     give_up(); // the password is wrong, or no scheme suits
 * @endcode
 *
 * @par The supported part of Digest
 * Algorithms MD5 and SHA-256 and the session variants of both; quality of protection "auth"; UTF-8; names in
 * the clear, as `username*`, or hashed (userhash). A server offers the stronger algorithm first. Its nonces
 * are authenticated by a key of its own, so they cost no memory until somebody has logged in with one.
 *
 * Each nonce count is taken once. Parallel connections of one client may bring counts out of their order, as
 * far as 64 after the highest. A request that is right except that its count was used before, or its nonce is
 * too old or forgotten, is answered by a challenge with "stale=true": the client repeats it with the new
 * nonce without asking its user for the password, and a recorded request is of no use to an attacker. Clients
 * without "qop" (RFC 2069) are let in once with each nonce. In a session variant the nonce and the client's
 * own one are those of each request, as browsers and curl have them.
 *
 * @par Bounds
 * Whatever peers send, a server keeps at most ombrel_http_auth_server_options_t::m_nonce_limit records of 24
 * bytes, and the time of a check grows with the length of the value alone; hashed names cost a digest for
 * each secret of the list as well. Values beyond 8,192 bytes, with control characters, or with a parameter
 * that stands twice are malformed. A client passes over challenges with texts beyond 1,024 bytes.
 *
 * @par Time as an oracle
 * Digests and passwords are compared in constant time, and an unknown name costs the same work as a known
 * one.
 *
 * @par Threads
 * A server or a client: one thread at a time.
 *
 * @par Failures
 * -1 or null with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and invalid
 * arguments, and what is named with the function.
 */
#ifndef OMBREL_HTTP_AUTH_H
#define OMBREL_HTTP_AUTH_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/http_server.h>
#include <ombrel/secret.h>

OMBREL_BEGIN_C

/** @name Schemes, also as flags
 * @{ */
#define def_ombrel_http_auth_basic 1u /**< Basic: the password itself, readable by everybody on the way */
#define def_ombrel_http_auth_md5 2u   /**< Digest with MD5 */
#define def_ombrel_http_auth_md5_session 4u     /**< Digest with MD5-sess */
#define def_ombrel_http_auth_sha256 8u          /**< Digest with SHA-256 */
#define def_ombrel_http_auth_sha256_session 16u /**< Digest with SHA-256-sess */
#define def_ombrel_http_auth_digest 30u         /**< all of Digest */
#define def_ombrel_http_auth_any 31u            /**< all that there are */
/** @} */

/** Room for every challenge of a server, with its terminator. */
#define def_ombrel_http_auth_challenge_size 512

/** Room that is enough for the answers of a client to usual servers, with its terminator. */
#define def_ombrel_http_auth_value_size 4096

/**
 * @name The server's side
 * @{
 */
/** What a server needs to know to check requests. Opaque. */
typedef struct ombrel_http_auth_server_ts ombrel_http_auth_server_t;

/**
 * Looks up a secret by its name. @param name the claimed name
 * @param secret  receives the secret
 * @param context the one of the options
 * @return 1 when there is one; anything else when not
 */
typedef int (*ombrel_http_auth_find_t)(const char* name, ombrel_secret_t* secret, void* context);

/** How a server asks and checks. */
typedef struct ombrel_http_auth_server_options_ts {
    /** What is protected, shown to people: 1 to #def_ombrel_secret_realm_max bytes of UTF-8 without control
     * characters and '"'; null, the default, for #def_ombrel_secret_realm. Digest needs secrets that were
     * made for this realm. Copied. */
    const char* m_realm;
    /** The schemes that are offered and taken (def_ombrel_http_auth_*); the default is SHA-256 and MD5. */
    uint32_t m_schemes;
    /** 1 to let clients hash names, so that they cannot be read on the way; the default is 0. Works for names
     * of `m_secrets` only. */
    int m_userhash;
    /** How long a nonce is good, in milliseconds from its challenge; the default is 300,000. */
    int m_lifetime_ms;
    /** Nonces in use that are remembered, 1 to 1,000,000; the default is 1,024. The oldest is forgotten, and
     * its client told to take a new one, when there are more. */
    uint32_t m_nonce_limit;
    /** Who may log in; refreshed before each check. Not owned: it must live longer. */
    ombrel_secret_list_t* m_secrets;
    /** Asked in place of `m_secrets` when that is null. */
    ombrel_http_auth_find_t m_find;
    /** Handed to it. */
    void* m_context;
} ombrel_http_auth_server_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_http_auth_server_options(ombrel_http_auth_server_options_t* options);

/**
 * @brief Makes the server's side, which checks requests.
 * @param options  how; one of `m_secrets` and `m_find` is needed
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return it, for ombrel_close_http_auth_server(); null, also for want of memory and when the host gives no
 *         random bytes
 */
OMBREL_API ombrel_http_auth_server_t*
ombrel_open_http_auth_server_tag(const ombrel_http_auth_server_options_t* options, const char* function,
                                 unsigned long line);
/** @brief ombrel_open_http_auth_server_tag() with the caller's own name and line. */
#define ombrel_open_http_auth_server(options) ombrel_open_http_auth_server_tag((options), __func__, __LINE__)

/** @brief Frees the server's side; null gives 0. @return 0 */
OMBREL_API int ombrel_close_http_auth_server(ombrel_http_auth_server_t* server);

/** @name The outcome of a check
 * @{ */
#define def_ombrel_http_auth_granted 0   /**< it is who it says */
#define def_ombrel_http_auth_missing 1   /**< there was no value, or one of a scheme that is not taken */
#define def_ombrel_http_auth_malformed 2 /**< the value is malformed for its scheme */
#define def_ombrel_http_auth_denied 3    /**< the name or the password is wrong */
#define def_ombrel_http_auth_stale 4     /**< all right except the nonce, which is too old or unknown */
#define def_ombrel_http_auth_replayed 5  /**< all right except the nonce count, which was used before */
#define def_ombrel_http_auth_misplaced 6 /**< the value is for another request target or realm */
/** @} */

/** The outcome of a check. */
typedef struct ombrel_http_auth_result_ts {
    int m_outcome;     /**< #def_ombrel_http_auth_granted and the like */
    uint32_t m_scheme; /**< the scheme that was used; 0 for none or an unknown one */
    char m_name[def_ombrel_secret_name_max +
                1]; /**< the claimed name; unless access was granted only fit for logs, and perhaps empty */
    /** With a granted Digest: the value of a field "Authentication-Info" (or "Proxy-Authentication-Info") by
     * which the server proves in turn that it knows the secret; it may be left out. Empty otherwise. */
    char m_info[384];
} ombrel_http_auth_result_t;

/**
 * @brief Checks the value of a field "Authorization" or "Proxy-Authorization".
 * @param server the server's side
 * @param value  the value, without white space around it; null when the request has no such field. A request
 *               with two must be refused by the caller
 * @param method the request's method
 * @param target the request target as it stood in the request line. The value must be for exactly this one;
 * of an absolute one ("http://host/path") the part from the path on is also taken
 * @param result receives the outcome; or null
 * @return 1 when the request may pass; 0 when it is to be refused, with challenges; -1 for null
 */
OMBREL_API int ombrel_http_auth_server_check(ombrel_http_auth_server_t* server, const char* value,
                                             const char* method, const char* target,
                                             ombrel_http_auth_result_t* result);

/**
 * @brief The value of a field "WWW-Authenticate" or "Proxy-Authenticate": one for each scheme, the best
 * first.
 * @param server the server's side
 * @param index  from 0
 * @param result of the check that failed, which tells whether the nonce was stale; null for none
 * @param buf    receives the value, terminated
 * @param size   its room
 * @return characters of the value; 0 after the last; -1, also with #def_ombrel_fault_too_large when the
 *         room does not suffice
 */
OMBREL_API int ombrel_http_auth_server_challenge(ombrel_http_auth_server_t* server, int index,
                                                 const ombrel_http_auth_result_t* result, char* buf,
                                                 size_t size);

/**
 * @brief A guard for http_server.h: lets clients that log in pass and sets the exchange's user; answers all
 * others with 401 and the challenges, and malformed values with 400.
 *
 * @code
 * options.m_guard = ombrel_guard_http_exchange;
 * options.m_guard_context = auth_server;
 * @endcode
 *
 * As the guard itself, of a server or a route, it checks a strong secret (secret.h) in many turns of the
 * loop, between which others are served. Called by a guard of the program's, it has judged when it returns.
 * @param exchange the request
 * @param server   an ombrel_http_auth_server_t, which must outlive the HTTP server
 * @return 0; -1 for null and for want of memory
 */
OMBREL_API int ombrel_guard_http_exchange(ombrel_http_exchange_t* exchange, void* server);
/** @} */

/**
 * @name The client's side
 * A client is for one origin, or one proxy: what a server asked for is remembered for its next requests.
 * @{
 */
/** What a client needs to know to log in. Opaque. */
typedef struct ombrel_http_auth_client_ts ombrel_http_auth_client_t;

/** How a client logs in. */
typedef struct ombrel_http_auth_client_options_ts {
    /** The schemes that it uses (def_ombrel_http_auth_*); the default is all. Leave Basic out to keep the
     * password from whoever pretends to be the server. */
    uint32_t m_schemes;
    /** 1 to use Basic at once, before a server asks; the default is 0. */
    int m_basic_at_once;
} ombrel_http_auth_client_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_http_auth_client_options(ombrel_http_auth_client_options_t* options);

/**
 * @brief Makes the client's side, which logs in.
 * @param name     who: 1 to #def_ombrel_secret_name_max bytes of UTF-8 without control characters; copied.
 *                 One with ":" cannot use Basic
 * @param password what is known, in UTF-8, at most #def_ombrel_secret_password_max bytes; copied, and
 *                 overwritten in the end
 * @param options  how; null means ombrel_init_http_auth_client_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return it, for ombrel_close_http_auth_client(); null, also for want of memory
 */
OMBREL_API ombrel_http_auth_client_t*
ombrel_open_http_auth_client_tag(const char* name, const char* password,
                                 const ombrel_http_auth_client_options_t* options, const char* function,
                                 unsigned long line);
/** @brief ombrel_open_http_auth_client_tag() with the caller's own name and line. */
#define ombrel_open_http_auth_client(name, password, options)                                                \
    ombrel_open_http_auth_client_tag((name), (password), (options), __func__, __LINE__)

/** @brief Overwrites and frees the client's side; null gives 0. @return 0 */
OMBREL_API int ombrel_close_http_auth_client(ombrel_http_auth_client_t* client);

/**
 * @brief Takes the challenges of a response 401 or 407 and chooses the best: SHA-256 before MD5, sessions
 * before none, Digest before Basic, an earlier one before a later one of its kind.
 *
 * Challenges that are malformed, or want something unsupported, are passed over.
 * @param client the client's side
 * @param values values of all fields "WWW-Authenticate" or "Proxy-Authenticate", of which each may have
 *               several challenges
 * @param count  how many
 * @return 1 when the request is worth repeating; 0 when not, as the server has refused this password already
 *         or nothing suits; -1, also with #def_ombrel_fault_no_memory
 */
OMBREL_API int ombrel_http_auth_client_take(ombrel_http_auth_client_t* client, const char* const* values,
                                            size_t count);

/**
 * @brief The value of the field "Authorization" or "Proxy-Authorization" for a request.
 *
 * Each call counts as a request: the nonce count grows.
 * @param client the client's side
 * @param method the request's method
 * @param target its request target, as it stands in the request line
 * @param buf    receives the value, terminated. With Basic it shows the password: wipe it
 * @param size   its room
 * @return characters of the value; 0 when no server has asked yet; -1, also with #def_ombrel_fault_too_large
 *         when the room does not suffice, and when the host gives no random bytes
 */
OMBREL_API int ombrel_http_auth_client_answer(ombrel_http_auth_client_t* client, const char* method,
                                              const char* target, char* buf, size_t size);

/** @brief The scheme in use. @return def_ombrel_http_auth_*; 0 for none yet, and for null */
OMBREL_API uint32_t ombrel_http_auth_client_get_scheme(const ombrel_http_auth_client_t* client);
/** @brief The realm that the server named, for people. @return a text of the client's; empty before that;
 * null for null */
OMBREL_API const char* ombrel_http_auth_client_get_realm(const ombrel_http_auth_client_t* client);

/**
 * @brief Checks a field "Authentication-Info" of the response to the last answer: whether the server knows
 * the password too. A nonce that it names for the next request is taken.
 * @param client the client's side
 * @param value  the field's value
 * @return 1 when the server has proved it; 0 when it says nothing about it; -1 when the proof is wrong
 *         (#def_ombrel_fault_access_denied), as from an impostor, and for invalid arguments
 */
OMBREL_API int ombrel_http_auth_client_check_info(ombrel_http_auth_client_t* client, const char* value);
/** @} */

OMBREL_END_C

#endif
