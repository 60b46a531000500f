/**
 * @file http_parser.h
 * @brief Messages of HTTP/1.0 and HTTP/1.1, requests and responses, parsed as they come in.
 *
 * A parser is given bytes in pieces of any size and gives events: the start line, each field, the end of the
 * head, pieces of the body, trailers, the end of the message. It is asked for one event at a time, so that
 * its user can stop anywhere, continue later with what is left, and always knows how many bytes were used:
 * those after a message belong to the next one, or to another protocol.
 *
 * @code
 * static int serve(ombrel_http_parser_t* parser, const void* data, size_t size)
 * {
 *     ombrel_http_event_t event;
 *     size_t at = 0;
 *     int step;
 *     while ((step = ombrel_http_parser_next(parser, data, size, &at, &event)) > 0)
 *         if (event.m_kind == def_ombrel_http_event_request)
 *             open_target(event.m_target.m_data, event.m_target.m_size);
 *         else if (event.m_kind == def_ombrel_http_event_body)
 *             take_body(event.m_data.m_data, event.m_data.m_size);
 *         else if (event.m_kind == def_ombrel_http_event_end)
 *             answer((event.m_flags & def_ombrel_http_head_keep_alive) != 0);
 *     return step < 0 ? refuse(ombrel_http_parser_get_fault(parser)->m_status) : 0;
 * }
 * @endcode
 *
 * The texts of an event point into the caller's piece when the whole line is in it; a line that is cut is put
 * together in the parser. Both are valid until the next call with this parser or, if earlier, until the piece
 * is gone. Events do not depend on how the bytes are cut, except for the pieces of the body.
 *
 * **Limits.** A parser holds its record (some hundred bytes) and, while a line is cut, that line; nothing
 * else of what a peer sends is kept. Lines, fields, heads, trailers and bodies have limits, which are
 * options.
 *
 * **Strictness.** Whatever two programs could read differently is refused, so that no request can hide in
 * another: bare CR and NUL anywhere; lines that end without CR; folded lines; white space between a name and
 * its colon; names that are no tokens; control characters in values; a Content-Length that is not digits
 * alone, or is there twice, or beside a Transfer-Encoding; a Transfer-Encoding that is not "chunked" alone,
 * once, and in HTTP/1.1; chunk lines with anything but a size and well-formed extensions; a Host that is
 * missing from HTTP/1.1, is there twice or is no host; targets of another form than their method wants; a
 * CONNECT with a body; lengths, codings and hosts among trailers. Flags, described below, let some of this
 * through: each says what it lets through.
 *
 * Not refused, because all programs read them alike: empty lines before a request, a status line without a
 * reason or the space before it, a Content-Length with leading zeros, HTTP/1.2 to 1.9, which are read as 1.1.
 *
 * **Threads.** A parser belongs to one thread at a time; different parsers share nothing.
 *
 * **Errors.** Each refusal has a reason (`def_ombrel_http_fault_*`), a place, a text, and the status by which
 * a server answers it; see ombrel_http_parser_get_fault(). ombrel_last_fault() is violation for messages that
 * break the rules of HTTP, too_large for limits, no_memory, invalid for null arguments.
 */
#ifndef OMBREL_HTTP_PARSER_H
#define OMBREL_HTTP_PARSER_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/http_field.h>

OMBREL_BEGIN_C

/** @name What a parser reads
 * @{ */
#define def_ombrel_http_requests 0  /**< requests, as a server does */
#define def_ombrel_http_responses 1 /**< responses, as a client does */
/** @} */

/** @name What is let through beside what the standard allows, each for peers that need it
 * @{ */
/** Lines, also of chunks, that end with LF alone. */
#define def_ombrel_http_lenient_bare_lf 0x1u
/** Lines that begin with a space or tab and continue the value before; each fold becomes one space. */
#define def_ombrel_http_lenient_fold 0x2u
/** Spaces and tabs between a field's name and its colon; they are dropped. */
#define def_ombrel_http_lenient_name_space 0x4u
/** Control characters except NUL, CR and LF in values of fields and in reasons. */
#define def_ombrel_http_lenient_value 0x8u
/** Bytes above 0x7F and "#" in targets. */
#define def_ombrel_http_lenient_target 0x10u
/** Content-Length more than once, in one line or in several, when all say the same. */
#define def_ombrel_http_lenient_lengths 0x20u
/** Content-Length beside Transfer-Encoding, which then counts; the connection is not kept alive. */
#define def_ombrel_http_lenient_both 0x40u
/** Requests without Host, or with one that is empty or no host; two Host fields stay refused. */
#define def_ombrel_http_lenient_host 0x80u
/** Spaces and tabs after the size in a chunk's line, and extensions of any visible characters. */
#define def_ombrel_http_lenient_chunk_line 0x100u
/** All of these. */
#define def_ombrel_http_lenient_all 0x1FFu
/** @} */

