/**
 * @file plugin_window.h
 * @brief What contexts of the plug-in "ombrel_plugin_window" understand: frame buffers in a window of the
 * desktop, by SDL.
 *
 * The plug-in is a library of its own, built where SDL 2 is installed, and loaded by ombrel_load_plugin().
 * With it a program that draws on the display of a device runs on its author's desktop: it opens
 * "application/tuk_window" where it would open "application/tuk_linuxfb" or "application/tuk_fb".
 *
 * @par Opening
 * - `xywh`: "x,y,width,height", where the window is to be and the size of the map; 640 x 480 at a place of
 * the system's choice by default. The window manager has the last word on the place.
 * - `resx`, `resy`, `bpp`, `color_interface`: as for tuk_fb (framebuffer.h), so that the map is like that of
 * the device; the window shows its colours
 * - `scale`: pixels of the window for one of the map in both directions, 1 (default) to 16; "1/n" shows the
 * middle one of n x n pixels of a map that is too large for the desktop, with n from 2 to 16
 * - `class_name`, `title_name`: of the window; "ombrel_tuk_window" by default, and no title
 * - `debug`: not 0: a line on standard error for each event, and the maps tell of their work
 * - `verbose`: not 0: why opening failed, on standard error
 *
 * An option that makes no sense fails with "invalid argument", and so does a window that would have more than
 * ::def_ombrel_plugin_window_most columns or rows, or none; a process without a desktop to show it on fails
 * with "not found".
 *
 * @par Using
 * The context has the operations of tuk_fb, and the events of window_event.h with their control operations.
 * What has changed is handed to the window by ombrel_fbmap_update() or ombrel_ctx_sync(), that region alone
 * and converted to the desktop's colours; the window's thread shows it soon after. The place that the user
 * or the window manager gives the window, and what covers it, change nothing in the map.
 *
 * @par Environment
 * ombrel_ctx_get_env() has "driver", what shows the window ("x11", "wayland"), "scale", and "version", that
 * of SDL.
 *
 * @par Threads
 * One thread of the plug-in owns SDL and all its windows, from the first window on until the plug-in is
 * unloaded; a program that has SDL windows of its own beside these would take events from it. The code of the
 * plug-in stays in the process once it is loaded. When the connection to the desktop breaks, SDL may end the
 * process.
 */
#ifndef OMBREL_PLUGIN_WINDOW_H
#define OMBREL_PLUGIN_WINDOW_H

#include <ombrel/export.h>
#include <ombrel/window_event.h>

OMBREL_BEGIN_C

/** The plug-in's base name without the platform's suffix. */
#define def_ombrel_plugin_window_name "ombrel_plugin_window"
/** The type that it serves. */
#define def_ombrel_plugin_window_mime_type "application/tuk_window"
/** Columns and rows that a window has at most. */
#define def_ombrel_plugin_window_most 16384

OMBREL_END_C

#endif
