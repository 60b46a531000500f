/**
 * @file output.h
 * @brief The way out for all text of the library: two streams, each of which an application can take over.
 *
 * Text for standard output leaves through ombrel_puts(), text for standard error through ombrel_error_puts().
 * A handler installed for a stream receives every text of it as it is, escape sequences included. Without
 * one, the text is written to the stream; terminal escape sequences are kept when the stream is a terminal
 * that renders them (and the environment's TERM is not "dumb") and removed otherwise. Each call writes its
 * text in one piece, so lines of several threads do not mix.
 *
 * All functions may be called from any thread. Handlers are meant to be installed at start-up: a change
 * reaches other threads with their next call, and a handler may still be running when its replacement
 * returns.
 */
#ifndef OMBREL_OUTPUT_H
#define OMBREL_OUTPUT_H

#include <stdarg.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * Takes the texts of a stream; called on the thread that prints.
 * @param text the text, or null as the request to flush; valid during the call only
 * @return what the printing function returns
 */
typedef unsigned (*ombrel_puts_handler_t)(const char* text);

/**
 * @brief Redirects standard output's texts.
 * @param handler the new handler; null or ombrel_puts itself means the built-in way
 * @param old     receives the handler before (at first ombrel_puts); may be null
 * @return 0
 */
OMBREL_API int ombrel_set_puts_handler(ombrel_puts_handler_t handler, ombrel_puts_handler_t* old);

/**
 * @brief Redirects standard error's texts.
 * @param handler the new handler; null or ombrel_error_puts itself means the built-in way
 * @param old     receives the handler before (at first ombrel_error_puts); may be null
 * @return 0
 */
OMBREL_API int ombrel_set_error_puts_handler(ombrel_puts_handler_t handler, ombrel_puts_handler_t* old);

/**
 * @brief Prints a text on standard output, without adding a newline.
 * @param text the text; null flushes the stream
 * @return the handler's result; without a handler the stream's: not negative as a signed value when the text
 *         was written, all ones on a stream error, 0 for null or when memory runs out
 */
OMBREL_API unsigned ombrel_puts(const char* text);

/** @brief ombrel_puts() for standard error. */
OMBREL_API unsigned ombrel_error_puts(const char* text);

/** @brief A handler that discards its texts. @return 0 */
OMBREL_API unsigned ombrel_quiet_puts(const char* text);

/**
 * @brief Prints a text and a newline through ombrel_puts().
 * @param text the text; null prints as "(null)"
 * @return the result of ombrel_puts(), 0 when the line is too long to be formatted or memory runs out
 */
OMBREL_API unsigned ombrel_log_puts(const char* text);

/** @brief The same as ombrel_log_puts(). */
OMBREL_API unsigned ombrel_log_puts_tag(const char* text);

/**
 * @brief Prints a formatted text through ombrel_puts().
 * @param format a format of ombrel_vsnprintf(), whose rules differ from the standard ones
 * @param ap     its arguments
 * @return the result of ombrel_puts(); 0 for a null format, for a text above 65,278 characters or when memory
 *         runs out
 */
OMBREL_API unsigned ombrel_vprintf(const char* format, va_list ap) OMBREL_PRINTF_LIKE(1, 0);
/** @brief ombrel_vprintf() with the arguments in the call. */
OMBREL_API unsigned ombrel_printf(const char* format, ...) OMBREL_PRINTF_LIKE(1, 2);

/** @brief ombrel_vprintf() through ombrel_log_puts(): a line with its newline added. */
OMBREL_API unsigned ombrel_log_vprintf(const char* format, va_list ap) OMBREL_PRINTF_LIKE(1, 0);
/** @brief ombrel_log_vprintf() with the arguments in the call. */
OMBREL_API unsigned ombrel_log_printf(const char* format, ...) OMBREL_PRINTF_LIKE(1, 2);

/** @brief ombrel_vprintf() through ombrel_error_puts(). */
OMBREL_API unsigned ombrel_error_vprintf(const char* format, va_list ap) OMBREL_PRINTF_LIKE(1, 0);
/** @brief ombrel_error_vprintf() with the arguments in the call. */
OMBREL_API unsigned ombrel_error_printf(const char* format, ...) OMBREL_PRINTF_LIKE(1, 2);

OMBREL_END_C

#endif
