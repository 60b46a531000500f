/**
 * @file fragment.h
 * @brief Datagrams cut to a size, and reassembled in whatever order the pieces come.
 *
 * A splitter cuts a datagram into fragments that fit what carries them, such as packets of UDP below the
 * path's MTU. An assembler takes fragments of any number of senders, in any order, with losses, duplicates
 * and forgeries among them, and gives each datagram once it is whole:
 *
 * @code
 * uint8_t fragment[1400];
 * ombrel_fragment_splitter_t splitter;
 * int64_t size;
 * ombrel_init_fragment_splitter(&splitter, identifier++, data, data_size, sizeof fragment);
 * while ((size = ombrel_fragment_splitter_next(&splitter, fragment)) > 0)
 *     send_to_peer(fragment, (size_t)size);
 *
 * ombrel_fragment_assembler_t* const assembler = ombrel_open_fragment_assembler(NULL);
 * ombrel_datagram_t datagram;
 * while ((size = receive(fragment, sizeof fragment, &sender)) > 0)
 *     if (ombrel_fragment_assembler_take(assembler, &sender, sizeof sender, fragment, (size_t)size,
 *                                        def_ombrel_fragment_now, &datagram) > 0)
 *         use(datagram.m_data, datagram.m_size);
 * @endcode
 *
 * @par Layout
 * All numbers have their highest byte first.
 *
 * | offset | bytes | what |
 * |---|---|---|
 * | 0 | 1 | 0xF6 |
 * | 1 | 1 | 1 for the last fragment, else 0 |
 * | 2 | 2 | 0 |
 * | 4 | 4 | identifier of the datagram |
 * | 8 | 4 | bytes of the datagram before this fragment |
 * | 12 | 4 | bytes of the whole datagram |
 * | 16 | 4 | CRC-32 of the sixteen bytes before and of what follows |
 * | 20 | rest | bytes of the datagram, to the end of what carries the fragment |
 *
 * Fragments belong together when their sender and identifier are the same. An identifier is not to be used
 * again by a sender within the time limit; start from four bytes of ombrel_get_random_bytes() and count up.
 * The checksum guards against damage, not against forgery; sign the whole datagram if it is to be trusted.
 *
 * @par What is refused
 * Only the fragment itself is refused for: a wrong head or checksum; no bytes, unless the whole datagram has
 * none; bytes beyond the end of the datagram; the mark of the last fragment where the datagram does not end,
 * or no mark where it does; a datagram above the limit.
 *
 * The whole datagram is refused, with all its fragments and those that come later within the time limit (as
 * RFC 5722 demands for IPv6), for fragments that overlap or that tell different sizes of the whole. A
 * fragment that is the same as one before, in place, size and every byte, is a duplicate and passed over.
 * After a datagram was given, fragments of it that come within the time limit are late duplicates and passed
 * over, too; but of a datagram in a single fragment nothing is remembered, so that it is given each time it
 * comes.
 *
 * @par Limits
 * Time from the first fragment of a datagram to its last; memory of all that is held; datagrams at hand,
 * including those refused or given; fragments of one datagram; its size. When memory or places run out, the
 * datagrams that were given are forgotten first, the oldest before the others. Then the sender that holds the
 * most bytes, or places, loses its oldest datagram, so that a sender that floods loses its own datagrams and
 * takes nothing from others. The caller says who a sender is: where addresses can be forged, use something
 * that cannot. Memory is taken for bytes that have come, not for what a fragment claims.
 *
 * @par Threads
 * One at a time for an assembler or a splitter.
 *
 * @par Failures
 * -1 or null with the reason in ombrel_last_fault(): invalid for null and invalid arguments, violation for
 * fragments that are refused, too_large for limits, no_memory.
 */
#ifndef OMBREL_FRAGMENT_H
#define OMBREL_FRAGMENT_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of a fragment's head. */
#define def_ombrel_fragment_head_size 20
/** The longest key of a sender, in bytes. */
#define def_ombrel_fragment_sender_max 64
/** Stands for the present time of the host's monotonic clock. */
#define def_ombrel_fragment_now (-1)

/** @name Splitting
 * @{ */

/** A datagram that is being cut; embedded by its user, who looks at none of its fields. */
typedef struct ombrel_fragment_splitter_ts {
    const unsigned char* m_data; /**< the datagram */
    size_t m_size;               /**< its bytes */
    size_t m_at;                 /**< how many of them were cut off */
    size_t m_fragment_size;      /**< most bytes of a fragment */
    uint32_t m_identifier;       /**< the datagram's identifier */
    int m_is_done;               /**< whether the last fragment was given */
} ombrel_fragment_splitter_t;

/**
 * @brief Begins to cut a datagram.
 * @param splitter      the record; nothing ends it
 * @param identifier    the datagram's identifier
 * @param data          the datagram, which has to stay; may be null when `size` is 0
 * @param size          its bytes, at most 0xFFFFFFFF
 * @param fragment_size most bytes of a fragment with its head, above #def_ombrel_fragment_head_size
 * @return 0; -1
 */
OMBREL_API int ombrel_init_fragment_splitter(ombrel_fragment_splitter_t* splitter, uint32_t identifier,
                                             const void* data, size_t size, size_t fragment_size);

/**
 * @brief The next fragment, in order; an empty datagram has one.
 * @param splitter the splitter
 * @param buffer   room for the fragment size
 * @return bytes of the fragment; 0 after the last; -1
 */
OMBREL_API int64_t ombrel_fragment_splitter_next(ombrel_fragment_splitter_t* splitter, void* buffer);

