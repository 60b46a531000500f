/**
 * @file heap_report.h
 * @brief What the live blocks of the heap are: how many each call site has, and how much they take.
 *
 * A report is of one moment: the heap is locked while its blocks are counted, and all sums agree with the
 * figures of ombrel_get_alloc_info() then. Where overwritten links end the walk over the blocks too early, it
 * is the report of those that were reached (see ombrel_get_alloc_list()).
 *
 * All functions may be called from any thread.
 *
 * @code
 * ombrel_push_heap_report(NULL); // prints what was not freed
 * @endcode
 */
#ifndef OMBREL_HEAP_REPORT_H
#define OMBREL_HEAP_REPORT_H

#include <stddef.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Room of a call site's name, with its terminator. Longer names are cut. */
#define def_ombrel_heap_site_tag_size 64

/** The live blocks of one call site. */
typedef struct ombrel_heap_site_ts {
    char m_tag[def_ombrel_heap_site_tag_size]; /**< the allocating function; a copy, so that it outlives the
                                                    plug-in that the function may be in */
    unsigned long m_line;                      /**< its source line */
    size_t m_blocks;                           /**< live blocks */
    size_t m_size;                             /**< their bytes, overhead included */
} ombrel_heap_site_t;

/**
 * @brief Counts the live blocks by call site. It allocates nothing.
 * @param sites  receives the sites, those with the most bytes first; sites with as many stand in the order of
 *               their names and lines. All of its room is written to. Null counts as no room.
 * @param room   sites that it can take
 * @param others receives the sum over the blocks of the sites for which there was no room, under an empty
 *               name: with all of the room in use these are the sites whose newest blocks are the oldest. May
 *               be null.
 * @return the number of sites stored
 */
OMBREL_API size_t ombrel_get_heap_sites(ombrel_heap_site_t* sites, size_t room, ombrel_heap_site_t* others);

/**
 * @brief Writes the report as text.
 *
 * The first line is "N live blocks, N bytes, peak N"; peak is the greatest number of bytes so far. A line for
 * each call site follows, as by ombrel_get_heap_sites(): "N bytes in N blocks  function:line", the numbers
 * aligned on the right, to 12 and 8 columns. Of more than 4096 sites the last line tells the rest as "other
 * places". The memory that the report itself needs meanwhile is not in it, save for a caller's buffer and
 * what that holds.
 * @param buffer receives the text at its end; null prints it, as one text, through ombrel_puts()
 * @return 0; -1 when memory runs out: nothing is printed then, and the buffer may have received a part
 */
OMBREL_API int ombrel_push_heap_report(ombrel_buffer_t* buffer);

OMBREL_END_C

#endif
