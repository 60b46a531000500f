/**
 * @file fbmap_draw.h
 * @brief Drawing into the pixels of a map: shapes, areas and text.
 *
 * Nothing here recomposes or transfers. Each function adds what it has touched to the map's update region,
 * unless the map is hidden, and ombrel_fbmap_update() makes it visible:
 *
 * @code
 * const uint32_t argb = def_ombrel_color_interface_argb8888;
 * ombrel_fbmap_draw_clear(window, ombrel_fbmap_convert_color(window, 0, argb, 0xFF203040));
 * ombrel_fbmap_use_brush_fcolor(window, 1);
 * ombrel_fbmap_set_brush_xy(window, 8, 8);
 * ombrel_fbmap_draw_puts(window, "Hello, 한글");
 * ombrel_fbmap_update(window);
 * @endcode
 *
 * Colours are in the map's interface: the low bytes of the word are stored, the least significant first, and
 * nothing is blended. Coordinates are pixels of the map and may have any value, as may sizes, lengths and
 * radii: what lies outside the map is cut off, and a call costs no more than what lies inside.
 *
 * Functions with "__" before the name and "_internal" behind it want the lock of all maps to be held, from
 * ombrel_fbmap_lock(); the others take it and may be called from any thread. All but text, ruler and colour
 * bars are done by the function in the map's slot, see ombrel/fbmap.h.
 *
 * Results are 0, or -1 when nothing was drawn: everything lies outside the map or is empty, the map has no
 * pixels, it is null ("s_fbmap is null !" is reported), its depth is not 8, 16, 24 or 32 bits ("not
 * supported" is reported), or there is no memory for the lock.
 */
#ifndef OMBREL_FBMAP_DRAW_H
#define OMBREL_FBMAP_DRAW_H

#include <stdarg.h>
#include <stdint.h>

#include <ombrel/bitmap.h>
#include <ombrel/export.h>
#include <ombrel/fbmap.h>

OMBREL_BEGIN_C

/** ombrel_fbmap_draw_color_bar(): seven bars above a band of fine levels. */
#define def_ombrel_fbmap_color_bar_full 1

/**
 * @brief Converts a colour as ombrel_convert_color() does; equal interfaces leave it unchanged.
 * @param fbmap          the map
 * @param to_interface   the interface of the result; 0 for the map's
 * @param from_interface the interface of `color`; 0 for the map's
 * @param color          the colour
 * @return the colour; all-ones (-1) for a failure as above
 */
OMBREL_API uint32_t ombrel_fbmap_convert_color(ombrel_fbmap_t* fbmap, uint32_t to_interface,
                                               uint32_t from_interface, uint32_t color);

/** @brief Sets every pixel. @param fbmap the map @param color the colour @return 0 or -1 */
OMBREL_API int ombrel_fbmap_draw_clear(ombrel_fbmap_t* fbmap, uint32_t color);

/**
 * @brief Sets a pixel.
 * @param fbmap the map
 * @param color the colour
 * @param x     its column
 * @param y     its row
 * @return 0 or -1
 */
OMBREL_API int ombrel_fbmap_draw_pixel(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y);

/**
 * @brief Draws a line to the right.
 * @param fbmap  the map
 * @param color  the colour
 * @param x      its leftmost column
 * @param y      its row
 * @param length pixels
 * @return 0 or -1
 */
OMBREL_API int ombrel_fbmap_draw_hline(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                       uint32_t length);

/**
 * @brief Draws a line downwards.
 * @param fbmap  the map
 * @param color  the colour
 * @param x      its column
 * @param y      its topmost row
 * @param length pixels
 * @return 0 or -1
 */
OMBREL_API int ombrel_fbmap_draw_vline(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                       uint32_t length);

/**
 * @brief Draws a box.
 *
 * Of the outline, 1 pixel wide and inside the box, those parts are drawn that lie in the map: an edge outside
 * is not drawn at the map's own edge instead.
 * @param fbmap the map
 * @param color the colour
 * @param x     its leftmost column
 * @param y     its topmost row
 * @param w     columns
 * @param h     rows
 * @param fill  0 for the outline, else the whole box
 * @return 0 or -1
 */
