/**
 * @file framebuffer.h
 * @brief Contexts that are frame buffers: their options, control operations and records.
 *
 * - "application/tuk_fb": a root map in memory
 * - "application/tuk_linuxfb": a root map whose changes are copied to a frame-buffer device of Linux
 * - "application/tuk_windows_dib": a root map in a window of the host system, where it has any
 *
 * The root map comes from #def_ombrel_fb_control_get_root or ombrel_ctx_get_fbinfo(). It and all windows in
 * it belong to the context and are gone once that is closed. Its `m_ctx` is the context's handle.
 *
 * Reading, writing and seeking see the root's pixels as bytes, row by row, and wait for nothing. What is
 * written counts as changed; ombrel_ctx_sync() hands what has changed to the device.
 *
 * Options of tuk_fb:
 * - `resx`, `resy`: pixels, 640 and 480 by default
 * - `xywh`: "x,y,width,height", of which width and height count; `resx` and `resy` come before it
 * - `color_interface`: code of ombrel/color.h, in decimal or with "0x"
 * - `bpp`: bits of a pixel instead: 8, 16, 24 or 32 (default)
 *
 * Options of tuk_linuxfb:
 * - `source`: the device, "/dev/fb0" by default
 *
 * Options of tuk_windows_dib:
 * - `class_name`, `title_name`: of the window; "ombrel_tuk_windows_dib" by default, and no title
 * - `xywh`: place and size of the window, "0,0,640,480" by default
 *
 * With `debug` not 0 the maps tell of their work.
 */
#ifndef OMBREL_FRAMEBUFFER_H
#define OMBREL_FRAMEBUFFER_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

struct ombrel_fbmap_ts;

/**
 * @name Control operations
 * For ombrel_ctx_control(), and by the names in quotes for ombrel_ctx_xcontrol().
 * @{
 */
/** "get_root": hands out the root map; the record is an ombrel_fb_root_t. */
#define def_ombrel_fb_control_get_root 0x200u
/** "get_info": what ombrel_ctx_get_fbinfo() gives; the record is an ombrel_ctx_fbinfo_t. */
#define def_ombrel_fb_control_get_info 0x201u
/** "get_display", of linuxfb: how the device shows its memory; fills an ombrel_fb_display_t. */
#define def_ombrel_fb_control_get_display 0x202u
/** "pan", of linuxfb: shows another part of the device's memory, given by the offsets of an
 *  ombrel_fb_display_t, and copies the root there. */
#define def_ombrel_fb_control_pan 0x203u
/** @} */

/** Record of #def_ombrel_fb_control_get_root. */
typedef struct ombrel_fb_root_ts {
    struct ombrel_fbmap_ts* m_root; /**< receives the root, an `ombrel_fbmap_t` that stays the context's */
} ombrel_fb_root_t;

/** Record of #def_ombrel_fb_control_get_display and, with its offsets alone, #def_ombrel_fb_control_pan. */
typedef struct ombrel_fb_display_ts {
    uint32_t m_x_offset;     /**< column of the device's memory that is at the left edge of the display */
    uint32_t m_y_offset;     /**< row of it that is at the top */
    uint32_t m_virtual_resx; /**< columns of the memory */
    uint32_t m_virtual_resy; /**< rows of the memory */
    uint32_t m_line_length;  /**< bytes from a row of the memory to the next */
    char m_name[17];         /**< the device's name, terminated */
    char m_reserved[3];      /**< 0 */
} ombrel_fb_display_t;

OMBREL_END_C

#endif
