/**
 * @file fbmap_box.h
 * @brief Rectangles copied between maps and bitmaps.
 *
 * All may be called from any thread. They hold the lock of all maps; nothing but the caller guards the bytes
 * of a bitmap, whose record is that of ombrel/bitmap.h.
 */
#ifndef OMBREL_FBMAP_BOX_H
#define OMBREL_FBMAP_BOX_H

#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/fbmap.h>

OMBREL_BEGIN_C

/**
 * @brief Copies a rectangle of a map into a bitmap.
 *
 * Colours are converted to the bitmap's interface as by ombrel_convert_color(). With #def_ombrel_fbmap_plain
 * every pixel is replaced. With #def_ombrel_fbmap_blend the map lies on the bitmap, as its flags say:
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
OMBREL_API int ombrel_fbmap_get_box(ombrel_fbmap_t* fbmap, struct ombrel_bitmap_ts* bitmap, int32_t bitmap_x,
                                    int32_t bitmap_y, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                    uint32_t mode);
/**
 * @brief Copies a rectangle of a bitmap into a map; the reverse of ombrel_fbmap_get_box(), with the
 * same arguments and results.
 *
 * In the mode #def_ombrel_fbmap_blend the bitmap is the upper one, with its flags, key and alpha. What was
 * written is added to the update region of a map that is not hidden.
 */
OMBREL_API int ombrel_fbmap_set_box(ombrel_fbmap_t* fbmap, const struct ombrel_bitmap_ts* bitmap,
                                    int32_t bitmap_x, int32_t bitmap_y, int32_t x, int32_t y, uint32_t w,
                                    uint32_t h, uint32_t mode);
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
OMBREL_API int ombrel_fbmap_get_scale_box(ombrel_fbmap_t* fbmap, struct ombrel_bitmap_ts* bitmap,
                                          int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                          uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                          uint32_t mode);
/**
 * @brief Copies a rectangle of a bitmap into a map's rectangle of another size; the reverse of
 * ombrel_fbmap_get_scale_box(), with the same arguments and results, and with ombrel_fbmap_set_box()'s update
 * region.
 */
OMBREL_API int ombrel_fbmap_set_scale_box(ombrel_fbmap_t* fbmap, const struct ombrel_bitmap_ts* bitmap,
                                          int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                          uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                          uint32_t mode);

/**
 * @name The box operations with the lock held
 * What the functions without "_internal" do under the lock; the caller holds it, see ombrel_fbmap_lock().
 * @{
 */
/** @brief See ombrel_fbmap_get_box(). */
OMBREL_API int __ombrel_fbmap_get_box_internal(ombrel_fbmap_t* fbmap, struct ombrel_bitmap_ts* bitmap,
                                               int32_t bitmap_x, int32_t bitmap_y, int32_t x, int32_t y,
                                               uint32_t w, uint32_t h, uint32_t mode);
/** @brief See ombrel_fbmap_set_box(). */
OMBREL_API int __ombrel_fbmap_set_box_internal(ombrel_fbmap_t* fbmap, const struct ombrel_bitmap_ts* bitmap,
                                               int32_t bitmap_x, int32_t bitmap_y, int32_t x, int32_t y,
                                               uint32_t w, uint32_t h, uint32_t mode);
/** @brief See ombrel_fbmap_get_scale_box(). */
OMBREL_API int __ombrel_fbmap_get_scale_box_internal(ombrel_fbmap_t* fbmap, struct ombrel_bitmap_ts* bitmap,
                                                     int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                                     uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w,
                                                     uint32_t h, uint32_t mode);
/** @brief See ombrel_fbmap_set_scale_box(). */
OMBREL_API int __ombrel_fbmap_set_scale_box_internal(ombrel_fbmap_t* fbmap,
                                                     const struct ombrel_bitmap_ts* bitmap, int32_t bitmap_x,
                                                     int32_t bitmap_y, uint32_t bitmap_w, uint32_t bitmap_h,
                                                     int32_t x, int32_t y, uint32_t w, uint32_t h,
                                                     uint32_t mode);
/** @} */

OMBREL_END_C

#endif
