// Text with the bitmap fonts.
#include <climits>
#include <cstring>

#include <ombrel/font.h>
#include <ombrel/heap.h>
#include <ombrel/printf.h>
#include <ombrel/utf8.h>

#include "core/heap_ptr.h"
#include "graphics/font/glyph_painter.h"
#include "graphics/window/fbmap_draw_internal.h"

namespace ombrel::graphics {
namespace {

constexpr int32_t line_height = 16, backspace_width = 8;
// More space where glyphs have an outline, 1 pixel on each side.
constexpr int32_t outline_space = 2;

int32_t saturated(int64_t value) {
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

text_style style_of(const ombrel_fbmap_t& map) {
    text_style style;
    style.ink_used = (map.m_flags & def_ombrel_fbmap_brush_fcolor) != 0;
    style.paper_used = (map.m_flags & def_ombrel_fbmap_brush_bcolor) != 0;
    style.rim_used = (map.m_flags & def_ombrel_fbmap_brush_ocolor) != 0;
    style.ink = map.m_brush_fcolor;
    style.paper = map.m_brush_bcolor;
    style.rim = map.m_brush_ocolor;
    style.x = map.m_brush_x;
    style.y = map.m_brush_y;
    style.x_scale = text_scale(map.m_brush_x_scale);
    style.y_scale = text_scale(map.m_brush_y_scale);
    style.turn = text_turn(map.m_brush_angle);
    return style;
}

/// A glyph of a font, with the area in which those of large codes are composed.
class found_glyph {
public:
    explicit found_glyph(uint32_t code) {
        unsigned width = 0, height = 0;
        uint8_t* composed = code < 256 ? nullptr : composed_.data();
        const uint8_t* rows = ombrel_get_bitmap_font(&width, &height, composed, nullptr, code);
        shape_ = {rows, static_cast<int>(width), static_cast<int>(height)};
    }
    found_glyph(const found_glyph&) = delete;
    found_glyph& operator=(const found_glyph&) = delete;

    const glyph& shape() const { return shape_; }

private:
    std::array<uint8_t, def_ombrel_bitmap_font_glyph_size>
        composed_{}; // zeroed, as a lookup may fill half of it
    glyph shape_;
};

/// Puts characters at the cursor of a map's brush, which it moves.
template<unsigned Bytes>
class text_writer {
public:
    explicit text_writer(ombrel_fbmap_t& map)
        : map_(map), style_(style_of(map)),
          extra_((map.m_flags & def_ombrel_fbmap_brush_ocolor) != 0 ? outline_space : 0),
          painter_(map, style_) {}

    void put(uint32_t code) {
        switch (code) {
        case '\n':
            map_.m_brush_x_delta = 0;
            move_down(line_height);
            break;
        case '\r':
            map_.m_brush_x_delta = 0;
            break;
        case '\b':
            map_.m_brush_x_delta = saturated(map_.m_brush_x_delta - x_advance(backspace_width));
            break;
        default:
            put_glyph(found_glyph(code).shape());
        }
    }

private:
    int64_t x_advance(int width) const { return int64_t{map_.m_brush_x_interval} + extra_ + width; }

    void move_down(int height) {
        map_.m_brush_y_delta =
            saturated(int64_t{map_.m_brush_y_delta} + map_.m_brush_y_interval + extra_ + height);
    }

    void put_glyph(const glyph& shape) {
        const int64_t advance = x_advance(shape.width);
        if (style_.x + style_.x_scale.of(map_.m_brush_x_delta + advance) >= map_.m_resx) {
            map_.m_brush_x_delta = 0;
            move_down(shape.height);
        }
        painter_.paint(shape, map_.m_brush_x_delta, map_.m_brush_y_delta);
        map_.m_brush_x_delta = saturated(map_.m_brush_x_delta + advance);
    }

    ombrel_fbmap_t& map_;
    const text_style style_;
    const int extra_;
    glyph_painter<Bytes> painter_;
};

template<unsigned Bytes>
int put_text(ombrel_fbmap_t& map, const char* text) {
    text_writer<Bytes> writer(map);
    const char* const end = text + strlen(text);
    int handled = 0;
    while (handled < INT_MAX) {
        uint32_t code = 0;
        const int length = ombrel_utf8_character_decode(text, static_cast<size_t>(end - text), &code);
        if (length <= 0)
            break;
        writer.put(code);
        text += length;
        handled++;
    }
    return handled;
}

template<unsigned Bytes>
void put_label(ombrel_fbmap_t& map, const text_style& style, const char* text) {
    glyph_painter<Bytes> painter(map, style);
    for (int64_t x = 0; *text != '\0'; text++) {
        const found_glyph found(static_cast<unsigned char>(*text));
        painter.paint(found.shape(), x, 0);
        x += found.shape().width;
    }
}

constexpr by_depth<int (*)(ombrel_fbmap_t&, const char*)> put_functions = {put_text<1>, put_text<2>,
                                                                           put_text<3>, put_text<4>};
constexpr by_depth<void (*)(ombrel_fbmap_t&, const text_style&, const char*)> label_functions = {
    put_label<1>, put_label<2>, put_label<3>, put_label<4>};

} // namespace

void draw_label(ombrel_fbmap_t& map, const text_style& style, const char* text) {
    label_functions[depth_index(map.m_bits_per_pixel)](map, style, text);
}

} // namespace ombrel::graphics

using namespace ombrel::graphics;

namespace {

int draw_text(ombrel_fbmap_t* fbmap, const char* text, const report_site& site) {
    if (!is_drawable(fbmap, site) || fbmap->m_map == nullptr || text == nullptr)
        return -1;
    return put_functions[depth_index(fbmap->m_bits_per_pixel)](*fbmap, text);
}

int draw_formatted(ombrel_fbmap_t* fbmap, const char* format, va_list ap, const report_site& site) {
    if (is_refused(fbmap, site))
        return -1;
    const ombrel::heap_ptr<char> text(format != nullptr ? ombrel_alloc_vsprintf(format, ap) : nullptr);
    return locked(fbmap, site, -1, [&] { return draw_text(fbmap, text.get(), site); });
}

} // namespace

int __ombrel_fbmap_draw_puts_internal(ombrel_fbmap_t* fbmap, const char* text) {
    return draw_text(fbmap, text, OMBREL_DRAW_SITE);
}

int ombrel_fbmap_draw_puts(ombrel_fbmap_t* fbmap, const char* text) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_puts_internal(fbmap, text); });
}

int ombrel_fbmap_draw_vprintf(ombrel_fbmap_t* fbmap, const char* format, va_list ap) {
    return draw_formatted(fbmap, format, ap, OMBREL_DRAW_SITE);
}

int ombrel_fbmap_draw_printf(ombrel_fbmap_t* fbmap, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const int handled = draw_formatted(fbmap, format, ap, OMBREL_DRAW_SITE);
    va_end(ap);
    return handled;
}
