/**
 * @file graphics.hpp
 * @brief Frame-buffer maps, which are windows, and bitmaps as objects.
 */
#ifndef OMBREL_CPP_GRAPHICS_HPP
#define OMBREL_CPP_GRAPHICS_HPP

#include <cstdint>

#include <ombrel/bitmap.h>
#include <ombrel/fbmap.h>
#include <ombrel/fbmap_draw.h>

#include <ombrel/cpp/format.hpp>
#include <ombrel/cpp/owner.hpp>
#include <ombrel/cpp/text.hpp>

#if defined(__GNUC__)
// The formats were checked by rules that the compiler does not know.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif

namespace ombrel {

/** A reference to a map, which it does not own. All functions give 0 or -1 unless they say otherwise. */
class fbmap_ref : public pointer_ref<ombrel_fbmap_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief Shows it. @return 0 or -1 */
    int show() const noexcept { return ombrel_fbmap_show(get()); }
    /** @brief Hides it. @return 0 or -1 */
    int hide() const noexcept { return ombrel_fbmap_hide(get()); }
    /** @brief Moves it. @param x its left column @param y its top row @return 0 or -1 */
    int move(std::int32_t x, std::int32_t y) const noexcept { return ombrel_fbmap_move(get(), x, y); }
    /** @brief Brings its pixels to its root. @return 0 or -1 */
    int update() const noexcept { return ombrel_fbmap_update(get()); }
    /** @brief Hands the root's changes to the device. @return 0 or -1 */
    int transfer() const noexcept { return ombrel_fbmap_transfer(get()); }
    /** @brief Its width. @return columns */
    std::uint32_t width() const noexcept { return ombrel_fbmap_get_resx(get()); }
    /** @brief Its height. @return rows */
    std::uint32_t height() const noexcept { return ombrel_fbmap_get_resy(get()); }

    /** @brief Fills it. @param color the colour @return 0 or -1 */
    int clear(std::uint32_t color) const noexcept { return ombrel_fbmap_draw_clear(get(), color); }
    /** @brief A pixel. @param color its colour @param x its column @param y its row @return 0 or -1 */
    int draw_pixel(std::uint32_t color, std::int32_t x, std::int32_t y) const noexcept {
        return ombrel_fbmap_draw_pixel(get(), color, x, y);
    }
    /** @brief A line. @param color its colour @param x1 from @param y1 from @param x2 to @param y2 to @return
     * 0 or -1 */
    int draw_line(std::uint32_t color, std::int32_t x1, std::int32_t y1, std::int32_t x2,
                  std::int32_t y2) const noexcept {
        return ombrel_fbmap_draw_line(get(), color, x1, y1, x2, y2);
    }
    /** @brief A box. @param color its colour @param x left @param y top @param w columns @param h rows @param
     * fill whether it is filled @return 0 or -1 */
    int draw_box(std::uint32_t color, std::int32_t x, std::int32_t y, std::uint32_t w, std::uint32_t h,
                 bool fill = false) const noexcept {
        return ombrel_fbmap_draw_box(get(), color, x, y, w, h, fill ? 1 : 0);
    }
    /** @brief The place and colours of text are the brush's. @param x its column @param y its row @return 0
     * or -1 */
    int set_brush(std::int32_t x, std::int32_t y) const noexcept {
        return ombrel_fbmap_set_brush_xy(get(), x, y);
    }
    /** @brief Text at the brush. @param format the format @param args its arguments @return characters, or -1
     */
    template<class... Args>
    int print(format_string<Args...> format, const Args&... args) const {
        return detail::call_formatted(
            -1, [&](auto... passed) { return ombrel_fbmap_draw_printf(get(), format.get(), passed...); },
            args...);
    }
    /** @brief A pixel's colour. @param x its column @param y its row @return it */
    std::uint32_t pixel(std::int32_t x, std::int32_t y) const noexcept {
        return ombrel_fbmap_get_pixel(get(), nullptr, 0, 0, x, y);
    }
};

/** @cond */
namespace detail {
inline int free_fbmap(ombrel_fbmap_t* map) {
    return ombrel_free_fbmap(map) == nullptr ? 0 : -1;
}
inline int free_bitmap(ombrel_bitmap_t* map) {
    return ombrel_free_bitmap(map) == nullptr ? 0 : -1;
}
} // namespace detail
/** @endcond */

/** Owns a map. */
class fbmap : public owner<&detail::free_fbmap, fbmap_ref> {
public:
    using owner::owner;
    /** @brief A map. @param parent the one it lies in; none for a root @param flags `def_ombrel_fbmap_*`
     * @param color_interface the form of its pixels @param x its column @param y its row @param w columns
     * @param h rows
     * @return it; nothing on failure */
    static fbmap open(fbmap_ref parent, std::uint32_t flags, std::uint32_t color_interface, std::int32_t x,
                      std::int32_t y, std::uint32_t w, std::uint32_t h) noexcept {
        return fbmap(ombrel_new_fbmap(parent.get(), flags, color_interface, x, y, w, h));
    }
};

/** Owns a bitmap. */
using bitmap = owner<&detail::free_bitmap>;

} // namespace ombrel

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#endif
