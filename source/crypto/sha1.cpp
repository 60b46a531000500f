#include <ombrel/sha1.h>

#include <cstddef>
#include <iterator>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "crypto/digest_internal.h"

using namespace ombrel;
using namespace ombrel::crypto;

static_assert(sizeof(ombrel_sha1_t) == 136 && offsetof(ombrel_sha1_t, m_buffer) == 28);

namespace {

constexpr uint32_t first_state[] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};

void push(void* ctx, const void* data, size_t size) {
    ombrel_sha1_push(static_cast<ombrel_sha1_t*>(ctx), data, size);
}

} // namespace

ombrel_sha1_t* ombrel_init_sha1(ombrel_sha1_t* ctx) {
    return start_message(ctx, first_state);
}

const void* ombrel_sha1_push(ombrel_sha1_t* ctx, const void* data, size_t size) {
    if (ctx == nullptr || data == nullptr || size == 0)
        return data;
    const size_t waiting = ctx->m_bytes % block_size;
    ctx->m_bytes += size;
    push_blocks(kernels().sha1, ctx->m_state, ctx->m_buffer, waiting, static_cast<const unsigned char*>(data),
                size);
    return data;
}

int ombrel_sha1_push_file(ombrel_sha1_t* ctx, const char* path) {
    return push_file(path, push, ctx, "ombrel_sha1_push_file");
}

// Unlike with MD5 the padding goes into the context itself, which is finished then: meant so.
const char* ombrel_sha1_digest(ombrel_sha1_t* ctx, void* out) {
    if (ctx == nullptr)
        return nullptr;
    without_trace([=] {
        const padding end = pad_big(ctx->m_bytes * 8);
        ombrel_sha1_push(ctx, end.bytes, end.size);
        hand_out_big(ctx->m_state, std::size(first_state), ctx->m_text, out);
    });
    return ctx->m_text;
}

ombrel_sha1_t* ombrel_open_sha1(void) {
    return ombrel_init_sha1(allocate_record<ombrel_sha1_t>("ombrel_open_sha1", __LINE__));
}

int ombrel_close_sha1(ombrel_sha1_t* ctx, void* out) {
    if (ctx == nullptr)
        return 0;
    ombrel_sha1_digest(ctx, out);
    wipe(ctx, sizeof *ctx);
    return ombrel_free_tag(ctx, "ombrel_close_sha1", __LINE__);
}
