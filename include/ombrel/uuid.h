/**
 * @file uuid.h
 * @brief Universally unique identifiers (RFC 9562).
 *
 * @code
 * ombrel_uuid_t id;
 * char text[def_ombrel_uuid_text_size];
 * if (ombrel_make_uuid(7, &id) == 0 && ombrel_format_uuid(text, sizeof text, &id, 0) > 0)
 *     ombrel_printf("%s\n", text);
 * if (ombrel_make_name_uuid(5, ombrel_find_uuid("dns"), "www.example.com", 15, &id) == 0)
 *     ...
 * @endcode
 *
 * | version | what is in it |
 * |---|---|
 * | 1, 6 | time in 100 nanoseconds since 1582, a clock sequence, a node; 6 sorts by time |
 * | 3, 5 | MD5 and SHA-1 of a namespace and a name |
 * | 4 | random bits |
 * | 7 | time in milliseconds since 1970, random bits; sorts by time |
 * | 8 | what its maker chooses, or SHA-256 of a namespace and a name |
 *
 * Identifiers of versions 1, 6 and 7 that a process makes are strictly increasing, whichever threads make
 * them and whatever the host's clock does meanwhile: while it stands still or goes back they count on from
 * the last one. In version 7 the 12 bits after the milliseconds are a fraction of the millisecond and that
 * count; the other 62 are random. Versions 1 and 6 share one count.
 *
 * The node of versions 1 and 6 tells nothing of the machine: it is 48 random bits, with the bit set that
 * distinguishes group addresses from those of hosts, chosen with the 14 bits of the clock sequence at the
 * first use. ombrel_set_uuid_node() takes another. A child process that was forked chooses both anew, so that
 * parent and child never make the same identifiers; a node that was set stays, with another clock sequence.
 *
 * @par Threads
 * Any, for all functions.
 *
 * @par Failures
 * A function that fails leaves "invalid" where ombrel_last_fault() finds it,
 * or the host's reason for giving no random bytes. Its output is then unchanged.
 */
#ifndef OMBREL_UUID_H
#define OMBREL_UUID_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/calendar.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes that hold an identifier's text in any form, its end included. */
#define def_ombrel_uuid_text_size 48
/** Bytes of a node. */
#define def_ombrel_uuid_node_size 6

/** An identifier: 16 bytes in the order of the text. */
typedef struct ombrel_uuid_ts {
    uint8_t m_bytes[16]; /**< the first is that of the text's first two digits */
} ombrel_uuid_t;

/**
 * @name Making
 * @{
 */

/**
 * @brief Makes a new, unique identifier.
 * @param version 1, 4, 6 or 7
 * @param uuid    receives it
 * @return 0; -1 for another version and where the host gives no random bytes
 */
OMBREL_API int ombrel_make_uuid(int version, ombrel_uuid_t* uuid);

/**
 * @brief Makes the identifier of a name, the same each time.
 * @param version 3 for MD5, 5 for SHA-1, 8 for the first bytes of SHA-256
 * @param space   identifier of the namespace
 * @param name    the name's bytes; may be null when `size` is 0
 * @param size    how many
 * @param uuid    receives it
 * @return 0; -1
 */
OMBREL_API int ombrel_make_name_uuid(int version, const ombrel_uuid_t* space, const void* name, size_t size,
                                     ombrel_uuid_t* uuid);

/**
 * @brief Makes an identifier of version 8 of the caller's own bits.
 * @param bytes 16 bytes, of which the four bits of the version and the two of the variant are ignored
 * @param uuid  receives it
 * @return 0; -1
 */
OMBREL_API int ombrel_make_custom_uuid(const uint8_t* bytes, ombrel_uuid_t* uuid);

/**
 * @brief Chooses the node that versions 1 and 6 have from now on, and a new clock sequence.
 * @param node #def_ombrel_uuid_node_size bytes, such as the address of a network interface; null for a random
 *             one again
 * @return 0; -1 where the host gives no random bytes
 */
