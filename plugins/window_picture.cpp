#include "window_picture.h"

#include <algorithm>

#include <ombrel/color.h>
#include <ombrel/heap.h>

#include "ctx_options.h"
#include "sdl_guard.h"

bool read_scale(const char* text, window_scale& scale) {
    constexpr int most = 16;
    if (text[0] == '1' && text[1] == '/') {
        window_scale read;
        if (!read_number(text + 2, read.down, 2, most))
            return false;
        scale = read;
        return true;
    }
    window_scale read;
    if (!read_number(text, read.up, 1, most))
        return false;
    scale = read;
    return true;
}

window_picture::~window_picture() {
    SDL_FreeSurface(surface_);
    SDL_DestroyMutex(mutex_);
    if (pixels_ != nullptr)
        ombrel_free(pixels_);
}

bool window_picture::create(int w, int h, window_scale scale) {
    constexpr int depth = 32, pixel_size = depth / 8;
    w_ = w;
    h_ = h;
    scale_ = scale;
    pixels_ = ombrel_calloc(static_cast<size_t>(h), static_cast<size_t>(w) * pixel_size);
    if (pixels_ == nullptr)
        return false;
    surface_ =
        SDL_CreateRGBSurfaceWithFormatFrom(pixels_, w, h, depth, w * pixel_size, SDL_PIXELFORMAT_RGB888);
    mutex_ = SDL_CreateMutex();
    expose();
    return surface_ != nullptr && mutex_ != nullptr;
}

// Whole pixels of the window, of which those that are partly changed count.
window_area window_picture::area_of(const ombrel_fbmap_t& map) const {
    const ombrel_fbmap_rectangle_t& region = map.m_update_region;
    const auto to_window = [this](int64_t place, int64_t round_up, int limit) {
        const int64_t scaled = place <= 0 ? 0 : (place + round_up) / scale_.down * scale_.up;
        return static_cast<int>(std::min<int64_t>(scaled, limit));
    };
    return {to_window(region.m_x, 0, w_), to_window(region.m_y, 0, h_),
            to_window(int64_t{region.m_x} + region.m_w, scale_.down - 1, w_),
            to_window(int64_t{region.m_y} + region.m_h, scale_.down - 1, h_)};
}

void window_picture::add_unpainted(const window_area& area) {
    if (unpainted_.is_empty())
        unpainted_ = area;
    else
        unpainted_ = {std::min(unpainted_.left, area.left), std::min(unpainted_.top, area.top),
                      std::max(unpainted_.right, area.right), std::max(unpainted_.bottom, area.bottom)};
}

bool window_picture::take(ombrel_fbmap_t& map) {
    const window_area area = area_of(map);
    if (area.is_empty())
        return false;
    const sdl_lock lock(mutex_);
    copy(map, area);
    const bool was_painted = unpainted_.is_empty();
    add_unpainted(area);
    return was_painted;
}

void window_picture::copy(ombrel_fbmap_t& map, const window_area& area) {
    const auto w = static_cast<uint32_t>(area.right - area.left);
    const auto h = static_cast<uint32_t>(area.bottom - area.top);
    ombrel_bitmap_t target = {};
    target.m_map = pixels_;
    target.m_color_interface = def_ombrel_color_interface_xrgb8888;
    target.m_resx = static_cast<uint32_t>(w_);
    target.m_resy = static_cast<uint32_t>(h_);
    target.m_line_length = target.m_resx * 4;
    if (scale_.up == scale_.down) {
        __ombrel_fbmap_get_box_internal(&map, &target, area.left, area.top, area.left, area.top, w, h,
                                        def_ombrel_fbmap_plain);
        return;
    }
    const auto in_map = [this](auto length) {
        return length / static_cast<decltype(length)>(scale_.up) * static_cast<decltype(length)>(scale_.down);
    };
    __ombrel_fbmap_get_scale_box_internal(&map, &target, area.left, area.top, w, h, in_map(area.left),
                                          in_map(area.top), in_map(w), in_map(h), def_ombrel_fbmap_plain);
}

void window_picture::expose() {
    const sdl_lock lock(mutex_);
    unpainted_ = {0, 0, w_, h_};
}

bool window_picture::paint(SDL_Window* window) {
    SDL_Surface* const target = SDL_GetWindowSurface(window);
    if (target == nullptr)
        return false;
    SDL_Rect area;
    {
        const sdl_lock lock(mutex_);
        if (unpainted_.is_empty())
            return true;
        area = {unpainted_.left, unpainted_.top, unpainted_.right - unpainted_.left,
                unpainted_.bottom - unpainted_.top};
        unpainted_ = {};
        SDL_Rect place = area;
        SDL_BlitSurface(surface_, &area, target, &place);
    }
    return SDL_UpdateWindowSurfaceRects(window, &area, 1) == 0;
}
