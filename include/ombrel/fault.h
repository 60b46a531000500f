/**
 * @file fault.h
 * @brief Why a call failed: one vocabulary for it, the same on every system.
 *
 * The functions of the system services (files, directories, streams, processes, terminals, serial ports and
 * the like) and of the application protocols leave the host's number in `errno` when they fail, also on
 * Windows; for what no host has a number, one of the library's own from 20000 upwards. The functions here
 * tell what it means, so that a program need not know which numbers a host uses for one thing:
 *
 * @code
 * if (ombrel_remove_file(path) != 0 && ombrel_last_fault() != def_ombrel_fault_not_found)
 *     ombrel_error_printf("%s: %s\n", path, ombrel_fault_text());
 * @endcode
 *
 * Ask at once: other calls, of the C library too, change `errno`. A call that succeeds leaves it alone or
 * changes it, so a fault says something after a failure only. Each thread has its own.
 */
#ifndef OMBREL_FAULT_H
#define OMBREL_FAULT_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name Faults
 * @{ */
#define def_ombrel_fault_none 0 /**< nothing failed */

#define def_ombrel_fault_would_block 1 /**< it would have to wait; the same call may succeed later */
#define def_ombrel_fault_interrupted 2 /**< by a signal */
#define def_ombrel_fault_in_progress 3 /**< it goes on by itself */
#define def_ombrel_fault_timed_out 4   /**< the time limit passed */
#define def_ombrel_fault_busy 5        /**< in use by another */

#define def_ombrel_fault_refused 6                /**< by the peer: no program listens there */
#define def_ombrel_fault_unreachable 7            /**< no way leads to the peer */
#define def_ombrel_fault_not_connected 8          /**< there is no peer */
#define def_ombrel_fault_aborted 9                /**< the peer left before it was accepted */
#define def_ombrel_fault_reset 10                 /**< the peer broke the connection off */
#define def_ombrel_fault_closed 11                /**< the other side is closed */
#define def_ombrel_fault_address_in_use 12        /**< another has the address */
#define def_ombrel_fault_address_not_available 13 /**< it is no address of this host */

#define def_ombrel_fault_not_found 14     /**< no such file, device, program or the like */
#define def_ombrel_fault_not_directory 15 /**< what a path leads through, or ends at, is no directory */
#define def_ombrel_fault_exists 16        /**< it is there already */
#define def_ombrel_fault_access_denied 17 /**< a right is missing, or what is to be changed is read-only */
#define def_ombrel_fault_is_directory 18  /**< it is a directory */
#define def_ombrel_fault_not_empty 19     /**< the directory has entries */
#define def_ombrel_fault_link_loop 20     /**< symbolic links lead round in a circle, or through too many */
#define def_ombrel_fault_other_device 21  /**< it lies on another device or file system */
#define def_ombrel_fault_not_seekable 22  /**< it has no position, as a pipe */
#define def_ombrel_fault_no_space 23      /**< the device or the user's share of it is full */
#define def_ombrel_fault_too_large                                                                           \
    24 /**< larger than the limit that was given, or than the host's files can be */
#define def_ombrel_fault_input_output 25 /**< the device failed */

#define def_ombrel_fault_no_memory 26     /**< memory ran out */
#define def_ombrel_fault_no_descriptor 27 /**< the process or the system has no descriptor left */

#define def_ombrel_fault_no_process 28     /**< there is no such process */
#define def_ombrel_fault_bad_descriptor 29 /**< it is not open, or not for this */
#define def_ombrel_fault_invalid 30        /**< an argument is invalid */
#define def_ombrel_fault_not_supported 31  /**< this host has no such thing */
#define def_ombrel_fault_other 32          /**< something else: the host's number and words say more */

#define def_ombrel_fault_unknown_host 33 /**< the name of a host has no address */
#define def_ombrel_fault_violation 34    /**< the peer does not keep to the protocol, or a text to its form */
#define def_ombrel_fault_rejected 35     /**< the peer said no */
/** @} */

/** @brief Why this thread's last call failed. @return a def_ombrel_fault_*, told from `errno` */
OMBREL_API int ombrel_last_fault(void);

/**
 * @brief The same in words for people, such as "No such file or directory": the host's own where it has some.
 * @return a text that lives until the next call of this thread; never null
 */
OMBREL_API const char* ombrel_fault_text(void);

/**
 * @brief The name of a fault, for logs: "not_found".
 * @param fault a def_ombrel_fault_*
 * @return a static text; "unknown" for another number
 */
OMBREL_API const char* ombrel_fault_name(int fault);

/**
 * @brief Makes a fault this thread's last one, for callbacks that the library calls and that fail.
 * @param fault a def_ombrel_fault_*; `errno` becomes the host's first number for it, 0 for none and unknown
 * ones
 */
OMBREL_API void ombrel_leave_fault(int fault);

OMBREL_END_C

#endif
