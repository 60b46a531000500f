/**
 * @file download.h
 * @brief Downloads of files from URIs: resumed, limited, checked by a digest, stored whole or not at all.
 *
 * @code
 * ombrel_download_options_t options;
 * ombrel_download_result_t result;
 * ombrel_init_download_options(&options);
 * options.m_digest = "sha256:9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08";
 * options.m_size_limit = 512 * 1024 * 1024;
 * if (ombrel_download_file("http://example.com/image.bin", "image.bin", &options, &result) != 0)
 *     ombrel_error_printf("image.bin: %s\n", result.m_error.m_text);
 * @endcode
 *
 * The target appears in one step when all of it has come, its digest is the wanted one and it is on the
 * device; until then, and after any failure, an old file stays as it was. The target's directory must exist.
 * Permissions, owners and links are treated as ombrel_store_file() does.
 *
 * @par Sources
 * http and ftp are spoken by the library's own clients; https and ftps need a plug-in that serves them
 * (plugin_curl.h); tftp and file are served by the built-in plug-in (builtin_stream.h), and a plain path is a
 * file. Other schemes, "pipe" above all, are opened only if #ombrel_download_options_t.m_schemes names them;
 * schemes of plug-ins are read through their contexts. Of local files only regular ones are read.
 * Redirections are followed only within http and https, from https only to https, and only to the schemes of
 * m_schemes; a name and password in the URI go to no other host.
 *
 * @par Mirrors, retries
 * The URI comes first, then the mirrors in their order. One that fails is followed by the next; after the
 * last comes a pause, then the first again, as often as the retries say. Pauses grow while no byte comes, are
 * shortened by up to a half at random, so that many clients that failed together do not return together, and
 * are at least as long as the server's Retry-After asks, up to the longest pause. One that does not have the
 * file (404), refuses it (403), has one that is too large or has another digest is not asked again.
 *
 * @par Resuming
 * The bytes that have come are kept beside the target in "NAME.part-download", and facts about them (the
 * URI's digest, its size, and the validator of the server: its entity tag or the time of its last change) in
 * "NAME.part-download.info". A later call for the same target continues from there, after a broken connection
 * or a kill, if the source still has the same file: an http server is asked by If-Range, and its answer is
 * compared; of files and FTP the size and the time are compared. Where there is no validator, or a different
 * one, the download starts again from the beginning; by TFTP it always does. When a digest is given, bytes
 * from one mirror are continued from another if the sizes are the same, because the digest checks the whole
 * in the end; if that check fails, the download is tried once more from the beginning. After a crash of the
 * system, which may lose bytes that were on their way to the device, only a digest makes it certain that the
 * kept bytes are those that had come. A part that cannot be resumed is removed on failure. One that is too
 * large or has the wrong digest is never kept.
 *
 * Two downloads to one target at the same time do not mix: the second fails with #def_ombrel_fault_busy.
 *
 * @par Limits
 * The size is limited whether the server tells it, tells a wrong one, or sends endlessly. Time is limited
 * for connecting, without progress, and as a whole. Memory does not depend on what is sent.
 *
 * @par Threads
 * Any; a call waits until it is done, and calls the handler on its own thread. The global break
 * (global_break.h) ends it as the handler does.
 *
 * @par Failures
 * -1 with the reason in ombrel_last_fault() and, in more detail, in the result.
 */
#ifndef OMBREL_DOWNLOAD_H
#define OMBREL_DOWNLOAD_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/digest.h>
#include <ombrel/export.h>
#include <ombrel/transfer_error.h>

OMBREL_BEGIN_C

/** The default limit of bytes: 16 GiB. */
#define def_ombrel_download_size_limit INT64_C(17179869184)
/** The most bytes of a list of digests. */
#define def_ombrel_download_list_limit 16777216
/** Appended to the target's name for the incomplete file. */
#define def_ombrel_download_part_suffix ".part-download"
/** Appended to the target's name for the facts about it. */
#define def_ombrel_download_info_suffix ".info"

/** @name What a download is doing
 * @{ */
#define def_ombrel_download_connecting 1 /**< it asks a source */
#define def_ombrel_download_receiving 2  /**< bytes come */
#define def_ombrel_download_pausing 3    /**< all sources have failed; it will try again */
#define def_ombrel_download_reading 4    /**< it reads bytes of an earlier call, for the digest */
#define def_ombrel_download_storing 5    /**< all has come; it waits for the device */
/** @} */

/** @name Why a download failed
 * @{ */
#define def_ombrel_download_reason_none 0       /**< it did not */
#define def_ombrel_download_reason_source 1     /**< the source could not be opened or read: see the error */
#define def_ombrel_download_reason_broken_off 2 /**< the source ended before all had come */
#define def_ombrel_download_reason_too_large 3  /**< more than the limit */
#define def_ombrel_download_reason_digest 4     /**< the digest is not the wanted one */
#define def_ombrel_download_reason_list 5       /**< the list of digests has no line for the name */
#define def_ombrel_download_reason_target 6     /**< the target could not be written */
#define def_ombrel_download_reason_busy 7       /**< another download of the target is under way */
#define def_ombrel_download_reason_time 8       /**< the time as a whole ran out */
#define def_ombrel_download_reason_broken 9     /**< the handler or the global break ended it */
#define def_ombrel_download_reason_argument 10  /**< an argument is invalid */
/** @} */