/** @brief Number of fragments of a datagram. @param size its bytes @param fragment_size most bytes of a
 * fragment
 * @return the number; -1 */
OMBREL_API int64_t ombrel_get_fragment_count(size_t size, size_t fragment_size);

/** @} */

/** @name Reassembly
 * @{ */

/** Settings of an assembler. A limit of 0 is refused when opening. */
typedef struct ombrel_fragment_options_ts {
    int64_t m_time_limit;    /**< milliseconds; 30,000 */
    size_t m_memory_limit;   /**< bytes of all that is held, with what it takes to hold it; 4 MiB */
    size_t m_datagram_limit; /**< datagrams at hand; 1024 */
    size_t m_fragment_limit; /**< fragments of one datagram; 1024 */
    size_t m_size_limit;     /**< bytes of a datagram, at most 0xFFFFFFFF; 65,536 */
} ombrel_fragment_options_t;

/** A datagram that is whole. */
typedef struct ombrel_datagram_ts {
    const void* m_data;    /**< its bytes, in the assembler until its next call; never null */
    size_t m_size;         /**< their number */
    uint32_t m_identifier; /**< its identifier */
} ombrel_datagram_t;

/** What an assembler has met, and holds. */
typedef struct ombrel_fragment_statistics_ts {
    int64_t m_fragments;      /**< fragments that came, of all kinds */
    int64_t m_malformed;      /**< refused by themselves */
    int64_t m_duplicates;     /**< passed over as duplicates, late ones included */
    int64_t m_refused;        /**< refused with their datagram, not counting those that came before */
    int64_t m_datagrams;      /**< datagrams given */
    int64_t m_overlapped;     /**< datagrams refused because fragments overlap */
    int64_t m_contradicted;   /**< datagrams refused because fragments tell different sizes */
    int64_t m_crumbled;       /**< datagrams refused because of too many fragments */
    int64_t m_expired;        /**< datagrams given up because their time was over */
    int64_t m_evicted;        /**< datagrams given up for lack of memory or places */
    int64_t m_forgotten;      /**< given or refused datagrams forgotten early for the same reason */
    int64_t m_held_datagrams; /**< places in use now */
    int64_t m_held_bytes;     /**< memory in use now */
    int64_t m_held_senders;   /**< senders that something is held of now */
} ombrel_fragment_statistics_t;

/** An assembler; opaque. */
typedef struct ombrel_fragment_assembler_ts ombrel_fragment_assembler_t;

/** @brief Fills settings with their defaults. @return 0; -1 for null */
OMBREL_API int ombrel_init_fragment_options(ombrel_fragment_options_t* options);

/**
 * @brief An assembler that holds nothing.
 * @param options  the settings, copied; null for the defaults
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the assembler, closed by ombrel_close_fragment_assembler(); null with invalid for a limit of 0 or
 * out of its range
 */
OMBREL_API ombrel_fragment_assembler_t*
ombrel_open_fragment_assembler_tag(const ombrel_fragment_options_t* options, const char* function,
                                   unsigned long line);
/** ombrel_open_fragment_assembler_tag() with the caller's own name and line. */
#define ombrel_open_fragment_assembler(options)                                                              \
    ombrel_open_fragment_assembler_tag((options), __func__, __LINE__)

/** @brief Frees an assembler with all that it holds. @param assembler the assembler, or null @return 0 */
OMBREL_API int ombrel_close_fragment_assembler(ombrel_fragment_assembler_t* assembler);

/**
 * @brief Takes a fragment.
 * @param assembler   the assembler
 * @param sender      who sent it: any bytes that are the same for the same sender, without padding in them
 * @param sender_size their number, 0 to #def_ombrel_fragment_sender_max
 * @param fragment    the fragment
 * @param size        its bytes
 * @param now_ms      milliseconds of a clock that never goes back, or #def_ombrel_fragment_now; a time before
 *                    that of an earlier call counts as that
 * @param datagram    receives the datagram that became whole
 * @return 1 with a datagram; 0 when the fragment was taken or passed over as a duplicate; -1 when it was
 *         refused: violation, too_large for a datagram or fragment above a limit, no_memory
 */
OMBREL_API int ombrel_fragment_assembler_take(ombrel_fragment_assembler_t* assembler, const void* sender,
                                              size_t sender_size, const void* fragment, size_t size,
                                              int64_t now_ms, ombrel_datagram_t* datagram);

/** @brief Gives up datagrams whose time is over; ombrel_fragment_assembler_take() does that too. @return the
 * number of places that became free; -1 for null */
OMBREL_API int64_t ombrel_fragment_assembler_expire(ombrel_fragment_assembler_t* assembler, int64_t now_ms);

/** @brief The time until something expires, for the timer of a loop. @return milliseconds; -1 when nothing is
 * held, and for null */
OMBREL_API int64_t ombrel_fragment_assembler_get_wait(const ombrel_fragment_assembler_t* assembler,
                                                      int64_t now_ms);

/** @brief Forgets all that is held of one sender, who has left. @return the number of places that became
 * free; -1 for null and invalid arguments */
OMBREL_API int64_t ombrel_fragment_assembler_forget(ombrel_fragment_assembler_t* assembler,
                                                    const void* sender, size_t sender_size);

/** @brief What the assembler has met, and holds. @return 0; -1 for null */
OMBREL_API int ombrel_fragment_assembler_get_statistics(const ombrel_fragment_assembler_t* assembler,
                                                        ombrel_fragment_statistics_t* statistics);

/** @} */

OMBREL_END_C

#endif
