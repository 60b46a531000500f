/**
 * @file secret.h
 * @brief Passwords kept without the password: secrets, their texts, and files of them.
 *
 * A secret is made from a name and a password, and serves to check later whether somebody knows the password.
 * Its text has no ":" and no blank, so that it stands in lines such as "NAME:SECRET" of a file, which the
 * command `ombrel_tuk secret NAME` prints and the servers of the library read:
 *
 * @code
 * char text[def_ombrel_secret_text_size];
 * if (ombrel_make_secret(text, sizeof text, "ann", password, NULL) > 0)
 *     ombrel_printf("%s:%s\n", "ann", text); // a line of the file
 *
 * ombrel_secret_list_t* list = ombrel_open_secret_list("passwords", NULL, NULL);
 * if (list == NULL)
 *     return complain(ombrel_fault_text());
 * if (ombrel_secret_list_check(list, name, password) == 1)
 *     let_in(name);
 * ombrel_close_secret_list(list);
 * @endcode
 *
 * @par Two kinds
 * - A digest secret, the usual one, `$digest$REALM$MD5$SHA256`: the MD5 and SHA-256 digests of
 *   "NAME:REALM:PASSWORD" in lower-case hexadecimal. One text serves HTTP Digest by either algorithm, HTTP
 *   Basic and FTP alike. The realm is written percent-coded; unless another is chosen it is
 *   #def_ombrel_secret_realm. Whoever reads such a secret can log in by HTTP Digest in this realm without
 *   the password, and can try millions of passwords a second: the file must be as private as the passwords.
 * - A strong secret, `$pbkdf2-sha256$ITERATIONS$SALT$KEY`: PBKDF2 with HMAC-SHA-256, a random salt of 16
 *   bytes and a key of 32, in the form that other programs know (base64 without padding and with "." for
 *   "+"). It serves where the password itself arrives, HTTP Basic and FTP, and cannot serve Digest. Trying a
 *   password takes as long as its iterations: with the usual 100,000 some tens of milliseconds of the thread
 *   that checks it; the servers of the library check it in steps, between which they serve others. More than
 * #def_ombrel_secret_iterations_max are refused when a secret is read, so that no file stops a server.
 *
 * Only a digest secret is bound to its name: the name is part of it, and it fails for any other.
 *
 * @par Names and passwords
 * A name has 1 to #def_ombrel_secret_name_max bytes, no ":" and no control character, and does not begin
 * with "#". A password has 1 to #def_ombrel_secret_password_max bytes and no control character, as HTTP and
 * FTP cannot carry one. Both are taken as bytes; UTF-8 is what clients send.
 *
 * @par Time as an oracle
 * Texts are compared in a time that does not depend on where they differ. A name that a list does not have
 * costs the same work as some name in the list, the same one each time, so that the time of a refusal does
 * not tell which names exist.
 *
 * @par Threads
 * Functions on texts and records: any thread. A list: one thread at a time.
 *
 * @par Failures
 * -1, null or 0 as named, with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null,
 * invalid arguments, and texts that break the rules above, and what is named with the function. Passwords and
 * what was made of them on the way are overwritten before a function returns.
 */