OMBREL_API int ombrel_fbmap_draw_box(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y, uint32_t w,
                                     uint32_t h, int fill);

/**
 * @brief Draws a line between two pixels, both included.
 *
 * After k of n steps the line has gone k × width / n and k × height / n pixels from its first end, both
 * rounded down, where n is the greater of width and height: from (0, 0) to (3, 1) it is (0, 0), (1, 0), (2,
 * 0), (3, 1). A line that leaves the map is drawn so between the first and the last of its pixels in the map.
 * @param fbmap the map
 * @param color the colour
 * @param x1    column of the first end
 * @param y1    row of the first end
 * @param x2    column of the other end
 * @param y2    row of the other end
 * @return 0 or -1
 */
OMBREL_API int ombrel_fbmap_draw_line(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x1, int32_t y1,
                                      int32_t x2, int32_t y2);

/**
 * @brief Draws a circle.
 *
 * The filled one has narrower rows near the top and the bottom than its outline.
 * @param fbmap  the map
 * @param color  the colour
 * @param cx     column of the centre
 * @param cy     row of the centre
 * @param radius pixels from the centre to the outline; 0 for the centre alone
 * @param fill   0 for the outline, else the whole circle
 * @return 0; -1 also when the map lies wholly inside an outline
 */
OMBREL_API int ombrel_fbmap_draw_circle(ombrel_fbmap_t* fbmap, uint32_t color, int32_t cx, int32_t cy,
                                        uint32_t radius, int fill);

/**
 * @brief Fills the area of one colour around a pixel.
 *
 * The area goes on to pixels above, below and beside, and from a row's first pixel also to the last pixel of
 * the row above. It takes 8 bytes of heap for each run of pixels in a row that it has met and not filled yet.
 * @param fbmap the map
 * @param color the new colour
 * @param x     column of a pixel of the area
 * @param y     its row
 * @return 0, also when the pixel has the colour already; -1 also when memory ran out, so that part of the
 *         area may be left
 */
OMBREL_API int ombrel_fbmap_draw_fill(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y);

/**
 * @brief Draws text at the map's brush, and moves its cursor on.
 *
 * Glyphs are those of ombrel_get_bitmap_font(), with the upper left corner at the brush's x and y plus the
 * cursor (x delta, y delta). A flag of the brush decides of each colour whether it is drawn: the foreground
 * (#def_ombrel_fbmap_brush_fcolor), the background in the rest of the glyph's box
 * (#def_ombrel_fbmap_brush_bcolor), and an outline of one glyph pixel around the foreground
 * (#def_ombrel_fbmap_brush_ocolor), for which characters and lines are 2 pixels farther apart.
 *
 * The cursor and the glyphs are scaled by the brush's scales, each length rounded down. The brush's angle
 * turns text about its origin, the brush's x and y, by degrees clockwise; each pixel takes what is nearest to
 * it, and multiples of 90 are exact.
 *
 * A line feed moves the cursor to x delta 0 and down by 16, the y interval and the 2 pixels of an outline. A
 * carriage return moves it to x delta 0, a backspace to the left by 8, the x interval and those 2 pixels. All
 * other characters have glyphs, and advance it by the glyph's width, the x interval and those 2 pixels; one
 * that would reach the map's right edge with that begins the next line. The angle does not count there.
 * @param fbmap the map
 * @param text  UTF-8 text up to a NUL or an invalid sequence
 * @return the characters handled, those for the cursor and those outside the map included; -1 for a failure
 * as above or a null text
 */
OMBREL_API int ombrel_fbmap_draw_puts(ombrel_fbmap_t* fbmap, const char* text);

/**
 * @brief Formats text as ombrel_alloc_vsprintf() does, and draws it as ombrel_fbmap_draw_puts() does.
 * @param fbmap  the map
 * @param format the format
 * @param ap     its arguments
 * @return the characters handled; -1 also when memory runs out or the text has more than 65278 bytes
 */
OMBREL_API int ombrel_fbmap_draw_vprintf(ombrel_fbmap_t* fbmap, const char* format, va_list ap)
    OMBREL_PRINTF_LIKE(2, 0);

/** @brief ombrel_fbmap_draw_vprintf() with the arguments in the call. @param fbmap the map @param format the
 * format @return the characters handled or -1 */
