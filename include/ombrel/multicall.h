/**
 * @file multicall.h
 * @brief Commands by name: a table of small programs, each an argument vector in and an exit code out.
 *
 * The library brings commands for files ("cat", "cp", "find", "rm", "sync", "tree"), processes ("kill",
 * "launch", "ps", "run"), the host ("ata", "date", "free", "ports", "serial", "uuid"), streams and coding
 * ("base64", "digest", "get"), and for itself ("completion", "help", "manual", "plugins", "version"), and
 * others that "help" lists; a program or a plug-in adds its own. Each answers "--help" and "--version". A
 * program that hands its arguments to ombrel_execute_multicall() is a multi-call program: linked under the
 * name of a command it is that command, otherwise its first argument names one.
 *
 * Contexts of "application/tuk_multicall" run the same commands through ombrel_ctx_execute_main() and the
 * control operation #def_ombrel_multicall_control_execute.
 *
 * Commands read standard input, write standard output and complain on standard error of the process. Plain
 * bytes are written to the C stream `stdout`; texts such as those of "help" go through ombrel_puts(), so that
 * an installed handler receives them. A command that cannot write its output says so, with the reason, and
 * gives #def_ombrel_multicall_exit_failed. A closed pipe is no news to anybody: commands end by its signal as
 * other programs do, save those that serve or watch over others, and end silently where the program ignores
 * it. The command "get" ends programs that it has started by "pipe:" when a signal ends it, unless the
 * program has a handler of its own for that.
 *
 * Threads: any, for all functions here. Two commands that use the standard streams at the same time mix their
 * bytes.
 */
#ifndef OMBREL_MULTICALL_H
#define OMBREL_MULTICALL_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Exit code: all is well. */
#define def_ombrel_multicall_exit_good 0
/** Exit code: something could not be read, written or done. */
#define def_ombrel_multicall_exit_failed 1
/** Exit code: the arguments are invalid for the command. */
#define def_ombrel_multicall_exit_usage 2
/** Exit code: there is no command of the name. */
#define def_ombrel_multicall_exit_unknown 127

/**
 * The entry of a command.
 * @param argc number of arguments, at least 1
 * @param argv the arguments and a null after them; the first is the name by which the command was called
 * @return the exit code, 0 to 255
 */
typedef int (*ombrel_multicall_main_t)(int argc, char** argv);

/** Help of a command that answers "--help" itself, wherever it stands among its arguments, as one does that
 * reads them by ombrel_take_arguments(). */
#define def_ombrel_multicall_own_help ""

/** A command. The record and its texts belong to whoever registers it. */
typedef struct ombrel_multicall_command_ts {
    const char* m_name;             /**< its name: not empty, without separators of paths */
    ombrel_multicall_main_t m_main; /**< what it does; not null */
    const char* m_arguments;        /**< its arguments as a usage line shows them; null for none */
    const char* m_summary;          /**< what it does, in a line; may be null */
    const char* m_help;             /**< more lines about its options, each with its newline; may be null, or
                                       #def_ombrel_multicall_own_help */
} ombrel_multicall_command_t;

/** Argument record of the control operation #def_ombrel_multicall_control_execute. */
typedef struct ombrel_multicall_execute_ts {
    int m_argc;      /**< number of arguments */
    char** m_argv;   /**< the arguments and a null after them, as for ombrel_execute_multicall() */
    int m_exit_code; /**< receives the exit code */
} ombrel_multicall_execute_t;

/** Control operation of multi-call contexts (ombrel_ctx_control(); "execute" for ombrel_ctx_xcontrol()): runs
 * a command; the record is an ombrel_multicall_execute_t. A context that was opened with the option "source"
 * runs the command of that name, whatever the first argument says; opening fails with "not found" when there
 * is none. */
#define def_ombrel_multicall_control_execute 0x300u

/**
 * @brief Adds a command.
 * @param command kept by address, valid until it is unregistered and no longer runs
 * @return 0; -1 when it, its name or its entry is null, the name is empty or holds "/" or a backslash, the
 *         name is taken, or memory runs out
 */
OMBREL_API int ombrel_register_multicall_command(const ombrel_multicall_command_t* command);

/**
 * @brief Removes a registered command. It does not wait for threads that run it.
 * @param command what was registered
 * @return 0; -1 when it is not registered (those of the library never are)
 */
OMBREL_API int ombrel_unregister_multicall_command(const ombrel_multicall_command_t* command);

/**
 * @brief A command by its name.
 * @param name compared exactly; null finds nothing
 * @return the command; null when there is none
 */
OMBREL_API const ombrel_multicall_command_t* ombrel_find_multicall_command(const char* name);

/**
 * @brief A command by its position: those of the library by name, then the registered ones as they came.
 * @param index counted from 0
 * @return the command; null at the end
 */
OMBREL_API const ombrel_multicall_command_t* ombrel_get_multicall_command(size_t index);

/**
 * @brief Runs a command.
 *
 * When the last component of `argv[0]`, without an ending ".exe", names a command, that one runs with all
 * arguments. Otherwise `argv[1]` names it and it runs with the arguments from there on. Without a second
 * argument, and for "--help" or "-h" in its place, the commands are listed; "--version" and "--list" give the
 * version and the bare names; "--" stands before a command's name without a meaning. "--help" as the only
 * argument of a command prints how to use it, or is left to the command where its record says so.
 * @param argc number of arguments
 * @param argv the arguments and a null after them; null or an `argc` below 1 counts as no argument
 * @return the command's exit code; #def_ombrel_multicall_exit_unknown, with a complaint, when there is no
 * such command; #def_ombrel_multicall_exit_usage for an unknown option in the command's place
 */
OMBREL_API int ombrel_execute_multicall(int argc, char** argv);

/**
 * @brief Runs a given command: what ombrel_execute_multicall() does once it has found it.
 * @param command the command; null gives #def_ombrel_multicall_exit_unknown
 * @param argc    number of arguments
 * @param argv    the arguments and a null after them; null or an `argc` below 1 stands for the name alone
 * @return the exit code; #def_ombrel_multicall_exit_failed when standard output has failed
 */
OMBREL_API int ombrel_execute_multicall_command(const ombrel_multicall_command_t* command, int argc,
                                                char** argv);

/**
 * @brief Prints how to use a command on standard error.
 * @param command the command
 * @return #def_ombrel_multicall_exit_usage, to be returned by the command's entry
 */
OMBREL_API int ombrel_refuse_multicall_arguments(const ombrel_multicall_command_t* command);

OMBREL_END_C

#endif
