/**
 * @file crc.h
 * @brief Checksums CRC-16, CRC-32 and CRC-64, and the reversal of bit orders.
 *
 * All four process the least significant bit of each byte first. A checksum over parts is chained: the result
 * for the bytes so far is the start value for the next ones. Inputs may have any size and alignment. All
 * functions may be called from any thread.
 *
 * | function | also known as | check value of "123456789" |
 * |---|---|---|
 * | ombrel_crc16_ibm(), from 0 | CRC-16/ARC | 0xBB3D |
 * | ombrel_crc16_ibm(), from 0xFFFF | CRC-16/MODBUS | 0x4B37 |
 * | ombrel_crc16_ccitt(), from 0 | CRC-16/KERMIT | 0x2189 |
 * | ombrel_crc32_ieee_802_3(), `raw` 0, from 0 | CRC-32 of Ethernet, zip, gzip and PNG | 0xCBF43926 |
 * | ombrel_crc64_iso(), `raw` 0, from 0 | CRC-64/GO-ISO | 0xB90956C775A41001 |
 */
#ifndef OMBREL_CRC_H
#define OMBREL_CRC_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief CRC-16 with the polynomial 0x8005.
 * @param flag without effect; it stands for the `raw` of the wider checksums
 * @param crc  the value to start from, used as is
 * @param data the bytes; null leaves the checksum as it is
 * @param size how many
 * @return the checksum, nothing inverted
 */
OMBREL_API uint16_t ombrel_crc16_ibm(int flag, uint16_t crc, const void* data, size_t size);

/**
 * @brief CRC-16 with the polynomial 0x1021.
 * @param flag without effect; it stands for the `raw` of the wider checksums
 * @param crc  the value to start from, used as is
 * @param data the bytes; null leaves the checksum as it is
 * @param size how many
 * @return the checksum, nothing inverted
 */
OMBREL_API uint16_t ombrel_crc16_ccitt(int flag, uint16_t crc, const void* data, size_t size);

/**
 * @brief CRC-32 with the polynomial 0x04C11DB7.
 * @param raw  0: `crc` is an earlier result, or 0 to start; else `crc` is the register as is
 * @param crc  the value to start from, inverted before use when `raw` is 0
 * @param data the bytes; with null `crc` is returned unchanged
 * @param size how many
 * @return the register inverted, whatever `raw` is
 */
OMBREL_API uint32_t ombrel_crc32_ieee_802_3(int raw, uint32_t crc, const void* data, size_t size);

/**
 * @brief CRC-64 with the polynomial 0x1B of ISO 3309.
 * @param raw  0: `crc` is an earlier result, or 0 to start; else `crc` is the register as is
 * @param crc  the value to start from, inverted before use when `raw` is 0
 * @param data the bytes; with null `crc` is returned unchanged
 * @param size how many
 * @return the register inverted, whatever `raw` is
 */
OMBREL_API uint64_t ombrel_crc64_iso(int raw, uint64_t crc, const void* data, size_t size);

/** @brief The 16 bits of `value` in the opposite order. */
OMBREL_API uint16_t ombrel_reverse_bit_order_uint16(uint16_t value);
/** @brief The 32 bits of `value` in the opposite order. */
OMBREL_API uint32_t ombrel_reverse_bit_order_uint32(uint32_t value);
/** @brief The 64 bits of `value` in the opposite order. */
OMBREL_API uint64_t ombrel_reverse_bit_order_uint64(uint64_t value);

OMBREL_END_C

#endif
