/**
 * @file file_stream.h
 * @brief Buffered byte streams over files, descriptors, memory, buffer chains and functions of the caller's.
 *
 * @code
 * ombrel_file_stream_t* in = ombrel_open_file_stream("names.txt", "r", NULL);
 * char* line;
 * size_t size;
 * int more = -1;
 * while (in != NULL && (more = ombrel_file_stream_read_line(in, &line, &size)) > 0)
 *     ombrel_printf("%s\n", line);
 * if (more < 0)
 *     ombrel_error_printf("names.txt: %s\n", ombrel_fault_text());
 * ombrel_close_file_stream(in);
 * @endcode
 *
 * @par Modes
 * As for fopen(): one of "r" (reads what is there), "w" (writes; empties or makes the file) and "a" (writes
 * at the end, whatever the position; makes the file), then any of "+" (reads and writes), "x" (with "w" or
 * "a": fails when the file is there), and "b", "t" and "e", which change nothing: streams are binary on every
 * system, and child processes inherit no descriptor. Anything else is refused as invalid. Over something that
 * is already open (a descriptor, functions, a chain) "w" neither makes nor empties anything, and "x" is
 * refused.
 *
 * @par Reading and writing on one stream
 * A stream of a mode with "+" may change between both at any moment, without a seek or flush between them:
 * the position is where the last call left it. A write that follows a read first gives back what was read
 * ahead, a read first hands on what was written. Where the other side cannot seek (a socket, a serial port, a
 * terminal, a chain) the two directions are independent, each with a buffer of its own, except that written
 * bytes go out before a read asks the other side for more.
 *
 * @par Failures
 * A read that found the end leaves the end state: further reads give the end at once, until a seek, an unget,
 * a change to writing where both share a position, or ombrel_file_stream_clear(). The reason of a failed call
 * is in errno and ombrel_last_fault() as for every function, and the first failure of the other side to read
 * or write stays the stream's fault (ombrel_file_stream_get_fault()) until it is cleared. Only that it would
 * have had to wait (a descriptor that does not block: #def_ombrel_fault_would_block) and an interruption do
 * not count: the call may be repeated, and nothing is lost.
 *
 * Bytes that could not be written stay in the stream, and each later flush tries them again; nothing is
 * written twice or out of order. A failed write is reported by the call that found it, which may be a later
 * put, a flush, a seek or the close. ombrel_close_file_stream() fails when any write failed that was not
 * cleared.
 *
 * All functions fail with #def_ombrel_fault_invalid for a null stream or a null argument that must not be,
 * with #def_ombrel_fault_bad_descriptor when the mode does not allow what they do, with
 * #def_ombrel_fault_no_memory when the buffer cannot be had, and with what the other side's calls leave
 * otherwise.
 *
 * @par Windows
 * A console is given UTF-8 whatever its code page. A descriptor is a number of the C run-time.
 *
 * @par Speed
 * ombrel_file_stream_get_byte(), ombrel_file_stream_peek_byte() and ombrel_file_stream_put_byte() are inlined
 * in the caller as long as the buffer has bytes or room. They are functions as well: their names in
 * parentheses, or without arguments, are those of the exported ones.
 *
 * @par Threads
 * A stream is used by one thread at a time; it has no lock. Different streams may be used at the same time.
 */
#ifndef OMBREL_FILE_STREAM_H
#define OMBREL_FILE_STREAM_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>
#include <ombrel/fault.h>
#include <ombrel/file.h>

OMBREL_BEGIN_C

/** Bytes of each buffer unless the options say otherwise. */
#define def_ombrel_file_stream_buffer_size 32768
/** The longest line in bytes unless the options say otherwise. */
#define def_ombrel_file_stream_line_limit (16 * 1024 * 1024)
/** The most bytes that a growing memory stream holds unless the options say otherwise. */
#define def_ombrel_file_stream_memory_limit (256 * 1024 * 1024)
/** Bytes that can be put back after any read, besides those that were read from the buffer. */
#define def_ombrel_file_stream_unget_limit 16

/** Buffering: by lines when the descriptor is a terminal, else in full. */
#define def_ombrel_file_stream_buffering_automatic 0
/** Buffering: bytes are handed on when the buffer is full. */
#define def_ombrel_file_stream_buffering_full 1
/** Buffering: likewise, and at each line feed. */
#define def_ombrel_file_stream_buffering_line 2
/** Buffering: each call hands on what it was given. Reads are buffered all the same. */
#define def_ombrel_file_stream_buffering_none 3

