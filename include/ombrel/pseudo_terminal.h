/**
 * @file pseudo_terminal.h
 * @brief Programs in a terminal that this program emulates: editors, shells and whatever asks for a pass
 * phrase.
 *
 * @code
 * const char* const arguments[] = {"stty", "size", NULL};
 * ombrel_pseudo_terminal_t* terminal = ombrel_open_pseudo_terminal(arguments, NULL);
 * char output[256];
 * int64_t size = 0;
 * ombrel_process_end_t end;
 * while (terminal != NULL && (size = ombrel_pseudo_terminal_read(terminal, output, sizeof output, 1000)) > 0)
 *     show(output, (size_t)size);                           // "24 80\r\n"
 * if (size == 0 && ombrel_pseudo_terminal_wait(terminal, 1000, &end) == 1)
 *     tell(end.m_exit_code);
 * ombrel_close_pseudo_terminal(terminal);
 * @endcode
 *
 * The program leads a session of its own with the terminal as its controlling one, and has it as its three
 * standard streams; it inherits nothing else of this program. Its output is what terminals get, so lines end
 * with a carriage return and a line feed; its input is what keys send (terminal_key.h), and comes back as
 * echo unless the program turns that off. A program that prints more than the system holds (some KiB) waits
 * until it is read: read before you wait for its end.
 *
 * Closing the record frees everything: it hangs the terminal up, and ends processes that do not end by
 * themselves.
 *
 * Windows has this since version 10 of October 2018; there the console redraws what the program shows, so the
 * output consists of sequences that paint the same picture rather than the bytes that the program wrote.
 * Elsewhere, and in versions of wine without it, opening fails with def_ombrel_fault_not_supported.
 *
 * @par Failures
 * Unless a function says otherwise: def_ombrel_fault_invalid for null and invalid arguments.
 *
 * @par Threads
 * One at a time for a record, except that one may read while another writes.
 */
#ifndef OMBREL_PSEUDO_TERMINAL_H
#define OMBREL_PSEUDO_TERMINAL_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/process.h>

OMBREL_BEGIN_C

/** The result of a read whose time ran out. */
#define def_ombrel_pseudo_terminal_timeout (-2)

/** A program in a pseudo-terminal. */
typedef struct ombrel_pseudo_terminal_ts ombrel_pseudo_terminal_t;

/** How a program is started. */
typedef struct ombrel_pseudo_terminal_options_ts {
    const char* const* m_environment; /**< its whole environment, "NAME=text" and a null after them; null,
                                         the default: that of this program */
    const char* m_directory;          /**< its directory; null, the default: that of this program */
    int m_columns;                    /**< 1 to 32767; by default 80 */
    int m_rows;                       /**< 1 to 32767; by default 24 */
    int m_close_timeout_ms; /**< milliseconds that closing gives it to end by itself; negative for ever; by
                             * default 1000
                             */
} ombrel_pseudo_terminal_options_t;

/** @brief Fills in the defaults. @return 0, -1 for null */
OMBREL_API int ombrel_init_pseudo_terminal_options(ombrel_pseudo_terminal_options_t* options);

/**
 * @brief Starts a program in a terminal of its own.
 * @param arguments its name, looked for along the search path of this program when it has no directory, else
 * a path relative to this program's directory; its arguments and a null after them
 * @param options   null for the defaults
 * @param function  the calling function's name
 * @param line      the source line
 * @return the program, for ombrel_close_pseudo_terminal(); null with a fault: def_ombrel_fault_not_found or
 * def_ombrel_fault_access_denied for the program or the directory, def_ombrel_fault_no_memory,
 * def_ombrel_fault_no_descriptor, def_ombrel_fault_not_supported
 */
OMBREL_API ombrel_pseudo_terminal_t*
ombrel_open_pseudo_terminal_tag(const char* const* arguments, const ombrel_pseudo_terminal_options_t* options,
                                const char* function, unsigned long line);
/** ombrel_open_pseudo_terminal_tag() with the caller's own name and line. */
#define ombrel_open_pseudo_terminal(arguments, options)                                                      \
    ombrel_open_pseudo_terminal_tag((arguments), (options), __func__, __LINE__)

/**
 * @brief Hangs the terminal up, gives the program its time to end, ends its group by force if it has not
 * ended, and frees the record. What it prints meanwhile is dropped. Null does nothing.
 * @return 0
 */
OMBREL_API int ombrel_close_pseudo_terminal(ombrel_pseudo_terminal_t* terminal);

/**
 * @brief Reads what the program prints.
 * @param terminal the program
 * @param buffer   receives the bytes
 * @param size     its room
 * @param timeout_ms negative waits for ever, 0 looks once
 * @return bytes; 0 at the end, when the program and all processes that it left behind have closed the
 * terminal, and for a size of 0; #def_ombrel_pseudo_terminal_timeout; -1 with a fault
 */
