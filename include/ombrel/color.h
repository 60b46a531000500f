/**
 * @file color.h
 * @brief Colour interfaces: what the bits of a pixel mean, and colours converted from one to another.
 *
 * A colour interface is a 32-bit code of four fields, a byte each. The lowest byte describes the lowest bits
 * of a pixel, the next byte the bits above them, and so on. The low nibble of such a byte is the number of
 * bits (0: no such field), the high nibble the kind of channel in them: one of the constants that begin with
 * def_ombrel_color_channel_. So 0x00455665 has 5 bits of blue (6) at the bottom, 6 bits of green (5) above
 * them and 5 bits of red (4) on top.
 *
 * All functions here depend on their arguments alone and may be called from any thread.
 */
#ifndef OMBREL_COLOR_H
#define OMBREL_COLOR_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Kind of channel: bits without meaning; in names "d". */
#define def_ombrel_color_channel_none 0u
/** Kind of channel: alpha; in names "A". */
#define def_ombrel_color_channel_alpha 1u
/** Kind of channel: index into the palette, packed in 1 or 4 bits; in names "P". */
#define def_ombrel_color_channel_packed_palette 2u
/** Kind of channel: black or white; in names "g". */
#define def_ombrel_color_channel_grey 3u
/** Kind of channel: red; in names "R". */
#define def_ombrel_color_channel_red 4u
/** Kind of channel: green; in names "G". */
#define def_ombrel_color_channel_green 5u
/** Kind of channel: blue; in names "B". */
#define def_ombrel_color_channel_blue 6u
/** Kind of channel: luma; in names "Y". */
#define def_ombrel_color_channel_luma 7u
/** Kind of channel: chroma U (Cb), 128 for none; in names "u". */
#define def_ombrel_color_channel_chroma_u 8u
/** Kind of channel: chroma V (Cr), 128 for none; in names "v". */
#define def_ombrel_color_channel_chroma_v 9u
/** Kind of channel: index into the palette in 8 bits; in names "p". */
#define def_ombrel_color_channel_palette 15u

/** 1 bit: black or white. */
#define def_ombrel_color_interface_grey1 0x00000031u
/** 2 bits: two palette fields of 1 bit. */
#define def_ombrel_color_interface_palette2 0x00002121u
/** 4 bits: four palette fields of 1 bit. */
#define def_ombrel_color_interface_palette4 0x21212121u
/** 8 bits: index into the palette. */
#define def_ombrel_color_interface_palette8 0x000000F8u
/** 8 bits: red 2, green 3, blue 3, red on top. */
#define def_ombrel_color_interface_rgb233 0x00425363u
/** 16 bits: red 5, green 6, blue 5, red on top. */
#define def_ombrel_color_interface_rgb565 0x00455665u
/** 24 bits: red 8, green 8, blue 8, red on top. */
#define def_ombrel_color_interface_rgb888 0x00485868u
/** 32 bits: 8 without meaning on top, red 8, green 8, blue 8. */
#define def_ombrel_color_interface_xrgb8888 0x08485868u
/** 32 bits: alpha 8 on top, red 8, green 8, blue 8. */
#define def_ombrel_color_interface_argb8888 0x18485868u
/** 24 bits: blue 8, green 8, red 8, blue on top. */
#define def_ombrel_color_interface_bgr888 0x00685848u
/** 32 bits: 8 without meaning on top, blue 8, green 8, red 8. */
#define def_ombrel_color_interface_xbgr8888 0x08685848u
/** 32 bits: alpha 8 on top, blue 8, green 8, red 8. */
#define def_ombrel_color_interface_abgr8888 0x18685848u

/**
 * @brief The number of bits in a pixel.
 * @param color_interface any code
 * @return the sum of the four fields' bits, 0 to 60
 */
OMBREL_API unsigned int ombrel_color_interface_to_bits_per_pixel(uint32_t color_interface);

/**
 * @brief The usual colour interface of a depth.
 * @param bits_per_pixel bits
 * @return grey1 for 1, palette2 for 2, palette4 for 4, palette8 for 8, rgb565 for 16, rgb888 for 24, argb8888
 * for 32 (of the constants here); 0 for any other depth
 */
OMBREL_API uint32_t ombrel_bits_per_pixel_to_color_interface(unsigned int bits_per_pixel);

/**
 * @brief Writes the name of a colour interface, such as "dRGB0565".
 *
 * Four letters for the kinds, then four characters for the bits, the topmost field first. A kind without a
 * meaning is "x". 0 to 9 bits are a digit; 10 to 15 are the letters from 'K' to 'P'.
 * @param buffer          receives 9 bytes, the terminating zero included; may be null
 * @param color_interface any code
 * @return `buffer`
 */
OMBREL_API char* ombrel_color_interface_name(char* buffer, uint32_t color_interface);

/**
 * @brief Converts a colour. Mind the order: the interface wanted comes first.
 *
 * Channels are widened by zero bits below and narrowed by dropping their low bits: nothing is rounded. Of a
 * field of more than 8 bits the upper 8 count. A colour of a palette interface stands for entry (colour AND
 * 0xFF) of a fixed palette of 256 colours, one of the 1-bit grey interface for black (0) or white. Colours
 * are not matched with the palette: converting to a palette or grey interface gives 0. A missing alpha is
 * 0xFF.
 *
 * Between luma and chroma on the one side and red, green and blue on the other the usual factors apply
 * (1.402, 0.344, 0.714; 0.299, 0.587, 0.114). Towards blue, luma times 1.772 is added to luma, and sums that
 * leave 0 to 255 wrap around; towards luma and chroma they are cut to the range.
 *
 * From rgb565 to rgb233, the lowest 8 bits of the colour are taken as red 2, green 3 and blue 3 and given as
 * the highest bits of 8-bit channels.
 * @param to_interface   the interface of the result
 * @param from_interface the interface of `color`; when both are equal the colour stays as it is
 * @param color          the colour, in the low bits
 * @return the colour in `to_interface`
 */
OMBREL_API uint32_t ombrel_convert_color(uint32_t to_interface, uint32_t from_interface, uint32_t color);

OMBREL_END_C

#endif
