/**
 * @file http_field.h
 * @brief The contents of the fields and targets of HTTP: lists, parameters, media types, accept lists,
 * ranges, cookies, entity tags, dates, hosts, targets and paths; and a list of fields.
 *
 * Values are read in place, in texts of a pointer and a size that need not be terminated, and parsed without
 * allocating: the parts point into the text. Functions `ombrel_next_http_*` step through a value; each call
 * gives 1 and an element, 0 at the end, or -1 where the value is malformed: `at` is then the place of what
 * could not be read:
 *
 * @code
 * ombrel_http_text_t coding;
 * size_t at = 0;
 * while (ombrel_next_http_element(value, size, &at, &coding) == 1)
 *     if (ombrel_is_http_name(coding.m_data, coding.m_size, "gzip"))
 *         use_gzip();
 * @endcode
 *
 * A null text of 0 bytes is an empty one. Functions that write a text into a buffer terminate it, give its
 * bytes without the terminator, and -1 with too_large where it does not fit; they never cut.
 *
 * **Threads.** All may be called from any thread; a list of fields belongs to one at a time.
 *
 * **Errors** (ombrel_last_fault()): violation for a value that is malformed, too_large for a buffer or limit,
 * invalid for null arguments, no_memory.
 */
#ifndef OMBREL_HTTP_FIELD_H
#define OMBREL_HTTP_FIELD_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/calendar.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes somewhere, not terminated. */
typedef struct ombrel_http_text_ts {
    const char* m_data; /**< may be null when the size is 0 */
    size_t m_size;      /**< their number */
} ombrel_http_text_t;

/**
 * @name Words
 * @{
 */

/** @brief The usual reason phrase of a status: "Not Found". @return a static text; "Unknown" for a status
 * without one */
OMBREL_API const char* ombrel_http_status_text(int status);

/** @brief Whether a text is a token: letters, digits and "!#$%&'*+-.^_`|~", one or more. @return 1 or 0 */
OMBREL_API int ombrel_is_http_token(const char* text, size_t size);

/** @brief Whether a text may be a value: no control characters except the tab. @return 1 or 0 */
OMBREL_API int ombrel_is_http_value(const char* text, size_t size);

/**
 * @brief Whether a text is a word, ignoring the case of ASCII letters, as names of fields, codings and
 * parameters are compared.
 * @param text the text
 * @param size its bytes
 * @param name the word, terminated
 * @return 1 or 0
 */
OMBREL_API int ombrel_is_http_name(const char* text, size_t size, const char* name);

/** @} */
/**
 * @name Lists and parameters
 * @{
 */

/**
 * @brief The next element of a list with commas. Commas in quoted strings do not separate; empty elements are
 * passed over.
 * @param text    the list
 * @param size    its bytes
 * @param at      0 for the first call; advanced by each
 * @param element receives the element without white space around it
 * @return 1; 0 at the end; -1 for a quoted string that does not end
 */
OMBREL_API int ombrel_next_http_element(const char* text, size_t size, size_t* at,
                                        ombrel_http_text_t* element);

/** @brief Whether a list has an element that is a word, in either case. @return 1 or 0 */
OMBREL_API int ombrel_has_http_element(const char* text, size_t size, const char* name);

/** A parameter, `name=value` or `name="value"`. */
typedef struct ombrel_http_parameter_ts {
    ombrel_http_text_t m_name;  /**< a token */
    ombrel_http_text_t m_value; /**< without quotes; in quoted ones backslashes stand as they were sent */
    int m_is_quoted;            /**< 1 for a quoted value, to be read by ombrel_unquote_http_text() */
} ombrel_http_parameter_t;

/**
 * @brief The next parameter of a value: of `; charset=utf-8; x="y"` with the separator ";", of
 * `realm="a", nonce="b"` with ",". A separator may stand first, and nothing between two.
 * @param text      the parameters
 * @param size      their bytes
 * @param separator ";" or ","
 * @param at        0 for the first call; advanced by each
 * @param parameter receives the parameter
 * @return 1; 0 at the end; -1 for a malformed parameter
 */
OMBREL_API int ombrel_next_http_parameter(const char* text, size_t size, char separator, size_t* at,
                                          ombrel_http_parameter_t* parameter);

/**
 * @brief The value of the parameter with a name, unquoted.
 * @param text   parameters separated by ";"
 * @param size   their bytes
 * @param name   the name; letters match either case
 * @param buf    receives the value
 * @param room   its bytes
 * @return bytes of the value; -1 with not_found, or when the parameters before it are malformed
 */
