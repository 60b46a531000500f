#include "core/file_blocks.h"
#include "crypto/digest_internal.h"

namespace ombrel::crypto {

int push_file(const char* path, push_function push, void* ctx, const char* tag) {
    const platform::file_reader file(path);
    if (ctx == nullptr || !file.is_open())
        return -1;
    const auto use = [=](const char* bytes, size_t size) {
        push(ctx, bytes, size);
        return true;
    };
    return read_in_blocks(file.descriptor(), tag, use) ? 0 : -1;
}

} // namespace ombrel::crypto
