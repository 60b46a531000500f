// A tree of windows, and what is done to it: the depth of its root, then operations of one byte with their
// arguments. What the root shows is compared with a plain painter's picture.

#include <cstdint>
#include <cstdlib>
#include <vector>

#include <ombrel/bitmap.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/heap.h>

#include "fbmap_model.h"

namespace {

using ombrel_test::fbmap_model;
using ombrel_test::pixels;

constexpr uint32_t interfaces[] = {0x00455665, 0x00485868, 0x18485868};
constexpr uint32_t width = 16, height = 12;
constexpr unsigned operation_limit = 60;
constexpr size_t window_limit = 60;

class window_program {
public:
    window_program(const uint8_t* code, size_t size)
        : code_(code), end_(code + size),
          root_(ombrel_new_fbmap(nullptr, def_ombrel_fbmap_own_map, interfaces[next() % 3], 0, 0, width,
                                 height)),
          model_(*root_, pixels(width * height)) {}
    ~window_program() { ombrel_free_fbmap(root_); }
    window_program(const window_program&) = delete;
    window_program& operator=(const window_program&) = delete;

    void run() {
        for (unsigned i = 0; i < operation_limit && code_ < end_; i++) {
            step();
            if (model_.shown() != shown())
                abort();
        }
    }

private:
    unsigned next() { return code_ < end_ ? *code_++ : 0; }
    int32_t place() { return static_cast<int32_t>(next() % 32) - 8; }
    uint32_t size() { return 1 + next() % 12; }

    // Mostly small, and now and then any.
    int32_t number() {
        const unsigned first = next();
        if (first < 240)
            return static_cast<int32_t>(first) - 120;
        uint32_t value = first;
        for (int i = 0; i < 3; i++)
            value = value << 8 | next();
        return static_cast<int32_t>(value << 4 | first >> 4);
    }

    uint32_t color() {
        static constexpr uint32_t colors[] = {0, 0xFFFFFFFF, 0x80FF4001, 0x12345678, 0xC00F81F3};
        return colors[next() % 5];
    }

    pixels shown() const {
        pixels result;
        for (size_t i = 0; i < width * height; i++)
            result.push_back(ombrel_test::pixel(*root_, i % width, i / width));
        return result;
    }

    ombrel_fbmap_t* any_window() {
        std::vector<ombrel_fbmap_t*> windows;
        for (ombrel_fbmap_t* at = root_->m_children; at != nullptr;) {
            windows.push_back(at);
            if (at->m_children != nullptr) {
                at = at->m_children;
                continue;
            }
            while (at != nullptr && at->m_next == nullptr)
                at = at->m_parent;
            at = at != nullptr ? at->m_next : nullptr;
        }
        count_ = windows.size();
        return windows.empty() ? nullptr : windows[next() % windows.size()];
    }

    void add(ombrel_fbmap_t* parent) {
        const uint32_t flags = def_ombrel_fbmap_own_map | def_ombrel_fbmap_hidden |
                               (next() % 4 == 0 ? def_ombrel_fbmap_append : 0);
        const int32_t x = place(), y = place();
        const uint32_t w = size(), h = size();
        ombrel_fbmap_t* const made = ombrel_new_fbmap(parent, flags, 0, x, y, w, h);
        ombrel_fbmap_draw_clear(made, color());
        ombrel_fbmap_show(made);
    }

    // The model knows nothing of subtrees that leave together.
    static void remove(ombrel_fbmap_t* window) {
        while (window->m_children != nullptr)
            window = window->m_children;
        ombrel_free_fbmap(window);
    }

    void step() {
        const unsigned operation = next() % 12;
        ombrel_fbmap_t* const window = any_window();
        if (window == nullptr || (operation < 3 && count_ < window_limit))
            return add(operation == 0 && window != nullptr ? window : root_);
        const int32_t x = place(), y = place();
        switch (operation) {
        case 3:
            return remove(window);
        case 4:
            ombrel_fbmap_move(window, x, y);
            return;
        case 5:
            ombrel_fbmap_resize(window, x, y, size(), size());
            return;
        case 6:
            (next() % 2 != 0 ? ombrel_fbmap_show : ombrel_fbmap_hide)(window);
            return;
        case 7:
            ombrel_fbmap_set_ccolor(window, ombrel_test::pixel(*window, 0, 0));
            ombrel_fbmap_use_ccolor(window, static_cast<int>(next() % 2));
            return;
        case 8:
            ombrel_fbmap_set_alpha_window(window, next());
            ombrel_fbmap_use_alpha_window(window, static_cast<int>(next() % 2));
            return;
        case 9:
            ombrel_fbmap_use_alpha_pixel(window, static_cast<int>(next() % 2));
            return;
        case 10:
            return put_scaled(*window);
        default:
            ombrel_fbmap_draw_box(window, color(), x, y, size(), size(), 1);
            ombrel_fbmap_update(window);
        }
    }

    // From one window to another or to itself, at any place; a sanitizer sees who leaves their pixels.
    void put_scaled(ombrel_fbmap_t& to) {
        const ombrel_fbmap_t& from = *any_window();
        const ombrel_bitmap_t bitmap = {from.m_map,    from.m_color_interface, from.m_resx,
                                        from.m_resy,   from.m_line_length,     from.m_flags,
                                        from.m_ccolor, from.m_alpha_window};
        const int32_t from_x = number(), from_y = number(), to_x = number(), to_y = number();
        const auto from_w = static_cast<uint32_t>(number()), from_h = static_cast<uint32_t>(number());
        const auto to_w = static_cast<uint32_t>(number()), to_h = static_cast<uint32_t>(number());
        ombrel_fbmap_set_scale_box(&to, &bitmap, from_x, from_y, from_w, from_h, to_x, to_y, to_w, to_h,
                                   next() % 2);
        ombrel_fbmap_update(&to);
    }

    const uint8_t *code_, *end_;
    ombrel_fbmap_t* root_;
    fbmap_model model_;
    size_t count_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t blocks = ombrel_get_alloc_count();
    window_program(data, size).run();
    if (ombrel_get_alloc_count() != blocks)
        abort();
    return 0;
}
