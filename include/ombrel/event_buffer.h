/**
 * @file event_buffer.h
 * @brief Input and output buffers of an event: the loop moves the bytes between them and the socket.
 *
 * - Input: whenever the socket is readable the loop receives into the input buffer, up to the high watermark,
 * and then calls the handler with def_ombrel_event_read. At the end of the stream, or on an error, it calls
 * the handler with read | exception and reads no more.
 * - Output: when at least as many bytes as the output watermark are queued the loop sends them as the socket
 * takes them, and calls the handler with def_ombrel_event_write for each part sent. When the peer is gone it
 * calls the handler with write | exception and sends no more; what is queued stays.
 *
 * Enable buffers on persistent events of stream sockets; a one-shot event ends with the first part in either
 * direction. The socket may be blocking or not: the loop never waits for it. The flag
 * def_ombrel_event_persist is all that an event with both buffers needs: with an input buffer the event's own
 * read flag is not looked at, with an output buffer its write flag. Adding the event again after it was
 * deleted starts both directions anew.
 *
 * `which` chooses the buffers: 1 input, 2 output, 3 both. The functions share the failures of event.h; they
 * lock the base and may be called from any thread.
 */
#ifndef OMBREL_EVENT_BUFFER_H
#define OMBREL_EVENT_BUFFER_H

#include <stdarg.h>
#include <stddef.h>

#include <ombrel/event.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name Choice of buffers
 * @{ */
#define def_ombrel_event_buffer_input 1  /**< bytes received */
#define def_ombrel_event_buffer_output 2 /**< bytes to send */
#define def_ombrel_event_buffer_both 3   /**< input and output */
/** @} */

/** @brief Makes the chosen buffers that the event has not. @return 0, or -1 also when memory runs out */
OMBREL_API int ombrel_event_enable_buffer(ombrel_event_t* event, int which);

/** @brief Releases the chosen buffers with what they hold. @return 0 or -1 */
OMBREL_API int ombrel_event_disable_buffer(ombrel_event_t* event, int which);

/**
 * @brief Sets watermarks in bytes.
 * @param event the event
 * @param which            1 sets the input watermark, 2 the output watermark, 3 both
 * @param output_watermark bytes that must be queued before the loop sends
 * @param input_watermark  bytes at which the loop stops receiving until some are taken; 0 for no bound
 * @return 0 or -1
 */
OMBREL_API int ombrel_event_set_buffer_watermark(ombrel_event_t* event, int which, size_t output_watermark,
                                                 size_t input_watermark);

/** @brief Bytes held in the chosen buffer, the sum for 3; a buffer not enabled holds none. @return bytes or
 * -1 */
OMBREL_API ptrdiff_t ombrel_event_get_buffer_size(ombrel_event_t* event, int which);

/**
 * @brief Queues a copy of bytes; enables the chosen buffers first.
 * @param event the event
 * @param which 1 input, 2 output
 * @param data the bytes; null queues zeros
 * @param size their count
 * @return bytes queued, summed over the chosen buffers, fewer when memory runs out; -1 on an unusable event
 */
OMBREL_API ptrdiff_t ombrel_event_push_buffer(ombrel_event_t* event, int which, const void* data,
                                              size_t size);

/** @brief Queues a text without its terminator; null counts as empty. @return as ombrel_event_push_buffer()
 */
OMBREL_API ptrdiff_t ombrel_event_push_puts(ombrel_event_t* event, int which, const char* text);

/** @brief Queues a text made by the library's formatter. @return as ombrel_event_push_buffer(), -1 when it
 * fails, as it does for null */
OMBREL_API ptrdiff_t ombrel_event_push_vprintf(ombrel_event_t* event, int which, const char* format,
                                               va_list args) OMBREL_PRINTF_LIKE(3, 0);

/** @brief Queues a text made by the library's formatter. @return as ombrel_event_push_buffer(), -1 when it
 * fails, as it does for null */
OMBREL_API ptrdiff_t ombrel_event_push_printf(ombrel_event_t* event, int which, const char* format, ...)
    OMBREL_PRINTF_LIKE(3, 4);

/**
 * @brief Takes bytes from the front of the input buffer, or of the output buffer when bit 1 of `which` is
 * clear.
 * @param event the event
 * @param which 1 input, 2 output
 * @param data receives them; null discards
 * @param size bytes wanted at most
 * @return bytes taken, or -1 when there is no such buffer
 */
OMBREL_API ptrdiff_t ombrel_event_pop_buffer(ombrel_event_t* event, int which, void* data, size_t size);

/**
 * @brief Copies bytes without taking them, from the buffer that ombrel_event_pop_buffer() would choose.
 * @param event the event
 * @param which 1 input, 2 output
 * @param data receives the bytes
 * @param size its room in bytes
 * @param position bytes after the front at which to begin
 * @return bytes copied, or -1 when there is no such buffer
 */
OMBREL_API ptrdiff_t ombrel_event_peek_buffer(ombrel_event_t* event, int which, void* data, size_t size,
                                              size_t position);

OMBREL_END_C

#endif
