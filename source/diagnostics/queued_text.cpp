#include "diagnostics/queued_text.h"

#include "core/heap_ptr.h"

namespace ombrel {

int print_queued(ombrel_buffer_t* buffer, const char* tag) {
    const size_t size = ombrel_get_buffer_size(buffer);
    const heap_ptr<char> text(static_cast<char*>(ombrel_alloc_tag(size + 1, tag, __LINE__)));
    if (!text)
        return -1;
    text.get()[ombrel_pop_buffer_ex(buffer, text.get(), size, 0)] = '\0';
    ombrel_puts(text.get());
    return 0;
}

} // namespace ombrel
