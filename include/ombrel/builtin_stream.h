/**
 * @file builtin_stream.h
 * @brief The streams of the built-in plug-in: MIME types, sources, options and control operations.
 *
 * A stream is a context (ctx.h) that is opened with one of these types:
 *
 * | MIME type | source |
 * |---|---|
 * | application/tuk_stream | any of those below, by its scheme; a plain path is a file |
 * | application/tuk_stream_file | a plain path, "file:", "fd:N", "stdin:", "stdout:", "stderr:" |
 * | application/tuk_stream_pipe | a command line, or "pipe:COMMAND LINE" |
 * | application/tuk_stream_tcp | "tcp://HOST:PORT", or "HOST:PORT" |
 * | application/tuk_stream_udp | "udp://HOST:PORT", or "HOST:PORT" |
 * | application/tuk_stream_tftp | "tftp://HOST[:PORT]/FILE", or "HOST[:PORT]/FILE" |
 * | application/tuk_stream_ftp | "ftp://[USER[:PASSWORD]@]HOST[:PORT]/FILE", or the same without "ftp://" |
 *
 * The forms without a scheme are for the types that name their kind; there a source with another scheme and
 * "//" is refused. URIs are read as uri.h says.
 *
 * @par Options of all streams
 * A number is a decimal one, with a "-" before it where it may be negative, and nothing else: anything else
 * ("5x", "", " 5", "+5"), or is outside its range, lets the open fail with the error "invalid argument".
 * Where no range is given it is that of a 32-bit int.
 * - "source": what to open.
 * - "mode": as for fopen(): one of "r", "w" and "a", then any of "+", "x", "b", "t" and "e" (the last three
 *   change nothing). Anything else is refused. The default is "r". TCP and UDP
 *   streams write whatever it is.
 * - "timeout": milliseconds that one call may wait without progress, negative for no limit: then the call
 * fails with the error "timed out", and may be repeated. The default is 30000; files and one-way pipes have
 * no limit.
 * - "debug", "verbose": a number other than 0 lets the stream report why it could not be opened, and UDP
 *   streams what they wait for, through the error printer.
 * - "missed_time": milliseconds without data after which a UDP stream reports that it waits.
 *
 * @par Files
 * Reads and writes go to the system at once, nothing is held back; sync hands the data to the device. Sizes
 * and positions have 64 bits on every platform. Seeking beyond the end is allowed; what is written there
 * leaves a gap of zeros. "x" fails with the error "exists" when the file is there. "fd:N", "stdin:",
 * "stdout:" and "stderr:" open a second descriptor of their own and leave the process's as it is; the option
 * "fd" with a number (see ombrel_open_ctx_stream_fd()), which goes before "source", takes the descriptor
 * over. Reading or writing against the mode gives the error "not supported", and so does seeking in a pipe or
 * terminal. A named pipe waits at opening for its other side.
 *
 * On Windows paths and their URIs may begin with a drive ("file:///C:/a") or name a file of another host
 * ("file://HOST/SHARE/a"); elsewhere a URI with another host is a syntax error. Paths are UTF-8, may be
 * longer than 260 characters, and name devices by the reserved names ("NUL", "CON"). Others may read, write,
 * rename and delete a file while a stream has it open; one that others keep for themselves is "busy". "fd:N"
 * is a number of the universal C run-time (ucrt).
 *
 * @par Pipes
 * The command line is everything after "pipe:", as it stands, without decoding, and runs by the platform's
 * command interpreter. With the option "args" no interpreter is involved: the source names a program, looked
 * for along the search path, and "args" has its arguments, separated by spaces; single or double quotes hold
 * together what has spaces, and have no other meaning.
 *
 * @warning A source that comes from outside the program can name a command with "pipe:". Check its scheme, or
 * open it with the type of the one kind that is wanted, or
 * set the option "schemes" of ombrel_open_ctx().
 *
 * Mode "r" reads the program's output; its input is empty. "w" feeds its input; its output is that of this
 * process. With "+" both go through the stream; to write much to a program that answers, read in between. The
 * program inherits standard error, the environment, and no descriptor. Writing to a program that has ended
 * gives the error "disconnected", never a signal.
 *
 * Closing closes both ends and waits for the program to end for as long as the option "close_timeout" says
 * (milliseconds, default 3000); then it is asked to end, and a second later its process group is ended. It
 * never stays behind as an ended process that was not waited for.
 *
 * On Windows the interpreter is cmd.exe, and a program of "args" gets them as its C run-time takes a command
 * line apart; scripts (.bat, .cmd) need the interpreter, as nothing can be quoted safely for it, and are
 * "invalid argument" without. The polite request is Ctrl+Break, for which both must share a console: a
 * program that has none is ended at once. All programs that it started belong to its group. A program that
 * the system ended for a fault, or that was asked to end, counts as ended by the signal that POSIX has for
 * it.
 *
 * @par TCP
 * A stream reads and writes whatever its mode. With the option "listen" other than 0 it waits at the host's
 * address (an empty host is any) for one peer, which the first operation that needs one accepts within its
 * time limit; the port may be 0 (see ::def_ombrel_stream_control_get_local_address). The option "interface"
 * is the own address to connect from. A read gives 0 once the peer has closed.
 *
 * @par UDP
 * Each write is one datagram, each read takes one; what a read has no room for is lost, and empty datagrams
 * are passed over. Only multicast streams (those whose host is a multicast address) are read: they are bound
 * to the port and join the group unless the mode only writes. Reading another stream reports "need multicast
 * stream !" and gives the error "not supported". Once a read or ombrel_ctx_is_readable() has waited for
 * "missed_time" (1000 ms under "debug" or "verbose" where it is not set), and again each time as much has
 * passed, it reports "wait udp stream !" with the time so far. The option "interface" (a name, an index, or
 * an address of its own) chooses where multicast is sent and the group is joined. Without it datagrams go
 * where the system sends them, and the group is joined on all interfaces, the loop-back one included; a
 * machine that has no interface for multicast sends by the loop-back one. "ttl" is how many hops datagrams
 * may take (up to 255; negative for the system's choice).
 *
 * @par TFTP
 * One file, read ("r") or written as a whole ("w"), in octet mode; ";mode=octet" after the name is accepted.
 * The slash that ends the host is no part of the name: write "tftp://host//name" for "/name". Other modes are
 * the error "invalid argument". The server is asked for blocks of "block_size" bytes (8 to 65464, default
 * 1428), the size of the file, and a time limit; one that grants nothing of this is used as it is. A packet
 * that is not answered is sent again after "interval" milliseconds (default 1000), then after twice and four
 * times as long, and "tries" times altogether (default 6, at least once); then the transfer fails with "timed
 * out". No call waits longer than that for each block; opening and closing, all their packets together, end
 * within "timeout" as well. When writing, the option "size" (0 to 2^63 - 1) tells the server the file's bytes
 * beforehand; the rest of the last block is sent by closing, whose result says whether the file arrived.
 * Closing a file that was not read to its end ends the transfer. There is no seeking.
 *
 * @par FTP
 * One file, read ("r"), written ("w") or appended to ("a"), as it is, over passive connections to the host of
 * the control connection. The path is relative to the directory of the login; "ftp://host//name" or
 * "ftp://host/%2Fname" is "/name", and ";type=i" after it is accepted. Other modes are the error "invalid
 * argument", and so are names with line ends. User and password are those of the source, else of the options
 * "user" and "password", else an anonymous user's. "offset" (0 to 2^63 - 1) begins that many bytes into the
 * file, when writing too, which leaves what stands before it. Seeking begins the transfer again with the next
 * read or write; what was written before is confirmed by the server first. Seeking from the end needs a
 * server that tells the size. Each step of the dialogue and each connection waits no longer than "timeout". A
 * file that is read ends when the server confirms that it was sent whole; when it came shorter than the
 * server had told its size, that is "disconnected". Closing after writing waits for the confirmation and
 * fails without it; closing in the middle of a file that is read ends the transfer.
 *
 * @par Errors
 * Besides those above: "protocol" for a server that breaks it or refuses, "syntax" for a source or option
 * that makes no sense, "not found" for a file or program that is not there, "is directory", "access denied",
 * "busy", "no space", "unknown host", "refused" by a host where no program listens, "unreachable", "no
 * memory", "no descriptor", "disconnected", "timed out", "io". ombrel_ctx_get_last_error_text() tells what
 * the host or the server said. Reading or writing nothing succeeds where the stream can be read or written,
 * and is "not supported" where it cannot, by its kind or by its mode.
 *
 * @par Properties
 * ombrel_ctx_get_env() gives "source", "mime_type", "timeout", and where there are such "size", "position",
 * "fd", "local" and "peer" (as "ADDRESS:PORT") and "exit_code" as texts, of TFTP and FTP streams "error" (the
 * server's own words on the last failure); ombrel_ctx_set_env() sets "timeout", null as it was by default,
 * and fails as an open does for what is no number.
 *
 * @par Threads
 * One thread may read a pipe, TCP or UDP stream while another writes to it, once a listening stream has its
 * peer. Everything else is for one thread at a time.
 */