OMBREL_API int64_t ombrel_pseudo_terminal_read(ombrel_pseudo_terminal_t* terminal, void* buffer, size_t size,
                                               int timeout_ms);

/**
 * @brief Types input for the program.
 *
 * A terminal in line mode takes no more than some KiB of a line; Ctrl+D is the byte 4, Ctrl+C the byte 3.
 * @param terminal the program
 * @param data     the bytes
 * @param size     how many
 * @param timeout_ms negative waits for ever, 0 writes what can be written at once
 * @return bytes written, fewer when the time ran out; -1 with a fault before the first:
 * def_ombrel_fault_closed after the end
 */
OMBREL_API int64_t ombrel_pseudo_terminal_write(ombrel_pseudo_terminal_t* terminal, const void* data,
                                                size_t size, int timeout_ms);

/**
 * @brief Changes the terminal's size; the program is told.
 * @param terminal the program
 * @param columns 1 to 32767
 * @param rows    1 to 32767
 * @return 0; -1 with a fault
 */
OMBREL_API int ombrel_pseudo_terminal_set_size(ombrel_pseudo_terminal_t* terminal, int columns, int rows);

/**
 * @brief The terminal's size, as the program may have changed it.
 * @param terminal the program
 * @param columns receives the width; may be null
 * @param rows    receives the height; may be null
 * @return 0; -1 with a fault
 */
OMBREL_API int ombrel_pseudo_terminal_get_size(ombrel_pseudo_terminal_t* terminal, int* columns, int* rows);

/**
 * @brief Sends a signal to the group in the terminal's foreground, as Ctrl+C would, or to the program's own
 * when there is none.
 * @param terminal      the program
 * @param signal_number as for ombrel_process_signal()
 * @return 0; -1 with a fault: def_ombrel_fault_no_process after the end, and those of ombrel_process_signal()
 */
OMBREL_API int ombrel_pseudo_terminal_signal(ombrel_pseudo_terminal_t* terminal, int signal_number);

/**
 * @brief Ends the program and its group: asks by a hang-up, then by force. What it prints meanwhile is
 * dropped.
 * @param terminal the program
 * @param grace_ms milliseconds between the two; 0 ends it at once, negative never
 * @return 0 when it has ended, of which ombrel_pseudo_terminal_wait() tells the details; -1 with a fault
 */
OMBREL_API int ombrel_pseudo_terminal_stop(ombrel_pseudo_terminal_t* terminal, int grace_ms);

/**
 * @brief Waits for the program to end. It may be asked again after the end.
 * @param terminal   the program
 * @param timeout_ms negative waits for ever, 0 looks once
 * @param end        receives how it ended; may be null
 * @return 1 it has ended; 0 the time ran out; -1 with a fault
 */
OMBREL_API int ombrel_pseudo_terminal_wait(ombrel_pseudo_terminal_t* terminal, int timeout_ms,
                                           ombrel_process_end_t* end);

/** @brief The program's process number. @return the number; -1 for null */
OMBREL_API int ombrel_pseudo_terminal_get_id(const ombrel_pseudo_terminal_t* terminal);

/** @brief The descriptor that becomes readable when the program prints or ends, for event loops. It belongs
 * to the record. @return the descriptor; -1 for null */
OMBREL_API int ombrel_pseudo_terminal_get_descriptor(const ombrel_pseudo_terminal_t* terminal);

/** @name A pair without a program
 * @{ */

/** The most bytes that the name of a terminal takes. */
#define def_ombrel_terminal_name_size 64

/** A pair: what is written at one side is read at the other, through the rules of terminals. */
typedef struct ombrel_terminal_pair_ts {
    int m_master;                               /**< the side of the program that emulates the terminal */
    int m_slave;                                /**< the terminal */
    char m_name[def_ombrel_terminal_name_size]; /**< a path by which others open the terminal */
} ombrel_terminal_pair_t;

/**
 * @brief Opens a pair of 80 by 24 characters. Neither side becomes this program's terminal.
 * @param pair receives both sides, for ombrel_uninit_terminal_pair(); -1 and an empty name after a failure
 * @return 0; -1 with a fault: def_ombrel_fault_no_descriptor, def_ombrel_fault_not_supported where the host
 * has no such thing, such as Windows
 */
OMBREL_API int ombrel_init_terminal_pair(ombrel_terminal_pair_t* pair);

/** @brief Closes both sides that are still there. Set the descriptor of a side that was given away or closed
 * to -1 before.
 * @return 0; -1 for null */
OMBREL_API int ombrel_uninit_terminal_pair(ombrel_terminal_pair_t* pair);
/** @} */

OMBREL_END_C

#endif
