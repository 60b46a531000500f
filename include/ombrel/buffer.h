/**
 * @file buffer.h
 * @brief The buffer chain: a byte queue of linked nodes with push, pop, peek and line operations.
 *
 * Producers push bytes, text or file contents at the end; consumers pop, peek or take whole lines at the
 * front. A push fills the free room of the last node and puts the rest into one new node, so queued bytes are
 * never moved. Large blocks can be queued without copying, by reference or by handing them over.
 *
 * A buffer may have a handler: a service thread that hands every pushed node, whole and in order, to a
 * callback.
 *
 * Threads: a buffer without a handler belongs to one thread at a time. To a buffer with a handler any number
 * of threads may push; everything else on it belongs to one thread, and taking bytes from it competes with
 * the handler and is not synchronised with it.
 *
 * No function here reports a null buffer: it gives 0, -1 or null as listed.
 */
#ifndef OMBREL_BUFFER_H
#define OMBREL_BUFFER_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A byte queue; opaque. */
typedef struct ombrel_buffer_ts ombrel_buffer_t;

/**
 * A node's bytes are overwritten with zeros before the node is freed (a referenced block's too), and so are
 * the library's own copies on their way in and to a handler. Bytes that were taken out must be wiped by
 * whoever took them.
 */
#define def_ombrel_buffer_flag_wipe 0x1u
/** A push keeps the caller's pointer instead of copying; the bytes must stay until they are taken. */
#define def_ombrel_buffer_flag_reference 0x2u
/** A push takes over the caller's tagged-heap block, which is freed with its node; nothing is copied. */
#define def_ombrel_buffer_flag_own 0x4u
/** A copying node has exactly the size of its push; set by itself when a handler is given. */
#define def_ombrel_buffer_flag_exact 0x8u
/** State of the line scanner: the next byte is the trail byte of a non-ASCII one. */
#define def_ombrel_buffer_flag_trail_byte 0x1000u
/** State of the line scanner: the last line ended with a line feed. */
#define def_ombrel_buffer_flag_line_feed 0x2000u
/** State of the line scanner: the last line ended with a carriage return. */
#define def_ombrel_buffer_flag_carriage_return 0x4000u
/** No more data will come; set by ombrel_end_buffer(). */
#define def_ombrel_buffer_flag_ended 0x8000u

/** Bytes of data that a copying node holds at least, unless the exact flag is set. */
#define def_ombrel_buffer_unit_size 4096u

/**
 * Receives one pushed node on the thread of the buffer's handler service.
 * @param context     as given to ombrel_open_buffer_ex2()
 * @param data        the bytes, valid during the call; not terminated
 * @param size        their number, at least 1
 * @param offset_low  low 32 bits of the count of bytes taken before these
 * @param offset_high its high 32 bits
 * @param queued      bytes still queued after these
 * @return not used; return 0
 */
typedef int (*ombrel_buffer_handler_t)(void* context, const void* data, size_t size, uint32_t offset_low,
                                       uint32_t offset_high, size_t queued);

/**
 * @brief Opens an empty buffer, with a handler if one is given.
 *
 * A handler sets the exact flag and starts the service "buffer handler", whose thread takes the pushed nodes
 * in turn and looks again every 10 ms while there is none.
 * @param flags   flags for every push of this buffer, def_ombrel_buffer_flag_wipe to _exact, or 0
 * @param handler called for each pushed node; null for a plain buffer
 * @param context handed to the handler
 * @return the buffer, to be closed by ombrel_close_buffer(); null when memory runs out or the service cannot
 *         be opened
 */
OMBREL_API ombrel_buffer_t* ombrel_open_buffer_ex2(uint32_t flags, ombrel_buffer_handler_t handler,
                                                   void* context);

/** @brief ombrel_open_buffer_ex2() without a handler. @param flags as there @return the buffer or null */
OMBREL_API ombrel_buffer_t* ombrel_open_buffer_ex(uint32_t flags);

/** ombrel_open_buffer_ex() without flags. */
#define ombrel_open_buffer() ombrel_open_buffer_ex(0)

/**
 * @brief Stops the handler service, waiting for it, and frees the buffer with all it holds.
 *
 * Bytes that the handler has not taken yet are dropped. No other thread may use the buffer any more.
 * @param buffer the buffer, or null
 * @return null
 */
OMBREL_API ombrel_buffer_t* ombrel_close_buffer(ombrel_buffer_t* buffer);

/**
 * @brief Marks the end of the data; the buffer stays usable.
 *
 * The flags word becomes exactly def_ombrel_buffer_flag_ended: the flags given at open and the state of the
 * line scanner are gone, so later pushes neither wipe nor reference nor own unless they say so themselves.
 * @param buffer the buffer, or null
 * @return 0
 */