OMBREL_API int64_t ombrel_get_http_parameter(const char* text, size_t size, const char* name, char* buf,
                                             size_t room);

/**
 * @brief Reads the inside of a quoted string: each backslash goes, the character after it stays.
 * @return bytes of the text; -1
 */
OMBREL_API int64_t ombrel_unquote_http_text(const char* text, size_t size, char* buf, size_t room);

/**
 * @brief Writes a quoted string, quotes included; quotes and backslashes in it get a backslash. Control
 * characters except the tab are refused with invalid.
 * @return bytes of the text; -1
 */
OMBREL_API int64_t ombrel_quote_http_text(const char* text, size_t size, char* buf, size_t room);

/** @} */
/**
 * @name Media types and what is accepted
 * @{
 */

/** A media type: `text/html; charset=utf-8`. */
typedef struct ombrel_http_media_ts {
    ombrel_http_text_t m_type;       /**< "text" */
    ombrel_http_text_t m_subtype;    /**< "html" */
    ombrel_http_text_t m_essence;    /**< both: "text/html" */
    ombrel_http_text_t m_parameters; /**< from the first ";" on, for ombrel_get_http_parameter() */
} ombrel_http_media_t;

/** @brief Parses a Content-Type; its parameters have to be well-formed too. @return 0; -1 */
OMBREL_API int ombrel_parse_http_media(const char* text, size_t size, ombrel_http_media_t* media);

/** @name Kinds of accept lists
 * @{ */
#define def_ombrel_http_accept_media 0    /**< Accept: media types, also with stars in place of parts */
#define def_ombrel_http_accept_coding 1   /**< Accept-Encoding: words; "identity" is good unless refused */
#define def_ombrel_http_accept_language 2 /**< Accept-Language: "en" is good for "en-GB" */
/** @} */

/**
 * @brief How good an offer is to a peer, by the most specific element of the list that fits.
 * @param kind  def_ombrel_http_accept_*
 * @param text  the list; null where the field was not sent, which accepts all
 * @param size  its bytes; an empty list accepts all, except for codings, of which it accepts only "identity"
 * @param offer what is offered: "text/html" (parameters do not count), "gzip", "en-GB"
 * @return 0, not at all, to 1000; -1 for a malformed list
 */
OMBREL_API int ombrel_get_http_quality(int kind, const char* text, size_t size, const char* offer);

/**
 * @brief The best of several offers; of equal ones the first.
 * @param kind   def_ombrel_http_accept_*
 * @param text   the list; null where the field was not sent
 * @param size   its bytes
 * @param offers the offers
 * @param count  their number
 * @return the offer's index; -1 with not_found when none is accepted, with violation for a malformed list
 */
OMBREL_API int ombrel_choose_http_offer(int kind, const char* text, size_t size, const char* const* offers,
                                        int count);

/** @} */
/**
 * @name Ranges
 * @{
 */

/** Bytes of a representation. */
typedef struct ombrel_http_range_ts {
    int64_t m_first; /**< offset of the first byte */
    int64_t m_size;  /**< bytes, 1 or more */
} ombrel_http_range_t;

/**
 * @brief Reads a Range: "bytes=0-499,-500". What reaches beyond the end is cut, what begins there left out,
 * and ranges that overlap or touch become one, at the place of the first: together they are never more than
 * `total`.
 * @param text   the field
 * @param size   its bytes
 * @param total  bytes of the representation
 * @param ranges receives the ranges
 * @param limit  how many may be asked for, those left out too; 16 is plenty
 * @return ranges received, 1 or more; 0 when none is satisfiable (answered by 416); -1 when the field is to
 * be ignored (and the whole sent): malformed, of another unit, or too_large for more than `limit`
 */
OMBREL_API int ombrel_parse_http_ranges(const char* text, size_t size, int64_t total,
                                        ombrel_http_range_t* ranges, int limit);

/**
 * @brief Writes a Content-Range: "bytes 0-499/1234".
 * @param range the range; null for "bytes * /1234" (without the space), which goes with 416
 * @param total bytes of the representation; negative when not known, "*"
 * @param buf   receives the value
 * @param room  its bytes; 72 are enough
 * @return bytes of the text; -1
 */
OMBREL_API int64_t ombrel_format_http_content_range(const ombrel_http_range_t* range, int64_t total,
                                                    char* buf, size_t room);

