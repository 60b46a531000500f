/**
 * @file serial.h
 * @brief Serial ports: opened with speed and format, read and written with time limits, modem lines, list of
 * ports.
 *
 * @code
 * ombrel_serial_options_t options;
 * char line[128];
 * ombrel_init_serial_options(&options);
 * options.m_speed = 9600;
 * ombrel_serial_t* port = ombrel_open_serial("/dev/ttyUSB0", &options);
 * if (port == NULL)
 *     return complain(ombrel_fault_text());
 * ombrel_serial_write(port, "AT\r", 3, 1000);
 * int64_t size = ombrel_serial_read(port, line, sizeof line, 1000);
 * ombrel_close_serial(port);
 * @endcode
 *
 * Bytes pass as they are in both directions. A port is used by this program alone unless asked otherwise, and
 * is closed with the settings in which it was found. A terminal or a pseudo-terminal may be opened as a port
 * too; its speed and lines have no meaning.
 *
 * Names: on Linux paths such as "/dev/ttyS0", on Windows "COM3".
 *
 * Faults, unless a function says otherwise: def_ombrel_fault_invalid for null and invalid arguments,
 * def_ombrel_fault_not_supported for what the port or the host cannot do, `input_output` and
 * def_ombrel_fault_closed for a port that was unplugged.
 *
 * Threads: one at a time for a port, except that one may read while another writes.
 */
#ifndef OMBREL_SERIAL_H
#define OMBREL_SERIAL_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The result of a read whose time ran out. */
#define def_ombrel_serial_timeout (-2)

/** @name Parity
 * @{ */
#define def_ombrel_serial_parity_none 0  /**< no parity bit */
#define def_ombrel_serial_parity_odd 1   /**< odd */
#define def_ombrel_serial_parity_even 2  /**< even */
#define def_ombrel_serial_parity_mark 3  /**< always 1 */
#define def_ombrel_serial_parity_space 4 /**< always 0 */
/** @} */

/** @name Flow control
 * @{ */
#define def_ombrel_serial_flow_none 0     /**< nothing says when to stop */
#define def_ombrel_serial_flow_hardware 1 /**< by RTS and CTS */
#define def_ombrel_serial_flow_software                                                                      \
    2 /**< by the bytes XON (17) and XOFF (19), which are no data then                                       \
       */
/** @} */

/** How a port is used. */
typedef struct ombrel_serial_options_ts {
    uint32_t m_speed; /**< bits in a second, any number the port can make; 115200 by default */
    int m_data_bits;  /**< 5 to 8; 8 by default */
    int m_parity;     /**< a def_ombrel_serial_parity_*; none by default */
    int m_stop_bits;  /**< 1 or 2; 1 by default. With 5 bits 2 mean one and a half */
    int m_flow;       /**< a def_ombrel_serial_flow_*; none by default */
    int m_is_shared;  /**< 1 lets others open the port too; 0, the default, does not. Windows never does */
} ombrel_serial_options_t;

/** @brief Fills in the defaults: 115200 bits in a second, 8 bits, no parity, 1 stop bit, no flow control,
 * alone.
 * @return 0, -1 for null */
OMBREL_API int ombrel_init_serial_options(ombrel_serial_options_t* options);

/**
 * @brief Reads a format such as "8N1": bits (5 to 8), parity (N, O, E, M, S, in either case), stop bits (1,
 * 2).
 * @param text     the text
 * @param options  receives the three; it stays as it is after a failure
 * @param fault_at receives the offset in bytes of what is wrong; may be null
 * @return 0; -1 for another text
 */
OMBREL_API int ombrel_parse_serial_format(const char* text, ombrel_serial_options_t* options,
                                          size_t* fault_at);

/**
 * @brief Writes the format of a port, such as "8N1".
 * @param buf     receives it, terminated, cut to fit
 * @param size    its room in bytes; 4 hold it
 * @param options the settings
 * @return the characters stored; -1 for null and invalid settings
 */
OMBREL_API int ombrel_format_serial_format(char* buf, size_t size, const ombrel_serial_options_t* options);

/** A port. */
typedef struct ombrel_serial_ts ombrel_serial_t;

/**
 * @brief Opens a port; it does not wait for a carrier. DTR and RTS are set, as the host does it.
 * @param name     the port
 * @param options  null for the defaults
 * @param function the calling function's name
 * @param line     the source line
 * @return the port, for ombrel_close_serial(); null with a fault: def_ombrel_fault_not_found,
 * def_ombrel_fault_access_denied, def_ombrel_fault_busy for a port that another program uses alone,
 * def_ombrel_fault_not_supported for what is not a serial port and for settings that the port does not have
 * (none is replaced by another), def_ombrel_fault_no_memory, def_ombrel_fault_no_descriptor
 */
OMBREL_API ombrel_serial_t* ombrel_open_serial_tag(const char* name, const ombrel_serial_options_t* options,
                                                   const char* function, unsigned long line);
/** ombrel_open_serial_tag() with the caller's own name and line. */
#define ombrel_open_serial(name, options) ombrel_open_serial_tag((name), (options), __func__, __LINE__)

/** @brief Restores the port's settings, closes it and frees the record. Bytes that wait to be sent are
 * dropped: drain the port before if they matter. Null does nothing. @return 0 */
