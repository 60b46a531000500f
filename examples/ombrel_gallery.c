/*
 * ombrel_gallery FOLDER: draws everything that the library can draw, and stores it as PNG pictures in a
 * folder.
 */
#include <stdio.h>
#include <stdlib.h>

#include <ombrel_tuk.h>

#include "whole_arguments.h"

enum { own_map = def_ombrel_fbmap_own_map, margin = 12, line = 16 };

static const uint32_t rgb565 = def_ombrel_color_interface_rgb565;
static const uint32_t rgb888 = def_ombrel_color_interface_rgb888;
static const uint32_t argb8888 = def_ombrel_color_interface_argb8888;

/* ---- drawing in colours of any map ---- */

/* All that is drawn lies inside its map, so that it can fail only for want of memory. The library's own
 * printing may want some, too. */
static void must(int result) {
    if (result >= 0)
        return;
    fputs("ombrel_gallery: [ERROR] memory has run out\n", stderr);
    exit(1);
}

static ombrel_fbmap_t* new_map(ombrel_fbmap_t* parent, uint32_t interface, int x, int y, uint32_t w,
                               uint32_t h) {
    ombrel_fbmap_t* map = ombrel_new_fbmap(parent, own_map, interface, x, y, w, h);
    must(map != NULL ? 0 : -1);
    return map;
}

/* A colour as 0xRRGGBB in the map's own interface. */
static uint32_t paint(const ombrel_fbmap_t* map, uint32_t rgb) {
    return ombrel_convert_color(map->m_color_interface, argb8888, 0xFF000000 | rgb);
}

/* A root that has one colour. */
static ombrel_fbmap_t* new_picture(uint32_t interface, uint32_t w, uint32_t h, uint32_t rgb) {
    ombrel_fbmap_t* map = new_map(NULL, interface, 0, 0, w, h);
    must(ombrel_fbmap_draw_clear(map, paint(map, rgb)));
    return map;
}

static void write_in(ombrel_fbmap_t* map, uint32_t rgb, int x, int y, const char* text) {
    must(ombrel_fbmap_use_brush_fcolor(map, 1));
    must(ombrel_fbmap_set_brush_fcolor(map, paint(map, rgb)));
    must(ombrel_fbmap_set_brush_xy(map, x, y));
    must(ombrel_fbmap_set_brush_xy_delta(map, 0, 0));
    must(ombrel_fbmap_draw_puts(map, text));
}

static void reset_brush(ombrel_fbmap_t* map) {
    must(ombrel_fbmap_use_brush_color(map, 0));
    must(ombrel_fbmap_set_brush_xy_scale(map, 1, 1, 1, 1));
    must(ombrel_fbmap_set_brush_xy_interval(map, 0, 0));
    must(ombrel_fbmap_set_brush_angle(map, 0));
}

/* ---- shapes ---- */

static void draw_line_fan(ombrel_fbmap_t* map, int x, int y) {
    for (int i = 0; i <= 120; i += 8)
        must(ombrel_fbmap_draw_line(map, paint(map, 0x2E7D6B + (uint32_t)i * 0x10001), x, y, x + 120, y + i));
    for (int i = 0; i <= 120; i += 8)
        must(ombrel_fbmap_draw_line(map, paint(map, 0xB4562B + (uint32_t)i), x, y, x + i, y + 120));
}

static void draw_boxes(ombrel_fbmap_t* map, int x, int y) {
    static const uint32_t colors[] = {0x0B7A75, 0xD9A441, 0xB4562B, 0x4B5FA8};
    for (int i = 0; i < 4; i++)
        must(ombrel_fbmap_draw_box(map, paint(map, colors[i]), x + 15 * i, y + 15 * i, 75, 75, i % 2));
}

static void draw_circles(ombrel_fbmap_t* map, int x, int y) {
    for (unsigned radius = 60; radius >= 12; radius -= 12)
        must(ombrel_fbmap_draw_circle(map, paint(map, 0x203040 + radius * 0x020101), x, y, radius, 1));
    for (unsigned radius = 64; radius <= 72; radius += 4)
        must(ombrel_fbmap_draw_circle(map, paint(map, 0x4B5FA8), x, y, radius, 0));
}

