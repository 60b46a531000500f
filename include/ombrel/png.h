/**
 * @file png.h
 * @brief Pictures written in the PNG format, into a buffer chain or a file.
 *
 * What is written is 8 bits a channel, without a palette and not interlaced: the signature, a header, image
 * data in chunks of about 32 KiB, the end. Rows are filtered, each by the filter that leaves the smallest
 * differences, and compressed with matches and fixed codes; what does not become shorter by that is stored as
 * it is. Equal pixels give equal documents on every system.
 *
 * A picture has 1 to 2147483647 columns and rows. Beside the output a call takes about 230 KiB and 4 rows of
 * pixels from the heap, those of maps and bitmaps no more than said there, and gives all of it back.
 *
 * All functions may be called from any thread; nothing but the caller guards rows, bitmaps and buffers
 * without a handler during the call.
 *
 * @par Results
 * 0; -1 when an argument is null, the format is not one of those below, the picture has no pixels, too many,
 * or rows that overlap (a line length below the bytes of a row), when memory runs out, or when the output
 * refuses what is written. After a failure what the output has received is not a whole document and should be
 * dropped.
 */
#ifndef OMBREL_PNG_H
#define OMBREL_PNG_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/bitmap.h>
#include <ombrel/buffer.h>
#include <ombrel/export.h>
#include <ombrel/fbmap.h>

OMBREL_BEGIN_C

/**
 * @name Formats
 * What a pixel of the document is; the value is the number of its bytes.
 * @{
 */
#define def_ombrel_png_grey 1u /**< its luma */
#define def_ombrel_png_rgb 3u  /**< red, green, blue */
#define def_ombrel_png_rgba 4u /**< red, green, blue, and alpha from 0 (clear) to 255 (opaque) */
/** @} */

/**
 * @brief Queues rows of pixels as a document.
 * @param output      receives the document, appended to what it holds
 * @param format      #def_ombrel_png_grey, #def_ombrel_png_rgb or #def_ombrel_png_rgba
 * @param rows        the topmost row's first byte; a pixel is the format's bytes in their order
 * @param line_length bytes from one row to the next
 * @param width       pixels in a row
 * @param height      rows
 * @return see Results
 */
OMBREL_API int ombrel_png_push_rows(ombrel_buffer_t* output, uint32_t format, const void* rows,
                                    size_t line_length, uint32_t width, uint32_t height);

/**
 * @brief Queues a bitmap as a document.
 *
 * Colours are converted as by ombrel_convert_color(); the bitmap's flags, key and window alpha do not count.
 * @param output receives the document, appended to what it holds
 * @param format #def_ombrel_png_grey, #def_ombrel_png_rgb or #def_ombrel_png_rgba
 * @param bitmap what is written, of 8, 16, 24 or 32 bits a pixel; see ombrel_bitmap_t for when it is valid
 * @return see Results; -1, too, for a bitmap that is not valid and, after the report "not supported", for
 * another depth
 */
OMBREL_API int ombrel_png_push_bitmap(ombrel_buffer_t* output, uint32_t format,
                                      const ombrel_bitmap_t* bitmap);

/**
 * @brief Queues what a map holds as a document.
 *
 * The pixels are copied first, with the lock of all maps held, into a block of format × width × height bytes:
 * they are of one moment, and others may draw while the copy is compressed.
 * @param output receives the document, appended to what it holds
 * @param format #def_ombrel_png_grey, #def_ombrel_png_rgb or #def_ombrel_png_rgba
 * @param fbmap  the map, of 8, 16, 24 or 32 bits a pixel; null is reported
 * @return see Results; -1, too, for a map without pixels and, after the report "not supported", for another
 * depth
 */
OMBREL_API int ombrel_png_push_fbmap(ombrel_buffer_t* output, uint32_t format, ombrel_fbmap_t* fbmap);

/**
 * @name Files
 * The same, into a file, which is made or emptied first; after a failure it stays as far as it was written.
 * Nothing is made or emptied for arguments that are refused.
 * @{
 */
/**
 * @brief Writes rows of pixels, see ombrel_png_push_rows().
 * @param path        of the file
 * @param format      #def_ombrel_png_grey, #def_ombrel_png_rgb or #def_ombrel_png_rgba
 * @param rows        the topmost row's first byte
 * @param line_length bytes from one row to the next
 * @param width       pixels in a row
 * @param height      rows
 * @return see Results; -1, too, when the file cannot be opened
 */
OMBREL_API int ombrel_png_save_rows(const char* path, uint32_t format, const void* rows, size_t line_length,
                                    uint32_t width, uint32_t height);
/**
 * @brief Writes a bitmap, see ombrel_png_push_bitmap().
 * @param path   of the file
 * @param format #def_ombrel_png_grey, #def_ombrel_png_rgb or #def_ombrel_png_rgba
 * @param bitmap what is written
 * @return see Results; -1, too, when the file cannot be opened
 */
OMBREL_API int ombrel_png_save_bitmap(const char* path, uint32_t format, const ombrel_bitmap_t* bitmap);
/**
 * @brief Writes what a map holds, see ombrel_png_push_fbmap().
 * @param path   of the file
 * @param format #def_ombrel_png_grey, #def_ombrel_png_rgb or #def_ombrel_png_rgba
 * @param fbmap  the map
 * @return see Results; -1, too, when the file cannot be opened
 */
OMBREL_API int ombrel_png_save_fbmap(const char* path, uint32_t format, ombrel_fbmap_t* fbmap);
/** @} */

OMBREL_END_C

#endif