/** Flag: closing the stream leaves the descriptor open. Bytes that were read ahead are given back to the
 * descriptor where it can seek. */
#define def_ombrel_file_stream_flag_keep_open 0x1u
/** Flag: a carriage return before a line feed belongs to the line's end and is removed with it. */
#define def_ombrel_file_stream_flag_crlf 0x2u

/**
 * A stream. It is made only by the open functions and is larger than these fields, which are for the inline
 * functions of this header. Programs must not use them.
 */
typedef struct ombrel_file_stream_ts {
    unsigned char* m_read_at;         /**< the next byte that was read ahead */
    const unsigned char* m_read_end;  /**< after the last of them; equal when there are none */
    unsigned char* m_write_at;        /**< where the next byte is put */
    const unsigned char* m_write_end; /**< after the room for bytes; equal when there is none */
} ombrel_file_stream_t;

/** How a stream is made. ombrel_init_file_stream_options() sets the defaults. */
typedef struct ombrel_file_stream_options_ts {
    size_t m_buffer_size;  /**< bytes of each buffer, at least 1, at most 1 GiB; smaller ones are slower */
    size_t m_line_limit;   /**< the longest line that is read, in bytes without its end; at least 1 */
    size_t m_memory_limit; /**< the most bytes that a growing memory stream holds */
    int m_buffering;       /**< one of `def_ombrel_file_stream_buffering_*` */
    uint32_t m_flags;      /**< `def_ombrel_file_stream_flag_*`, or 0 */
} ombrel_file_stream_options_t;

/**
 * The other side of a stream, as functions of the caller's. Each may be null: then the stream cannot do what
 * the function is for. A function that fails leaves the reason by ombrel_leave_fault() or in errno;
 * #def_ombrel_fault_would_block says that it may be asked again.
 */
typedef struct ombrel_file_stream_calls_ts {
    /** Reads at most `size` bytes, which is at most INT_MAX. @return bytes, 0 at the end, -1 on a failure */
    int64_t (*m_read)(void* context, void* buffer, size_t size);
    /** Writes at most `size` bytes, which is 1 to INT_MAX. @return bytes, 1 or more, or -1 on a failure; 0
     * counts as the failure #def_ombrel_fault_input_output */
    int64_t (*m_write)(void* context, const void* data, size_t size);
    /** Moves the position; `origin` is as for ombrel_file_stream_seek(). @return the new position or -1 */
    int64_t (*m_seek)(void* context, int64_t offset, int origin);
    /** Cuts or lengthens. @return 0 or -1 */
    int (*m_truncate)(void* context, int64_t size);
    /** Called once, at the end of the close. @return 0 or -1 */
    int (*m_close)(void* context);
} ombrel_file_stream_calls_t;

/**
 * @brief Sets the defaults: buffers of #def_ombrel_file_stream_buffer_size, the limits above, automatic
 * buffering, no flag.
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_init_file_stream_options(ombrel_file_stream_options_t* options);

/**
 * @brief Opens a file.
 * @param path     the file, UTF-8 on Windows; directories are refused
 * @param mode     see the head of this file
 * @param options  how; null for the defaults. Values out of their ranges are invalid, here as in all others.
 * @param function the calling function's name, a static string, for the heap
 * @param line     its source line
 * @return the stream, to be closed by ombrel_close_file_stream(); null on a failure
 * (#def_ombrel_fault_not_found, _exists, _access_denied, _is_directory, _no_descriptor, _no_memory, _invalid)
 */
OMBREL_API ombrel_file_stream_t* ombrel_open_file_stream_tag(const char* path, const char* mode,
                                                             const ombrel_file_stream_options_t* options,
                                                             const char* function, unsigned long line);

/**
 * @brief Opens a stream over a descriptor: a file, pipe, terminal or socket.
 *
 * Nothing else may move the descriptor's position meanwhile, except between a flush and the next call. To
 * share a descriptor with another reader or writer (such as "stdin") in turns, flush in between.
 * @param fd       the descriptor; the stream closes it, also when opening fails, unless the flag
 *                 #def_ombrel_file_stream_flag_keep_open is given
 * @param mode     what it is used for, which it must have been opened for, else
 *                 #def_ombrel_fault_bad_descriptor; "a" makes every write go to the end
 * @param options  how; null for the defaults
 * @param function the calling function's name, a static string
 * @param line     its source line
 * @return the stream; null on a failure
 */
