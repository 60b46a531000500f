// Digests, and the byte modes over blocks that need work memory.
#include <cstdint>
#include <vector>

#include <ombrel/cipher_mode.h>
#include <ombrel/digest_list.h>

#include "alloc_failure/injection.h"
#include "crypto/digest_family.h"

namespace ombrel_test {
namespace {

// Without memory nothing of the file is in the message.
template<typename Family>
void opens_and_pushes_file(injection& fail) {
    const auto close = [](typename Family::context* ctx) { Family::close(ctx, nullptr); };
    null_when_hit(fail, close, Family::open);
    typename Family::context empty, ctx;
    Family::init(&empty);
    Family::init(&ctx);
    refused_when_hit(fail, [&] { return Family::push_file(&ctx, "/proc/self/exe"); });
    const std::string text = Family::digest(&ctx, nullptr);
    EXPECT_EQ(text == Family::digest(&empty, nullptr), fail.hit());
}

OMBREL_FAILURES(Digest, contexts_and_files) {
    opens_and_pushes_file<md5>(fail);
    opens_and_pushes_file<sha1>(fail);
    opens_and_pushes_file<sha256>(fail);
}

OMBREL_FAILURES(Digest, lists) {
    null_when_hit(fail, ombrel_close_digest_list, [] {
        return ombrel_open_digest_list([](const ombrel_digest_entry_t*, void*) { return 0; }, nullptr);
    });
    text_or_null(fail, "\\ab  a\\nb", [] { return ombrel_alloc_digest_line("ab", "a\nb"); });
}

void* complement(void* data, size_t size, const void*) {
    auto* bytes = static_cast<uint8_t*>(data);
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<uint8_t>(~bytes[i]);
    return data;
}

// They wait until there is some memory.
template<auto mode>
void run_mode(injection& fail) {
    std::vector<uint8_t> iv(40), data(4);
    EXPECT_EQ(fail.during([&] { return mode(complement, iv.size(), data.data(), 4, nullptr, iv.data()); }),
              data.data());
    EXPECT_EQ(data, std::vector<uint8_t>(4, 0xFF));
}

OMBREL_FAILURE_ONCE(Cipher, byte_modes) {
    run_mode<ombrel_encrypt_mode_cfb8>(fail);
    run_mode<ombrel_decrypt_mode_cfb8>(fail);
}

} // namespace
} // namespace ombrel_test
