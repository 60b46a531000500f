// The digests: contexts on the heap, and the buffer that files are read through.
#include <ombrel/digest_list.h>

#include "alloc_failure/injection.h"
#include "crypto/digest_family.h"

namespace ombrel_test {
namespace {

template<typename Family>
void opens(injection& fail) {
    null_when_hit(
        fail, [](typename Family::context* ctx) { Family::close(ctx, nullptr); }, Family::open);
}

// Without memory nothing of the file is in the message.
template<typename Family>
void pushes_file(injection& fail) {
    typename Family::context empty, ctx;
    Family::init(&empty);
    Family::init(&ctx);
    const descriptor_balance descriptors;
    const int result = fail.during([&] { return Family::push_file(&ctx, "/proc/self/exe"); });
    EXPECT_EQ(result, fail.hit() ? -1 : 0);
    const std::string text = Family::digest(&ctx, nullptr);
    EXPECT_EQ(text == Family::digest(&empty, nullptr), fail.hit());
}

OMBREL_FAILURES(Digest, contexts) {
    opens<md5>(fail);
    opens<sha1>(fail);
    opens<sha256>(fail);
}

OMBREL_FAILURES(Digest, lists) {
    null_when_hit(fail, ombrel_close_digest_list, [] {
        return ombrel_open_digest_list([](const ombrel_digest_entry_t*, void*) { return 0; }, nullptr);
    });
    text_or_null(fail, "\\ab  a\\nb", [] { return ombrel_alloc_digest_line("ab", "a\nb"); });
}

OMBREL_FAILURES(Digest, files) {
    pushes_file<md5>(fail);
    pushes_file<sha1>(fail);
    pushes_file<sha256>(fail);
}

} // namespace
} // namespace ombrel_test