OMBREL_API ombrel_file_stream_t*
ombrel_open_file_stream_descriptor_tag(int fd, const char* mode, const ombrel_file_stream_options_t* options,
                                       const char* function, unsigned long line);

/**
 * @brief Opens a stream over memory of a fixed size.
 *
 * With "r" all of it is content; with "w" none is; with "a" the bytes before the first zero byte, or all.
 * Writes beyond the size fail with #def_ombrel_fault_no_space, seeks with #def_ombrel_fault_invalid. What was
 * written is in the memory after a flush, with a zero byte after the content while there is room. Truncation
 * sets the content's size.
 * @param memory   the caller's, for as long as the stream is open; not written to with "r" alone (a `const`
 *                 one may be cast)
 * @param size     bytes; may be 0
 * @param mode     see the head of this file
 * @param options  how; null for the defaults
 * @param function the calling function's name, a static string
 * @param line     its source line
 * @return the stream; null on a failure
 */
OMBREL_API ombrel_file_stream_t*
ombrel_open_file_stream_memory_tag(void* memory, size_t size, const char* mode,
                                   const ombrel_file_stream_options_t* options, const char* function,
                                   unsigned long line);

/**
 * @brief Opens a stream over memory that grows with what is written, and reads and writes it as "w+" does.
 *
 * It holds at most the options' m_memory_limit; what goes beyond fails with #def_ombrel_fault_no_space. Gaps
 * that a seek leaves are zeros.
 * @param options  how; null for the defaults
 * @param function the calling function's name, a static string; the content is allocated under it too
 * @param line     its source line
 * @return the stream; null on a failure
 */
OMBREL_API ombrel_file_stream_t*
ombrel_open_file_stream_growing_tag(const ombrel_file_stream_options_t* options, const char* function,
                                    unsigned long line);

/**
 * @brief Opens a stream over a buffer chain: writes are pushed at its end, reads are taken from its front.
 *
 * An empty chain is the end; when more has been pushed, ombrel_file_stream_clear() lets reads go on. What was
 * read ahead is taken from the chain only when it is used or the chain is read next; a flush and the close
 * leave the rest to the chain. There is no position.
 * @param buffer   the chain, without a handler; it stays the caller's
 * @param mode     see the head of this file
 * @param options  how; null for the defaults
 * @param function the calling function's name, a static string
 * @param line     its source line
 * @return the stream; null on a failure
 */
OMBREL_API ombrel_file_stream_t*
ombrel_open_file_stream_buffer_tag(ombrel_buffer_t* buffer, const char* mode,
                                   const ombrel_file_stream_options_t* options, const char* function,
                                   unsigned long line);

/**
 * @brief Opens a stream over functions of the caller's.
 * @param calls    the functions; the record is copied
 * @param context  handed to each of them
 * @param mode     what the stream is used for: "r" needs m_read, "w" and "a" m_write, "+" both. For "a" the
 *                 functions themselves write at the end.
 * @param options  how; null for the defaults
 * @param function the calling function's name, a static string
 * @param line     its source line
 * @return the stream; null on a failure, and then m_close is not called
 */
OMBREL_API ombrel_file_stream_t*
ombrel_open_file_stream_calls_tag(const ombrel_file_stream_calls_t* calls, void* context, const char* mode,
                                  const ombrel_file_stream_options_t* options, const char* function,
                                  unsigned long line);

/** ombrel_open_file_stream_tag() with the caller's own name and line. */
#define ombrel_open_file_stream(path, mode, options)                                                         \
    ombrel_open_file_stream_tag((path), (mode), (options), __func__, __LINE__)
/** ombrel_open_file_stream_descriptor_tag() with the caller's own name and line. */
#define ombrel_open_file_stream_descriptor(fd, mode, options)                                                \
    ombrel_open_file_stream_descriptor_tag((fd), (mode), (options), __func__, __LINE__)
/** ombrel_open_file_stream_memory_tag() with the caller's own name and line. */
#define ombrel_open_file_stream_memory(memory, size, mode, options)                                          \
    ombrel_open_file_stream_memory_tag((memory), (size), (mode), (options), __func__, __LINE__)