/**
 * @brief Reads a Content-Range.
 * @param text  the field
 * @param size  its bytes
 * @param range receives the range; first -1 and size 0 for an unsatisfied one
 * @param total receives the representation's bytes, -1 when the field does not say
 * @return 0; -1 for a malformed one, an end before the beginning or beyond the total, another unit
 */
OMBREL_API int ombrel_parse_http_content_range(const char* text, size_t size, ombrel_http_range_t* range,
                                               int64_t* total);

/** @} */
/**
 * @name Entity tags and dates
 * @{
 */

/** An entity tag: `W/"x"`. */
typedef struct ombrel_http_entity_tag_ts {
    ombrel_http_text_t m_value; /**< what stands between the quotes; nothing in it is escaped */
    int m_is_weak;              /**< 1 after "W/" */
    int m_is_any;               /**< 1 for "*" in place of a tag */
} ombrel_http_entity_tag_t;

/** @brief The next entity tag of an If-Match or If-None-Match. "*" stands alone. @return 1; 0; -1 */
OMBREL_API int ombrel_next_http_entity_tag(const char* text, size_t size, size_t* at,
                                           ombrel_http_entity_tag_t* tag);

/**
 * @brief Whether a list has an entity tag.
 * @param text      the list, "*" fits any tag
 * @param size      its bytes
 * @param tag       a tag as sent, `"x"` or `W/"x"`; null where there is no representation, which not even "*"
 * fits
 * @param is_strong non-zero for the strong comparison (If-Match, If-Range): no weak tag fits then
 * @return 1; 0; -1 for a malformed list or tag
 */
OMBREL_API int ombrel_match_http_entity_tag(const char* text, size_t size, const char* tag, int is_strong);

/**
 * @brief Reads a date in one of the three forms of HTTP and no other, with ombrel_parse_http_date().
 * @param text    the field
 * @param size    its bytes
 * @param instant receives the moment
 * @return 0; -1
 */
OMBREL_API int ombrel_read_http_date(const char* text, size_t size, ombrel_instant_t* instant);

/** What a request may ask about a representation before it is sent or changed. Null texts were not sent. */
typedef struct ombrel_http_conditions_ts {
    ombrel_http_text_t m_if_match;            /**< the field If-Match */
    ombrel_http_text_t m_if_none_match;       /**< the field If-None-Match */
    ombrel_http_text_t m_if_modified_since;   /**< the field If-Modified-Since, looked at for GET and HEAD */
    ombrel_http_text_t m_if_unmodified_since; /**< the field If-Unmodified-Since */
    ombrel_http_text_t m_if_range;            /**< the field If-Range */
} ombrel_http_conditions_t;

/**
 * @brief Decides by a request's conditions, in the order of the standard.
 * @param conditions the fields; malformed ones are ignored, except that a malformed If-Match fails
 * @param is_read    non-zero for GET and HEAD
 * @param tag        the representation's entity tag; null for none
 * @param modified   when it was changed last; null when not known
 * @return 200 to go on, 304 not modified, 412 precondition failed; -1 for null conditions
 */
OMBREL_API int ombrel_check_http_conditions(const ombrel_http_conditions_t* conditions, int is_read,
                                            const char* tag, const ombrel_instant_t* modified);

/**
 * @brief Whether a Range counts, after If-Range.
 * @param conditions the fields
 * @param tag        the representation's entity tag; null for none
 * @param modified   when it was changed last; null when not known
 * @return 1, also without If-Range; 0 when the whole is to be sent; -1 for null conditions
 */
OMBREL_API int ombrel_check_http_range_condition(const ombrel_http_conditions_t* conditions, const char* tag,
                                                 const ombrel_instant_t* modified);

/** @} */
/**
 * @name Cookies
 * @{
 */

/** A cookie of a request. */
typedef struct ombrel_http_cookie_ts {
    ombrel_http_text_t m_name;  /**< a token */
    ombrel_http_text_t m_value; /**< without quotes around it */
} ombrel_http_cookie_t;

/** @brief The next cookie of a Cookie field. Whatever is not a cookie is passed over. @return 1; 0 at the
 * end; -1 */
OMBREL_API int ombrel_next_http_cookie(const char* text, size_t size, size_t* at,
                                       ombrel_http_cookie_t* cookie);

/** @name Whether other sites' requests bring a cookie
 * @{ */
