/**
 * @file http_directory.h
 * @brief Files of a directory served by an HTTP server: ranges, conditional requests, lists of entries.
 *
 * @code
 * ombrel_http_directory_t* files = ombrel_open_http_directory("/srv/firmware", NULL);
 * ombrel_http_server_options_t options;
 * ombrel_init_http_server_options(&options);
 * options.m_handler = ombrel_serve_http_directory; // what no route takes, from the root on
 * options.m_context = files;
 * ombrel_http_server_t* server = ombrel_open_http_server(base, &options);
 * @endcode
 *
 * @par What is served
 * Regular files below the directory, by GET and HEAD; other methods are answered 405. Nothing leads out of
 * it: no "..", no encoding of it, no backslash, drive letter or device name, no link (no link below the
 * directory is followed), not even a directory that is replaced by a link while a name is opened. Whatever is
 * not served, for any reason, is answered 404: names that begin with a dot, links, pipes and devices, files
 * that may not be read.
 *
 * Where the host takes names in upper and lower case for the same, as Windows does, a guarded route for a
 * part of a directory can be evaded by another spelling: guard the whole directory, or keep guarded files in
 * a directory of their own.
 *
 * @par Answers
 * Files have Last-Modified, an ETag of their size, time and identity, Accept-Ranges, and a Content-Type by
 * their name (ombrel_get_mime_type()). If-Match, If-None-Match, If-Modified-Since, If-Unmodified-Since and
 * If-Range are honoured as in RFC 9110; ranges are answered as one part or as multipart/byteranges; ranges
 * that overlap are joined, and a request with more ranges than the limit is answered with the whole file. A
 * directory without
 * "/" at its end is redirected to the one with it; with it, its index file is served, else a page with its
 * entries.
 *
 * @par Large and changing files
 * Files are read in pieces as the client takes them, by short calls on the loop's thread: keep them on local
 * disks. The answer's head tells the size that the file had; when it becomes shorter the connection is broken
 * off; when it grows, the additional bytes are not sent.
 *
 * Threads and failures are those of http_server.h.
 */
#ifndef OMBREL_HTTP_DIRECTORY_H
#define OMBREL_HTTP_DIRECTORY_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/http_server.h>

OMBREL_BEGIN_C

/** A directory that is served. Opaque. */
typedef struct ombrel_http_directory_ts ombrel_http_directory_t;

/** @name Flags of a directory
 * @{ */
#define def_ombrel_http_directory_no_list 1u   /**< a directory without an index file is answered 404 */
#define def_ombrel_http_directory_dot_files 2u /**< names that begin with a dot are served and listed too */
/** @} */

/** How a directory is served. Texts are copied. */
typedef struct ombrel_http_directory_options_ts {
    /** def_ombrel_http_directory_* or 0, the default. */
    uint32_t m_flags;
    /** The index file of a directory; the default is "index.html"; null for none. */
    const char* m_index_name;
    /** The character set given for files whose type begins with "text/"; the default is "utf-8"; null for
     * none. */
    const char* m_charset;
    /** Seconds for which clients may keep a file without asking again; the default is 0: they ask each time
     * (Cache-Control: no-cache); negative sends no Cache-Control. */
    int m_max_age;
    /** Ranges in one request; the default is 16, 64 at most. Of requests with more the whole file is sent. */
    size_t m_range_limit;
    /** Entries of a list, 100,000 at most; the default is 10,000. The list says when there are more. */
    size_t m_entry_limit;
} ombrel_http_directory_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_http_directory_options(ombrel_http_directory_options_t* options);

/**
 * @brief Opens a directory to serve. It is held open: if its path later leads elsewhere, the opened directory
 * is still the one served.
 * @param path     the directory
 * @param options  how; null means ombrel_init_http_directory_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the directory, for ombrel_close_http_directory(); null with #def_ombrel_fault_not_found,
 * #def_ombrel_fault_not_directory, #def_ombrel_fault_access_denied and the like
 */
OMBREL_API ombrel_http_directory_t*
ombrel_open_http_directory_tag(const char* path, const ombrel_http_directory_options_t* options,
                               const char* function, unsigned long line);
/** ombrel_open_http_directory_tag() with the caller's own name and line. */
#define ombrel_open_http_directory(path, options)                                                            \
    ombrel_open_http_directory_tag((path), (options), __func__, __LINE__)

/**
 * @brief Closes it. Files that are being sent are sent to their end.
 *
 * No route may serve it any more: close the server first, or let its routes lead elsewhere.
 * @param directory the directory; null gives 0
 * @return 0
 */
OMBREL_API int ombrel_close_http_directory(ombrel_http_directory_t* directory);

/**
 * @brief Answers a request with a file or list: the handler of a route that ends in a star, or of the
 * server's options, where the whole path counts.
 * @param exchange  the exchange
 * @param directory the directory
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_serve_http_directory(ombrel_http_exchange_t* exchange, void* directory);

/**
 * @brief Answers a request with one file, for handlers that choose it themselves.
 * @param exchange  the exchange, for GET or HEAD
 * @param directory the directory
 * @param path      the file below it, decoded, with "/" between names
 * @param type      its Content-Type; null takes it from the name
 * @return 0, also when it was answered 404; -1 for null
 */
OMBREL_API int ombrel_serve_http_file(ombrel_http_exchange_t* exchange, ombrel_http_directory_t* directory,
                                      const char* path, const char* type);

OMBREL_END_C

#endif