OMBREL_API int ombrel_set_uuid_node(const uint8_t* node);

/**
 * @brief Identifiers that have names: the namespaces "dns", "url", "oid" and "x500", and "nil" (no bit set)
 * and "max" (each bit set).
 * @param name in lower case
 * @return the identifier, always valid; null for another name
 */
OMBREL_API const ombrel_uuid_t* ombrel_find_uuid(const char* name);

/** @} */
/**
 * @name Text
 * @{
 */

/** Digits in upper case, when formatting. */
#define def_ombrel_uuid_upper 1u
/** Between braces: "{c232ab00-9414-11ec-b3c8-9f6bdeced846}". */
#define def_ombrel_uuid_braces 2u
/** After "urn:uuid:". */
#define def_ombrel_uuid_urn 4u
/** Without hyphens. */
#define def_ombrel_uuid_bare 8u

/**
 * @brief Formats an identifier; what does not fit is cut off.
 * @param buf   the buffer; may be null when `size` is 0
 * @param size  its bytes; #def_ombrel_uuid_text_size are enough for every form, 37 for the plain one
 * @param uuid  the identifier
 * @param flags `def_ombrel_uuid_*`, or 0 for "c232ab00-9414-11ec-b3c8-9f6bdeced846"
 * @return the characters stored, without the NUL: never more than `size` - 1; -1 for a null identifier or
 *         buffer
 */
OMBREL_API int ombrel_format_uuid(char* buf, size_t size, const ombrel_uuid_t* uuid, uint32_t flags);

/**
 * @brief Reads an identifier: 32 digits of either case in five groups by hyphens, and nothing else. Any
 * version and variant is accepted.
 * @param text     the text
 * @param flags    the forms that are accepted besides the plain one: #def_ombrel_uuid_braces,
 * #def_ombrel_uuid_urn (in any case), #def_ombrel_uuid_bare
 * @param uuid     receives it
 * @param fault_at receives after "invalid" the offset of the first byte that does not fit; may be null
 * @return 0; -1
 */
OMBREL_API int ombrel_parse_uuid(const char* text, uint32_t flags, ombrel_uuid_t* uuid, size_t* fault_at);

/** @} */
/**
 * @name Looking inside
 * @{
 */

/** Variants: who defined what the bits mean. */
#define def_ombrel_uuid_variant_ncs 0       /**< the first of their kind */
#define def_ombrel_uuid_variant_standard 1  /**< those of RFC 9562; all that this module makes */
#define def_ombrel_uuid_variant_microsoft 2 /**< old ones of Microsoft */
#define def_ombrel_uuid_variant_future 3    /**< reserved; "max" is one */

/** @brief Compares as the bytes and texts sort; null is before all. @return -1, 0 or 1 */
OMBREL_API int ombrel_compare_uuids(const ombrel_uuid_t* a, const ombrel_uuid_t* b);

/** @brief Whether no bit is set. @return 1 or 0 */
OMBREL_API int ombrel_is_nil_uuid(const ombrel_uuid_t* uuid);

/** @brief The variant, `def_ombrel_uuid_variant_*`. @return it; -1 for null */
OMBREL_API int ombrel_get_uuid_variant(const ombrel_uuid_t* uuid);

/** @brief The version, 0 to 15. @return it; -1 for null and for variants that have none */
OMBREL_API int ombrel_get_uuid_version(const ombrel_uuid_t* uuid);

/**
 * @brief When an identifier of version 1, 6 or 7 was made. For version 7 it is exact to the millisecond.
 * @param uuid    the identifier
 * @param instant receives the moment
 * @return 0; -1 for one that contains no time
 */
OMBREL_API int ombrel_get_uuid_instant(const ombrel_uuid_t* uuid, ombrel_instant_t* instant);

/** @} */

OMBREL_END_C

#endif