OMBREL_API int ombrel_end_buffer(ombrel_buffer_t* buffer);

/**
 * @brief Queues bytes at the end.
 *
 * With the reference or own flag (of this push or of the buffer) the bytes are not copied. A block to be
 * owned is a tagged-heap block; it passes to the buffer when all of `size` was queued and stays the caller's
 * when 0 is returned. A push by reference on account of the buffer's flag may still copy the bytes that fit
 * into the last node. Zero bytes (null `data`) are always written into a node.
 * @param buffer the buffer
 * @param data   `size` bytes; null queues `size` zero bytes
 * @param size   bytes to queue
 * @param flags  flags for this push, added to the buffer's
 * @return bytes queued: when memory runs out, or the queued size would pass SIZE_MAX, those that went into
 * the free room of the last node; 0 for a null buffer and, with nothing changed, when the lock of a buffer
 *         with a handler cannot be taken for lack of memory
 * @par Threads any thread when the buffer has a handler, else the buffer's
 */
OMBREL_API size_t ombrel_push_buffer_ex(ombrel_buffer_t* buffer, const void* data, size_t size,
                                        uint32_t flags);

/** ombrel_push_buffer_ex() without flags of its own. */
#define ombrel_push_buffer(buffer, data, size) ombrel_push_buffer_ex((buffer), (data), (size), 0)

/**
 * @brief Queues a text without its terminator.
 * @param buffer the buffer
 * @param text   a terminated text; null counts as empty
 * @param flags  as for ombrel_push_buffer_ex()
 * @return bytes queued
 * @par Threads as ombrel_push_buffer_ex()
 */
OMBREL_API size_t ombrel_push_puts_ex(ombrel_buffer_t* buffer, const char* text, uint32_t flags);

/** ombrel_push_puts_ex() without flags of its own. */
#define ombrel_push_puts(buffer, text) ombrel_push_puts_ex((buffer), (text), 0)

/**
 * @brief Formats with ombrel_alloc_vsprintf() and queues a copy of the text, whatever the buffer's flags.
 * @param buffer the buffer
 * @param format a format of ombrel_vsnprintf()
 * @param args   its arguments
 * @return bytes queued; 0 when the buffer is null or memory runs out
 * @par Threads as ombrel_push_buffer_ex()
 */
OMBREL_API size_t ombrel_push_vprintf(ombrel_buffer_t* buffer, const char* format, va_list args)
    OMBREL_PRINTF_LIKE(2, 0);

/** @brief ombrel_push_vprintf() with the arguments in the call. */
OMBREL_API size_t ombrel_push_printf(ombrel_buffer_t* buffer, const char* format, ...)
    OMBREL_PRINTF_LIKE(2, 3);

/**
 * @brief Takes bytes from the front.
 * @param buffer the buffer
 * @param dest   receives at most `size` bytes; null discards them
 * @param size   bytes wanted
 * @param exact  non-zero takes all of `size` or nothing
 * @return bytes taken; 0 for a null or empty buffer
 */
OMBREL_API size_t ombrel_pop_buffer_ex(ombrel_buffer_t* buffer, void* dest, size_t size, int exact);

/** ombrel_pop_buffer_ex() that takes what there is. */
#define ombrel_pop_buffer(buffer, dest, size) ombrel_pop_buffer_ex((buffer), (dest), (size), 0)

/**
 * @brief Copies queued bytes and leaves them queued.
 *
 * The cost grows with the number of nodes before `position`.
 * @param buffer   the buffer
 * @param dest     receives at most `size` bytes; null only counts them
 * @param size     bytes wanted
 * @param position bytes to skip from the front
 * @param exact    non-zero copies all of `size` or nothing
 * @return bytes copied; 0 when none are queued at `position`
 */
OMBREL_API size_t ombrel_peek_buffer_ex(ombrel_buffer_t* buffer, void* dest, size_t size, size_t position,
                                        int exact);

/** ombrel_peek_buffer_ex() that copies what there is. */
#define ombrel_peek_buffer(buffer, dest, size, position)                                                     \
    ombrel_peek_buffer_ex((buffer), (dest), (size), (position), 0)

/**
 * @brief Takes bytes from the front into a block of their own.
 *
 * When the front node is an owned block of exactly `size` untouched bytes, that very block is handed back
 * without copying.
 * @param buffer the buffer
 * @param size   bytes wanted
 * @param exact  non-zero takes all of `size` or nothing
 * @return a tagged-heap block of the smaller of `size` and the queued size, not terminated, which the caller
 *         frees; null when there is nothing to take or memory runs out (nothing is taken then)
 */
