// The byte modes over blocks that need work memory: they wait until there is some.
#include <cstdint>
#include <vector>

#include <ombrel/cipher_mode.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

void* complement(void* data, size_t size, const void*) {
    auto* bytes = static_cast<uint8_t*>(data);
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<uint8_t>(~bytes[i]);
    return data;
}

template<auto mode>
void run_mode(injection& fail) {
    std::vector<uint8_t> iv(40), data(4);
    EXPECT_EQ(fail.during([&] { return mode(complement, iv.size(), data.data(), 4, nullptr, iv.data()); }),
              data.data());
    EXPECT_EQ(data, std::vector<uint8_t>(4, 0xFF));
}

OMBREL_FAILURE_ONCE(Cipher, cfb8_encryption) {
    run_mode<ombrel_encrypt_mode_cfb8>(fail);
}

OMBREL_FAILURE_ONCE(Cipher, cfb8_decryption) {
    run_mode<ombrel_decrypt_mode_cfb8>(fail);
}

} // namespace
} // namespace ombrel_test
