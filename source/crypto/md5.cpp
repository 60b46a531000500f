#include <ombrel/md5.h>

#include <cstddef>
#include <iterator>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "crypto/digest_internal.h"

using namespace ombrel;
using namespace ombrel::crypto;

static_assert(sizeof(ombrel_md5_t) == 136 && offsetof(ombrel_md5_t, m_buffer) == 32);

namespace {

constexpr uint32_t first_state[] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

uint64_t message_bits(const ombrel_md5_t& ctx) {
    return static_cast<uint64_t>(ctx.m_bits_high) << 32 | ctx.m_bits_low;
}

void count_bytes(ombrel_md5_t& ctx, size_t size) {
    const uint64_t bits = message_bits(ctx) + static_cast<uint64_t>(size) * 8;
    ctx.m_total += static_cast<uint32_t>(size);
    ctx.m_bits_low = static_cast<uint32_t>(bits);
    ctx.m_bits_high = static_cast<uint32_t>(bits >> 32);
}

void push(void* ctx, const void* data, size_t size) {
    ombrel_md5_push(static_cast<ombrel_md5_t*>(ctx), data, size);
}

} // namespace

ombrel_md5_t* ombrel_init_md5(ombrel_md5_t* ctx) {
    return start_message(ctx, first_state);
}

const void* ombrel_md5_push(ombrel_md5_t* ctx, const void* data, size_t size) {
    if (ctx == nullptr || data == nullptr || size == 0)
        return data;
    const size_t waiting = ctx->m_total % block_size;
    count_bytes(*ctx, size);
    push_blocks(kernels().md5, ctx->m_state, ctx->m_buffer, waiting, static_cast<const unsigned char*>(data),
                size);
    return data;
}

int ombrel_md5_push_file(ombrel_md5_t* ctx, const char* path) {
    return push_file(path, push, ctx, "ombrel_md5_push_file");
}

// Unlike with the SHA digests the context stays open, as the padding goes into a copy: meant so.
const char* ombrel_md5_digest(ombrel_md5_t* ctx, void* out) {
    if (ctx == nullptr)
        return nullptr;
    without_trace([=] {
        ombrel_md5_t copy = *ctx;
        const padding end = pad_little(message_bits(*ctx));
        ombrel_md5_push(&copy, end.bytes, end.size);
        hand_out_little(copy.m_state, std::size(first_state), ctx->m_text, out);
    });
    return ctx->m_text;
}

ombrel_md5_t* ombrel_open_md5(void) {
    return ombrel_init_md5(allocate_record<ombrel_md5_t>("ombrel_open_md5", __LINE__));
}

int ombrel_close_md5(ombrel_md5_t* ctx, void* out) {
    if (ctx == nullptr)
        return 0;
    ombrel_md5_digest(ctx, out);
    wipe(ctx, sizeof *ctx);
    return ombrel_free_tag(ctx, "ombrel_close_md5", __LINE__);
}