OMBREL_API int ombrel_fbmap_draw_printf(ombrel_fbmap_t* fbmap, const char* format, ...)
    OMBREL_PRINTF_LIKE(2, 3);

/**
 * @brief Draws a ruler at the map's upper and left edges, in the brush's foreground colour, in use or not.
 *
 * Marks are 5 pixels long every 10 pixels, 10 long every 50 and 15 long every 100, where the distance is
 * written beside the mark.
 * @param fbmap the map
 * @return 0 or -1
 */
OMBREL_API int ombrel_fbmap_draw_ruler(ombrel_fbmap_t* fbmap);

/**
 * @brief Draws a test pattern: bars in white, yellow, cyan, green, magenta, red and blue.
 *
 * In the full pattern they take h / 3 × 2 rows. A strip of blue, black, orange, black, azure, black and white
 * follows with h / 6 rows, and a band of dark blue, white, blue and three black bars in the rest. Bars are
 * a seventh of the width (a sixth in the band); the last takes what remains.
 * @param fbmap the map
 * @param mode  #def_ombrel_fbmap_color_bar_full, or anything else for bars of the full height alone
 * @param alpha the alpha channel, 0 to 255; its low 8 bits count
 * @param x     leftmost column
 * @param y     topmost row
 * @param w     columns
 * @param h     rows
 * @return 0 or -1
 */
OMBREL_API int ombrel_fbmap_draw_color_bar(ombrel_fbmap_t* fbmap, int mode, uint32_t alpha, int32_t x,
                                           int32_t y, uint32_t w, uint32_t h);

/**
 * @brief Reads a pixel.
 * @param fbmap    the map
 * @param bitmap   receives the pixel, converted to its interface, where the place is in the bitmap; or null.
 * An interface of 0 is that of the map.
 * @param bitmap_x column in the bitmap
 * @param bitmap_y row in the bitmap
 * @param x        column in the map
 * @param y        row in the map
 * @return the pixel, in the bitmap's interface if there is a bitmap, else in the map's; 0 outside the map and
 *         for a failure as above
 */
OMBREL_API uint32_t ombrel_fbmap_get_pixel(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                           int32_t bitmap_y, int32_t x, int32_t y);

/**
 * @name Forms for callers that hold the lock of all maps
 * @{
 */
/** @brief ombrel_fbmap_draw_clear() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_clear_internal(ombrel_fbmap_t* fbmap, uint32_t color);
/** @brief ombrel_fbmap_draw_pixel() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_pixel_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x,
                                                  int32_t y);
/** @brief ombrel_fbmap_draw_hline() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_hline_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                                  uint32_t length);
/** @brief ombrel_fbmap_draw_vline() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_vline_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                                  uint32_t length);
/** @brief ombrel_fbmap_draw_box() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_box_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                                uint32_t w, uint32_t h, int fill);
/** @brief ombrel_fbmap_draw_line() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_line_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x1,
                                                 int32_t y1, int32_t x2, int32_t y2);
/** @brief ombrel_fbmap_draw_circle() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_circle_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t cx,
                                                   int32_t cy, uint32_t radius, int fill);
/** @brief ombrel_fbmap_draw_fill() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_fill_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y);
/** @brief ombrel_fbmap_draw_puts() with the lock held. @return the characters handled or -1 */
OMBREL_API int __ombrel_fbmap_draw_puts_internal(ombrel_fbmap_t* fbmap, const char* text);
/** @brief ombrel_fbmap_draw_ruler() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_ruler_internal(ombrel_fbmap_t* fbmap);
/** @brief ombrel_fbmap_draw_color_bar() with the lock held. @return 0 or -1 */
OMBREL_API int __ombrel_fbmap_draw_color_bar_internal(ombrel_fbmap_t* fbmap, int mode, uint32_t alpha,
                                                      int32_t x, int32_t y, uint32_t w, uint32_t h);
/** @brief ombrel_fbmap_get_pixel() with the lock held. @return the pixel or 0 */
OMBREL_API uint32_t __ombrel_fbmap_get_pixel_internal(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap,
                                                      int32_t bitmap_x, int32_t bitmap_y, int32_t x,
                                                      int32_t y);
/** @} */

OMBREL_END_C

#endif
