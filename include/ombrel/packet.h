/**
 * @file packet.h
 * @brief Records on a byte stream, which the reader finds again after damage.
 *
 * A record is a type and up to 4 GiB of payload. The writer puts it into a buffer chain after a head with
 * checksums; the reader takes bytes from a buffer chain, in pieces as they come, and gives the records. Where
 * bytes were changed, lost or put in between, it looks for the next true record:
 *
 * @code
 * ombrel_push_packet(out, 0, 7, "hello", 5);
 *
 * ombrel_packet_reader_t* const reader = ombrel_open_packet_reader(NULL);
 * ombrel_packet_t packet;
 * while (receive_some(in)) // pushes what comes to the chain
 *     while (ombrel_packet_reader_next(reader, in, &packet) > 0)
 *         use(packet.m_type, packet.m_data, packet.m_size);
 * ombrel_packet_reader_end(reader);
 * while (ombrel_packet_reader_next(reader, in, &packet) > 0) // what an unfinished record had hidden
 *     use(packet.m_type, packet.m_data, packet.m_size);
 * ombrel_close_packet_reader(reader);
 * @endcode
 *
 * @par Layout
 * All numbers have their highest byte first.
 *
 * | offset | bytes | what |
 * |---|---|---|
 * | 0 | 2 | 0xF5 0xA7, which no text in UTF-8 has |
 * | 2 | 2 | type |
 * | 4 | 4 | size of the payload |
 * | 8 | 4 | CRC-32 of the payload (ombrel_crc32_ieee_802_3() from 0); 0 for an empty one |
 * | 12 | 4 | CRC-32 of the twelve bytes before, started from the channel |
 * | 16 | size | payload |
 *
 * The channel is a number that both sides have agreed on and that is not sent: a reader of one channel
 * ignores the records of another. Give records that travel as payload of others a channel of their own, so
 * that none of them is taken for an outer one when the outer one is damaged.
 *
 * @par Damage
 * A record is given when both its checksums are right, and never otherwise. When a head is right and its
 * payload is not, the search goes on directly after the head's first byte, so that a record that begins
 * within the bytes that the damaged one claimed is found. The bytes that such a head claims are held until
 * they have come or ombrel_packet_reader_end() says that it never will: up to the limit of a payload, and
 * never more than has come. A payload that is right is not searched.
 *
 * @par Time
 * In proportion to the bytes, whatever they are: no byte is looked at more than a fixed number of times, even
 * if every one of them begins a valid head whose payload is damaged.
 *
 * @par Threads
 * One at a time for a reader; any for the other functions.
 *
 * @par Failures
 * -1 or null with the reason in ombrel_last_fault(): invalid for null and invalid arguments, too_large,
 * no_memory. Damage is no failure; it is counted.
 */
#ifndef OMBREL_PACKET_H
#define OMBREL_PACKET_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of a head. */
#define def_ombrel_packet_head_size 16
/** The default limit of a payload: 1 MiB. */
#define def_ombrel_packet_default_limit 1048576

/** Settings of a reader. A limit of 0 is refused when opening. */
typedef struct ombrel_packet_options_ts {
    uint32_t m_channel;  /**< the channel; 0 */
    size_t m_size_limit; /**< most bytes of a payload, at most 0xFFFFFFFF; #def_ombrel_packet_default_limit */
} ombrel_packet_options_t;

/** A record that was read. */
typedef struct ombrel_packet_ts {
    uint16_t m_type;    /**< its type */
    size_t m_size;      /**< bytes of its payload */
    const void* m_data; /**< the payload, in the reader until its next call; never null */
    int64_t m_offset;   /**< bytes that the reader had before the record's head */
    int64_t m_skipped;  /**< bytes between this record and the one before it, or the beginning */
} ombrel_packet_t;

