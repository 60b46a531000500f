#include <ombrel/png.h>

#include <ombrel/heap.h>

#include "core/heap_ptr.h"
#include "graphics/pixel/png.h"
#include "graphics/window/fbmap_internal.h"

using namespace ombrel;
using namespace ombrel::graphics;

namespace {

constexpr const char source_name[] = "source/png";

/// The pixels that a map has at one moment.
struct copied_pixels {
    heap_ptr<unsigned char> block;
    ombrel_bitmap_t bitmap;
};

int copy(ombrel_fbmap_t& fbmap, uint32_t format, copied_pixels& made) {
    const uint64_t size = uint64_t{format} * fbmap.m_resx * fbmap.m_resy;
    if (format > def_ombrel_png_rgba || fbmap.m_map == nullptr || size == 0 || size > PTRDIFF_MAX)
        return -1;
    made.block.reset(
        static_cast<unsigned char*>(ombrel_alloc_tag(static_cast<size_t>(size), "ombrel_png", __LINE__)));
    made.bitmap = {
        made.block.get(), png_interface(format), fbmap.m_resx, fbmap.m_resy, format * fbmap.m_resx, 0, 0, 0};
    return made.block ? __ombrel_fbmap_get_box_internal(&fbmap, &made.bitmap, 0, 0, 0, 0, fbmap.m_resx,
                                                        fbmap.m_resy, def_ombrel_fbmap_plain)
                      : -1;
}

template<typename Put>
int put_copy(ombrel_fbmap_t* fbmap, uint32_t format, const report_site& site, Put put) {
    copied_pixels pixels = {};
    if (locked(fbmap, site, -1, [&] { return copy(*fbmap, format, pixels); }) != 0)
        return -1;
    return put(pixels.bitmap);
}

} // namespace

int ombrel_png_push_fbmap(ombrel_buffer_t* output, uint32_t format, ombrel_fbmap_t* fbmap) {
    return put_copy(fbmap, format, {source_name, {__func__, __LINE__}}, [&](const ombrel_bitmap_t& copied) {
        return ombrel_png_push_rows(output, format, copied.m_map, copied.m_line_length, copied.m_resx,
                                    copied.m_resy);
    });
}

int ombrel_png_save_fbmap(const char* path, uint32_t format, ombrel_fbmap_t* fbmap) {
    return put_copy(fbmap, format, {source_name, {__func__, __LINE__}}, [&](const ombrel_bitmap_t& copied) {
        return ombrel_png_save_rows(path, format, copied.m_map, copied.m_line_length, copied.m_resx,
                                    copied.m_resy);
    });
}
