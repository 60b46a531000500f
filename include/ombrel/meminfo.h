/**
 * @file meminfo.h
 * @brief How much memory the machine, a process and the process's container have and use.
 *
 * @code
 * ombrel_meminfo_t machine;
 * if (ombrel_get_meminfo(&machine) == 0)
 *     ombrel_printf("%lld of %lld KiB available\n", (long long)machine.m_available / 1024,
 *                   (long long)machine.m_total / 1024);
 * @endcode
 *
 * All figures are bytes of one moment; they change while they are read. A figure that the host does not tell
 * is #def_ombrel_meminfo_unknown. Functions give 0, or -1 and leave the record alone:
 * #def_ombrel_fault_invalid for null, #def_ombrel_fault_not_supported where the host has no such figures. Any
 * thread.
 */
#ifndef OMBREL_MEMINFO_H
#define OMBREL_MEMINFO_H

#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/fault.h>

OMBREL_BEGIN_C

/** A figure that the host does not tell. */
#define def_ombrel_meminfo_unknown (-1)
/** The limit where there is none. */
#define def_ombrel_meminfo_unlimited INT64_MAX

/** The machine's memory. */
typedef struct ombrel_meminfo_ts {
    int64_t m_total; /**< all that the system manages */
    int64_t m_free;  /**< unused */
    /** What programs can still have without swapping: free memory and what the system gives up for them.
     * Never unknown: where the host does not tell, it is made of the figures that it does tell. */
    int64_t m_available;
    int64_t m_used;       /**< what is not available: the difference to m_total, at least 0 */
    int64_t m_shared;     /**< files that live in memory, shared segments; unknown on Windows */
    int64_t m_buffers;    /**< copies of raw blocks of devices; unknown on Windows */
    int64_t m_cached;     /**< copies of files, and what else the system can give up */
    int64_t m_swap_total; /**< room for pages outside of memory; 0 without swap */
    int64_t m_swap_free;  /**< of it, what is unused */
} ombrel_meminfo_t;

/** A process's memory. */
typedef struct ombrel_process_meminfo_ts {
    int64_t m_resident;      /**< in memory now */
    int64_t m_peak_resident; /**< the most that was at any moment */
    int64_t m_virtual;       /**< of addresses in use; on Windows what is committed */
    int64_t m_peak_virtual;  /**< the most of them at any moment */
    int64_t m_swapped;       /**< in swap; unknown on Windows */
} ombrel_process_meminfo_t;

/** The memory of the container, control group or job that this process runs in. */
typedef struct ombrel_container_meminfo_ts {
    /** What it may use: the least of its own limit and of those around it; #def_ombrel_meminfo_unlimited when
     * none is set. */
    int64_t m_limit;
    /** What the group with that limit uses, caches of files included; without a limit what its own uses. */
    int64_t m_used;
    int64_t m_peak; /**< the most that it used at any moment */
} ombrel_container_meminfo_t;

/** @brief The machine's figures. @param info receives them @return 0 or -1 */
OMBREL_API int ombrel_get_meminfo(ombrel_meminfo_t* info);

/**
 * @brief A process's figures.
 * @param process its number; 0 for this process
 * @param info    receives them
 * @return 0 or -1: #def_ombrel_fault_no_process when there is none, #def_ombrel_fault_access_denied
 *         when the host does not tell them to this user. A process that has ended and was not waited for uses
 *         nothing.
 */
OMBREL_API int ombrel_get_process_meminfo(int process, ombrel_process_meminfo_t* info);

/**
 * @brief The figures of the container.
 *
 * On Linux that is the control group of the memory controller, of version 1 or 2, as far as it can be seen
 * from inside; on Windows the job object.
 * @param info receives them
 * @return 0; -1 with #def_ombrel_fault_not_supported when the process is in none that counts memory
 */
OMBREL_API int ombrel_get_container_meminfo(ombrel_container_meminfo_t* info);

OMBREL_END_C

#endif