/** Settings of a parser. Sizes are bytes with line ends; a limit of 0 is refused when opening, except the
 * body's. */
typedef struct ombrel_http_parser_options_ts {
    uint32_t m_flags;           /**< def_ombrel_http_lenient_*; 0 */
    size_t m_start_line_limit;  /**< longest start line; 8192 */
    size_t m_field_line_limit;  /**< longest line of a field, folds included; 8192 */
    size_t m_field_count_limit; /**< fields of a message, trailers included; 100 */
    size_t m_head_limit;        /**< start line, fields and the empty line together; 65536 */
    size_t m_chunk_line_limit;  /**< longest line of a chunk; 256 */
    size_t m_trailer_limit;     /**< all trailers and all extensions of chunks together; 8192 */
    int64_t
        m_body_limit; /**< longest body, without the framing; 0 for none at all, negative for any; 16 MiB */
} ombrel_http_parser_options_t;

/** @name Kinds of events, in the order of a message
 * @{ */
#define def_ombrel_http_event_request 1  /**< the start line: m_method, m_target, m_target_form, m_version */
#define def_ombrel_http_event_response 2 /**< the start line: m_status, m_reason, m_version */
#define def_ombrel_http_event_field 3    /**< a field of the head: m_name, m_value */
#define def_ombrel_http_event_head 4     /**< the head is complete: m_body, m_length, m_flags */
#define def_ombrel_http_event_body 5     /**< a piece of the body, never empty: m_data */
#define def_ombrel_http_event_trailer 6  /**< a field after a chunked body: m_name, m_value */
#define def_ombrel_http_event_end 7      /**< the message is complete: m_body, m_length, m_flags again */
/** @} */

/** @name What follows a head
 * @{ */
#define def_ombrel_http_body_none 0    /**< nothing */
#define def_ombrel_http_body_length 1  /**< m_length bytes, which may be 0 */
#define def_ombrel_http_body_chunked 2 /**< chunks; trailers may follow */
#define def_ombrel_http_body_close 3   /**< all until the peer closes the connection; responses only */
/** Another protocol, after 101 or a 2xx response to CONNECT. The end of the message follows at once, and
 * nothing after it is used. */
#define def_ombrel_http_body_tunnel 4
/** @} */

/** @name What a head says
 * @{ */
/** Another message may follow on the connection. Where it may not, the parser uses nothing after this one:
 * close it once the exchange is done. Nor may it after CONNECT, as the bytes that follow could be meant for
 * the tunnel. */
#define def_ombrel_http_head_keep_alive 0x1u
/** Upgrade is there and named by Connection. A server that agrees sends 101, and what follows the message
 * belongs to the new protocol; one that does not agree goes on with HTTP. */
#define def_ombrel_http_head_upgrade 0x2u
#define def_ombrel_http_head_continue 0x4u     /**< "Expect: 100-continue", in an HTTP/1.1 request */
#define def_ombrel_http_head_expect_other 0x8u /**< an Expect of another kind, to be answered by 417 */
#define def_ombrel_http_head_interim 0x10u     /**< a response 100 or 102 to 199: the final one follows */
/** @} */

/** One event. Only the fields that its kind lists are set. Texts are not terminated. */
typedef struct ombrel_http_event_ts {
    int m_kind;        /**< def_ombrel_http_event_* */
    int m_version;     /**< 10 or 11 */
    int m_status;      /**< 100 to 999 */
    int m_target_form; /**< def_ombrel_http_target_*, as ombrel_split_http_target() tells it */
    int m_body;        /**< def_ombrel_http_body_* */
    uint32_t m_flags;  /**< def_ombrel_http_head_* */
    int64_t m_length;  /**< the Content-Length; -1 when there is none. Without a body it may be above 0: the
                          length that the answer to GET would have */
    ombrel_http_text_t m_method; /**< "GET"; upper and lower case differ */
    ombrel_http_text_t m_target; /**< as sent: for ombrel_split_http_target() */
    ombrel_http_text_t m_reason; /**< may be empty */
    ombrel_http_text_t m_name;   /**< as sent, compared by ombrel_is_http_name() */
    ombrel_http_text_t m_value;  /**< without white space around; may be empty */
    ombrel_http_text_t m_data;   /**< bytes of the body, always in the caller's piece */
} ombrel_http_event_t;

