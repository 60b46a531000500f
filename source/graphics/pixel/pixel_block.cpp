#include "graphics/pixel/pixel_block.h"

#include <cstring>

#include <ombrel/heap.h>

#include "platform/system.h"

namespace ombrel::graphics {

void* new_pixels(size_t size, const char* tag, unsigned long line) {
    void* const block = ombrel_alloc_tag(size, tag, line);
    if (block == nullptr)
        return nullptr;
    platform::expect_full_use(block, size);
    return memset(block, 0, size);
}

} // namespace ombrel::graphics