/** ombrel_open_file_stream_growing_tag() with the caller's own name and line. */
#define ombrel_open_file_stream_growing(options)                                                             \
    ombrel_open_file_stream_growing_tag((options), __func__, __LINE__)
/** ombrel_open_file_stream_buffer_tag() with the caller's own name and line. */
#define ombrel_open_file_stream_buffer(buffer, mode, options)                                                \
    ombrel_open_file_stream_buffer_tag((buffer), (mode), (options), __func__, __LINE__)
/** ombrel_open_file_stream_calls_tag() with the caller's own name and line. */
#define ombrel_open_file_stream_calls(calls, context, mode, options)                                         \
    ombrel_open_file_stream_calls_tag((calls), (context), (mode), (options), __func__, __LINE__)

/**
 * @brief Writes what is still held, closes the other side and frees the stream, whatever fails.
 *
 * The end of a program closes no stream: bytes that an open one still holds are lost.
 * @param stream the stream; null is accepted
 * @return 0; -1, with the first fault of a write that was not cleared, when bytes are lost or may be, and
 * when the other side's close fails
 */
OMBREL_API int ombrel_close_file_stream(ombrel_file_stream_t* stream);

/**
 * @brief Hands on what was written, and gives back what was read ahead where the other side can take it.
 *
 * Afterwards the other side's position is the stream's. The data may still be in the host's memory:
 * ombrel_file_sync() brings a descriptor's to the device.
 * @return 0, or -1: what was not written stays in the stream
 */
OMBREL_API int ombrel_file_stream_flush(ombrel_file_stream_t* stream);

/** @brief Forgets the end state and the fault. Bytes that could not be written stay. @return 0, or -1 for
 * null */
OMBREL_API int ombrel_file_stream_clear(ombrel_file_stream_t* stream);

/** @brief Whether a read has found the end. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_file_stream_is_at_end(const ombrel_file_stream_t* stream);

/** @brief The first failure to read or write since the open or the last clear. @return a
 * `def_ombrel_fault_*`, #def_ombrel_fault_none when nothing failed, #def_ombrel_fault_invalid for null */
OMBREL_API int ombrel_file_stream_get_fault(const ombrel_file_stream_t* stream);

/** @brief The stream's descriptor, which belongs to the stream. @return it; -1 when it has none */
OMBREL_API int ombrel_file_stream_get_descriptor(const ombrel_file_stream_t* stream);

/**
 * @brief Reads a byte. It is inlined, without a call, while the buffer lasts.
 * @return 0 to 255; -1 at the end, which ombrel_file_stream_is_at_end() tells, and on a failure
 */
OMBREL_API int ombrel_file_stream_get_byte(ombrel_file_stream_t* stream);

/** @brief The byte that ombrel_file_stream_get_byte() would read, which stays to be read. @return likewise */
OMBREL_API int ombrel_file_stream_peek_byte(ombrel_file_stream_t* stream);

/**
 * @brief Puts a byte before the next one to be read, whatever was read there; the file itself stays.
 *
 * The position goes back by one, not below 0, and the end state is gone. A seek forgets what was put back.
 * @param stream the stream
 * @param byte   its low 8 bits count; -1 is refused as invalid
 * @return the byte, 0 to 255; -1 when it was refused, and with #def_ombrel_fault_too_large when there is no
 *         room: #def_ombrel_file_stream_unget_limit of them always have
 */
OMBREL_API int ombrel_file_stream_unget_byte(ombrel_file_stream_t* stream, int byte);

/**
 * @brief Writes a byte. It is inlined, without a call, while the buffer has room.
 * @param stream the stream
 * @param byte   its low 8 bits count
 * @return the byte, 0 to 255, or -1: the byte was not taken then
 */
OMBREL_API int ombrel_file_stream_put_byte(ombrel_file_stream_t* stream, int byte);

/**
 * @brief Reads until `size` bytes are there or the end is, however often the other side must be asked.
 * @param stream the stream
 * @param buffer receives them
 * @param size   bytes wanted
 * @return bytes read, fewer than wanted at the end and before a failure, which the next call tells if it
 *         lasts; 0 at the end (and for a size of 0); -1 on a failure before the first byte
 */
OMBREL_API int64_t ombrel_file_stream_read(ombrel_file_stream_t* stream, void* buffer, size_t size);

/** @brief Reads what is there: asks the other side once at most, and not when bytes were read ahead.
 * @return as ombrel_file_stream_read() */
