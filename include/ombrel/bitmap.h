/**
 * @file bitmap.h
 * @brief Bitmaps in memory: made, looked at, filled, and rectangles of pixels put from one onto another.
 *
 * A bitmap is a record over pixels, which are the caller's or in a block of the bitmap's own:
 *
 * @code
 * ombrel_bitmap_t* picture = ombrel_new_bitmap(def_ombrel_color_interface_argb8888, 320, 200);
 * ombrel_bitmap_t screen;
 * if (picture == NULL || ombrel_init_bitmap_of_fbmap(&screen, map) != 0)
 *     return ombrel_error_printf("no picture: %s\n", ombrel_fault_text());
 * ombrel_bitmap_fill(picture, 0x800B7A75, 20, 20, 280, 160);
 * picture->m_flags |= def_ombrel_fbmap_alpha_pixel;
 * ombrel_bitmap_put(&screen, 40, 40, picture, 0, 0, 320, 200, def_ombrel_fbmap_blend);
 * ombrel_free_bitmap(picture);
 * @endcode
 *
 * Rectangles that are turned, mirrored or scaled on their way are those of ombrel/bitmap_transform.h;
 * rectangles that go between maps and bitmaps, with the maps' lock and their update regions, are those of
 * ombrel/fbmap_box.h, which this header includes; pictures are written by ombrel/png.h.
 *
 * All may be called from any thread; nothing but the caller guards a bitmap's record and bytes. Sizes are
 * those of memory: a bitmap has up to 4294967295 columns and rows.
 *
 * @par Depths
 * The functions whose names begin with ombrel_bitmap_ take pixels of 1, 2, 4, 8, 16, 24 and 32 bits, the
 * others say what they take. Pixels of 8 bits and more lie with their least significant byte first. Of
 * several pixels in a byte the leftmost has the most significant bits, as in fonts, and each row begins with
 * a byte; its last byte may have bits of no pixel, which nothing reads or changes.
 *
 * @par Errors
 * A call that fails leaves the reason in ombrel_last_fault(): `invalid` for null, a bitmap that is not valid,
 * sizes of 0 and modes that do not exist, `not_supported` for another depth, `not_found` where no pixel of a
 * rectangle lies inside its bitmaps, `no_memory`. The two functions that copy raw bytes leave none.
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
 * (`m_line_length` is at least `m_resx` × bits per pixel / 8, rounded up for the functions that take pixels
 * of less than a byte), and when `m_line_length` × `m_resy` bytes fit into the address space. What is not
 * valid is left alone, with -1 as the result.
 */
