/**
 * @file plugin_curl.h
 * @brief What contexts of the plug-in "ombrel_plugin_curl" understand: streams over HTTP, HTTPS and FTP by
 * libcurl.
 *
 * The plug-in is a library of its own, built where libcurl is installed. The built-in plug-in loads it when
 * it finds it; ombrel_load_plugin() loads it from anywhere.
 *
 * @par Opening
 * It serves "application/tuk_stream" with a "source" of the scheme http, https or ftps, and
 * "application/tuk_stream_curl" with ftp besides; everything else it leaves to other plug-ins. A number among
 * the options is a decimal one of 32 bits ("size": of 64), with a "-" where it is negative; anything else
 * fails with "invalid argument". For reading, opening waits for the beginning of the answer. A status of 400
 * and above fails it: 404 and 410 with "not found", 401, 403 and 407 with "access denied", others with
 * "protocol".
 *
 * - `source`: the URI; user and password may be in it
 * - `mode`: "r" fetches (default); "w" sends what is written; "a" appends it, FTP only
 * - `httpheader`: header lines for the request, separated by line feeds
 * - `method`: the request's method instead of GET, or of PUT when sending
 * - `size`: bytes that will be sent, where the server wants to know them before
 * - `range`: part of the resource, such as "0-499"
 * - `timeout`: milliseconds without any progress after which a call fails with "timed out"; 60000 by default;
 *   negative for no limit
 * - `any_status`: not 0: an answer of any status opens, and its body can be read
 * - `redirects`: how many redirections to follow, 10 by default; with 0 and `any_status` a redirection is an
 *   answer like others
 * - `user`: "name:password"
 * - `user_agent`: what to call oneself; "ombrel_tuk/" and the version by default
 * - `proxy`: address of a proxy; empty for none, whatever the environment says
 * - `cainfo`: file of certificates to trust
 * - `insecure`: not 0: certificates are not checked
 * - `progress`: not 0: a progress bar on standard output
 * - `verbose`, `debug`: not 0: what happens, and with "debug" the headers too, on standard error
 *
 * @par Using
 * Reading gives the body as it comes; what has come and is not read yet stays within 16 KiB here and the
 * transport's own window. A sender's first read ends what it sends and reads the answer; closing does the
 * same and fails when the server did not take it. Seeking is not supported. The environment
 * (ombrel_ctx_get_env()) has "response_code", "content_length", "content_type", "effective_url", "headers"
 * (all header lines of the last answer) and "error" (what libcurl said); any other name is that of a header
 * field.
 *
 * Every wait also ends when the global break is set.
 */
#ifndef OMBREL_PLUGIN_CURL_H
#define OMBREL_PLUGIN_CURL_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The plug-in's base name without the platform's suffix. */
#define def_ombrel_plugin_curl_name "ombrel_plugin_curl"
/** The type under which it serves everything that it can. */
#define def_ombrel_plugin_curl_mime_type "application/tuk_stream_curl"

/** Control operation: what is known of the transfer; fills an ombrel_curl_response_t. A sender's body is
 * ended and its answer waited for. */
#define def_ombrel_curl_control_get_response 0x10001u
/** Control operation of ombrel_ctx_bcontrol(): takes the name of a header field, or nothing for all header
 * lines of the last answer; gives the field's value or the lines, without a terminator. Fails with "not
 * found". */
#define def_ombrel_curl_control_get_header 0x10002u

/** Record of #def_ombrel_curl_control_get_response. */
typedef struct ombrel_curl_response_ts {
    int32_t m_code;           /**< status of HTTP or reply of FTP; 0 before there is one */
    int32_t m_redirects;      /**< redirections that were followed */
    int64_t m_content_length; /**< bytes of the body as announced; -1 when they were not */
    int64_t m_received;       /**< bytes of body received */
    int64_t m_sent;           /**< bytes of body sent */
} ombrel_curl_response_t;

OMBREL_END_C

#endif
