#include <ombrel/fbmap.h>

#include "graphics/window/fbmap_internal.h"

using namespace ombrel::graphics;

namespace {

constexpr const char source_name[] = "source/fbmap_get";

template<typename Value>
Value read(const ombrel_fbmap_t* fbmap, Value ombrel_fbmap_t::*field, const char* function,
           unsigned long line) {
    return locked(fbmap, {source_name, {function, line}}, Value{0}, [&] { return fbmap->*field; });
}

} // namespace

int ombrel_fbmap_is_closed(ombrel_fbmap_t* fbmap) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1, [&] {
        const ombrel_fbmap_t* root = fbmap;
        while (root->m_parent != nullptr)
            root = root->m_parent;
        return (root->m_flags & def_ombrel_fbmap_closed) != 0 ? 1 : 0;
    });
}

int ombrel_fbmap_is_visible(ombrel_fbmap_t* fbmap) {
    // The hidden bit as it is stored, whatever the name says: meant so.
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1, [&] { return is_hidden(*fbmap) ? 1 : 0; });
}

void* ombrel_fbmap_get_map(ombrel_fbmap_t* fbmap, uint32_t* size_out) {
    return locked<void*>(fbmap, {source_name, {__func__, __LINE__}}, nullptr, [&] {
        if (size_out != nullptr)
            *size_out = fbmap->m_map_size;
        return fbmap->m_map;
    });
}

uint32_t ombrel_fbmap_get_map_size(ombrel_fbmap_t* fbmap) {
    return read(fbmap, &ombrel_fbmap_t::m_map_size, __func__, __LINE__);
}

uint32_t ombrel_fbmap_get_color_interface(ombrel_fbmap_t* fbmap) {
    return read(fbmap, &ombrel_fbmap_t::m_color_interface, __func__, __LINE__);
}

uint32_t ombrel_fbmap_get_bits_per_pixel(ombrel_fbmap_t* fbmap) {
    return read(fbmap, &ombrel_fbmap_t::m_bits_per_pixel, __func__, __LINE__);
}

uint32_t ombrel_fbmap_get_line_length(ombrel_fbmap_t* fbmap) {
    return read(fbmap, &ombrel_fbmap_t::m_line_length, __func__, __LINE__);
}

int32_t ombrel_fbmap_get_x(ombrel_fbmap_t* fbmap) {
    return read(fbmap, &ombrel_fbmap_t::m_x, __func__, __LINE__);
}

int32_t ombrel_fbmap_get_y(ombrel_fbmap_t* fbmap) {
    return read(fbmap, &ombrel_fbmap_t::m_y, __func__, __LINE__);
}

uint32_t ombrel_fbmap_get_resx(ombrel_fbmap_t* fbmap) {
    return read(fbmap, &ombrel_fbmap_t::m_resx, __func__, __LINE__);
}

uint32_t ombrel_fbmap_get_resy(ombrel_fbmap_t* fbmap) {
    return read(fbmap, &ombrel_fbmap_t::m_resy, __func__, __LINE__);
}
