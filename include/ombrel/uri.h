/**
 * @file uri.h
 * @brief Resource names: URIs after RFC 3986, and plain file paths.
 *
 * A text is a URI when it begins with a scheme (a letter, then letters, digits, "+", "-" or ".") and a colon.
 * Anything else is a plain path and stands for that file, taken literally; so is a text whose scheme would be
 * a single letter, because that is a drive ("c:\data"). Write "./a:b" for a file whose name looks like a URI.
 *
 * Typed names are read leniently: bytes that the standard wants encoded (spaces, quotes, anything above
 * 0x7E) stand for themselves, and so does a "%" that two hexadecimal digits do not follow. Refused in a URI
 * are control characters (below 0x20, and 0x7F), a "%00" in a component that is decoded, an unclosed bracket,
 * a bracketed host that is no IPv6 (or later) address, and a port that is not a number up to 65535.
 *
 * The functions may be called from any thread; a record is read by any number of threads at a time.
 */
#ifndef OMBREL_URI_H
#define OMBREL_URI_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * The parts of a resource name. All texts lie in the record's own block; absent ones are null, except for the
 * scheme, the path and the rest, which are always there.
 */
typedef struct ombrel_uri_ts {
    const char* m_scheme;       /**< in lower case; "file" for a plain path */
    const char* m_user;         /**< the user's name, decoded; may be empty ("ftp://@host") */
    const char* m_password;     /**< what follows the first ":" of the user information, decoded */
    const char* m_host;         /**< the host, decoded, without brackets; empty in "file:///etc" */
    int m_port;                 /**< 0 to 65535; -1 when there is none or it is empty ("host:") */
    const char* m_path;         /**< decoded: what to hand to the file system; empty when there is none */
    const char* m_encoded_path; /**< the path as written, for those who take it apart before they decode */
    const char* m_query;        /**< after the "?", as written */
    const char* m_fragment;     /**< after the "#", as written */
    const char* m_rest;         /**< all that follows the scheme's colon, as written; all of a plain path */
    int m_is_plain_path;        /**< 1 when the text had no scheme */
    int m_is_ip_literal;        /**< 1 when the host stood in brackets */
} ombrel_uri_t;

/**
 * @brief Splits a resource name into its parts.
 * @param text   the name, terminated, any bytes
 * @param caller the function for whom the block is accounted
 * @param line   its source line
 * @return the record, one block, freed by the caller with ombrel_free_uri(); null for a null or empty text,
 *         for one that is refused as told above, and when memory runs out
 */
OMBREL_API ombrel_uri_t* ombrel_parse_uri_tag(const char* text, const char* caller, unsigned long line);
/** ombrel_parse_uri_tag() with the caller's own name and line. */
#define ombrel_parse_uri(text) ombrel_parse_uri_tag((text), __func__, __LINE__)

/**
 * @brief Frees a record with all its texts.
 * @param uri    the record; null is accepted
 * @param caller the function that frees it
 * @param line   its source line
 * @return 0
 */
OMBREL_API int ombrel_free_uri_tag(ombrel_uri_t* uri, const char* caller, unsigned long line);
/** ombrel_free_uri_tag() with the caller's own name and line. */
#define ombrel_free_uri(uri) ombrel_free_uri_tag((uri), __func__, __LINE__)

/**
 * @brief Decodes a component: "%" and two hexadecimal digits become one byte.
 *
 * Unlike ombrel_decode_percent_string(), which is for forms, a "+" stays and an incomplete "%" stands for
 * itself.
 * @param text   the component
 * @param size   its bytes; decoding ends there or at a terminating zero
 * @param caller the function for whom the block is accounted
 * @param line   its source line
 * @return a new string, freed by the caller with ombrel_free(); null for a null text, for one with "%00", and
 *         when memory runs out
 */
OMBREL_API char* ombrel_decode_uri_tag(const char* text, size_t size, const char* caller, unsigned long line);
/** ombrel_decode_uri_tag() with the caller's own name and line. */
#define ombrel_decode_uri(text, size) ombrel_decode_uri_tag((text), (size), __func__, __LINE__)

OMBREL_END_C

#endif