/* A flower of outlines; each of its fields gets another colour. */
static void draw_filled_fields(ombrel_fbmap_t* map, int x, int y) {
    static const struct {
        int x, y;
        uint32_t color;
    } fields[] = {{0, 0, 0xF4D35E},    {0, -42, 0xEE964B},  {0, 42, 0xEE964B},
                  {-42, 0, 0xF95738},  {42, 0, 0xF95738},   {-30, -30, 0x7FB685},
                  {30, -30, 0x7FB685}, {-30, 30, 0x7FB685}, {30, 30, 0x7FB685}};
    const uint32_t ink = paint(map, 0x22262B);
    for (int i = 0; i < 4; i++)
        must(ombrel_fbmap_draw_circle(map, ink,
                                      x + (i == 0   ? -24
                                           : i == 1 ? 24
                                                    : 0),
                                      y + (i == 2   ? -24
                                           : i == 3 ? 24
                                                    : 0),
                                      34, 0));
    for (size_t i = 0; i < sizeof fields / sizeof *fields; i++)
        must(ombrel_fbmap_draw_fill(map, paint(map, fields[i].color), x + fields[i].x, y + fields[i].y));
}

static void draw_dots(ombrel_fbmap_t* map, int x, int y) {
    uint32_t state = 1;
    for (int i = 0; i < 1500; i++) {
        state = state * 1664525 + 1013904223;
        const int dx = (int)(state >> 24) % 120, dy = (int)(state >> 12 & 0xFFF) % 120;
        must(ombrel_fbmap_draw_pixel(map, paint(map, dx > dy ? 0x0B7A75 : 0xD9A441), x + dx, y + dy));
    }
}

static void draw_spans(ombrel_fbmap_t* map, int x, int y) {
    for (int i = 0; i < 120; i += 6) {
        must(ombrel_fbmap_draw_hline(map, paint(map, 0x4B5FA8), x, y + i, (uint32_t)(120 - i)));
        must(ombrel_fbmap_draw_vline(map, paint(map, 0xB4562B), x + 124 - i, y + i, (uint32_t)(120 - i)));
    }
}

static ombrel_fbmap_t* shapes(void) {
    static const struct {
        const char* name;
        void (*draw)(ombrel_fbmap_t* map, int x, int y);
        int x, y;
    } cells[] = {{"lines", draw_line_fan, 20, 40},    {"boxes", draw_boxes, 200, 40},
                 {"circles", draw_circles, 452, 108}, {"filled fields", draw_filled_fields, 80, 265},
                 {"pixels", draw_dots, 200, 210},     {"spans", draw_spans, 380, 210}};
    ombrel_fbmap_t* map = new_picture(rgb888, 540, 350, 0xF6F4EF);
    for (size_t i = 0; i < sizeof cells / sizeof *cells; i++) {
        const int column = (int)(i % 3), row = (int)(i / 3);
        cells[i].draw(map, cells[i].x, cells[i].y);
        write_in(map, 0x22262B, 20 + 180 * column, 12 + 172 * row, cells[i].name);
    }
    return map;
}

/* ---- text ---- */

