#include <ombrel/crc.h>

#include "crypto/kernels/crc_model.h"
#include "crypto/kernels/kernels.h"

using namespace ombrel::crypto;

namespace {

const unsigned char* bytes_of(const void* data) {
    return static_cast<const unsigned char*>(data);
}

// The result is inverted even when the start value was taken as is: meant so.
template<typename Register>
Register inverted_crc(crc_kernel<Register> kernel, int raw, Register crc, const void* data, size_t size) {
    const Register start = raw != 0 ? crc : static_cast<Register>(~crc);
    return static_cast<Register>(~kernel(start, bytes_of(data), size));
}

} // namespace

uint16_t ombrel_crc16_ibm(int /*flag*/, uint16_t crc, const void* data, size_t size) {
    return data != nullptr ? kernels().crc16_ibm(crc, bytes_of(data), size) : crc;
}

uint16_t ombrel_crc16_ccitt(int /*flag*/, uint16_t crc, const void* data, size_t size) {
    return data != nullptr ? kernels().crc16_ccitt(crc, bytes_of(data), size) : crc;
}

uint32_t ombrel_crc32_ieee_802_3(int raw, uint32_t crc, const void* data, size_t size) {
    return data != nullptr ? inverted_crc(kernels().crc32, raw, crc, data, size) : crc;
}

uint64_t ombrel_crc64_iso(int raw, uint64_t crc, const void* data, size_t size) {
    return data != nullptr ? inverted_crc(kernels().crc64, raw, crc, data, size) : crc;
}

uint16_t ombrel_reverse_bit_order_uint16(uint16_t value) {
    return reverse_bits(value);
}

uint32_t ombrel_reverse_bit_order_uint32(uint32_t value) {
    return reverse_bits(value);
}

uint64_t ombrel_reverse_bit_order_uint64(uint64_t value) {
    return reverse_bits(value);
}
