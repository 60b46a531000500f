/**
 * @file bitmap.h
 * @brief Bitmaps in memory, and rectangles copied between them.
 *
 * All may be called from any thread; nothing but the caller guards the bytes of a bitmap. A map is seen as a
 * bitmap by setting a record's fields from the map's fields of the same names. Rectangles that go between
 * maps and bitmaps are those of ombrel/fbmap_box.h, which comes with this header.
 */
#ifndef OMBREL_BITMAP_H
#define OMBREL_BITMAP_H

#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/fbmap_box.h>

OMBREL_BEGIN_C

/**
 * @brief A rectangle of pixels in memory.
 *
 * Pixels are stored with their least significant byte first, bits per pixel / 8 bytes each. A bitmap is valid
 * when it has pixels (`m_map`, `m_resx` and `m_resy` are not 0), when its rows hold what its width asks for
 * (`m_line_length` is at least `m_resx` × bits per pixel / 8), and when `m_line_length` × `m_resy` bytes fit
 * into the address space. What is not valid is left alone, with -1 as the result.
 */
typedef struct ombrel_bitmap_ts {
    void* m_map;                /**< the topmost row's first pixel, at any alignment; the caller's */
    uint32_t m_color_interface; /**< what the bits mean, see ombrel/color.h; it gives the depth too */
    uint32_t m_resx;            /**< pixels in a row */
    uint32_t m_resy;            /**< rows */
    uint32_t m_line_length;     /**< bytes from one row to the next */
    uint32_t m_flags;           /**< how the blend mode takes it as the upper one: #def_ombrel_fbmap_ccolor,
                                     #def_ombrel_fbmap_alpha_window and #def_ombrel_fbmap_alpha_pixel count */
    uint32_t m_ccolor;          /**< the colour key, in `m_color_interface` */
    uint32_t m_alpha_window;    /**< 0 (invisible) to 255 (opaque); more counts as 255 */
} ombrel_bitmap_t;

/**
 * @brief Copies a rectangle byte by byte, whatever the colours mean.
 *
 * The rectangle is cut to both bitmaps. They may be views of the same memory with the same line length: the
 * result is as if the rectangle had been copied aside first. Depths that do not fill bytes work where rows of
 * pixels begin and end with a byte; a row's last bits beyond its last whole byte stay as they are.
 * @param to     the bitmap to write to
 * @param to_x   column there of the rectangle's left edge; any value
 * @param to_y   row there of the rectangle's upper edge; any value
 * @param from   the bitmap to read from
 * @param from_x column there of the rectangle's left edge; any value
 * @param from_y row there of the rectangle's upper edge; any value
 * @param width  pixels; any value
 * @param height rows; any value
 * @return 0; -1 when nothing was copied: a null argument, a bitmap that is not valid, nothing left of the
 *         rectangle, or ("not supported" is reported) different depths or a first pixel within a byte
 */
OMBREL_API int ombrel_copy_raw_bitmap(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y,
                                      const ombrel_bitmap_t* from, int32_t from_x, int32_t from_y,
                                      uint32_t width, uint32_t height);

/**
 * @brief Copies a rectangle byte by byte to one of another size, each pixel from the nearest one.
 *
 * A pixel's centre decides: column i of the `to_width` takes column (2 × i + 1) × `from_width` / (2 ×
 * `to_width`), cut to an integer, and rows likewise. What would fall or come from outside its bitmap is left
 * out. When the two rectangles share memory, what is read there may have been written by the same call.
 * @param to          the bitmap to write to
 * @param to_x        column there of the target's left edge; any value
 * @param to_y        row there of the target's upper edge; any value
 * @param to_width    pixels; any value
 * @param to_height   rows; any value
 * @param from        the bitmap to read from
 * @param from_x      column there of the source's left edge; any value
 * @param from_y      row there of the source's upper edge; any value
 * @param from_width  pixels; any value
 * @param from_height rows; any value
 * @return 0; -1 when nothing was copied: a null argument, a bitmap that is not valid, an empty rectangle,
 * none of it inside both bitmaps, or ("not supported" is reported) depths that differ or are not 8, 16, 24 or
 * 32
 */
OMBREL_API int ombrel_copy_raw_bitmap_scale(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y,
                                            uint32_t to_width, uint32_t to_height,
                                            const ombrel_bitmap_t* from, int32_t from_x, int32_t from_y,
                                            uint32_t from_width, uint32_t from_height);

OMBREL_END_C

#endif