static ombrel_fbmap_t* latin_text(void) {
    ombrel_fbmap_t* map = new_picture(rgb565, 560, 420, 0x14171B);
    for (int code = 32; code < 127; code++) {
        const char text[2] = {(char)code, '\0'};
        write_in(map, 0xE8E6E1, margin + 17 * ((code - 32) % 32), margin + 20 * ((code - 32) / 32), text);
    }
    write_in(map, 0x41C7BD, margin, 84,
             "The quick brown fox jumps over the lazy dog.\n0O 1lI \"quotes\" [brackets] {braces}");
    must(ombrel_fbmap_set_brush_xy_scale(map, 2, 1, 2, 1));
    write_in(map, 0xF0945F, margin, 130, "twice as large");
    must(ombrel_fbmap_set_brush_xy_scale(map, 3, 2, 3, 1));
    write_in(map, 0xD9A441, 270, 124, "3/2 wide, 3 high");
    must(ombrel_fbmap_set_brush_xy_scale(map, 1, 1, 1, 1));
    must(ombrel_fbmap_set_brush_xy_interval(map, 6, 4));
    write_in(map, 0x98A0AB, margin, 178, "an interval of 6 pixels\nand of 4 between lines");
    reset_brush(map);
    must(ombrel_fbmap_use_brush_bcolor(map, 1));
    must(ombrel_fbmap_set_brush_bcolor(map, paint(map, 0x0B7A75)));
    write_in(map, 0xFFFFFF, margin, 234, " foreground on background ");
    reset_brush(map);
    must(ombrel_fbmap_use_brush_ocolor(map, 1));
    must(ombrel_fbmap_set_brush_ocolor(map, paint(map, 0xB4562B)));
    write_in(map, 0xFFFFFF, margin + 1, 262, "with an outline");
    must(ombrel_fbmap_set_brush_xy_scale(map, 3, 1, 3, 1));
    write_in(map, 0xFFE9A8, margin + 3, 290, "Outline");
    reset_brush(map);
    for (int angle = 0; angle < 360; angle += 30) {
        must(ombrel_fbmap_set_brush_angle(map, angle));
        write_in(map, angle % 90 == 0 ? 0xFFFFFF : 0x41C7BD, 430, 300, "     turned");
    }
    return map;
}

static ombrel_fbmap_t* hangul_text(void) {
    ombrel_fbmap_t* map = new_picture(rgb888, 560, 330, 0xF6F4EF);
    must(ombrel_fbmap_set_brush_y_interval(map, 6));
    write_in(map, 0x22262B, margin, margin,
             "다람쥐 헌 쳇바퀴에 타고파.\n"
             "키스의 고유조건은 입술끼리 만나야 하고 특별한 기술은 필요치 않다.\n"
             "동해물과 백두산이 마르고 닳도록 하느님이 보우하사 우리나라 만세.\n"
             "값 닭 삶 뷁 괜찮아요 꿇앉아 읊조리다 넓적한 밟다 싫어 핥다\n"
             "ㄱㄲㄴㄷㄸㄹㅁㅂㅃㅅㅆㅇㅈㅉㅊㅋㅌㅍㅎ\nㅏㅐㅑㅒㅓㅔㅕㅖㅗㅘㅙㅚㅛㅜㅝㅞㅟㅠㅡㅢㅣ\n");
    must(ombrel_fbmap_set_brush_xy_scale(map, 3, 1, 3, 1));
    write_in(map, 0x0B7A75, margin, 164, "한글 글꼴");
    must(ombrel_fbmap_use_brush_ocolor(map, 1));
    must(ombrel_fbmap_set_brush_ocolor(map, paint(map, 0xB4562B)));
    write_in(map, 0xFFE9A8, margin + 3, 236, "외곽선");
    reset_brush(map);
    must(ombrel_fbmap_set_brush_xy_scale(map, 2, 1, 2, 1));
    must(ombrel_fbmap_set_brush_angle(map, -20));
    write_in(map, 0x4B5FA8, 250, 300, "기울어진 글자");
    return map;
}

/* ---- patterns ---- */

static ombrel_fbmap_t* color_bars(void) {
    ombrel_fbmap_t* map = new_picture(rgb888, 640, 260, 0x20242A);
    must(ombrel_fbmap_draw_color_bar(map, def_ombrel_fbmap_color_bar_full, 255, 10, 10, 305, 240));
    must(ombrel_fbmap_draw_color_bar(map, 0, 255, 325, 10, 305, 240));
    return map;
}

static ombrel_fbmap_t* ruler(void) {
    ombrel_fbmap_t* map = new_picture(rgb888, 440, 240, 0xFFFDF4);
    must(ombrel_fbmap_set_brush_fcolor(map, paint(map, 0x8A4B14)));
    must(ombrel_fbmap_draw_ruler(map));
    return map;
}

/* ---- colour interfaces ---- */