OMBREL_API int64_t ombrel_file_stream_read_some(ombrel_file_stream_t* stream, void* buffer, size_t size);

/**
 * @brief Reads a line, without copying it where that can be.
 *
 * A line ends with a line feed, which is not part of it, or with the last byte. Zero bytes are bytes like
 * others. After a line ombrel_file_stream_has_line_end() tells whether it had an end of its own.
 * @param stream the stream
 * @param line   receives the line, terminated, which may be changed in its place and lives until the next
 * call with this stream; null at the end and on a failure
 * @param size   receives its bytes without the terminator; may be null
 * @return 1 for a line, 0 at the end, -1 on a failure. A line beyond the options' limit gives -1 with
 *         #def_ombrel_fault_too_large, which is no state of the stream: its first bytes, as many as the
 * limit, are consumed and given all the same, and the next call goes on after them.
 */
OMBREL_API int ombrel_file_stream_read_line(ombrel_file_stream_t* stream, char** line, size_t* size);

/** @brief ombrel_file_stream_read_line() with another byte, 0 to 255, as the end of a line. @return as there
 */
OMBREL_API int ombrel_file_stream_read_until(ombrel_file_stream_t* stream, int delimiter, char** line,
                                             size_t* size);

/** @brief Whether the line read last ended with its line feed (or delimiter). @return 1 or 0 */
OMBREL_API int ombrel_file_stream_has_line_end(const ombrel_file_stream_t* stream);

/**
 * @brief Reads all that is left into a block.
 * @param stream   the stream
 * @param limit    the most bytes, 0 for #def_ombrel_file_default_limit: more are #def_ombrel_fault_too_large
 * @param size     receives the bytes; may be null
 * @param function the calling function's name, a static string
 * @param line     its source line
 * @return the block, a terminator after the bytes, freed with ombrel_free(), also for no bytes; null on a
 *         failure: what was read until then is gone
 */
OMBREL_API void* ombrel_file_stream_alloc_rest_tag(ombrel_file_stream_t* stream, size_t limit, size_t* size,
                                                   const char* function, unsigned long line);
/** ombrel_file_stream_alloc_rest_tag() with the caller's own name and line. */
#define ombrel_file_stream_alloc_rest(stream, limit, size)                                                   \
    ombrel_file_stream_alloc_rest_tag((stream), (limit), (size), __func__, __LINE__)

/**
 * @brief Writes bytes.
 * @param stream the stream
 * @param data   the bytes
 * @param size   how many
 * @return `size` when the stream took all, into its buffer or further; fewer when a failure came between; -1
 *         when none were taken
 */
OMBREL_API int64_t ombrel_file_stream_write(ombrel_file_stream_t* stream, const void* data, size_t size);

/** @brief Writes a text without its terminator; nothing is added. @return as ombrel_file_stream_write() */
OMBREL_API int64_t ombrel_file_stream_write_text(ombrel_file_stream_t* stream, const char* text);

/**
 * @brief Writes formatted text of any length up to 256 MiB.
 * @param stream    the stream
 * @param format    a format of ombrel_vsnprintf()
 * @param arguments its arguments; must not be used again without `va_end`
 * @return as ombrel_file_stream_write(); -1 with #def_ombrel_fault_too_large for a longer text
 */
OMBREL_API int64_t ombrel_file_stream_vprintf(ombrel_file_stream_t* stream, const char* format,
                                              va_list arguments) OMBREL_PRINTF_LIKE(2, 0);
/** @brief ombrel_file_stream_vprintf() over its own arguments. @return as there */
OMBREL_API int64_t ombrel_file_stream_printf(ombrel_file_stream_t* stream, const char* format, ...)
    OMBREL_PRINTF_LIKE(2, 3);

/**
 * @brief Reads fields after a format.
 * @param stream    the stream
 * @param format    a format of ombrel_context_scanf()
 * @param arguments where the fields go; must not be used again without `va_end`
 * @return fields assigned, whatever ended the scan: the end or a failure, which the stream's state tells; -1
 *         for a null argument. A zero byte ends the scan like the end of a text, and stays.
 */
OMBREL_API int ombrel_file_stream_vscanf(ombrel_file_stream_t* stream, const char* format, va_list arguments)
    OMBREL_SCANF_LIKE(2, 0);
