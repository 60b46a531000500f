#include <ombrel/sha256.h>

#include <cstddef>
#include <iterator>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "crypto/digest_internal.h"

using namespace ombrel;
using namespace ombrel::crypto;

static_assert(sizeof(ombrel_sha256_t) == 176 && offsetof(ombrel_sha256_t, m_buffer) == 44);

namespace {

constexpr uint32_t first_state[] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                    0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

void push(void* ctx, const void* data, size_t size) {
    ombrel_sha256_push(static_cast<ombrel_sha256_t*>(ctx), data, size);
}

} // namespace

ombrel_sha256_t* ombrel_init_sha256(ombrel_sha256_t* ctx) {
    return start_message(ctx, first_state);
}

const void* ombrel_sha256_push(ombrel_sha256_t* ctx, const void* data, size_t size) {
    if (ctx == nullptr || data == nullptr || size == 0)
        return data;
    const size_t waiting = ctx->m_waiting % block_size;
    ctx->m_bits += static_cast<uint64_t>(size) * 8;
    ctx->m_waiting = static_cast<uint32_t>((waiting + size) % block_size);
    push_blocks(kernels().sha256, ctx->m_state, ctx->m_buffer, waiting,
                static_cast<const unsigned char*>(data), size);
    return data;
}

int ombrel_sha256_push_file(ombrel_sha256_t* ctx, const char* path) {
    return push_file(path, push, ctx, "ombrel_sha256_push_file");
}

// Unlike with MD5 the padding goes into the context itself, which is finished then: meant so.
const char* ombrel_sha256_digest(ombrel_sha256_t* ctx, void* out) {
    if (ctx == nullptr)
        return nullptr;
    without_trace([=] {
        const padding end = pad_big(ctx->m_bits);
        ombrel_sha256_push(ctx, end.bytes, end.size);
        hand_out_big(ctx->m_state, std::size(first_state), ctx->m_text, out);
    });
    return ctx->m_text;
}

ombrel_sha256_t* ombrel_open_sha256(void) {
    return ombrel_init_sha256(allocate_record<ombrel_sha256_t>("ombrel_open_sha256", __LINE__));
}

int ombrel_close_sha256(ombrel_sha256_t* ctx, void* out) {
    if (ctx == nullptr)
        return 0;
    ombrel_sha256_digest(ctx, out);
    wipe(ctx, sizeof *ctx);
    return ombrel_free_tag(ctx, "ombrel_close_sha256", __LINE__);
}