static const uint32_t interfaces[] = {0x00425363, 0x00455665, 0x00485868,
                                      0x08485868, 0x18485868, 0x00685848,
                                      0x08685848, 0x18685848, def_ombrel_color_interface_palette8};
enum { strip_height = 64 };

static void draw_hues(ombrel_fbmap_t* map, int x, int w) {
    for (int i = 0; i < w; i++) {
        const uint32_t level = (uint32_t)(i * 255 / (w - 1));
        const uint32_t colors[] = {level << 16, level << 8, level, level * 0x10101,
                                   level << 16 | (255 - level) << 8 | 0x80};
        for (int band = 0; band < 5; band++)
            must(ombrel_fbmap_draw_vline(map, paint(map, colors[band]), x + i, 2 + 12 * band, 12));
    }
}

static void draw_palette(ombrel_fbmap_t* map) {
    for (uint32_t index = 0; index < 256; index++)
        must(ombrel_fbmap_draw_box(map, index, 210 + (int)(index % 64) * 5, 2 + (int)(index / 64) * 15, 5, 15,
                                   1));
}

static void draw_strip(ombrel_fbmap_t* root, uint32_t interface, int y) {
    const int has_palette = interface == def_ombrel_color_interface_palette8;
    ombrel_fbmap_t* strip = new_map(root, interface, 0, y, 540, strip_height);
    char name[9];
    reset_brush(strip);
    if (has_palette)
        draw_palette(strip);
    else
        draw_hues(strip, 210, 320);
    must(ombrel_fbmap_use_brush_fcolor(strip, 1));
    must(ombrel_fbmap_set_brush_fcolor(strip, has_palette ? 15 : paint(strip, 0xFFFFFF)));
    must(ombrel_fbmap_set_brush_xy(strip, margin, 24));
    must(ombrel_fbmap_draw_printf(strip, "%s  %2u bits", ombrel_color_interface_name(name, interface),
                                  ombrel_color_interface_to_bits_per_pixel(interface)));
    must(ombrel_fbmap_update(strip));
}

/* A window for each interface on a root of yet another one, so that each is converted. */
static ombrel_fbmap_t* color_interfaces(void) {
    const uint32_t count = sizeof interfaces / sizeof *interfaces;
    ombrel_fbmap_t* root = new_map(NULL, argb8888, 0, 0, 540, count * strip_height);
    for (uint32_t i = 0; i < count; i++)
        draw_strip(root, interfaces[i], (int)(i * strip_height));
    return root;
}

/* ---- windows ---- */

static ombrel_fbmap_t* open_window(ombrel_fbmap_t* parent, uint32_t rgb, int x, int y, uint32_t w, uint32_t h,
                                   const char* title) {
    ombrel_fbmap_t* window = new_map(parent, argb8888, x, y, w, h);
    must(ombrel_fbmap_draw_clear(window, paint(window, rgb)));
    must(ombrel_fbmap_draw_box(window, paint(window, 0x22262B), 0, 0, w, 20, 1));
    must(ombrel_fbmap_draw_box(window, paint(window, 0x22262B), 0, 0, w, h, 0));
    write_in(window, 0xFFFFFF, 6, 2, title);
    must(ombrel_fbmap_update(window));
    return window;
}

static void draw_desktop(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* desktop = new_map(root, rgb565, 0, 0, 640, 400);
    for (int y = 0; y < 400; y++)
        must(ombrel_fbmap_draw_hline(desktop, paint(desktop, 0x1D4E5F + (uint32_t)(y / 8) * 0x010102), 0, y,
                                     640));
    must(ombrel_fbmap_update(desktop));
}

static void draw_bars_with_child(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* bars = open_window(root, 0xFFFFFF, 30, 30, 240, 180, "opaque");
    must(ombrel_fbmap_draw_color_bar(bars, 1, 255, 1, 20, 238, 159));
    must(ombrel_fbmap_update(bars));
    ombrel_fbmap_t* child = open_window(bars, 0xF4D35E, 150, 110, 140, 100, "a child");
    write_in(child, 0x22262B, 6, 30, "cut off at\nits parent");
    must(ombrel_fbmap_update(child));
}