/** @name Why a message was refused
 * The status by which a server answers stands in brackets.
 * @{ */
#define def_ombrel_http_fault_none 0       /**< nothing was */
#define def_ombrel_http_fault_start_line 1 /**< the start line does not have three parts [400] */
#define def_ombrel_http_fault_method 2     /**< the method is no token [400] */
#define def_ombrel_http_fault_target 3  /**< the target is malformed, or not allowed for this method [400] */
#define def_ombrel_http_fault_version 4 /**< the version is malformed [400] */
#define def_ombrel_http_fault_other_version 5   /**< neither HTTP/1.0 nor 1.1 [505] */
#define def_ombrel_http_fault_status 6          /**< the status is not three digits from 100 on */
#define def_ombrel_http_fault_long_start_line 7 /**< start line above the limit [414] */
#define def_ombrel_http_fault_bare_lf 8         /**< a line ends without CR [400] */
#define def_ombrel_http_fault_bare_cr 9         /**< CR within a line [400] */
#define def_ombrel_http_fault_fold 10           /**< a line begins with white space [400] */
#define def_ombrel_http_fault_name 11           /**< a field's name is no token [400] */
#define def_ombrel_http_fault_name_space 12     /**< white space before the colon [400] */
#define def_ombrel_http_fault_colon 13          /**< a field without a colon [400] */
#define def_ombrel_http_fault_value 14          /**< a control character in a value or reason [400] */
#define def_ombrel_http_fault_long_field 15     /**< line of a field above the limit [431] */
#define def_ombrel_http_fault_many_fields 16    /**< more fields than the limit [431] */
#define def_ombrel_http_fault_large_head 17     /**< head above the limit [431] */
#define def_ombrel_http_fault_no_host 18        /**< HTTP/1.1 without Host [400] */
#define def_ombrel_http_fault_two_hosts 19      /**< two Host fields [400] */
#define def_ombrel_http_fault_host 20           /**< the Host is empty or no host [400] */
#define def_ombrel_http_fault_length 21         /**< the Content-Length is not a number, or too large [400] */
#define def_ombrel_http_fault_two_lengths 22    /**< two Content-Lengths [400] */
#define def_ombrel_http_fault_both_lengths 23   /**< Content-Length and Transfer-Encoding [400] */
#define def_ombrel_http_fault_coding 24         /**< malformed, or chunked is not last or there twice [400] */
#define def_ombrel_http_fault_other_coding 25   /**< a coding beside chunked [501] */
#define def_ombrel_http_fault_old_coding 26     /**< a Transfer-Encoding in HTTP/1.0 [400] */
#define def_ombrel_http_fault_connect_body 27   /**< a CONNECT with a body [400] */
#define def_ombrel_http_fault_chunk_size 28     /**< the chunk's size is not a number, or too large [400] */
#define def_ombrel_http_fault_chunk_line 29     /**< something else after the chunk's size [400] */
#define def_ombrel_http_fault_long_chunk_line 30 /**< line of a chunk above the limit [400] */
#define def_ombrel_http_fault_chunk_end 31       /**< no line end after the chunk's bytes [400] */
#define def_ombrel_http_fault_trailer 32         /**< a field that may not be a trailer [400] */
#define def_ombrel_http_fault_large_trailers 33  /**< trailers and extensions above the limit [431] */
#define def_ombrel_http_fault_large_body 34      /**< body above the limit [413] */
#define def_ombrel_http_fault_incomplete 35      /**< the peer closed within the message [400] */
#define def_ombrel_http_fault_no_memory 36       /**< memory for a cut line ran out [503] */
/** @} */

/** Why and where a message was refused. */
typedef struct ombrel_http_fault_ts {
    int m_reason; /**< def_ombrel_http_fault_* */
    int m_status; /**< by which a server answers it; 502 for responses, as a gateway answers; 0 for none */
    int64_t m_offset; /**< bytes between the connection's beginning and what was refused */
} ombrel_http_fault_t;

/** @name Where a parser is
 * @{ */
#define def_ombrel_http_state_idle 0    /**< before a message of which nothing has come yet */
#define def_ombrel_http_state_head 1    /**< in a head */
#define def_ombrel_http_state_body 2    /**< after a head, before the message's end */
#define def_ombrel_http_state_done 3    /**< after the last message of the connection: nothing more is used */
#define def_ombrel_http_state_refused 4 /**< a message was refused */
/** @} */

/** A parser; opaque. */
typedef struct ombrel_http_parser_ts ombrel_http_parser_t;

