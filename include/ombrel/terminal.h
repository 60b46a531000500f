/**
 * @file terminal.h
 * @brief The terminal: its properties and size, keys one at a time, hidden input of lines, cursor, colours.
 *
 * A program that fills the screen opens the terminal, enters raw mode, reads keys and draws:
 *
 * @code
 * ombrel_terminal_t* terminal = ombrel_open_terminal(-1, -1);
 * ombrel_key_t key = {0, 0};
 * if (terminal == NULL || ombrel_terminal_enter(terminal, def_ombrel_terminal_screen) != 0)
 *     return complain(ombrel_fault_text());
 * while (key.m_code != 'q') {
 *     draw(terminal);
 *     if (ombrel_terminal_read_key(terminal, &key, -1) < 1)
 *         break;
 * }
 * ombrel_close_terminal(terminal);
 * @endcode
 *
 * @par Restoration
 * A terminal that was entered is restored to the state in which it was found: mode, screen, cursor, title.
 * That happens when it is left or closed, at exit(), and when a signal ends the program (TERM, INT, HUP,
 * QUIT, PIPE, ALRM, USR1, USR2, ABRT, SEGV, BUS, FPE, ILL and the like) or stops it (TSTP, TTIN). When the
 * program continues in the foreground, raw mode is entered again, also after a stop that a program cannot
 * notice. Only signals whose action is the default when the terminal is entered are caught, and that action
 * is carried out afterwards. A program with a handler of its own, installed before or after, keeps it, and
 * calls ombrel_restore_terminals() in it where the program is to end. An end that cannot be caught (KILL,
 * _exit()) leaves the terminal in raw mode.
 *
 * @par Windows
 * The mode of the console is restored at the same points, on Ctrl+C, Ctrl+Break and the closing of the
 * console, and on an unhandled fault. Keys are those that the console reports; colours, title and the like
 * need a console that renders escape sequences (Windows 10 and later), otherwise they are left out.
 *
 * @par Failures
 * Unless a function says otherwise: def_ombrel_fault_invalid for null and invalid arguments,
 * def_ombrel_fault_bad_descriptor for a descriptor that is not open, def_ombrel_fault_not_supported for what
 * is not a terminal, def_ombrel_fault_input_output for one that is gone.
 *
 * @par Threads
 * Any for functions that take a descriptor or nothing; one at a time for an ombrel_terminal_t. When several
 * descriptors are the same terminal, enter only one of them.
 */
#ifndef OMBREL_TERMINAL_H
#define OMBREL_TERMINAL_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/terminal_key.h>

OMBREL_BEGIN_C

/** Columns assumed where there is no terminal. */
#define def_ombrel_terminal_columns 80
/** Rows assumed where there is no terminal. */
#define def_ombrel_terminal_rows 24

/**
 * @brief Whether a descriptor is a terminal.
 * @param fd a descriptor; one that is not open is not a terminal
 * @return 1 for a terminal, else 0
 */
OMBREL_API int ombrel_isatty(int fd);

/**
 * @brief The size of the terminal behind the first of standard output, error and input that is one.
 * @param columns receives the width in characters; may be null
 * @param rows    receives the height in lines; may be null
 * @return 0, or -1 when none of the three is a terminal: then 80 columns and 24 rows are stored
 */
OMBREL_API int ombrel_get_terminal_size(int* columns, int* rows);

/**
 * @brief Sets the size of the terminal behind a descriptor, of either side of a pair; the programs in it are
 * told.
 * @param fd      the descriptor
 * @param columns 1 to 32767
 * @param rows    1 to 32767
 * @return 0; -1 with a fault: def_ombrel_fault_not_supported for what is not a terminal
 */
OMBREL_API int ombrel_set_terminal_size(int fd, int columns, int rows);

/** The result of a read whose time ran out. */
#define def_ombrel_terminal_timeout (-2)

/** @name What a terminal shows
 * @{ */

/**
 * @brief How many colours may be used on a descriptor.
 *
 * The environment tells, as is usual: TERM, COLORTERM ("truecolor" or "24bit"), and NO_COLOR, which asks for
 * none when it is set and not empty.
 * @param fd a descriptor
 * @return 0, 8, 16, 256 or 16777216; 0 for what is not a terminal or renders no sequences
 */