static void draw_glass(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* glass = open_window(root, 0xF95738, 180, 120, 200, 140, "window alpha");
    must(ombrel_fbmap_set_alpha_window(glass, 140));
    must(ombrel_fbmap_use_alpha_window(glass, 1));
}

/* Shades from clear to full. */
static void draw_fading(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* fading = open_window(root, 0, 60, 230, 240, 130, "pixel alpha");
    for (uint32_t x = 1; x < 239; x++)
        must(ombrel_fbmap_draw_vline(fading, (x * 255 / 240) << 24 | 0xFFFFFF, (int)x, 20, 109));
    must(ombrel_fbmap_use_alpha_pixel(fading, 1));
}

static void draw_holes(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* holes = open_window(root, 0x7FB685, 350, 40, 250, 150, "colour key");
    for (int i = 0; i < 6; i++)
        must(ombrel_fbmap_draw_circle(holes, paint(holes, 0xFF00FF), 35 + 36 * i, 85, (unsigned)(8 + 4 * i),
                                      1));
    must(ombrel_fbmap_set_ccolor(holes, paint(holes, 0xFF00FF)));
    must(ombrel_fbmap_use_ccolor(holes, 1));
}

static void draw_moved(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* moved = open_window(root, 0xE8E6E1, 0, 0, 100, 60, "moved");
    must(ombrel_fbmap_move(moved, 430, 230));
}

static void draw_resized(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* resized = open_window(root, 0xE8E6E1, 470, 320, 150, 90, "resized");
    must(ombrel_fbmap_resize(resized, 400, 310, 110, 60));
    must(ombrel_fbmap_draw_box(resized, paint(resized, 0x22262B), 0, 0, 110, 60, 0));
    must(ombrel_fbmap_update(resized));
}

static void draw_hidden(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* hidden = open_window(root, 0xFF0000, 300, 150, 300, 200, "hidden");
    must(ombrel_fbmap_hide(hidden));
}

static ombrel_fbmap_t* windows(void) {
    static void (*const all[])(ombrel_fbmap_t * root) = {draw_desktop, draw_bars_with_child, draw_glass,
                                                         draw_fading,  draw_holes,           draw_moved,
                                                         draw_resized, draw_hidden};
    ombrel_fbmap_t* root = new_map(NULL, rgb565, 0, 0, 640, 400);
    for (size_t i = 0; i < sizeof all / sizeof *all; i++)
        all[i](root);
    return root;
}

/* ---- bitmaps scaled and turned ---- */

enum { badge_size = 48, checker = 8 };

static ombrel_bitmap_t view_of(const ombrel_fbmap_t* map) {
    ombrel_bitmap_t view;
    must(ombrel_init_bitmap_of_fbmap(&view, map));
    return view;
}

/* Something round whose colours fade away, with a letter that tells how it is turned. What is clear is of a
 * colour that should not be seen. */
static ombrel_bitmap_t* new_badge(void) {
    ombrel_bitmap_t* badge = ombrel_new_bitmap(argb8888, badge_size, badge_size);
    must(badge != NULL ? 0 : -1);
    for (int y = 0; y < badge_size; y++)
        for (int x = 0; x < badge_size; x++) {
            const int dx = 2 * x + 1 - badge_size, dy = 2 * y + 1 - badge_size, distance = dx * dx + dy * dy;
            const int inside = distance < badge_size * badge_size;
            const int ring = distance > badge_size * badge_size * 3 / 5;
            const uint32_t rgb = ring ? 0x0B7A75 : (x / 4 + y / 4) % 2 != 0 ? 0xF4D35E : 0xEE964B;
            must(ombrel_bitmap_set_pixel(
                badge, x, y, inside ? (uint32_t)(255 - 110 * y / badge_size) << 24 | rgb : 0x00FF00));
        }
    for (uint32_t y = 0; y < 16; y++)
        for (uint32_t x = 0; x < 8; x++)
            if ((((const unsigned char*)ombrel_get_default_bitmap_font_8x16_en_entry())[16 * 'F' + y] << x &
                 0x80) != 0)
                must(
                    ombrel_bitmap_fill(badge, 0xFF22262B, (int32_t)(16 + 2 * x), (int32_t)(8 + 2 * y), 2, 2));
    badge->m_flags = def_ombrel_fbmap_alpha_pixel;
    return badge;
}

