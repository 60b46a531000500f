// The digests of whatever a stream gives.
#include <ombrel/md5.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>

#include "context/ctx_guard.h"
#include "core/deadline.h"
#include "core/heap_ptr.h"

using namespace ombrel;
using namespace ombrel::context;

namespace {

constexpr size_t read_size = 32768;
constexpr int readable_wait_ms = 16000;
constexpr int stalled_ms = 60000;

// Feeds all of an open stream to push(bytes, size): 0 at its end, -1 when reading fails, or when the stream
// is found stalled later than `stalled_ms` after the start.
template<typename Push>
int push_stream(int stream, unsigned char* buffer, Push push) {
    const deadline end(stalled_ms);
    for (;;) {
        // A test for readability that fails counts as one without success.
        if (ombrel_ctx_is_readable(stream, readable_wait_ms) > 0) {
            const int got = ombrel_ctx_read(stream, buffer, read_size);
            if (got <= 0 || static_cast<size_t>(got) > read_size)
                return got == 0 ? 0 : -1;
            push(buffer, static_cast<size_t>(got));
        } else if (end.passed()) {
            return -1;
        } else {
            ombrel_load_balance();
        }
    }
}

template<typename Context, typename Push>
int digest_stream(const char* source, Context* ctx, Push push, const char* tag) {
    const ctx_guard stream;
    const heap_ptr<unsigned char> buffer(
        static_cast<unsigned char*>(ombrel_alloc_tag(read_size, tag, __LINE__)));
    if (source == nullptr || !buffer || ombrel_open_ctx_stream(stream.handle(), source, "rb", 0) != 0)
        return -1;
    return push_stream(stream.handle(), buffer.get(), [=](const void* bytes, size_t size) {
        if (ctx != nullptr)
            push(ctx, bytes, size);
    });
}

} // namespace

int ombrel_simple_md5(const char* source, ombrel_md5_t* ctx) {
    return digest_stream(source, ombrel_init_md5(ctx), ombrel_md5_push, "ombrel_simple_md5");
}

int ombrel_simple_sha1(const char* source, ombrel_sha1_t* ctx) {
    return digest_stream(source, ombrel_init_sha1(ctx), ombrel_sha1_push, "ombrel_simple_sha1");
}

int ombrel_simple_sha256(const char* source, ombrel_sha256_t* ctx) {
    return digest_stream(source, ombrel_init_sha256(ctx), ombrel_sha256_push, "ombrel_simple_sha256");
}