OMBREL_API int ombrel_get_terminal_colors(int fd);

#define def_ombrel_terminal_color_default 0u /**< a colour: the terminal's own */
/** A colour of the palette: 0 to 7 are black, red, green, yellow, blue, magenta, cyan, white, 8 to 15 the
 * same bright, 16 to 231 a cube of 6 by 6 by 6, 232 to 255 greys. */
#define def_ombrel_terminal_color_palette(index) (0x01000000u | ((index)&0xffu))
/** A colour by its parts, each 0 to 255. */
#define def_ombrel_terminal_color_rgb(red, green, blue)                                                      \
    (0x02000000u | ((red)&0xffu) << 16 | ((green)&0xffu) << 8 | ((blue)&0xffu))

#define def_ombrel_terminal_bold 0x01u      /**< an attribute */
#define def_ombrel_terminal_faint 0x02u     /**< an attribute */
#define def_ombrel_terminal_italic 0x04u    /**< an attribute */
#define def_ombrel_terminal_underline 0x08u /**< an attribute */
#define def_ombrel_terminal_blink 0x10u     /**< an attribute */
#define def_ombrel_terminal_reverse 0x20u   /**< an attribute: foreground and background exchanged */
#define def_ombrel_terminal_hidden 0x40u    /**< an attribute */
#define def_ombrel_terminal_strike 0x80u    /**< an attribute */

/** How text looks. All zero is the terminal's own look. */
typedef struct ombrel_terminal_style_ts {
    uint32_t m_attributes; /**< bits */
    uint32_t m_foreground; /**< a colour */
    uint32_t m_background; /**< a colour */
} ombrel_terminal_style_t;

/**
 * @brief Writes the escape sequence that sets a style, whatever was set before.
 * @param buf    receives the sequence, terminated; empty when it does not fit
 * @param size   its room in bytes; 64 hold every sequence
 * @param style  the style; null for the terminal's own
 * @param colors how many the terminal has, as ombrel_get_terminal_colors() tells; a colour that it lacks
 * becomes the nearest one; with 0 only attributes are set
 * @return the characters stored; -1 for a null buffer or a size of 0
 */
OMBREL_API int ombrel_format_terminal_style(char* buf, size_t size, const ombrel_terminal_style_t* style,
                                            int colors);
/** @} */

/** @name A terminal in use
 * @{ */

/** A terminal in use. */
typedef struct ombrel_terminal_ts ombrel_terminal_t;

/**
 * @brief Begins to use a terminal. Nothing changes yet.
 * @param input  where keys come from; -1 for the program's controlling terminal, whatever its standard
 * streams are
 * @param output where output is shown; -1 likewise. Both descriptors still belong to the caller
 * @param function the calling function's name
 * @param line     the source line
 * @return the terminal, for ombrel_close_terminal(); null with a fault: def_ombrel_fault_not_supported for an
 * input that is not a terminal, def_ombrel_fault_not_found when the program has no terminal,
 * def_ombrel_fault_no_memory, def_ombrel_fault_no_descriptor. An output that is not a terminal is allowed and
 * gets only the text, without sequences
 */
OMBREL_API ombrel_terminal_t* ombrel_open_terminal_tag(int input, int output, const char* function,
                                                       unsigned long line);
/** ombrel_open_terminal_tag() with the caller's own name and line. */
#define ombrel_open_terminal(input, output) ombrel_open_terminal_tag((input), (output), __func__, __LINE__)

/** @brief Leaves the terminal, shows what is still waiting to be shown, and frees the record. Null does
 * nothing.
 * @return 0; -1 with a fault when the terminal could not be restored; the record is freed all the same */
OMBREL_API int ombrel_close_terminal(ombrel_terminal_t* terminal);

/** Ctrl+C, Ctrl+\ and Ctrl+Z still raise signals; without this flag they come as keys. */
#define def_ombrel_terminal_signals 0x01u
/** A separate, empty screen where the terminal has one; the old one comes back at the end. */
#define def_ombrel_terminal_screen 0x02u
#define def_ombrel_terminal_hide_cursor 0x04u /**< the cursor is not shown until it is asked for */
#define def_ombrel_terminal_paste 0x08u       /**< distinguish pasted from typed text */
#define def_ombrel_terminal_focus 0x10u /**< report when the terminal gets and loses the keyboard focus */

