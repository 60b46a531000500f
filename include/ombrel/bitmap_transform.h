/**
 * @file bitmap_transform.h
 * @brief Rectangles of pixels turned, mirrored and scaled on their way from one bitmap to another.
 *
 * @code
 * ombrel_bitmap_put_turned(&screen, 0, 0, &picture, 0, 0, 320, 200, def_ombrel_bitmap_turn_90,
 *                          def_ombrel_fbmap_plain); // 200 columns and 320 rows of the screen
 * ombrel_bitmap_put_scaled(&screen, 210, 0, 100, 62, &picture, 0, 0, 320, 200, def_ombrel_bitmap_scale_box,
 *                          def_ombrel_fbmap_plain); // a thumbnail
 * @endcode
 *
 * Bitmaps, their depths and errors are those of ombrel/bitmap.h; so are conversion, blending, key and alpha,
 * see ombrel_bitmap_put(). An unknown turn or method is `invalid`.
 *
 * Rectangles may lie anywhere and have any size: only pixels inside the bitmaps are read and written, and
 * each that is written has the value that it has when nothing is cut off. Time follows the pixels that are
 * read and written, not the rectangles' sizes. Bitmaps may share memory: where a rectangle that is read
 * shares bytes with one that is written, it is copied aside first, into a block from the heap. Mixing wide
 * rows takes up to 128 KiB more; without that memory they are mixed more slowly.
 *
 * All may be called from any thread; nothing but the caller guards the bytes of a bitmap.
 */
#ifndef OMBREL_BITMAP_TRANSFORM_H
#define OMBREL_BITMAP_TRANSFORM_H

#include <stdint.h>

#include <ombrel/bitmap.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @name Turns
 * A picture is mirrored first where #def_ombrel_bitmap_flip_horizontal is in it, then turned clockwise so
 * many quarters. All numbers from 0 to 7 are turns.
 * @{
 */
#define def_ombrel_bitmap_turn_none 0u /**< as it is */
#define def_ombrel_bitmap_turn_90 1u   /**< a quarter turn clockwise: the left edge becomes the top */
#define def_ombrel_bitmap_turn_180 2u  /**< upside down */
#define def_ombrel_bitmap_turn_270                                                                           \
    3u /**< a quarter turn counter-clockwise: the right edge becomes the top                                 \
        */
#define def_ombrel_bitmap_flip_horizontal 4u /**< mirrored: left and right change places */
#define def_ombrel_bitmap_transverse 5u      /**< mirrored at the diagonal from bottom left to top right */
#define def_ombrel_bitmap_flip_vertical 6u   /**< mirrored: top and bottom change places */
#define def_ombrel_bitmap_transpose 7u       /**< columns become rows */
/** @} */

/**
 * @brief Puts a rectangle onto another bitmap, turned or mirrored.
 * @param to     the bitmap to write to
 * @param to_x   column there of the target's left edge; any value
 * @param to_y   row there of the target's upper edge; any value
 * @param from   the bitmap to read from
 * @param from_x column there of the source's left edge; any value
 * @param from_y row there of the source's upper edge; any value
 * @param width  pixels of the source; for the turns that exchange rows and columns they are the target's rows
 * @param height rows of the source; likewise the target's pixels
 * @param turn   one of the turns, 0 to 7
 * @param mode   #def_ombrel_fbmap_plain or #def_ombrel_fbmap_blend
 * @return 0; -1 when nothing was put
 */
OMBREL_API int ombrel_bitmap_put_turned(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y,
                                        const ombrel_bitmap_t* from, int32_t from_x, int32_t from_y,
                                        uint32_t width, uint32_t height, uint32_t turn, uint32_t mode);

/**
 * @name Methods of scaling
 * Column i of the `to_width` covers the columns from i × `from_width` / `to_width` to (i + 1) × `from_width`
 * / `to_width` of the source, and its centre lies in the middle of them; rows likewise. A pixel is written
 * when its centre lies in a pixel inside the bitmap that is read.
 * @{
 */
/** The pixel in which the centre lies, as ombrel_copy_raw_bitmap_scale() chooses it. */
#define def_ombrel_bitmap_scale_nearest 0u
/**
 * Between the centres of the four pixels around it, by the distances in both directions, of which each is
 * cut to 1/128 of a pixel. For enlarging, and for making smaller down to about half; below that, pixels are
 * left out.
 */
#define def_ombrel_bitmap_scale_bilinear 1u
/**
 * The mean of all that the pixel covers, each source pixel by its share, which is rounded to 1/4096 of a
 * pixel or, of more than 4096 pixels in a direction, less finely. For making smaller; where it enlarges,
 * pixels become boxes with smooth borders.
 */
#define def_ombrel_bitmap_scale_box 2u
/** @} */

/**
 * @brief Puts a rectangle onto another bitmap's rectangle of another size.
 *
 * The nearest method takes pixels as they are, with key and alpha as ombrel_bitmap_put() has them. The other
 * two mix pixels, and only such as are inside the rectangle and the bitmap: pixels outside it have no
 * influence, and beyond its edge the pixels of the edge are repeated. They mix colours as ARGB8888, those of
 * luma and chroma as AYuv8888, rounded to the nearest of the 256 values (a mean within 1/64 of the middle
 * between two may become either), and convert them from there.
 * - With #def_ombrel_fbmap_alpha_pixel in the flags of `from`, in either mode, colours are weighted by their
 * alpha, so that transparent pixels lend no colour, and alpha is mixed separately. Without it alpha is a
 *   channel like the others, as in pictures whose colours are multiplied by it.
 * - With #def_ombrel_fbmap_ccolor, in either mode, pixels of the key lend no colour and no alpha. In the mode
 * #def_ombrel_fbmap_blend what is below shows through a mixed pixel in proportion to the key's share in it;
 * in the mode #def_ombrel_fbmap_plain a pixel with half of it or more becomes the key, converted, and others
 * do not let anything through.
 *
 * Where the two rectangles have equal sizes, each method is ombrel_bitmap_put().
 * @param to          the bitmap to write to
 * @param to_x        column there of the target's left edge; any value
 * @param to_y        row there of the target's upper edge; any value
 * @param to_width    pixels
 * @param to_height   rows
 * @param from        the bitmap to read from
 * @param from_x      column there of the source's left edge; any value
 * @param from_y      row there of the source's upper edge; any value
 * @param from_width  pixels
 * @param from_height rows
 * @param method      one of the methods
 * @param mode        #def_ombrel_fbmap_plain or #def_ombrel_fbmap_blend
 * @return 0; -1 when nothing was put
 */
OMBREL_API int ombrel_bitmap_put_scaled(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y, uint32_t to_width,
                                        uint32_t to_height, const ombrel_bitmap_t* from, int32_t from_x,
                                        int32_t from_y, uint32_t from_width, uint32_t from_height,
                                        uint32_t method, uint32_t mode);

OMBREL_END_C

#endif