static void draw_checkers(ombrel_fbmap_t* map) {
    for (int y = 0; y < (int)map->m_resy; y += checker)
        for (int x = 0; x < (int)map->m_resx; x += checker)
            must(ombrel_fbmap_draw_box(map, paint(map, (x + y) / checker % 2 != 0 ? 0xFFFFFF : 0xD8DCE2), x,
                                       y, checker, checker, 1));
}

/* Larger, a little smaller, and much smaller by each method. */
static void draw_scaled(ombrel_bitmap_t* page, const ombrel_bitmap_t* badge, uint32_t method, int x, int y) {
    static const struct {
        int x, y;
        uint32_t size;
    } places[] = {{0, 0, 150}, {156, 0, 72}, {156, 78, 34}, {196, 78, 20}, {156, 118, 12}, {174, 118, 7}};
    for (size_t i = 0; i < sizeof places / sizeof *places; i++)
        must(ombrel_bitmap_put_scaled(page, x + places[i].x, y + places[i].y, places[i].size, places[i].size,
                                      badge, 0, 0, badge_size, badge_size, method, def_ombrel_fbmap_blend));
}

static void draw_turned(ombrel_bitmap_t* page, const ombrel_bitmap_t* badge, int x, int y) {
    for (uint32_t turn = 0; turn < 8; turn++)
        must(ombrel_bitmap_put_turned(page, x + (int)turn * 58, y, badge, 0, 0, badge_size, badge_size, turn,
                                      def_ombrel_fbmap_blend));
}

/* A picture on a colour key, from 5, 6 and 5 bits, in two sizes and by two methods. */
static void draw_keyed(ombrel_bitmap_t* page, const ombrel_bitmap_t* badge, int x, int y) {
    ombrel_bitmap_t* keyed = ombrel_new_bitmap(rgb565, badge_size, badge_size);
    must(keyed != NULL ? 0 : -1);
    keyed->m_flags = def_ombrel_fbmap_ccolor;
    keyed->m_ccolor = ombrel_convert_color(rgb565, argb8888, 0xFFFF00FF);
    must(ombrel_bitmap_fill(keyed, keyed->m_ccolor, 0, 0, badge_size, badge_size));
    for (int i = 0; i < badge_size; i++)
        for (int j = 0; j < badge_size; j++)
            if (ombrel_bitmap_get_pixel(badge, j, i) >> 24 != 0)
                must(ombrel_bitmap_put(keyed, j, i, badge, j, i, 1, 1, def_ombrel_fbmap_plain));
    for (uint32_t method = 0; method < 3; method++) {
        must(ombrel_bitmap_put_scaled(page, x + (int)method * 156, y, 108, 108, keyed, 0, 0, badge_size,
                                      badge_size, method, def_ombrel_fbmap_blend));
        must(ombrel_bitmap_put_scaled(page, x + 114 + (int)method * 156, y, 30, 30, keyed, 0, 0, badge_size,
                                      badge_size, method, def_ombrel_fbmap_blend));
    }
    ombrel_free_bitmap(keyed);
}

/* The picture of the windows, at a quarter of its size, in colour and as black and white. */
static void draw_thumbnails(ombrel_bitmap_t* page, int x, int y) {
    ombrel_fbmap_t* map = windows();
    const ombrel_bitmap_t picture = view_of(map);
    ombrel_bitmap_t* two_tone = ombrel_new_bitmap(def_ombrel_color_interface_grey1, 160, 100);
    must(two_tone != NULL ? 0 : -1);
    for (uint32_t method = 0; method < 3; method++)
        must(ombrel_bitmap_put_scaled(page, x + (int)method * 170, y, 160, 100, &picture, 0, 0, 640, 400,
                                      method, def_ombrel_fbmap_plain));
    must(ombrel_bitmap_put_scaled(two_tone, 0, 0, 160, 100, &picture, 0, 0, 640, 400,
                                  def_ombrel_bitmap_scale_box, def_ombrel_fbmap_plain));
    must(ombrel_bitmap_put(page, x + 510, y, two_tone, 0, 0, 160, 100, def_ombrel_fbmap_plain));
    ombrel_free_bitmap(two_tone);
    ombrel_free_fbmap(map);
}