#ifndef OMBREL_BUILTIN_STREAM_H
#define OMBREL_BUILTIN_STREAM_H

#include <stdint.h>

#include <ombrel/ctx.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @name Control operations
 * Codes for ombrel_ctx_control(), with the record that goes with each. A stream refuses those that make no
 * sense for it with the error "not supported". ombrel_ctx_xcontrol() takes the names in quotation marks.
 * ombrel_ctx_bcontrol() takes the record as it was before and gives it as it is after.
 * @{
 */

/** "get_size": the bytes of the resource, as far as they are known. Record: ombrel_stream_size_t. */
#define def_ombrel_stream_control_get_size 0x100u
/** "set_size": cuts a file or lengthens it with zeros. Record: ombrel_stream_size_t. */
#define def_ombrel_stream_control_set_size 0x101u
/** "get_timeout": milliseconds that a call may wait. Record: ombrel_stream_timeout_t. */
#define def_ombrel_stream_control_get_timeout 0x102u
/** "set_timeout": changes them. Record: ombrel_stream_timeout_t. */
#define def_ombrel_stream_control_set_timeout 0x103u
/** "get_fd": the descriptor that is read, or written where none is read; it stays the stream's. Record:
 *  ombrel_stream_fd_t. */
#define def_ombrel_stream_control_get_fd 0x104u
/** "get_local_address": the own address of a socket. Record: ombrel_stream_address_t. */
#define def_ombrel_stream_control_get_local_address 0x105u
/** "get_peer_address": the address of the other side. Record: ombrel_stream_address_t. */
#define def_ombrel_stream_control_get_peer_address 0x106u
/** "close_write": nothing more will be written; the other side reads to the end. The record is null, its size
 * 0.
 */
#define def_ombrel_stream_control_close_write 0x107u
/** "get_exit_status": waits for a pipe's program to end. Record: ombrel_stream_exit_t. */
#define def_ombrel_stream_control_get_exit_status 0x108u

/** A size. */
typedef struct {
    uint64_t m_size; /**< bytes */
} ombrel_stream_size_t;

/** A time limit. */
typedef struct {
    int m_timeout_ms; /**< milliseconds; negative for no limit */
} ombrel_stream_timeout_t;

/** A descriptor. */
typedef struct {
    int m_fd; /**< the descriptor */
} ombrel_stream_fd_t;

/** An address. */
typedef struct {
    char m_address[64]; /**< its text as by ombrel_inet_stop() */
    int m_port;         /**< its port */
} ombrel_stream_address_t;

/** How a program ended. */
typedef struct {
    int m_timeout_ms; /**< given: milliseconds to wait for it; 0 only looks, negative has no limit. When they
                         run out the operation fails with the error "timed out" */
    int m_exit_code;  /**< received: the exit code; -1 when a signal ended it, and where the process ignores
                         the end of its children */
    int m_signal;     /**< received: the signal that ended it; 0 for none */
} ombrel_stream_exit_t;
/** @} */

OMBREL_END_C

#endif
