/**
 * @file bitmap.h
 * @brief Bitmaps in memory, and rectangles copied between them and between them and maps.
 *
 * All may be called from any thread. Those on maps hold the lock of all maps; nothing but the caller guards
 * the bytes of a bitmap. A map is seen as a bitmap by setting a record's fields from the map's fields of the
 * same names.
 */
#ifndef OMBREL_BITMAP_H
#define OMBREL_BITMAP_H

#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/fbmap.h>

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

/**
 * @brief Copies a rectangle of a map into a bitmap.
 *
 * Colours are converted to the bitmap's interface as by ombrel_convert_color(). With #def_ombrel_fbmap_plain
 * every pixel is replaced. With #def_ombrel_fbmap_blend the map lies upon the bitmap, as its flags say:
 * - with #def_ombrel_fbmap_ccolor, pixels of its colour key are skipped (bits without meaning are not
 * compared);
 * - a pixel's alpha a is its window alpha with #def_ombrel_fbmap_alpha_window (more than 255 counts as 255),
 * its own alpha channel with #def_ombrel_fbmap_alpha_pixel (255 where its interface has none; one of fewer
 * than 8 bits is widened by repeating them, so that all ones are 255), the product of both divided by 255 and
 * rounded with both, and 255 with neither;
 * - each channel becomes (upper × a + lower × (255 - a)) / 255, rounded, in the bits that the bitmap has for
 * it. The upper alpha channel counts as full there, so that opaque pixels stay opaque. Palette and grey
 * fields become the upper ones where a is 128 or more. Without both alpha flags the pixels are copied.
 *
 * The rectangle is cut to the map and to the bitmap. When both are the same memory with the same line length,
 * the plain mode without conversion works as if the rectangle had been copied aside first; otherwise what is
 * read may have been written by the call.
 * @param fbmap    the map
 * @param bitmap   receives the pixels; see ombrel_bitmap_t for when it is valid
 * @param bitmap_x column there of the rectangle's left edge; any value
 * @param bitmap_y row there of the rectangle's upper edge; any value
 * @param x        column in the map of the rectangle's left edge; any value
 * @param y        row in the map of the rectangle's upper edge; any value
 * @param w        pixels; any value
 * @param h        rows; any value
 * @param mode     #def_ombrel_fbmap_plain or #def_ombrel_fbmap_blend
 * @return 0; -1 when nothing was copied: null, a map without pixels, a bitmap that is not valid, nothing left
 * of the rectangle, or a depth of one of them that is not 8, 16, 24 or 32 bits ("not supported" is reported)
 */
OMBREL_API int ombrel_fbmap_get_box(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                    int32_t bitmap_y, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                    uint32_t mode);
/**
 * @brief Copies a rectangle of a bitmap into a map; the other way round than ombrel_fbmap_get_box(), with the
 * same arguments and results.
 *
 * In the mode #def_ombrel_fbmap_blend the bitmap is the upper one, with its flags, key and alpha. What was
 * written is added to the update region of a map that is not hidden.
 */
OMBREL_API int ombrel_fbmap_set_box(ombrel_fbmap_t* fbmap, const ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                    int32_t bitmap_y, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                    uint32_t mode);
/**
 * @brief Copies a rectangle of a map into a bitmap's rectangle of another size, each pixel from the nearest
 * one as ombrel_copy_raw_bitmap_scale() chooses it, with the modes of ombrel_fbmap_get_box().
 * @param fbmap    the map
 * @param bitmap   receives the pixels; see ombrel_bitmap_t for when it is valid
 * @param bitmap_x column there of the target's left edge; any value
 * @param bitmap_y row there of the target's upper edge; any value
 * @param bitmap_w pixels there; any value
 * @param bitmap_h rows there; any value
 * @param x        column in the map of the source's left edge; any value
 * @param y        row in the map of the source's upper edge; any value
 * @param w        pixels there; any value
 * @param h        rows there; any value
 * @param mode     #def_ombrel_fbmap_plain or #def_ombrel_fbmap_blend
 * @return as with ombrel_fbmap_get_box()
 */
OMBREL_API int ombrel_fbmap_get_scale_box(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                          int32_t bitmap_y, uint32_t bitmap_w, uint32_t bitmap_h, int32_t x,
                                          int32_t y, uint32_t w, uint32_t h, uint32_t mode);
/**
 * @brief Copies a rectangle of a bitmap into a map's rectangle of another size; the other way round than
 *        ombrel_fbmap_get_scale_box(), with the same arguments and results, and with ombrel_fbmap_set_box()'s
 *        update region.
 */
OMBREL_API int ombrel_fbmap_set_scale_box(ombrel_fbmap_t* fbmap, const ombrel_bitmap_t* bitmap,
                                          int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                          uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                          uint32_t mode);

/**
 * @name The box operations with the lock held
 * What the functions without "_internal" do under the lock; the caller holds it, see ombrel_fbmap_lock().
 * @{
 */
/** @brief See ombrel_fbmap_get_box(). */
OMBREL_API int __ombrel_fbmap_get_box_internal(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap,
                                               int32_t bitmap_x, int32_t bitmap_y, int32_t x, int32_t y,
                                               uint32_t w, uint32_t h, uint32_t mode);
/** @brief See ombrel_fbmap_set_box(). */
OMBREL_API int __ombrel_fbmap_set_box_internal(ombrel_fbmap_t* fbmap, const ombrel_bitmap_t* bitmap,
                                               int32_t bitmap_x, int32_t bitmap_y, int32_t x, int32_t y,
                                               uint32_t w, uint32_t h, uint32_t mode);
/** @brief See ombrel_fbmap_get_scale_box(). */
OMBREL_API int __ombrel_fbmap_get_scale_box_internal(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap,
                                                     int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                                     uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w,
                                                     uint32_t h, uint32_t mode);
/** @brief See ombrel_fbmap_set_scale_box(). */
OMBREL_API int __ombrel_fbmap_set_scale_box_internal(ombrel_fbmap_t* fbmap, const ombrel_bitmap_t* bitmap,
                                                     int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                                     uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w,
                                                     uint32_t h, uint32_t mode);
/** @} */

OMBREL_END_C

#endif