/**
 * @brief Enters raw mode: each key comes at once, nothing is echoed, and no key has a special meaning. Line
 * feeds in the output still begin a new line.
 *
 * A terminal that was entered already takes the new flags. A program in the background is stopped until it
 * comes to the foreground, as with any change of its terminal.
 * @param terminal the terminal
 * @param flags    bits
 * @return 0; -1 with a fault: def_ombrel_fault_busy when as many terminals as can be guarded (8) are entered,
 * def_ombrel_fault_input_output when the terminal is gone
 */
OMBREL_API int ombrel_terminal_enter(ombrel_terminal_t* terminal, uint32_t flags);

/**
 * @brief Restores the terminal to the state in which it was found, after all output has been shown.
 * @return 0, also when it was not entered; -1 with a fault
 */
OMBREL_API int ombrel_terminal_leave(ombrel_terminal_t* terminal);

/**
 * @brief Restores all entered terminals of the program. For signal handlers and for code that ends the
 * program in its own way: it takes no locks and no memory and leaves errno alone. To use a terminal again,
 * leave it and enter it.
 */
OMBREL_API void ombrel_restore_terminals(void);

/**
 * @brief The next key.
 *
 * Waiting output is shown first. A new size and the continuation of a stopped program come as the keys
 * #def_ombrel_key_resized and #def_ombrel_key_resumed. A terminal that was not entered gives its keys when a
 * line is complete. Programs that read no keys ask for the size, or attach an event to SIGWINCH (signal.h).
 * @param terminal   the terminal
 * @param key        receives the key
 * @param timeout_ms negative waits for ever, 0 looks once
 * @return 1 for a key; 0 when the input has ended, for example after a hang-up; #def_ombrel_terminal_timeout;
 * -1 with a fault
 */
OMBREL_API int ombrel_terminal_read_key(ombrel_terminal_t* terminal, ombrel_key_t* key, int timeout_ms);

/**
 * @brief The bytes that the terminal sends, not decoded: for programs that pass them on.
 *
 * A new size and a stop of the program are left for ombrel_terminal_read_key(). Waiting output is shown
 * first.
 * @param terminal   the terminal
 * @param buffer     receives the bytes; those that ombrel_terminal_read_key() has read ahead come first
 * @param size       its room
 * @param timeout_ms negative waits for ever, 0 looks once
 * @return bytes; 0 when the input has ended, and for a size of 0; #def_ombrel_terminal_timeout; -1 with a
 * fault
 */
OMBREL_API int64_t ombrel_terminal_read(ombrel_terminal_t* terminal, void* buffer, size_t size,
                                        int timeout_ms);

/**
 * @brief Sets how long after the byte of Escape the rest of a sequence may come: 50 milliseconds unless set.
 * Slow lines need more.
 * @return 0; -1 for null and numbers below 0
 */
OMBREL_API int ombrel_terminal_set_escape_timeout(ombrel_terminal_t* terminal, int timeout_ms);

/** @brief The descriptor that keys come from, to wait for its readiness in an event loop: then read keys with
 * a limit of 0 until the time runs out, and once more some 50 milliseconds later, for a lone Escape. @return
 * the descriptor, -1 for null */
OMBREL_API int ombrel_terminal_get_descriptor(const ombrel_terminal_t* terminal);

/**
 * @brief The size now.
 * @param terminal the terminal
 * @param columns receives the width in characters; may be null
 * @param rows    receives the height in lines; may be null
 * @return 0; -1 with a fault when the terminal cannot tell: then 80 columns and 24 rows are stored
 */
OMBREL_API int ombrel_terminal_get_size(ombrel_terminal_t* terminal, int* columns, int* rows);

/** @brief How many colours the terminal has, as ombrel_get_terminal_colors() tells. @return the count, 0 for
 * null
 */
OMBREL_API int ombrel_terminal_get_colors(const ombrel_terminal_t* terminal);
/** @} */

/** @name Drawing
 * What is drawn is collected and shown by ombrel_terminal_flush(), when a key is read, or when 4 KiB are
 * together. Each returns 0; -1 with a fault, which may be that of what was drawn before. Sequences are left
 * out where the terminal renders none. Positions count from 0 at the left top.
 * @{ */