/** How far a download is. */
typedef struct ombrel_download_state_ts {
    int m_phase;       /**< def_ombrel_download_connecting and the like */
    int64_t m_done;    /**< bytes that are here */
    int64_t m_total;   /**< bytes of the whole file, as the source says; -1 when it does not */
    int64_t m_resumed; /**< of these, bytes left by earlier calls */
    int m_source;      /**< which source: 0 for the URI, from 1 on the mirrors */
    int m_round;       /**< how often all sources have failed */
    int m_pause_ms;    /**< of a pause: how long it is */
    const char* m_uri; /**< the URI that is asked, after redirections */
} ombrel_download_state_t;

/**
 * Called when a phase begins, as bytes come, and while nothing does: at least about five times a second,
 * except while a source is looked up or connected, or the file is stored.
 * @param state   how far it is; valid until the handler returns
 * @param context the one of the options
 * @return 0 to go on; anything else ends the download, which returns it
 */
typedef int (*ombrel_download_handler_t)(const ombrel_download_state_t* state, void* context);

/** @name Flags
 * @{ */
/** Nothing is resumed, and nothing is kept after a failure. */
#define def_ombrel_download_no_resume 1u
/** An existing target is a failure: #def_ombrel_fault_exists. */
#define def_ombrel_download_no_replace 2u
/** The device is not waited for: a crash of the system may lose the file. */
#define def_ombrel_download_no_sync 4u
/** @} */

/** How a file is downloaded. Texts are read during the call. Times are milliseconds, negative for no limit.
 */
typedef struct ombrel_download_options_ts {
    /** def_ombrel_download_no_resume and the like; the default is 0. */
    uint32_t m_flags;
    /** Other URIs of the same file, ended by null; null, the default, for none. */
    const char* const* m_mirrors;
    /** The digest wanted: "sha256:", "sha1:" or "md5:" and hexadecimal digits of either case; null, the
     * default, for none. */
    const char* m_digest;
    /** A list of digests (digest_list.h) that contains the wanted one: a URI or a path, read before anything
     * else by the same rules, with #def_ombrel_download_list_limit; the number of digits tells the algorithm.
     * Null, the default, for none. Not with m_digest. */
    const char* m_digest_list;
    /** The name of the file in the list, compared exactly, except for a "./" before it in the list; null, the
     * default, for the last part of the URI's path. */
    const char* m_digest_name;
    /** Bytes at most; the default is #def_ombrel_download_size_limit; 0 takes only empty files, negative has
     * no limit. */
    int64_t m_size_limit;
    /** Permissions of a new target, less the process's mask; the default is 0666. */
    uint32_t m_mode;
    /** Schemes that URIs and redirections may have, separated by "|"; null, the default, for
     * "https|http|ftps|ftp|tftp|file". */
    const char* m_schemes;
    /** Redirections that are followed in a row; the default is 10; 0 for none. */
    size_t m_redirect_limit;
    /** How often all sources are asked again after all have failed; the default is 3; 0 for never. */
    size_t m_retry_limit;
    /** The first pause, 1 at least; the default is 500. */
    int m_first_pause_ms;
    /** By how much each pause is longer than the one before, 1 at least; the default is 2. */
    int m_pause_factor;
    /** What pauses grow to; a value below the first pause counts as that; the default is 30,000. */
    int m_longest_pause_ms;
    /** For a source to be looked up, connected and to begin its answer; the default is 30,000. */
    int m_connect_ms;
    /** Without a byte coming; the default is 30,000. */
    int m_progress_ms;
    /** For the whole download, pauses included; the default is -1. Looking a name up and storing are not
     * interrupted. */
    int m_whole_ms;
    /** Called with the progress; null, the default, for none. */
    ombrel_download_handler_t m_handler;
    /** Handed to it. */
    void* m_context;
} ombrel_download_options_t;

/** The outcome of a download. */
typedef struct ombrel_download_result_ts {
    int m_reason;      /**< why it failed (def_ombrel_download_reason_*) */
    int m_source;      /**< the source that completed the file, or failed last: 0 the URI, 1 … mirrors */
    int m_attempts;    /**< how often a source was asked for it */
    int64_t m_done;    /**< bytes of the target, or of the part that is kept */
    int64_t m_total;   /**< bytes of the whole as the source last said; -1 when it did not */
    int64_t m_resumed; /**< bytes of earlier calls that were reused */
    /** The digest of the whole in lower-case hexadecimal, if one was wanted; empty unless all has come. */
    char m_digest[def_ombrel_digest_text_size];
    /** The one that was wanted, and its algorithm's name. */
    char m_wanted_digest[def_ombrel_digest_text_size];
    const char* m_algorithm; /**< "sha256", …; null when none was wanted */
    /** The failure in words, with the peer's code and words where it gave some. */
    ombrel_transfer_error_t m_error;
} ombrel_download_result_t;

/** @brief Sets the options to their defaults. @return 0; -1 for null */
OMBREL_API int ombrel_init_download_options(ombrel_download_options_t* options);

/**
 * @brief Downloads a file.
 * @param uri     where it is
 * @param path    the target
 * @param options how; null means ombrel_init_download_options()
 * @param result  receives the outcome, also on failure; may be null
 * @return 0 when the target is there; what the handler returned when it ended the download; -1 with
 *         #def_ombrel_fault_invalid for null and invalid arguments, a malformed digest, and a scheme that is
 * not allowed; #def_ombrel_fault_too_large; #def_ombrel_fault_violation for a digest other than the wanted
 * one; #def_ombrel_fault_not_found for a list without the name too; #def_ombrel_fault_busy;
 *         #def_ombrel_fault_timed_out; #def_ombrel_fault_interrupted for the global break;
 *         #def_ombrel_fault_reset for a connection that broke off; and the faults of the source and the
 * target
 */
OMBREL_API int ombrel_download_file(const char* uri, const char* path,
                                    const ombrel_download_options_t* options,
                                    ombrel_download_result_t* result);

OMBREL_END_C

#endif