#define def_ombrel_http_same_site_unset 0  /**< the browser's default */
#define def_ombrel_http_same_site_strict 1 /**< never */
#define def_ombrel_http_same_site_lax 2    /**< when one follows a link */
#define def_ombrel_http_same_site_none 3   /**< always; goes with m_is_secure */
/** @} */

/** A cookie as a server sets it. */
typedef struct ombrel_http_set_cookie_ts {
    ombrel_http_text_t m_name; /**< a token */
    ombrel_http_text_t
        m_value; /**< visible characters except quotes, commas, ";" and the backslash; may be empty */
    ombrel_http_text_t m_path;   /**< from "/" on; empty for none */
    ombrel_http_text_t m_domain; /**< without a leading point; empty for the host alone */
    int64_t m_max_age; /**< seconds that it lives, 0 to remove it; negative for as long as the session */
    int64_t
        m_expires; /**< seconds since 1970 when it expires; INT64_MIN for none. m_max_age takes precedence */
    int m_is_secure;    /**< only over protected connections */
    int m_is_http_only; /**< not for scripts */
    int m_same_site;    /**< def_ombrel_http_same_site_* */
} ombrel_http_set_cookie_t;

/** @brief Makes a cookie without a name that lives as long as the session, for its user to fill. @return 0;
 * -1 */
OMBREL_API int ombrel_init_http_set_cookie(ombrel_http_set_cookie_t* cookie);

/** @brief Writes a Set-Cookie; parts that could break out of their place are refused with invalid. @return
 * bytes; -1
 */
OMBREL_API int64_t ombrel_format_http_set_cookie(const ombrel_http_set_cookie_t* cookie, char* buf,
                                                 size_t room);

/** @brief Reads a Set-Cookie; unknown or malformed attributes are ignored. @return 0; -1 */
OMBREL_API int ombrel_parse_http_set_cookie(const char* text, size_t size, ombrel_http_set_cookie_t* cookie);

/** @} */
/**
 * @name Targets, hosts and paths
 * @{
 */

/** A host and, where given, its port. */
typedef struct ombrel_http_authority_ts {
    ombrel_http_text_t m_host; /**< without the brackets of an IPv6 address */
    int m_port;                /**< 0 to 65535; -1 when there is none */
    int m_is_ip_literal;       /**< 1 when the host stood in brackets */
} ombrel_http_authority_t;

/**
 * @brief Reads the value of a Host field: "example.org:8080", "[::1]". A name has letters, digits, "-", "."
 * and "_" alone; brackets hold an IPv6 address.
 * @return 0; -1 for what is not a host, an empty text included
 */
OMBREL_API int ombrel_parse_http_authority(const char* text, size_t size, ombrel_http_authority_t* authority);

/** @name Forms of a request's target
 * @{ */
#define def_ombrel_http_target_origin 0    /**< "/path?query" */
#define def_ombrel_http_target_absolute 1  /**< "http://host:port/path?query" */
#define def_ombrel_http_target_authority 2 /**< "host:port", of CONNECT */
#define def_ombrel_http_target_asterisk 3  /**< "*", of OPTIONS */
/** @} */

/** The parts of a request's target. */
typedef struct ombrel_http_target_ts {
    int m_form;                  /**< def_ombrel_http_target_* */
    ombrel_http_text_t m_scheme; /**< of the absolute form */
    ombrel_http_authority_t
        m_authority;            /**< of the absolute and the authority form; it takes precedence over Host */
    ombrel_http_text_t m_path;  /**< encoded; "/" where an absolute form has none; else empty */
    ombrel_http_text_t m_query; /**< after the "?" */
    int m_has_query;            /**< 1 when there is a "?" */
} ombrel_http_target_t;

/**
 * @brief Splits the target of a request into its parts. The absolute form is that of http and https, without
 * user information.
 * @param method the request's method, which decides about the authority form and the asterisk
 * @param text   the target
 * @param target receives the parts
 * @return 0; -1 for a malformed target, or one that the method does not allow
 */
OMBREL_API int ombrel_split_http_target(ombrel_http_text_t method, ombrel_http_text_t text,
                                        ombrel_http_target_t* target);

/**
 * @brief Decodes a part of a target once: "%" and two hexadecimal digits become a byte.
 * @param text   the part, or what stands in a query
 * @param size   its bytes
 * @param is_form non-zero makes "+" a space
 * @param buf    receives the text
 * @param room   its bytes; `size` and 1 are enough
 * @return bytes of the text; -1, with an empty text, for "%00", a NUL, and "%" without two digits
 */