/** @brief Draws bytes as they are at the cursor: UTF-8, including any sequences in them. */
OMBREL_API int ombrel_terminal_write(ombrel_terminal_t* terminal, const void* data, size_t size);
/** @brief Draws a text at the cursor; null draws nothing. */
OMBREL_API int ombrel_terminal_puts(ombrel_terminal_t* terminal, const char* text);
/** @brief Draws a text made by the library's formatter. @return bytes, or -1 */
OMBREL_API int ombrel_terminal_printf(ombrel_terminal_t* terminal, const char* format, ...)
    OMBREL_PRINTF_LIKE(2, 3);
/** @brief ombrel_terminal_printf() with the arguments as a list. */
OMBREL_API int ombrel_terminal_vprintf(ombrel_terminal_t* terminal, const char* format, va_list arguments)
    OMBREL_PRINTF_LIKE(2, 0);

/** @brief Moves the cursor to a place; outside the screen it stops at the edge. */
OMBREL_API int ombrel_terminal_move(ombrel_terminal_t* terminal, int column, int row);
/** @brief Moves the cursor to the right and down, or back for negative numbers. */
OMBREL_API int ombrel_terminal_move_by(ombrel_terminal_t* terminal, int columns, int rows);
/** @brief Shows the cursor, or hides it when `on` is 0. */
OMBREL_API int ombrel_terminal_show_cursor(ombrel_terminal_t* terminal, int on);

#define def_ombrel_terminal_clear_screen 0    /**< all of it; the cursor goes to the top left */
#define def_ombrel_terminal_clear_below 1     /**< from the cursor to the end of the screen */
#define def_ombrel_terminal_clear_line 2      /**< the cursor's line */
#define def_ombrel_terminal_clear_line_rest 3 /**< from the cursor to the end of its line */
/** @brief Clears the part that `what` says, with the background of the style. */
OMBREL_API int ombrel_terminal_clear(ombrel_terminal_t* terminal, int what);

/** @brief Sets the style of everything drawn from now on; null for the terminal's own look. */
OMBREL_API int ombrel_terminal_set_style(ombrel_terminal_t* terminal, const ombrel_terminal_style_t* style);

/** @brief Sets the window's title. Control characters in it become spaces. The old one comes back when the
 * terminal is left, where it can keep one. */
OMBREL_API int ombrel_terminal_set_title(ombrel_terminal_t* terminal, const char* title);

/** @brief Sounds the bell. */
OMBREL_API int ombrel_terminal_ring(ombrel_terminal_t* terminal);

/** @brief Shows what was drawn. It waits while the terminal takes nothing, for example after Ctrl+S, but
 * after five seconds without a byte taken it fails with def_ombrel_fault_timed_out and drops what is left.
 */
OMBREL_API int ombrel_terminal_flush(ombrel_terminal_t* terminal);
/** @} */

/**
 * @brief Reads a line without showing it, such as a pass phrase.
 *
 * Backspace takes a character back, Ctrl+U all of them, Ctrl+D on an empty line ends the input; other keys
 * that are not characters do nothing. What was typed before the prompt is dropped. The terminal is restored
 * as described above, also when Ctrl+C ends the program. The library's copies of the line are overwritten;
 * the caller wipes the buffer.
 * @param fd     a terminal; -1 for the program's controlling terminal. Input that is not a terminal is read
 * as it is up to the end of the line, byte by byte, and no prompt is shown
 * @param prompt shown before; null for none
 * @param buffer receives the line without its end, terminated; it is zero after a failure
 * @param size   its room in bytes, at least 1
 * @param timeout_ms for the whole line: negative waits for ever
 * @return 1 for a line, which may be empty; 0 at the end of the input; #def_ombrel_terminal_timeout; -1 with
 * a fault: def_ombrel_fault_too_large for a line that does not fit, which is read to its end and dropped,
 * def_ombrel_fault_not_found when the program has no terminal
 */
OMBREL_API int ombrel_read_secret(int fd, const char* prompt, char* buffer, size_t size, int timeout_ms);

OMBREL_END_C

#endif
