#include "system/process/text_list.h"

#include <cstring>

#include "core/fault.h"

namespace ombrel::system {

heap_ptr<char*> copy_text_list(const char* const* texts, const call_site& caller) {
    if (texts == nullptr)
        return {};
    size_t count = 0, bytes = 0;
    for (; texts[count] != nullptr; count++)
        bytes += strlen(texts[count]) + 1;
    const size_t front = (count + 1) * sizeof(char*);
    auto* const list = static_cast<char**>(ombrel_alloc_tag(front + bytes, caller.tag, caller.line));
    if (list == nullptr) {
        leave_fault(fault_code::no_memory);
        return {};
    }
    char* end = reinterpret_cast<char*>(list + count + 1);
    for (size_t i = 0; i < count; i++) {
        const size_t size = strlen(texts[i]) + 1;
        list[i] = static_cast<char*>(memcpy(end, texts[i], size));
        end += size;
    }
    list[count] = nullptr;
    return heap_ptr<char*>(list);
}

} // namespace ombrel::system