/** @brief ombrel_file_stream_vscanf() over its own arguments. @return as there */
OMBREL_API int ombrel_file_stream_scanf(ombrel_file_stream_t* stream, const char* format, ...)
    OMBREL_SCANF_LIKE(2, 3);

/** @brief Peek callback of scanners (scan.h) over a stream. @param stream the `ombrel_file_stream_t*`
 * @return the byte; 0 for a zero byte, at the end and on a failure */
OMBREL_API int ombrel_scan_peek_file_stream(void* stream);
/** @brief Pop callback of scanners over a stream. @param stream the `ombrel_file_stream_t*`
 * @return as ombrel_scan_peek_file_stream() */
OMBREL_API int ombrel_scan_pop_file_stream(void* stream);

/**
 * @brief Moves the position. What was written is handed on first; what was put back is forgotten.
 * @param stream the stream
 * @param offset bytes from the origin; a position before the start is invalid, one beyond the end is allowed
 *               where the other side allows it
 * @param origin one of `def_ombrel_file_seek_*`; the current position is the caller's, whatever was read
 * ahead
 * @return the new position, 0 or more; -1 with #def_ombrel_fault_not_seekable and the like: the position is
 *         as it was then
 */
OMBREL_API int64_t ombrel_file_stream_seek(ombrel_file_stream_t* stream, int64_t offset, int origin);

/**
 * @brief The position: of the byte to be read or written next.
 * @return bytes from the start, or -1. With mode "a" what is held back is written first, as only then it has
 * a place.
 */
OMBREL_API int64_t ombrel_file_stream_tell(ombrel_file_stream_t* stream);

/**
 * @brief Cuts the other side to a size, or lengthens it by zeros, after handing on what was written. The
 * position stays.
 * @param stream the stream, open for writing
 * @param size   bytes, 0 or more
 * @return 0 or -1
 */
OMBREL_API int ombrel_file_stream_truncate(ombrel_file_stream_t* stream, int64_t size);

/**
 * @brief The content of a growing memory stream, after a flush.
 * @param stream a stream of ombrel_open_file_stream_growing(); for others #def_ombrel_fault_invalid
 * @param size   receives the bytes; may be null
 * @return the content, a terminator after it, the stream's until the next call with it; null on a failure
 */
OMBREL_API const char* ombrel_file_stream_get_memory(ombrel_file_stream_t* stream, size_t* size);

/** @brief Takes the content out of a growing memory stream, which is empty then and may go on.
 * @return as ombrel_file_stream_get_memory(), but the caller's, freed with ombrel_free() */
OMBREL_API char* ombrel_file_stream_take_memory(ombrel_file_stream_t* stream, size_t* size);

/** What the macro ombrel_file_stream_get_byte() does. @return as the function */
static inline int ombrel_file_stream_get_byte_inline(ombrel_file_stream_t* stream) {
    if (stream && stream->m_read_at != stream->m_read_end)
        return *stream->m_read_at++;
    return ombrel_file_stream_get_byte(stream);
}

/** What the macro ombrel_file_stream_peek_byte() does. @return as the function */
static inline int ombrel_file_stream_peek_byte_inline(ombrel_file_stream_t* stream) {
    if (stream && stream->m_read_at != stream->m_read_end)
        return *stream->m_read_at;
    return ombrel_file_stream_peek_byte(stream);
}

/** What the macro ombrel_file_stream_put_byte() does. @return as the function */
static inline int ombrel_file_stream_put_byte_inline(ombrel_file_stream_t* stream, int byte) {
#if defined(__cplusplus) /* some compilers warn of casts in the manner of C */
    const unsigned char value = static_cast<unsigned char>(byte);
#else
    const unsigned char value = (unsigned char)byte;
#endif
    if (stream && stream->m_write_at != stream->m_write_end)
        return *stream->m_write_at++ = value;
    return ombrel_file_stream_put_byte(stream, byte);
}

/** The function of the same name, without the call where none is needed. */
#define ombrel_file_stream_get_byte(stream) ombrel_file_stream_get_byte_inline(stream)
/** The function of the same name, without the call where none is needed. */
#define ombrel_file_stream_peek_byte(stream) ombrel_file_stream_peek_byte_inline(stream)
/** The function of the same name, without the call where none is needed. */
#define ombrel_file_stream_put_byte(stream, byte) ombrel_file_stream_put_byte_inline((stream), (byte))

OMBREL_END_C

#endif
