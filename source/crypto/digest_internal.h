// What the message digests share: blocks of 64 bytes, the padding, the text, and whole files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "crypto/kernels/kernels.h"

namespace ombrel::crypto {

constexpr size_t block_size = 64;

/// Runs the state over `waiting` bytes in the buffer and those of `data`; what makes no whole block is left
/// in the buffer.
void push_blocks(block_kernel kernel, uint32_t* state, unsigned char (&buffer)[block_size], size_t waiting,
                 const unsigned char* data, size_t size);

/// What ends a message: a bit, zeros, and the length as the last 8 bytes of a block.
struct padding {
    unsigned char bytes[block_size + 8];
    size_t size;
};
padding pad_little(uint64_t message_bits);
padding pad_big(uint64_t message_bits);

/// The state words as digest bytes in the order of the digest: to `text` in upper-case hexadecimal,
/// terminated, and as they are to `out` unless that is null.
void hand_out_little(const uint32_t* state, size_t words, char* text, void* out);
void hand_out_big(const uint32_t* state, size_t words, char* text, void* out);

/// Clears a context and sets its first state; null stays null.
template<typename Context, size_t words>
Context* start_message(Context* ctx, const uint32_t (&first_state)[words]) {
    if (ctx == nullptr)
        return nullptr;
    static_assert(sizeof ctx->m_state == sizeof first_state);
    memset(ctx, 0, sizeof *ctx);
    memcpy(ctx->m_state, first_state, sizeof first_state);
    return ctx;
}

using push_function = void (*)(void* ctx, const void* data, size_t size);

/// 0, or -1 when the file cannot be opened or read or memory runs out; the buffer is allocated under `tag`.
int push_file(const char* path, push_function push, void* ctx, const char* tag);

} // namespace ombrel::crypto
