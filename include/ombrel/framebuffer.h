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
 * Options of tuk_windows_dib, which serves where the host's windows show device-independent bitmaps, on
 * Windows, and is not supported elsewhere (there is plugin_window.h for desktops of Linux):
 * - `class_name`, `title_name`: of the window, in UTF-8; "ombrel_tuk_windows_dib" by default, and no title
 * - `xywh`: where the window's frame begins on the screen, and the columns and rows of the map, 32767 of each
 * at most; 640 x 480 at a place of the system's choice by default
 * - `resx`, `resy`, `color_interface`, `bpp`: as for tuk_fb; what a bitmap cannot hold, such as 24 bits with
 * red in the lowest byte, is an invalid argument
 *
 * A process without a desktop to show the window on fails with "not found".
 *
 * Its map is the bitmap, whose rows begin at multiples of four bytes. The window paints from it whenever a
 * part of it comes to light; what has changed is copied to the window by ombrel_fbmap_update() or
 * ombrel_ctx_sync(), that region alone. A thread of each window owns it. What the user does to the window,
 * and when it is gone, is told by window_event.h.
 *
 * With `debug` not 0 the maps tell of their work, and tuk_windows_dib of the messages create, paint, command,
 * l-button, r-button, close, destroy and quit of its window: "create : wParam=%lu, lParam=%lu\n", the lowest
 * 32 bits of each, on standard output.
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
/** "set_window_handler", of windows: who is told of events; the record is an ombrel_window_listener_t. */
#define def_ombrel_fb_control_set_window_handler 0x204u
/** "get_window_event", of windows: takes an event or waits for one, in an ombrel_window_wait_t. Fails with
 * the error "disconnected" when there is none and the window is gone. */
#define def_ombrel_fb_control_get_window_event 0x205u
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
