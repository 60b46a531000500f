// A map, and what is drawn into it: its depth and size, then operations of one byte with their arguments.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel/color.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/heap.h>
#include <ombrel/utf8.h>

namespace {

constexpr size_t guard = 256;
constexpr uint8_t guard_byte = 0xA5;
constexpr unsigned operation_limit = 200;

class drawing_program {
public:
    drawing_program(const uint8_t* code, size_t size) : code_(code), end_(code + size) {
        const unsigned bits = 8 * (1 + next() % 4);
        map_.m_bits_per_pixel = bits;
        map_.m_color_interface = ombrel_bits_per_pixel_to_color_interface(bits);
        map_.m_resx = next() % 40;
        map_.m_resy = next() % 40;
        map_.m_line_length = map_.m_resx * bits / 8;
        map_.m_map_size = map_.m_line_length * map_.m_resy;
        bytes_.assign(2 * guard + map_.m_map_size, guard_byte);
        map_.m_map = bytes_.data() + guard;
        memset(map_.m_map, 0, map_.m_map_size);
        map_.m_brush_x_scale = map_.m_brush_y_scale = {1, 1};
    }

    void run() {
        for (unsigned i = 0; i < operation_limit && code_ < end_; i++) {
            step();
            check();
        }
    }

private:
    unsigned next() { return code_ < end_ ? *code_++ : 0; }

    // Mostly coordinates near the map, and now and then any.
    int32_t number() {
        const unsigned first = next();
        if (first < 250)
            return static_cast<int32_t>(first) - 100;
        uint32_t value = 0;
        for (int i = 0; i < 4; i++)
            value = value << 8 | next();
        return static_cast<int32_t>(value);
    }
    uint32_t size() { return static_cast<uint32_t>(number()); }

    std::string text() {
        const size_t wanted = next(); // before the rest is looked at
        const size_t length = std::min(wanted, static_cast<size_t>(end_ - code_));
        std::string result(reinterpret_cast<const char*>(code_), length);
        code_ += length;
        return result;
    }

    void step() {
        const unsigned operation = next() % 14;
        const uint32_t color = next() * 0x01030507u;
        const int32_t a = number(), b = number();
        switch (operation) {
        case 0:
            ombrel_fbmap_draw_clear(&map_, color);
            break;
        case 1:
            ombrel_fbmap_draw_pixel(&map_, color, a, b);
            break;
        case 2:
            ombrel_fbmap_draw_hline(&map_, color, a, b, size());
            break;
        case 3:
            ombrel_fbmap_draw_vline(&map_, color, a, b, size());
            break;
        case 4:
            draw_box(color, a, b);
            break;
        case 5:
            draw_line(color, a, b);
            break;
        case 6:
            draw_circle(color, a, b);
            break;
        case 7:
            ombrel_fbmap_draw_fill(&map_, color, a, b);
            break;
        case 8:
            draw_text();
            break;
        case 9:
            ombrel_fbmap_draw_ruler(&map_);
            break;
        case 10:
            draw_bars(a, b);
            break;
        case 11:
            ombrel_fbmap_get_pixel(&map_, nullptr, 0, 0, a, b);
            break;
        case 12:
            set_brush(color, a, b);
            break;
        default:
            map_.m_flags ^= color & 0x7100;
            break;
        }
    }

    void draw_box(uint32_t color, int32_t x, int32_t y) {
        const uint32_t w = size(), h = size();
        ombrel_fbmap_draw_box(&map_, color, x, y, w, h, static_cast<int>(next() & 1));
    }
    void draw_line(uint32_t color, int32_t x, int32_t y) {
        const int32_t x2 = number(), y2 = number();
        ombrel_fbmap_draw_line(&map_, color, x, y, x2, y2);
    }
    void draw_circle(uint32_t color, int32_t x, int32_t y) {
        const uint32_t radius = size();
        ombrel_fbmap_draw_circle(&map_, color, x, y, radius, static_cast<int>(next() & 1));
    }
    void draw_bars(int32_t x, int32_t y) {
        const uint32_t w = size(), h = size();
        ombrel_fbmap_draw_color_bar(&map_, static_cast<int>(next() & 1), next(), x, y, w, h);
    }
    void set_brush(uint32_t color, int32_t x, int32_t y) {
        map_.m_brush_fcolor = color;
        map_.m_brush_bcolor = ~color;
        map_.m_brush_x = x;
        map_.m_brush_y = y;
        map_.m_brush_x_delta = map_.m_brush_y_delta = 0;
        map_.m_brush_x_scale = {size(), size()};
        map_.m_brush_y_scale = {size(), size()};
        map_.m_brush_x_interval = number();
        map_.m_brush_y_interval = number();
        map_.m_brush_angle = number();
    }

    // As many characters are handled as the decoder finds.
    void draw_text() {
        const std::string drawn = text();
        const size_t end = drawn.find('\0');
        int expected = 0;
        for (size_t at = 0, size = end == std::string::npos ? drawn.size() : end; at < size; expected++) {
            uint32_t code = 0;
            const int length = ombrel_utf8_character_decode(drawn.data() + at, size - at, &code);
            if (length < 0)
                break;
            if (length == 0 || length > 4 || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000))
                abort();
            at += static_cast<size_t>(length);
        }
        if (ombrel_fbmap_draw_puts(&map_, drawn.c_str()) != expected)
            abort();
    }

    void check() {
        for (size_t i = 0; i < guard; i++)
            if (bytes_[i] != guard_byte || bytes_[bytes_.size() - 1 - i] != guard_byte)
                abort();
        const auto& region = map_.m_update_region;
        if (region.m_w == 0 || region.m_h == 0)
            return;
        if (region.m_x < 0 || region.m_y < 0 || int64_t{region.m_x} + region.m_w > map_.m_resx ||
            int64_t{region.m_y} + region.m_h > map_.m_resy)
            abort();
    }

    const uint8_t *code_, *end_;
    std::vector<uint8_t> bytes_;
    ombrel_fbmap_t map_{};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t blocks = ombrel_get_alloc_count();
    drawing_program(data, size).run();
    if (ombrel_get_alloc_count() != blocks)
        abort();
    return 0;
}
