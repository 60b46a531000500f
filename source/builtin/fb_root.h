// What the frame-buffer kinds share: a root map that a context owns, and the operations on it.
#pragma once

#include <ombrel/fbmap.h>

#include "builtin/builtin_kind.h"

namespace ombrel::builtin {

/// Begins the record of every frame-buffer kind, so that a transfer function finds the record by its map.
struct fb_root {
    ombrel_fbmap_t map;
    uint64_t position; ///< of the next byte to be read or written
};

struct fb_geometry {
    uint32_t color_interface, resx, resy;
};

/// An own map of zeroed pixels: 0, or -1 with the error set.
int open_fb_root(builtin_ctx& ctx, fb_root& root, const fb_geometry& geometry);
/// Refuses, with the error set, a geometry that no map can be drawn in.
bool is_drawable(const builtin_ctx& ctx, const fb_geometry& geometry);
/// A map over pixels that others own: 0, or -1 with the error set.
int open_fb_root_over(builtin_ctx& ctx, fb_root& root, const fb_geometry& geometry, void* pixels,
                      uint32_t line_length);
/// Frees the map and all its windows.
int close_fb_root(builtin_ctx& ctx);

int fb_is_ready(builtin_ctx& ctx, int timeout_ms);
int read_fb(builtin_ctx& ctx, void* buffer, size_t size);
int write_fb(builtin_ctx& ctx, const void* data, size_t size);
int64_t seek_fb(builtin_ctx& ctx, int64_t offset, int whence);
int sync_fb(builtin_ctx& ctx);
int get_fb_info(builtin_ctx& ctx, ombrel_ctx_fbinfo_t* info);
/// The control operations that all these kinds have.
int control_fb(builtin_ctx& ctx, uint32_t code, void* record, size_t size);

/// A kind whose record begins with its root.
template<typename State>
constexpr builtin_kind fb_kind(int (*open)(builtin_ctx&), int (*close)(builtin_ctx&) = close_fb_root,
                               decltype(builtin_kind::control) control = control_fb) {
    return {
        .state = state_type_of<State>,
        .open = open,
        .close = close,
        .is_readable = fb_is_ready,
        .read = read_fb,
        .is_writable = fb_is_ready,
        .write = write_fb,
        .seek = seek_fb,
        .sync = sync_fb,
        .control = control,
        .get_fbinfo = get_fb_info,
    };
}

} // namespace ombrel::builtin