OMBREL_API int64_t ombrel_decode_http_text(const char* text, size_t size, int is_form, char* buf,
                                           size_t room);

/**
 * @brief Turns the path of a request into a path below a directory: decodes it once and resolves "." and
 * "..".
 *
 * The result has no "/" at its beginning and one between two names; one at the end stays, because it asks for
 * a directory. It is empty for "/". Refused are paths that do not begin with "/" or lead above their
 * beginning, and in what is decoded: "/" and backslashes (so that nothing becomes two names), control
 * characters, names that are "." or ".." only once they are decoded, and bytes that are not UTF-8. Other
 * meanings that the host's file system gives to names (drives, devices, links) are left to whoever opens the
 * file.
 * @param text the path, encoded, as ombrel_split_http_target() gives it
 * @param size its bytes
 * @param buf  receives the path
 * @param room its bytes, at least `size` and 1
 * @return bytes of the path; -1
 */
OMBREL_API int64_t ombrel_clean_http_path(const char* text, size_t size, char* buf, size_t room);

/** @} */
/**
 * @name Lists of fields
 *
 * The fields of a message, copied, in their order. Names and values are terminated, too.
 * @{
 */

/** A list of fields; opaque. */
typedef struct ombrel_http_fields_ts ombrel_http_fields_t;

/**
 * @brief An empty list.
 * @param limit    bytes that all names, values and their terminators may take; 0 for 64 KiB
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the list, closed by ombrel_close_http_fields(); null with no_memory
 */
OMBREL_API ombrel_http_fields_t* ombrel_open_http_fields_tag(size_t limit, const char* function,
                                                             unsigned long line);
/** ombrel_open_http_fields_tag() with the caller's own name and line. */
#define ombrel_open_http_fields(limit) ombrel_open_http_fields_tag((limit), __func__, __LINE__)

/** @brief Frees a list. @param fields the list, or null @return 0 */
OMBREL_API int ombrel_close_http_fields(ombrel_http_fields_t* fields);

/** @brief Removes all fields; the memory stays for the next ones. @return 0; -1 for null */
OMBREL_API int ombrel_http_fields_clear(ombrel_http_fields_t* fields);

/**
 * @brief Adds a copy of a field at the end, beside those of its name.
 * @param fields the list
 * @param name   a token, which is not one of this list
 * @param value  a value as ombrel_is_http_value() has it, which is not one of this list
 * @return 0; -1 with invalid, too_large, no_memory; the list is unchanged then
 */
OMBREL_API int ombrel_http_fields_add(ombrel_http_fields_t* fields, ombrel_http_text_t name,
                                      ombrel_http_text_t value);

/** @brief How many fields there are. @return the number; -1 for null */
OMBREL_API int64_t ombrel_http_fields_get_count(const ombrel_http_fields_t* fields);

/**
 * @brief The field with an index.
 * @param fields the list
 * @param index  from 0 on
 * @param name   receives the name; may be null
 * @param value  receives the value; may be null. Both stay until the list is changed.
 * @return 1; 0 beyond the last; -1 for null
 */
OMBREL_API int ombrel_http_fields_get_at(const ombrel_http_fields_t* fields, int64_t index,
                                         ombrel_http_text_t* name, ombrel_http_text_t* value);

/**
 * @brief The value of the first field with a name.
 * @param fields the list
 * @param name   the name; letters match either case
 * @return the value, terminated, until the list is changed; null when there is none, and for null
 */
OMBREL_API const char* ombrel_http_fields_get(const ombrel_http_fields_t* fields, const char* name);

/**
 * @brief The values of all fields with a name as one list, joined by ", ".
 * @param fields   the list
 * @param name     the name
 * @param function the function for whom the memory is accounted
 * @param line     its source line
 * @return the text, freed with ombrel_free(); null with not_found or no_memory
 */
OMBREL_API char* ombrel_http_fields_alloc_joined_tag(const ombrel_http_fields_t* fields, const char* name,
                                                     const char* function, unsigned long line);
/** ombrel_http_fields_alloc_joined_tag() with the caller's own name and line. */
#define ombrel_http_fields_alloc_joined(fields, name)                                                        \
    ombrel_http_fields_alloc_joined_tag((fields), (name), __func__, __LINE__)

/** @} */

OMBREL_END_C

#endif
