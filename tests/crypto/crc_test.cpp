#include <ombrel/crc.h>

#include <cstring>

#include <gtest/gtest.h>

namespace {

using checksum = uint64_t (*)(int raw, uint64_t crc, const void* data, size_t size);

// A function of a narrow register as one of the widest.
template<auto function, typename Register>
uint64_t widened(int raw, uint64_t crc, const void* data, size_t size) {
    return function(raw, static_cast<Register>(crc), data, size);
}
constexpr checksum crc16_ibm = widened<ombrel_crc16_ibm, uint16_t>,
                   crc16_ccitt = widened<ombrel_crc16_ccitt, uint16_t>,
                   crc32 = widened<ombrel_crc32_ieee_802_3, uint32_t>;

struct known_checksum {
    const char* name;
    checksum run;
    int raw;
    uint64_t start;
    const char* text;
    uint64_t result;
};

const known_checksum published_checksums[] = {
    {"ARC", crc16_ibm, 0, 0, "123456789", 0xBB3D},
    {"ARC, flag without effect", crc16_ibm, 1, 0, "123456789", 0xBB3D},
    {"MODBUS", crc16_ibm, 0, 0xFFFF, "123456789", 0x4B37},
    {"KERMIT", crc16_ccitt, 0, 0, "123456789", 0x2189},
    {"MCRF4XX", crc16_ccitt, 1, 0xFFFF, "123456789", 0x6F91},
    {"CRC-32", crc32, 0, 0, "123456789", 0xCBF43926},
    {"CRC-32, register as is", crc32, 1, 0xFFFFFFFF, "123456789", 0xCBF43926},
    {"CRC-32, no bytes", crc32, 0, 0x12345678, "", 0x12345678},
    {"CRC-32, no bytes, inverted", crc32, 1, 0x12345678, "", 0xEDCBA987},
    {"CRC-32, longer", crc32, 0, 0, "The quick brown fox jumps over the lazy dog", 0x414FA339},
    {"GO-ISO", ombrel_crc64_iso, 0, 0, "123456789", 0xB90956C775A41001},
    {"GO-ISO, register as is", ombrel_crc64_iso, 1, UINT64_MAX, "123456789", 0xB90956C775A41001},
};

TEST(Crc, GivesThePublishedValuesOverEverySplit) {
    for (const known_checksum& k : published_checksums) {
        const size_t size = strlen(k.text);
        EXPECT_EQ(k.result, k.run(k.raw, k.start, k.text, size)) << k.name;
        for (size_t split = 0; split <= size; split++) {
            const uint64_t first = k.run(k.raw, k.start, k.text, split);
            EXPECT_EQ(k.result, k.run(0, first, k.text + split, size - split)) << k.name << " at " << split;
        }
        for (const int raw : {0, 1})
            EXPECT_EQ(0x1234u, k.run(raw, 0x1234, nullptr, 100)) << k.name;
    }
}

TEST(ReverseBitOrder, TurnsWordsRound) {
    EXPECT_EQ(0xA001, ombrel_reverse_bit_order_uint16(0x8005));
    EXPECT_EQ(0x8408, ombrel_reverse_bit_order_uint16(0x1021));
    EXPECT_EQ(0xEDB88320u, ombrel_reverse_bit_order_uint32(0x04C11DB7));
    EXPECT_EQ(0xD800000000000000u, ombrel_reverse_bit_order_uint64(0x1B));
    EXPECT_EQ(0x0F0000000000001Bu, ombrel_reverse_bit_order_uint64(0xD8000000000000F0));
}

} // namespace
