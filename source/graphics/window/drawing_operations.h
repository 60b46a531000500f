// The library's own drawing operations, for maps whose pixels have so many bytes (1 to 4).
#pragma once

#include <ombrel/fbmap.h>

namespace ombrel::graphics {

template<unsigned Bytes>
int draw_clear(ombrel_fbmap_t* map, uint32_t color);
template<unsigned Bytes>
int draw_pixel(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y);
template<unsigned Bytes>
int draw_hline(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y, uint32_t length);
template<unsigned Bytes>
int draw_vline(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y, uint32_t length);
template<unsigned Bytes>
int draw_box(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y, uint32_t w, uint32_t h, int fill);
template<unsigned Bytes>
int draw_line(ombrel_fbmap_t* map, uint32_t color, int32_t x1, int32_t y1, int32_t x2, int32_t y2);
template<unsigned Bytes>
int draw_circle(ombrel_fbmap_t* map, uint32_t color, int32_t cx, int32_t cy, uint32_t radius, int fill);
template<unsigned Bytes>
int draw_fill(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y);
template<unsigned Bytes>
uint32_t get_pixel(ombrel_fbmap_t* map, ombrel_bitmap_ts* bitmap, int32_t bitmap_x, int32_t bitmap_y,
                   int32_t x, int32_t y);

} // namespace ombrel::graphics