static ombrel_fbmap_t* bitmaps(void) {
    static const char* const methods[] = {"nearest", "bilinear", "box"};
    ombrel_fbmap_t* map = new_picture(rgb888, 704, 560, 0xFFFFFF);
    draw_checkers(map);
    ombrel_bitmap_t page = view_of(map);
    ombrel_bitmap_t* badge = new_badge();
    for (uint32_t method = 0; method < 3; method++) {
        write_in(map, 0x22262B, margin + (int)method * 232, 4, methods[method]);
        draw_scaled(&page, badge, method, margin + (int)method * 232, 24);
    }
    write_in(map, 0x22262B, margin, 188, "turned by 0, 90, 180 and 270 degrees; mirrored, then turned");
    draw_turned(&page, badge, margin, 208);
    write_in(map, 0x22262B, margin, 268, "with a colour key: nearest, bilinear, box");
    draw_keyed(&page, badge, margin, 288);
    write_in(map, 0x22262B, margin, 412,
             "a quarter of the size: nearest, bilinear, box; box, of two colours");
    draw_thumbnails(&page, margin, 432);
    ombrel_free_bitmap(badge);
    return map;
}

/* ---- storing ---- */

static int store(const char* folder, const char* name, ombrel_fbmap_t* map) {
    ombrel_buffer_t* picture = ombrel_open_buffer();
    char* path = ombrel_alloc_sprintf("%s/%s.png", folder, name);
    must(path != NULL ? ombrel_png_push_fbmap(picture, def_ombrel_png_rgb, map) : -1);
    const size_t size = ombrel_get_buffer_size(picture);
    unsigned char* document = ombrel_alloc_pop_buffer_ex(picture, size, 1);
    must(document != NULL ? 0 : -1);
    ombrel_close_buffer(picture);
    const int result = ombrel_store_file(path, document, size, def_ombrel_file_no_sync, 0666);
    if (result != 0)
        fprintf(stderr, "ombrel_gallery: [ERROR] cannot write %s: %s\n", path, ombrel_fault_text());
    ombrel_free(path);
    ombrel_free(document);
    ombrel_free_fbmap(map);
    return result;
}

static const ombrel_argument_option_t options[] = {
    {.m_letter = 'h', .m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show this"},
    {.m_name = "version", .m_kind = def_ombrel_argument_version, .m_help = "print the version"},
    {.m_name = "manual", .m_kind = def_ombrel_argument_manual, .m_flags = def_ombrel_argument_hidden},
    {.m_name = "completion", .m_kind = def_ombrel_argument_completion, .m_flags = def_ombrel_argument_hidden},
    {0},
};

static const ombrel_argument_table_t table = {
    .m_name = "ombrel_gallery",
    .m_operands = "FOLDER",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Draws pictures with the library and stores them in a folder.",
    .m_options = options,
};

int main(int argc, char** argv) {
    static const struct {
        const char* name;
        ombrel_fbmap_t* (*draw)(void);
    } pictures[] = {
        {"shapes", shapes},         {"latin_text", latin_text}, {"hangul_text", hangul_text},
        {"color_bars", color_bars}, {"ruler", ruler},           {"color_interfaces", color_interfaces},
        {"windows", windows},       {"bitmaps", bitmaps}};
    ombrel_arguments_t arguments;
    if (ombrel_take_arguments(&table, argc, whole_arguments(argv), NULL, &arguments) != 0)
        return arguments.m_exit_code;
    for (size_t i = 0; i < sizeof pictures / sizeof *pictures; i++)
        if (store(arguments.m_operands[0], pictures[i].name, pictures[i].draw()) != 0)
            return 1;
    return 0;
}