typedef struct ombrel_bitmap_ts {
    void* m_map;                /**< the topmost row's first pixel, at any alignment; the caller's */
    uint32_t m_color_interface; /**< what the bits mean, and so the depth; see ombrel/color.h */
    uint32_t m_resx;            /**< pixels in a row */
    uint32_t m_resy;            /**< rows */
    uint32_t m_line_length;     /**< bytes from one row to the next */
    uint32_t m_flags;        /**< how the blend mode treats it as the upper bitmap: #def_ombrel_fbmap_ccolor,
                                  #def_ombrel_fbmap_alpha_window and #def_ombrel_fbmap_alpha_pixel count */
    uint32_t m_ccolor;       /**< the colour key, in `m_color_interface` */
    uint32_t m_alpha_window; /**< 0 (invisible) to 255 (opaque); more counts as 255 */
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
 * @brief Describes pixels that are in memory already.
 * @param bitmap          receives the record, with flags, key and window alpha of 0; nothing in it has to be
 * freed
 * @param color_interface what the bits mean, of one of the depths above
 * @param resx            pixels in a row
 * @param resy            rows
 * @param map             the topmost row's first pixel, at any alignment
 * @param line_length     bytes from one row to the next; 0 for rows that follow each other without a gap
 * @return 0; -1 when it would not be a valid bitmap, with the record as it was
 */
OMBREL_API int ombrel_init_bitmap(ombrel_bitmap_t* bitmap, uint32_t color_interface, uint32_t resx,
                                  uint32_t resy, void* map, uint32_t line_length);

/**
 * @brief Describes a part of a bitmap, which is the same memory.
 *
 * Its flags, key and window alpha are those of the whole.
 * @param part  receives the record; may be `whole`
 * @param whole the bitmap; its pixels are not copied
 * @param x     column of the part's left edge; where it lies within a byte, the fault is `not_supported`
 * @param y     row of the part's upper edge
 * @param w     pixels
 * @param h     rows
 * @return 0; -1 when any of it lies outside (`not_found`) or the whole is not valid, with the record as it
 *         was
 */
OMBREL_API int ombrel_init_bitmap_part(ombrel_bitmap_t* part, const ombrel_bitmap_t* whole, uint32_t x,
                                       uint32_t y, uint32_t w, uint32_t h);

/**
 * @brief Describes a map's pixels, with the map's flags, key and window alpha.
 *
 * The record is valid until the map is resized or freed. Whoever writes through it while other threads show
 * the map must hold ombrel_fbmap_lock() and add the changed rectangle to the map's update region.
 * @param bitmap receives the record
 * @param fbmap  the map
 * @return 0; -1 for null and for a map without pixels, with the record as it was
 */
OMBREL_API int ombrel_init_bitmap_of_fbmap(ombrel_bitmap_t* bitmap, const ombrel_fbmap_t* fbmap);

/**
 * @brief Makes a bitmap with pixels of its own, all of them 0.
 *
 * The pixels are in the record's block, at a multiple of 16 bytes, as is each row.
 * @param color_interface what the bits mean, of one of the depths above
 * @param resx            pixels in a row
 * @param resy            rows
 * @param function        the calling function's name, a static text
 * @param line            the line of the call
 * @return the bitmap, to be freed by ombrel_free_bitmap(); null: `too_large` when a row takes more than
 *         4294967295 bytes or all of them more than half of the address space, `no_memory` when the heap has
 * not enough
 */
OMBREL_API ombrel_bitmap_t* ombrel_new_bitmap_tag(uint32_t color_interface, uint32_t resx, uint32_t resy,
                                                  const char* function, unsigned long line);
/** @brief ombrel_new_bitmap_tag() with the caller's own name and line. */
#define ombrel_new_bitmap(color_interface, resx, resy)                                                       \
    ombrel_new_bitmap_tag((color_interface), (resx), (resy), __func__, __LINE__)

/** @brief Frees a bitmap of ombrel_new_bitmap(). @param bitmap may be null @return null */
OMBREL_API ombrel_bitmap_t* ombrel_free_bitmap(ombrel_bitmap_t* bitmap);

/**
 * @brief Reads a pixel.
 * @param bitmap the bitmap
 * @param x      its column
 * @param y      its row
 * @return the pixel in the bitmap's interface; 0, with a fault, for a place outside
 */
OMBREL_API uint32_t ombrel_bitmap_get_pixel(const ombrel_bitmap_t* bitmap, int64_t x, int64_t y);

/**
 * @brief Writes a pixel.
 * @param bitmap the bitmap
 * @param x      its column
 * @param y      its row
 * @param color  the pixel in the bitmap's interface; higher bits do not count
 * @return 0; -1 for a place outside
 */
OMBREL_API int ombrel_bitmap_set_pixel(ombrel_bitmap_t* bitmap, int64_t x, int64_t y, uint32_t color);

/**
 * @brief Fills a rectangle, cut to the bitmap, with one colour.
 * @param bitmap the bitmap
 * @param color  the pixel in the bitmap's interface; higher bits do not count
 * @param x      column of the rectangle's left edge; any value
 * @param y      row of the rectangle's upper edge; any value
 * @param w      pixels
 * @param h      rows
 * @return 0; -1 when nothing was filled
 */
OMBREL_API int ombrel_bitmap_fill(ombrel_bitmap_t* bitmap, uint32_t color, int32_t x, int32_t y, uint32_t w,
                                  uint32_t h);

/**
 * @brief Puts a rectangle of one bitmap onto another.
 *
 * Modes, key and alpha are those of ombrel_fbmap_get_box(). Colours are converted as by
 * ombrel_convert_color(), except for a palette or grey interface as the target: its pixel becomes the nearest
 * of its colours (the one with the least sum of the squares of the three differences, the first of equals).
 *
 * The rectangle is cut to both bitmaps. They may share memory: the result is as if the rectangle had been
 * copied aside first, which is done, in memory from the heap, where pixels are changed on their way.
 * @param to     the bitmap to write to
 * @param to_x   column there of the rectangle's left edge; any value
 * @param to_y   row there of the rectangle's upper edge; any value
 * @param from   the bitmap to read from; the upper one where pixels are blended
 * @param from_x column there of the rectangle's left edge; any value
 * @param from_y row there of the rectangle's upper edge; any value
 * @param width  pixels
 * @param height rows
 * @param mode   #def_ombrel_fbmap_plain or #def_ombrel_fbmap_blend
 * @return 0; -1 when nothing was put
 */
OMBREL_API int ombrel_bitmap_put(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y, const ombrel_bitmap_t* from,
                                 int32_t from_x, int32_t from_y, uint32_t width, uint32_t height,
                                 uint32_t mode);

OMBREL_END_C

#endif
