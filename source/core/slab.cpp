#include <ombrel/slab.h>

#include <bit>

#include <ombrel/heap.h>

namespace {

uint32_t* next_indices(ombrel_slab_t* slab) {
    return reinterpret_cast<uint32_t*>(slab + 1);
}

unsigned char* first_object(const ombrel_slab_t* slab) {
    return static_cast<unsigned char*>(slab->m_objects);
}

// Each object takes its own bytes and its index.
size_t count_that_fits(size_t room, size_t object_size) {
    if (object_size > room)
        return 0;
    const size_t count =
        object_size <= SIZE_MAX - sizeof(uint32_t) ? room / (object_size + sizeof(uint32_t)) : 0;
    return count < UINT32_MAX ? count : UINT32_MAX;
}

// Most object sizes are powers of two, and a shift costs a fraction of a division.
size_t index_of(size_t offset, size_t object_size) {
    const bool is_power_of_two = (object_size & (object_size - 1)) == 0;
    return is_power_of_two ? offset >> std::countr_zero(object_size) : offset / object_size;
}

} // namespace

ombrel_slab_t* ombrel_init_slab(void* area, size_t area_size, size_t object_size) {
    if (area == nullptr || area_size < sizeof(ombrel_slab_t) || object_size == 0)
        return nullptr;
    auto* slab = static_cast<ombrel_slab_t*>(area);
    const size_t count = count_that_fits(area_size - sizeof *slab, object_size);
    uint32_t* indices = next_indices(slab);
    *slab = {object_size, count, indices + count, 0};
    for (size_t i = 0; i < count; i++)
        indices[i] = static_cast<uint32_t>(i + 1);
    return slab;
}

int ombrel_is_slab_object(const ombrel_slab_t* slab, const void* ptr) {
    if (slab == nullptr)
        return 0;
    // An address before the objects makes a difference beyond every region.
    const uintptr_t offset = reinterpret_cast<uintptr_t>(ptr) - reinterpret_cast<uintptr_t>(slab->m_objects);
    return offset < slab->m_object_count * slab->m_object_size ? 1 : 0;
}

void* ombrel_slab_alloc_ex(ombrel_slab_t* slab, int fallback) {
    if (slab == nullptr)
        return nullptr;
    const size_t head = slab->m_free_head;
    if (head >= slab->m_object_count)
        return fallback != 0 ? ombrel_alloc_tag(slab->m_object_size, "ombrel_slab_alloc_ex", __LINE__)
                             : nullptr;
    slab->m_free_head = next_indices(slab)[head];
    return first_object(slab) + head * slab->m_object_size;
}

void* ombrel_slab_alloc(ombrel_slab_t* slab) {
    return ombrel_slab_alloc_ex(slab, 0);
}

void* ombrel_slab_free_ex(ombrel_slab_t* slab, void* ptr, int fallback) {
    if (ptr == nullptr)
        return nullptr;
    if (ombrel_is_slab_object(slab, ptr) != 0) {
        const auto offset = static_cast<size_t>(static_cast<unsigned char*>(ptr) - first_object(slab));
        const size_t index = index_of(offset, slab->m_object_size);
        next_indices(slab)[index] = static_cast<uint32_t>(slab->m_free_head);
        slab->m_free_head = index;
        return nullptr;
    }
    if (fallback != 0) {
        ombrel_free_tag(ptr, "ombrel_slab_free_ex", __LINE__);
        return nullptr;
    }
    return slab != nullptr ? ptr : nullptr;
}

void* ombrel_slab_free(ombrel_slab_t* slab, void* ptr) {
    return ombrel_slab_free_ex(slab, ptr, 0);
}
