#include <algorithm>
#include <cstring>

#include "crypto/digest_internal.h"
#include "crypto/kernels/byte_order.h"
#include "text/digits.h"

namespace ombrel::crypto {

void push_blocks(block_kernel kernel, uint32_t* state, unsigned char (&buffer)[block_size], size_t waiting,
                 const unsigned char* data, size_t size) {
    if (waiting > 0) {
        const size_t taken = std::min(size, block_size - waiting);
        memcpy(buffer + waiting, data, taken);
        if (waiting + taken < block_size)
            return;
        kernel(state, buffer, 1);
        data += taken;
        size -= taken;
    }
    kernel(state, data, size / block_size);
    memcpy(buffer, data + size / block_size * block_size, size % block_size);
}

namespace {

constexpr size_t most_words = 8;

padding pad(uint64_t message_bits) {
    const size_t waiting = message_bits / 8 % block_size;
    padding result{};
    result.bytes[0] = 0x80;
    result.size = (2 * block_size - 9 - waiting) % block_size + 9;
    return result;
}

void hand_out(void (*store)(unsigned char*, uint32_t), const uint32_t* state, size_t words, char* text,
              void* out) {
    unsigned char digest[most_words * sizeof(uint32_t)];
    for (size_t i = 0; i < words; i++)
        store(digest + sizeof(uint32_t) * i, state[i]);
    const size_t size = words * sizeof(uint32_t);
    for (size_t i = 0; i < size; i++)
        text = put_hex(text, digest[i]);
    *text = '\0';
    if (out != nullptr)
        memcpy(out, digest, size);
}

} // namespace

padding pad_little(uint64_t message_bits) {
    padding result = pad(message_bits);
    store_little(result.bytes + result.size - 8, static_cast<uint32_t>(message_bits));
    store_little(result.bytes + result.size - 4, static_cast<uint32_t>(message_bits >> 32));
    return result;
}

padding pad_big(uint64_t message_bits) {
    padding result = pad(message_bits);
    store_big(result.bytes + result.size - 8, static_cast<uint32_t>(message_bits >> 32));
    store_big(result.bytes + result.size - 4, static_cast<uint32_t>(message_bits));
    return result;
}

void hand_out_little(const uint32_t* state, size_t words, char* text, void* out) {
    hand_out(store_little, state, words, text, out);
}

void hand_out_big(const uint32_t* state, size_t words, char* text, void* out) {
    hand_out(store_big, state, words, text, out);
}

} // namespace ombrel::crypto
