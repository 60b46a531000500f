#include <ombrel/stack.h>

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>

struct ombrel_stack_ts {
    ombrel_stack_ts* m_previous;
    size_t m_chunk_size; // this header included
    size_t m_free;       // bytes between the header and the newest byte

    unsigned char* top() { return reinterpret_cast<unsigned char*>(this + 1) + m_free; }
    size_t used() const { return m_chunk_size - sizeof *this - m_free; }
};
static_assert(sizeof(ombrel_stack_ts) == 3 * sizeof(void*));

namespace {

constexpr size_t chunk_step = 4096;

ombrel_stack_t* open_chunk(ombrel_stack_t* previous, size_t chunk_size) {
    auto* chunk = static_cast<ombrel_stack_t*>(ombrel_alloc_tag(chunk_size, "ombrel_push_stack", __LINE__));
    if (chunk != nullptr)
        *chunk = {previous, chunk_size, chunk_size - sizeof *chunk};
    return chunk;
}

ombrel_stack_t* close_chunk(ombrel_stack_t* chunk) {
    ombrel_stack_t* previous = chunk->m_previous;
    ombrel_free_tag(chunk, "ombrel_pop_stack", __LINE__);
    return previous;
}

// Places the last of `size` bytes that the chunk has room for; gives how many bytes remain.
size_t fill_chunk(ombrel_stack_t* chunk, const unsigned char* bytes, size_t size) {
    const size_t now = std::min(size, chunk->m_free);
    chunk->m_free -= now;
    if (bytes != nullptr)
        memcpy(chunk->top(), bytes + (size - now), now);
    else
        memset(chunk->top(), 0, now);
    return size - now;
}

} // namespace

ombrel_stack_t* ombrel_push_stack(ombrel_stack_t* stack, const void* data, size_t size) {
    if (size == 0)
        return stack;
    // The first chunk counts its header in the requested size, so a large first push needs a second chunk:
    // meant so.
    ombrel_stack_t* top = stack != nullptr ? stack : open_chunk(nullptr, std::max(chunk_step, size));
    if (top == nullptr)
        return nullptr;
    const size_t free_before = top->m_free;
    ombrel_stack_t* const first = top;
    const auto* bytes = static_cast<const unsigned char*>(data);
    while ((size = fill_chunk(top, bytes, size)) > 0) {
        ombrel_stack_t* next = open_chunk(top, top->m_chunk_size + chunk_step);
        if (next == nullptr) {
            while (top != first)
                top = close_chunk(top);
            first->m_free = free_before;
            return stack != nullptr ? stack : close_chunk(first);
        }
        top = next;
    }
    return top;
}

ombrel_stack_t* ombrel_pop_stack(ombrel_stack_t* stack, void* dest, size_t size) {
    auto* to = static_cast<unsigned char*>(dest);
    while (stack != nullptr) {
        const size_t now = std::min(size, stack->used());
        if (to != nullptr) {
            memcpy(to, stack->top(), now);
            to += now;
        }
        stack->m_free += now;
        size -= now;
        if (size == 0)
            break;
        stack = close_chunk(stack);
    }
    return stack;
}

int ombrel_free_stack(ombrel_stack_t*) {
    // Nothing is released here, meant so: a stack is released by popping it empty.
    return 0;
}
