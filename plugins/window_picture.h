// What a window shows: the map's pixels, scaled and in the colours that SDL takes.
#pragma once

#include <cstdint>

#include <SDL.h>

#include <ombrel/bitmap.h>
#include <ombrel/fbmap.h>

/// `up` pixels of the window for one of the map, or one for `down` x `down`; one of the two is 1.
struct window_scale {
    int up = 1, down = 1;

    int64_t to_window(uint32_t length) const { return int64_t{length} / down * up; }
    /// The pixel of the map that is shown there, or would be: it need not lie inside.
    int32_t to_map(int32_t place) const {
        return (place < 0 ? place - up + 1 : place) / up * down + down / 2;
    }
};

/// Reads "n" or "1/n". False, with the scale as it was, for another text.
bool read_scale(const char* text, window_scale& scale);

/// Columns and rows from one edge up to another.
struct window_area {
    int left, top, right, bottom;

    bool is_empty() const { return left >= right || top >= bottom; }
};

/// Filled by whichever thread transfers the map, painted by that of the window.
class window_picture {
public:
    window_picture() = default;
    ~window_picture();
    window_picture(const window_picture&) = delete;
    window_picture& operator=(const window_picture&) = delete;

    /// False without memory.
    bool create(int w, int h, window_scale scale);
    int width() const { return w_; }
    int height() const { return h_; }

    /// Takes the changed region of the map, with the lock of the maps held. True when the picture had been
    /// painted whole before, so that the window's thread is to be told.
    bool take(ombrel_fbmap_t& map);

    /// Everything is to be painted, since the window has lost it.
    void expose();

    /// Paints what is not painted yet. False when the window has no pixels to paint on.
    bool paint(SDL_Window* window);

private:
    window_area area_of(const ombrel_fbmap_t& map) const;
    void copy(ombrel_fbmap_t& map, const window_area& area);
    void add_unpainted(const window_area& area);

    int w_ = 0, h_ = 0;
    window_scale scale_;
    void* pixels_ = nullptr;
    SDL_Surface* surface_ = nullptr; ///< over the pixels
    SDL_mutex* mutex_ = nullptr;     ///< guards the pixels and what is below
    window_area unpainted_ = {};
};