/**
 * @brief Fills settings with their defaults.
 * @param options the settings
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_init_http_parser_options(ombrel_http_parser_options_t* options);

/**
 * @brief A parser for one connection.
 * @param role     def_ombrel_http_requests or def_ombrel_http_responses
 * @param options  the settings, copied; null for the defaults
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the parser, closed by ombrel_close_http_parser(); null with invalid (another role, unknown flags, a
 *         limit below 1) or no_memory
 */
OMBREL_API ombrel_http_parser_t* ombrel_open_http_parser_tag(int role,
                                                             const ombrel_http_parser_options_t* options,
                                                             const char* function, unsigned long line);
/** ombrel_open_http_parser_tag() with the caller's own name and line. */
#define ombrel_open_http_parser(role, options)                                                               \
    ombrel_open_http_parser_tag((role), (options), __func__, __LINE__)

/**
 * @brief Frees a parser.
 * @param parser the parser, or null
 * @return 0
 */
OMBREL_API int ombrel_close_http_parser(ombrel_http_parser_t* parser);

/**
 * @brief Resets a parser for another connection. Its settings stay.
 * @param parser the parser
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_http_parser_reset(ombrel_http_parser_t* parser);

/**
 * @brief Gives the next event.
 *
 * Call it until it does not give 1. When it gives 0 all bytes of the piece are used, or the parser is done
 * (def_ombrel_http_state_done) and leaves the rest, from `*at` on, to the caller; the next piece begins at 0
 * again. A caller who stops earlier passes the rest again later, at any address, with what came since.
 * @param parser the parser
 * @param data   the piece
 * @param size   its bytes; 0 gives events that need no more bytes
 * @param at     how many of them are used, advanced by the call; 0 for a new piece
 * @param event  receives the event
 * @return 1 with an event; 0 when it needs more bytes or is done; -1 when the message is refused, also at
 * every later call, and for null arguments or `*at` above `size`
 */
OMBREL_API int ombrel_http_parser_next(ombrel_http_parser_t* parser, const void* data, size_t size,
                                       size_t* at, ombrel_http_event_t* event);

/**
 * @brief Says that the peer has closed its side, which is the end of bodies without a length.
 * @param parser the parser; it is done afterwards
 * @param event  receives the end of a message that ends this way
 * @return 1 with the event; 0 when no message was under way; -1 for a message that is incomplete (then
 *         def_ombrel_http_fault_incomplete) or was refused before
 */
OMBREL_API int ombrel_http_parser_end(ombrel_http_parser_t* parser, ombrel_http_event_t* event);

/** @name What a response answers
 * @{ */
#define def_ombrel_http_answer_any 0     /**< a request of another method */
#define def_ombrel_http_answer_head 1    /**< HEAD: no body follows, whatever the fields say */
#define def_ombrel_http_answer_connect 2 /**< CONNECT: a 2xx response opens a tunnel */
/** @} */

/**
 * @brief Tells a parser of responses what the next response answers. It holds until the end of that response;
 * interim ones before it do not count. Without it a response answers any other method.
 * @param parser the parser, before the response's head is complete
 * @param answer def_ombrel_http_answer_*
 * @return 0; -1 for null, for a parser of requests and for another number
 */
OMBREL_API int ombrel_http_parser_expect(ombrel_http_parser_t* parser, int answer);

/**
 * @brief Sets the limit of the body for the message under way, or the next one, in place of the option's.
 *
 * A server that knows by the target how much it takes sets it before the head is complete: a Content-Length
 * above it is refused in place of the head's event. Set later, it holds for the rest of the body.
 * @param parser the parser
 * @param limit  bytes; negative for none
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_http_parser_set_body_limit(ombrel_http_parser_t* parser, int64_t limit);

/**
 * @brief Where a parser is.
 * @param parser the parser
 * @return def_ombrel_http_state_*; -1 for null
 */
OMBREL_API int ombrel_http_parser_get_state(const ombrel_http_parser_t* parser);

/**
 * @brief Why and where a message was refused.
 * @param parser the parser
 * @return a record in the parser, with the reason none while nothing was refused; null for null
 */
OMBREL_API const ombrel_http_fault_t* ombrel_http_parser_get_fault(const ombrel_http_parser_t* parser);

/**
 * @brief A reason in words for people: "two Content-Length fields".
 * @param reason def_ombrel_http_fault_*
 * @return a static text; "unknown" for another number
 */
OMBREL_API const char* ombrel_http_fault_text(int reason);

OMBREL_END_C

#endif