#ifndef OMBREL_SECRET_H
#define OMBREL_SECRET_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name Sizes and bounds
 * @{ */
#define def_ombrel_secret_name_max 255       /**< bytes of a name */
#define def_ombrel_secret_password_max 1023  /**< bytes of a password */
#define def_ombrel_secret_realm_max 128      /**< bytes of a realm */
#define def_ombrel_secret_salt_max 64        /**< bytes of a salt */
#define def_ombrel_secret_text_size 512      /**< room for every secret's text, with its terminator */
#define def_ombrel_secret_iterations 100000u /**< iterations of a strong secret unless others are chosen */
#define def_ombrel_secret_iterations_max 1000000u /**< the most that is made and read */
/** @} */

/** The realm of digest secrets and of HTTP servers unless another is chosen. */
#define def_ombrel_secret_realm "ombrel"

/** @name Kinds of secrets
 * @{ */
#define def_ombrel_secret_digest 0 /**< serves HTTP Digest, HTTP Basic and FTP */
#define def_ombrel_secret_strong 1 /**< costly to guess; serves HTTP Basic and FTP */
/** @} */

/** How a secret is made. */
typedef struct ombrel_secret_options_ts {
    int m_kind; /**< #def_ombrel_secret_digest, the default, or #def_ombrel_secret_strong */
    const char*
        m_realm;           /**< of a digest secret, 1 to #def_ombrel_secret_realm_max bytes without control
                            * characters, '"' and backslashes; null, the default, for #def_ombrel_secret_realm */
    uint32_t m_iterations; /**< of a strong one, 1 to #def_ombrel_secret_iterations_max; the default is
                            * #def_ombrel_secret_iterations */
} ombrel_secret_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_secret_options(ombrel_secret_options_t* options);

/** A secret, taken apart. */
typedef struct ombrel_secret_ts {
    int m_kind; /**< #def_ombrel_secret_digest or #def_ombrel_secret_strong */
    char m_realm[def_ombrel_secret_realm_max + 1];    /**< digest: the realm, terminated */
    unsigned char m_md5[16];                          /**< digest: that of "NAME:REALM:PASSWORD" */
    unsigned char m_sha256[32];                       /**< digest: likewise; strong: the key */
    uint32_t m_iterations;                            /**< strong: its iterations */
    unsigned char m_salt[def_ombrel_secret_salt_max]; /**< strong: its salt */
    uint32_t m_salt_size;                             /**< strong: bytes of the salt */
} ombrel_secret_t;

/** @name Secrets and their texts
 * @{ */
/**
 * @brief Makes a secret.
 * @param buf      receives its text, terminated; empty after a failure
 * @param size     its room: #def_ombrel_secret_text_size is always enough
 * @param name     for whom
 * @param password the password
 * @param options  how; null means ombrel_init_secret_options()
 * @return characters of the text; -1 on failure: #def_ombrel_fault_invalid; #def_ombrel_fault_too_large when
 *         the room does not suffice; the host's fault when it gives no random salt
 */
OMBREL_API int ombrel_make_secret(char* buf, size_t size, const char* name, const char* password,
                                  const ombrel_secret_options_t* options);

/** @brief Parses a secret's text, strictly. @return 0; -1 with the record zeroed for anything else */
OMBREL_API int ombrel_parse_secret(const char* text, ombrel_secret_t* secret);

/**
 * @brief Whether a password is the one that a secret was made of, for this name.
 * @param secret   the secret; null for an unknown name: the work of a digest is done and the answer is no.
 *                 Where secrets are strong, ombrel_secret_list_check() does better
 * @param name     who claims to know it
 * @param password the claim, of any length and content
 * @return 1 when it is; 0 when not; -1 for a null name or password
 */
OMBREL_API int ombrel_check_secret(const ombrel_secret_t* secret, const char* name, const char* password);

/** @brief Whether a text can be the name of a secret. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_is_secret_name(const char* name);
/** @brief Whether a text can be a password. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_is_secret_password(const char* password);
/** @} */

/**
 * @name Lists of secrets
 * Files of lines "NAME:SECRET", in UTF-8, ended by LF or CR LF. Empty lines and those that begin with "#" are
 * passed over; blanks are not. A name stands once. A list of a file may follow its changes.
 *
 * Such a file belongs to its owner alone (on POSIX mode 600): ombrel_secret_list_is_exposed() tells where
 * others can read it.
 * @{ */
/** A list of secrets. Opaque. */
typedef struct ombrel_secret_list_ts ombrel_secret_list_t;

/** Flag: lines are "NAME:SECRET:MORE", with anything after the second ":", which every line must have. */
#define def_ombrel_secret_list_more 1u

/** How a list is read. */
typedef struct ombrel_secret_list_options_ts {
    uint32_t m_flags;      /**< #def_ombrel_secret_list_more or 0, the default */
    size_t m_size_limit;   /**< bytes of a file or text; the default is 1 MiB */
    size_t m_line_limit;   /**< bytes of a line; the default is 4,096 */
    size_t m_secret_limit; /**< secrets; the default is 10,000 */
    /** How long a file is taken to be unchanged after a look by ombrel_secret_list_refresh(), in
     * milliseconds; the default is 1,000; negative for ever. */
    int m_look_ms;
} ombrel_secret_list_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_secret_list_options(ombrel_secret_list_options_t* options);

/**
 * @brief Reads a list from a file.
 * @param path     the file; copied
 * @param options  how; null means ombrel_init_secret_list_options()
 * @param failed_line receives the number of the line, from 1, for which it failed, or 0 when no line was the
 * reason; may be null
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the list, for ombrel_close_secret_list(); null when the file cannot be read, when a line is wrong
 *         (#def_ombrel_fault_invalid), for more than a limit (#def_ombrel_fault_too_large), for a name that
 *         stands twice (#def_ombrel_fault_exists) and for want of memory
 */
OMBREL_API ombrel_secret_list_t* ombrel_open_secret_list_tag(const char* path,
                                                             const ombrel_secret_list_options_t* options,
                                                             uint32_t* failed_line, const char* function,
                                                             unsigned long line);
/** @brief ombrel_open_secret_list_tag() with the caller's own name and line. */
#define ombrel_open_secret_list(path, options, failed_line)                                                  \
    ombrel_open_secret_list_tag((path), (options), (failed_line), __func__, __LINE__)

/** @brief The same of a text with `size` bytes. Such a list does not change. */
OMBREL_API ombrel_secret_list_t* ombrel_open_secret_text_tag(const char* text, size_t size,
                                                             const ombrel_secret_list_options_t* options,
                                                             uint32_t* failed_line, const char* function,
                                                             unsigned long line);
/** @brief ombrel_open_secret_text_tag() with the caller's own name and line. */
#define ombrel_open_secret_text(text, size, options, failed_line)                                            \
    ombrel_open_secret_text_tag((text), (size), (options), (failed_line), __func__, __LINE__)

/** @brief Overwrites and frees a list; null gives 0. @return 0 */
OMBREL_API int ombrel_close_secret_list(ombrel_secret_list_t* list);

/**
 * @brief Reads the file again if it is another one than at the last look or was changed since.
 *
 * Servers call this before they check somebody: it costs a look at the clock, and a look at the file after
 * the time of ombrel_secret_list_options_t::m_look_ms. Everything obtained from the list is invalid after it
 * was read again.
 * @param list the list
 * @return 1 when it was read anew; 0 when nothing changed; -1 when it could not be read, for the reasons of
 *         ombrel_open_secret_list_tag(): the list stays as it was, and the file is tried again at each look
 */
OMBREL_API int ombrel_secret_list_refresh(ombrel_secret_list_t* list);

/**
 * @brief Whether somebody may come in: the name is in the list and its secret was made of the password.
 *
 * A few right passwords are remembered for a minute, as keyed digests, so that a client that
 * sends a password with each request costs the work of a strong secret once.
 * @param list     the list
 * @param name     who claims
 * @param password what is claimed
 * @return 1 when both are right; 0 when not, after the same work whether the list has the name or not; -1 for
 * null
 */
OMBREL_API int ombrel_secret_list_check(ombrel_secret_list_t* list, const char* name, const char* password);

/** @brief The number of secrets of a list. @return the number, 0 for null */
OMBREL_API size_t ombrel_secret_list_get_count(const ombrel_secret_list_t* list);

/** @brief A name's place in the list. @return its index from 0; -1 with #def_ombrel_fault_not_found, or for
 * null */
OMBREL_API int64_t ombrel_secret_list_find(const ombrel_secret_list_t* list, const char* name);

/** @brief The name at an index. @return a text of the list; null beyond the end and for null */
OMBREL_API const char* ombrel_secret_list_get_name(const ombrel_secret_list_t* list, size_t index);
/** @brief The secret at an index. @return a record of the list; null beyond the end and for null */
OMBREL_API const ombrel_secret_t* ombrel_secret_list_get_secret(const ombrel_secret_list_t* list,
                                                                size_t index);
/** @brief The rest of a line after "NAME:SECRET:". @return a text of the list, empty for a list without
 * #def_ombrel_secret_list_more; null beyond the end and for null */
OMBREL_API const char* ombrel_secret_list_get_more(const ombrel_secret_list_t* list, size_t index);
/** @brief The number of the line with an index, from 1, for error messages about it. @return it; 0
 * beyond the end and for null */
OMBREL_API uint32_t ombrel_secret_list_get_line(const ombrel_secret_list_t* list, size_t index);

/** @brief The number of the line, from 1, for which the last read failed. @return it; 0 when no line was the
 * reason, when it did not fail and for null */
OMBREL_API uint32_t ombrel_secret_list_get_failed_line(const ombrel_secret_list_t* list);

/** @brief Whether others than its owner could read the file when it was read. @return 1 or 0; 0 for a text,
 * for null and on Windows, where rights are not looked at */
OMBREL_API int ombrel_secret_list_is_exposed(const ombrel_secret_list_t* list);
/** @} */

OMBREL_END_C

#endif