OMBREL_API int ombrel_close_serial(ombrel_serial_t* port);

/** @brief Changes the port's settings, except whether it is shared. @return 0; -1 with a fault: then the
 * settings are as they were */
OMBREL_API int ombrel_serial_set_options(ombrel_serial_t* port, const ombrel_serial_options_t* options);

/** @brief How the port is used now, as the host reports it. @return 0; -1 with a fault */
OMBREL_API int ombrel_serial_get_options(ombrel_serial_t* port, ombrel_serial_options_t* options);

/**
 * @brief Reads what has arrived, at least one byte.
 * @param port   the port
 * @param buffer receives the bytes; a byte with a wrong parity or frame comes as 0
 * @param size   its room
 * @param timeout_ms negative waits for ever, 0 looks once
 * @return bytes; 0 when the other side hung up, and for a size of 0; #def_ombrel_serial_timeout; -1 with a
 * fault
 */
OMBREL_API int64_t ombrel_serial_read(ombrel_serial_t* port, void* buffer, size_t size, int timeout_ms);

/**
 * @brief Hands bytes to the port, which sends them by itself.
 * @param port the port
 * @param data the bytes
 * @param size how many
 * @param timeout_ms negative waits for ever, 0 writes what can be written at once
 * @return bytes, fewer when the time ran out; -1 with a fault before the first
 */
OMBREL_API int64_t ombrel_serial_write(ombrel_serial_t* port, const void* data, size_t size, int timeout_ms);

/** @brief Waits until all bytes are sent. @return 1 they are; 0 the time ran out; -1 with a fault */
OMBREL_API int ombrel_serial_drain(ombrel_serial_t* port, int timeout_ms);

#define def_ombrel_serial_input 1  /**< what has arrived and was not read */
#define def_ombrel_serial_output 2 /**< what was written and is not sent */
#define def_ombrel_serial_both 3   /**< both */

/** @brief Drops the bytes that wait, of `which`: input 1, output 2, both 3. @return 0; -1 with a fault */
OMBREL_API int ombrel_serial_discard(ombrel_serial_t* port, int which);

/** @brief How many bytes wait, of `which`: input 1, output 2, the sum for 3. @return bytes; -1 with a fault
 */
OMBREL_API int64_t ombrel_serial_get_waiting(ombrel_serial_t* port, int which);

/** @name Lines
 * @{ */
#define def_ombrel_serial_dtr 0x01u /**< out: data terminal ready */
#define def_ombrel_serial_rts 0x02u /**< out: request to send */
#define def_ombrel_serial_cts 0x04u /**< in: clear to send */
#define def_ombrel_serial_dsr 0x08u /**< in: data set ready */
#define def_ombrel_serial_dcd 0x10u /**< in: carrier */
#define def_ombrel_serial_ri 0x20u  /**< in: ring */

/** @brief The lines that are on, as bits, with those that this side sets where the host can tell them.
 * @return 0; -1 with a fault */
OMBREL_API int ombrel_serial_get_lines(ombrel_serial_t* port, uint32_t* lines);

/**
 * @brief Sets lines of this side.
 * @param port  the port
 * @param which the lines to set, of DTR and RTS; others are def_ombrel_fault_invalid
 * @param on    those of them that are to be on; the rest go off
 * @return 0; -1 with a fault
 */
OMBREL_API int ombrel_serial_set_lines(ombrel_serial_t* port, uint32_t which, uint32_t on);

/** @brief Holds the line in the state "break" for 1 to 60000 milliseconds, and waits until it has passed.
 * @return 0; -1 with a fault */
OMBREL_API int ombrel_serial_send_break(ombrel_serial_t* port, int duration_ms);
/** @} */

/** @brief The host's descriptor, to wait for its readiness in an event loop where the host has one: not on
 * Windows. It belongs to the port. @return the descriptor; -1 for null, and with
 * def_ombrel_fault_not_supported where there is none */
OMBREL_API int ombrel_serial_get_descriptor(const ombrel_serial_t* port);

/** A serial port of this host. The texts are valid until the handler returns. */
typedef struct ombrel_serial_port_ts {
    const char* m_name;        /**< for ombrel_open_serial() */
    const char* m_description; /**< what is known of it, such as "FT232R USB UART"; never null */
    const char* m_driver;      /**< the driver's name; may be empty */
    const char* m_serial;      /**< the serial number of a USB device; may be empty */
    int m_vendor;              /**< number of the USB vendor; -1 for other ports */
    int m_product;             /**< number of the USB product; -1 for other ports */
} ombrel_serial_port_t;

/** Called for each port. @return 0 to go on; anything else ends the walk, which returns it */
typedef int (*ombrel_serial_port_handler_t)(const ombrel_serial_port_t* port, void* context);

/**
 * @brief Walks over the serial ports of this host, ordered by name, numbers in it by value. Names without a
 * device behind them, as Linux has them for ports that a machine could have, are left out.
 * @param handler called for each
 * @param context handed to it
 * @return 0, also where there are none; what the handler returned when that was not 0; -1 with a fault
 */
OMBREL_API int ombrel_walk_serial_ports(ombrel_serial_port_handler_t handler, void* context);

OMBREL_END_C

#endif
