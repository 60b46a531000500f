#include "document/xml/record_store.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <ombrel/heap.h>

namespace ombrel::document {

struct record_store::chunk {
    alignas(std::max_align_t) chunk* next;
};

bool record_store::add_chunk(size_t size) {
    constexpr size_t largest = 64 * 1024;
    const size_t wanted = sizeof(chunk) + std::max(size, next_size_);
    auto* const added = static_cast<chunk*>(ombrel_alloc_tag(wanted, giver_.tag, giver_.line));
    if (added == nullptr)
        return false;
    added->next = chunks_;
    chunks_ = added;
    at_ = reinterpret_cast<char*>(added + 1);
    end_ = reinterpret_cast<char*>(added) + wanted;
    next_size_ = std::min(2 * next_size_, largest);
    return true;
}

void* record_store::take(size_t size) {
    constexpr size_t step = alignof(std::max_align_t), most = static_cast<size_t>(PTRDIFF_MAX) / 2;
    if (size > most)
        return nullptr;
    size = (size + step - 1) / step * step;
    if (size > static_cast<size_t>(end_ - at_) && !add_chunk(size))
        return nullptr;
    void* const taken = at_;
    at_ += size;
    return taken;
}

bool record_store::keep(std::string_view text, std::string_view& kept) {
    auto* const room = static_cast<char*>(take(text.size() + 1));
    if (room == nullptr)
        return false;
    if (!text.empty())
        memcpy(room, text.data(), text.size());
    room[text.size()] = '\0';
    kept = {room, text.size()};
    return true;
}

void record_store::clear() {
    while (chunk* const first = chunks_) {
        chunks_ = first->next;
        ombrel_free_tag(first, giver_.tag, giver_.line);
    }
    at_ = end_ = nullptr;
    next_size_ = 1024;
}

} // namespace ombrel::document
