#include "core/heap_ptr.h"
#include "crypto/digest_internal.h"
#include "platform/file.h"

namespace ombrel::crypto {

namespace {

constexpr size_t read_size = 32768;

} // namespace

int push_file(const char* path, push_function push, void* ctx, const char* tag) {
    const platform::file_reader file(path);
    if (ctx == nullptr || !file.is_open())
        return -1;
    const heap_ptr<unsigned char> buffer(
        static_cast<unsigned char*>(ombrel_alloc_tag(read_size, tag, __LINE__)));
    if (!buffer)
        return -1;
    ptrdiff_t got;
    while ((got = file.read(buffer.get(), read_size)) > 0)
        push(ctx, buffer.get(), static_cast<size_t>(got));
    return got == 0 ? 0 : -1;
}

} // namespace ombrel::crypto