OMBREL_API void* ombrel_alloc_pop_buffer_ex(ombrel_buffer_t* buffer, size_t size, int exact);

/** ombrel_alloc_pop_buffer_ex() that takes what there is. */
#define ombrel_alloc_pop_buffer(buffer, size) ombrel_alloc_pop_buffer_ex((buffer), (size), 0)

/**
 * @brief Takes all that is left of the first node.
 * @param buffer   the buffer
 * @param size_out receives the number of bytes, 0 with a null result; may be null
 * @return a tagged-heap block that the caller frees, not terminated; null when nothing is queued or memory
 *         runs out
 */
OMBREL_API void* ombrel_get_buffer_node(ombrel_buffer_t* buffer, size_t* size_out);

/**
 * @brief Discards all that is queued; it counts as taken.
 * @param buffer the buffer, or null
 * @return bytes discarded
 */
OMBREL_API size_t ombrel_flush_buffer(ombrel_buffer_t* buffer);

/** @brief The count of bytes ever taken from the front. @return the count; 0 for null */
OMBREL_API uint64_t ombrel_get_buffer_offset(ombrel_buffer_t* buffer);

/**
 * @brief Sets the count of bytes taken from the front.
 * @param buffer the buffer, or null
 * @param offset the new count
 * @return the new count; 0 for null
 */
OMBREL_API uint64_t ombrel_set_buffer_offset(ombrel_buffer_t* buffer, uint64_t offset);

/** @brief The number of queued bytes. @return bytes; 0 for null */
OMBREL_API size_t ombrel_get_buffer_size(ombrel_buffer_t* buffer);

/** @brief Takes the front byte. @return 0 to 255, or -1 when there is none */
OMBREL_API int ombrel_pop_buffer_uint8(ombrel_buffer_t* buffer);

/**
 * @brief Reads one byte and leaves it queued.
 * @param buffer   the buffer
 * @param position bytes to skip from the front
 * @return 0 to 255, or -1 when there is none
 */
OMBREL_API int ombrel_peek_buffer_uint8(ombrel_buffer_t* buffer, size_t position);

/**
 * @brief Takes the next complete line.
 *
 * A line ends at CR, LF, CR LF or LF CR; the second half of a pair is dropped even when it is pushed later.
 * The byte that follows a non-ASCII byte belongs to it and never ends a line. Bytes after the last line end
 * stay queued, also after ombrel_end_buffer(). A call that finds no line end stops where the queue ends, and
 * the next one continues from there unless bytes were taken meanwhile: referenced blocks must not change
 * while they are queued.
 * @param buffer the buffer
 * @return the line without its end, terminated, possibly empty, as a tagged-heap block that the caller frees;
 *         null when no complete line is queued or memory runs out (the line stays queued then)
 */
OMBREL_API char* ombrel_pop_buffer_line(ombrel_buffer_t* buffer);

/**
 * @brief Queues a copy of a file's bytes, whatever the buffer's flags.
 *
 * The file is pushed in units of 256 bytes, which an exact buffer keeps as separate nodes. A read error ends
 * the file; memory that runs out is reported as an assertion and ends it too.
 * @param buffer the buffer
 * @param path   the file; a directory cannot be read
 * @param offset first byte to read, from the start when positive, from the end when negative
 * @param limit  most bytes to read; 0 reads to the end
 * @return bytes queued (more than PTRDIFF_MAX of them, which takes a 32-bit process, as the negative number
 * that a cast to size_t makes right), or -1 when the buffer or path is null, the file cannot be opened or the
 * offset cannot be reached (it lies before the start, or the file cannot seek)
 * @par Threads as ombrel_push_buffer_ex()
 */
OMBREL_API ptrdiff_t ombrel_push_buffer_from_file(ombrel_buffer_t* buffer, const char* path, int64_t offset,
                                                  size_t limit);

/**
 * @brief Reads a file into a block.
 * @param path     the file
 * @param offset   as for ombrel_push_buffer_from_file()
 * @param limit    most bytes to read; 0 reads to the end
 * @param size_out receives the number of bytes, 0 with a null result; may be null
 * @return a tagged-heap block that the caller frees, not terminated: never a part of what was asked for. Null
 *         when the file or the part is empty, cannot be opened or reached, fails to be read to its end, or
 *         memory runs out
 * @par Threads any thread
 */
OMBREL_API void* ombrel_load_file(const char* path, int64_t offset, size_t limit, size_t* size_out);

OMBREL_END_C

#endif