/** What a reader has met. */
typedef struct ombrel_packet_statistics_ts {
    int64_t m_taken;        /**< bytes taken from chains */
    int64_t m_records;      /**< records given */
    int64_t m_record_bytes; /**< their bytes, with heads */
    int64_t m_skipped;      /**< bytes that belong to none of the records given */
    int64_t m_gaps;         /**< runs of such bytes */
    int64_t m_bad_heads;    /**< places where the first two bytes of a head stand, without a valid checksum */
    int64_t m_bad_payloads; /**< valid heads whose payload was damaged, or never came */
    int64_t m_too_large;    /**< valid heads of records above the limit */
} ombrel_packet_statistics_t;

/** A reader; opaque. */
typedef struct ombrel_packet_reader_ts ombrel_packet_reader_t;

/** @name Writing
 * @{ */

/**
 * @brief Makes the head of a record whose payload the caller sends.
 * @param head    receives #def_ombrel_packet_head_size bytes
 * @param channel the channel
 * @param type    the record's type
 * @param data    its payload
 * @param size    bytes of it, at most 0xFFFFFFFF
 * @return 0; -1
 */
OMBREL_API int ombrel_make_packet_head(void* head, uint32_t channel, uint16_t type, const void* data,
                                       size_t size);

/**
 * @brief Queues a record in a buffer chain.
 * @param buffer  the chain; it gets the whole record, copied, or, with -1, nothing of it
 * @param channel the channel
 * @param type    the record's type
 * @param data    its payload; may be null when `size` is 0
 * @param size    bytes of it, at most 0xFFFFFFFF
 * @return bytes queued; -1
 */
OMBREL_API int64_t ombrel_push_packet(ombrel_buffer_t* buffer, uint32_t channel, uint16_t type,
                                      const void* data, size_t size);

/** @} */

/** @name Reading
 * @{ */

/** @brief Fills settings with their defaults. @return 0; -1 for null */
OMBREL_API int ombrel_init_packet_options(ombrel_packet_options_t* options);

/**
 * @brief A reader at the beginning of a stream.
 * @param options  the settings, copied; null for the defaults
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the reader, closed by ombrel_close_packet_reader(); null with invalid for a limit out of its range
 */
OMBREL_API ombrel_packet_reader_t* ombrel_open_packet_reader_tag(const ombrel_packet_options_t* options,
                                                                 const char* function, unsigned long line);
/** ombrel_open_packet_reader_tag() with the caller's own name and line. */
#define ombrel_open_packet_reader(options) ombrel_open_packet_reader_tag((options), __func__, __LINE__)

/** @brief Frees a reader with the record that it gave last. @param reader the reader, or null @return 0 */
OMBREL_API int ombrel_close_packet_reader(ombrel_packet_reader_t* reader);

/**
 * @brief Resets a reader for another stream: what it holds is dropped, and its counts begin at 0.
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_packet_reader_reset(ombrel_packet_reader_t* reader);

/**
 * @brief The next record.
 *
 * Where nothing is damaged only the bytes of the record are taken, so that what follows the last one, of
 * another protocol say, stays in the chain.
 * @param reader the reader
 * @param buffer the chain whose front it takes; null for none, for example after ombrel_packet_reader_end()
 * @param packet receives the record
 * @return 1; 0 when it needs more bytes; -1 with no_memory, when the same call may succeed later, or with
 * too_large at the valid head of a record above the limit, whose type, size and place `packet` has then, with
 * no payload: the next call looks for records after that head
 */
OMBREL_API int ombrel_packet_reader_next(ombrel_packet_reader_t* reader, ombrel_buffer_t* buffer,
                                         ombrel_packet_t* packet);

/**
 * @brief Says that no more bytes come: ombrel_packet_reader_next() gives the records hidden in an unfinished
 * one, and then 0. Bytes that come all the same begin a new stream.
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_packet_reader_end(ombrel_packet_reader_t* reader);

/** @brief Bytes that were taken from chains and not yet given or skipped. @return their number; -1 for null
 */
OMBREL_API int64_t ombrel_packet_reader_get_held(const ombrel_packet_reader_t* reader);

/** @brief What the reader has met. @return 0; -1 for null */
OMBREL_API int ombrel_packet_reader_get_statistics(const ombrel_packet_reader_t* reader,
                                                   ombrel_packet_statistics_t* statistics);

/** @} */

OMBREL_END_C

#endif
