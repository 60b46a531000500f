#include "status_screen.h"

enum {
    frame_msec = 250,
    attention_msec = 3000, /* nobody looks who has not asked for so long */
    own_map = def_ombrel_fbmap_own_map,
    screen_width = 800,
    screen_height = 480,
    title_height = 20,
    clock_radius = 78,
    glass_alpha = 165
};

/* Of all windows: a colour is 0xRRGGBB. */
static const uint32_t rgb8888 = def_ombrel_color_interface_xrgb8888;

static const uint32_t ink = 0x22262B, paper = 0xFBF9F4, soft = 0x6D7480, rule = 0xE3DFD6, accent = 0x0B7A75,
                      second = 0xB4562B;

struct screen_windows {
    int ctx;
    ombrel_fbmap_t* root;
    ombrel_fbmap_t* clock;
    ombrel_fbmap_t* heap;
    ombrel_fbmap_t* glass;
};

/* ---- parts of windows ---- */

static void write_at(ombrel_fbmap_t* window, uint32_t color, int x, int y, const char* text) {
    ombrel_fbmap_set_brush_fcolor(window, color);
    ombrel_fbmap_set_brush_xy(window, x, y);
    ombrel_fbmap_set_brush_xy_delta(window, 0, 0);
    ombrel_fbmap_draw_puts(window, text);
}

static void write_large(ombrel_fbmap_t* window, uint32_t factor, uint32_t color, int x, int y,
                        const char* text) {
    ombrel_fbmap_set_brush_xy_scale(window, factor, 1, factor, 1);
    write_at(window, color, x, y, text);
    ombrel_fbmap_set_brush_xy_scale(window, 1, 1, 1, 1);
}

/* A filled circle without the notches of its upper and lower rows. */
static void draw_disc(ombrel_fbmap_t* window, uint32_t color, int x, int y, uint32_t radius) {
    ombrel_fbmap_draw_circle(window, color, x, y, radius, 1);
    ombrel_fbmap_draw_circle(window, color, x, y, radius, 0);
}

/* What is below the title. */
static void clear_content(ombrel_fbmap_t* window, uint32_t color) {
    ombrel_fbmap_draw_box(window, color, 1, title_height, ombrel_fbmap_get_resx(window) - 2,
                          ombrel_fbmap_get_resy(window) - title_height - 1, 1);
}

static ombrel_fbmap_t* open_window(ombrel_fbmap_t* root, uint32_t bar, int x, int y, uint32_t w, uint32_t h,
                                   const char* title) {
    ombrel_fbmap_t* window = ombrel_new_fbmap(root, own_map, rgb8888, x, y, w, h);
    if (window == NULL)
        return NULL;
    ombrel_fbmap_use_brush_fcolor(window, 1);
    ombrel_fbmap_draw_clear(window, bar);
    clear_content(window, paper);
    write_at(window, 0xFFFFFF, 7, 2, title);
    draw_disc(window, 0xFFFFFF, (int)w - 12, 10, 4);
    ombrel_fbmap_draw_circle(window, 0xFFFFFF, (int)w - 26, 10, 4, 0);
    return window;
}

/* ---- the clock ---- */

/* A place on a circle around 0, 0 at one of 60 minutes, from the top clockwise. */
static void place_on_dial(int minute, int radius, int* x, int* y) {
    static const int sines[] = {0,   105, 208, 309, 407, 500, 588, 669,
                                743, 809, 866, 914, 951, 978, 995, 1000};
    const int quarter = minute / 15 % 4, step = minute % 15;
    const int sine = sines[step] * radius / 1000, cosine = sines[15 - step] * radius / 1000;
    *x = quarter == 0 ? sine : quarter == 1 ? cosine : quarter == 2 ? -sine : -cosine;
    *y = quarter == 0 ? -cosine : quarter == 1 ? sine : quarter == 2 ? cosine : -sine;
}

static void draw_hand(ombrel_fbmap_t* window, uint32_t color, int cx, int cy, int minute, int length,
                      int width) {
    int x, y;
    place_on_dial(minute, length, &x, &y);
    for (int dx = -width / 2; dx <= width / 2; dx++)
        for (int dy = -width / 2; dy <= width / 2; dy++)
            ombrel_fbmap_draw_line(window, color, cx + dx, cy + dy, cx + x + dx, cy + y + dy);
}

static void draw_dial(ombrel_fbmap_t* window, int cx, int cy) {
    draw_disc(window, rule, cx, cy, clock_radius + 5);
    draw_disc(window, 0xFFFFFF, cx, cy, clock_radius + 1);
    for (int minute = 0; minute < 60; minute++) {
        int x, y;
        place_on_dial(minute, clock_radius - 5, &x, &y);
        draw_disc(window, minute % 5 == 0 ? ink : soft, cx + x, cy + y, minute % 5 == 0 ? 3 : 1);
    }
}

static void draw_clock(ombrel_fbmap_t* window) {
    const int cx = (int)ombrel_fbmap_get_resx(window) / 2, cy = title_height + 12 + clock_radius;
    ombrel_instant_t now;
    ombrel_civil_time_t utc;
    char text[32] = "";
    clear_content(window, paper);
    draw_dial(window, cx, cy);
    if (ombrel_get_instant(&now) == 0 && ombrel_make_utc_time(&now, &utc) == 0) {
        draw_hand(window, ink, cx, cy, utc.m_hour % 12 * 5 + utc.m_minute / 12, clock_radius - 34, 4);
        draw_hand(window, ink, cx, cy, utc.m_minute, clock_radius - 14, 2);
        draw_hand(window, second, cx, cy, utc.m_second, clock_radius - 10, 0);
        ombrel_format_time(text, sizeof text, "%T %Z", &utc);
    }
    draw_disc(window, second, cx, cy, 4);
    write_at(window, ink, cx - 6 * 8, cy + clock_radius + 10, text);
    ombrel_fbmap_update(window);
}

/* ---- the heap ---- */

static size_t most_of(const size_t* values, size_t count) {
    size_t most = 1;
    for (size_t i = 0; i < count; i++)
        if (values[i] > most)
            most = values[i];
    return most;
}

/* The samples that are there, the newest at the right edge. */
static void draw_curve(ombrel_fbmap_t* window, const heap_history_t* history, int left, int top, int width,
                       int height) {
    const size_t kept = history->taken < history_size ? history->taken : history_size;
    const size_t shown = kept < (size_t)width / 2 ? kept : (size_t)width / 2;
    const size_t most = most_of(history->size, kept) * 9 / 8 + 1;
    int last_y = 0;
    for (size_t i = 0; i < shown; i++) {
        const size_t value = history->size[(history->taken - shown + i) % history_size];
        const int x = left + width - 2 * (int)(shown - i),
                  y = top + height - 1 - (int)(value * (size_t)height / most);
        ombrel_fbmap_draw_box(window, 0xCFE6E3, x, y, 2, (uint32_t)(top + height - y), 1);
        ombrel_fbmap_draw_line(window, accent, x - (i > 0 ? 2 : 0), i > 0 ? last_y : y, x, y);
        ombrel_fbmap_draw_line(window, accent, x - (i > 0 ? 2 : 0), (i > 0 ? last_y : y) + 1, x, y + 1);
        last_y = y;
    }
}

static void draw_heap(ombrel_fbmap_t* window, const heap_history_t* history) {
    const int left = 12, top = title_height + 30, width = (int)ombrel_fbmap_get_resx(window) - 24;
    const int height = (int)ombrel_fbmap_get_resy(window) - top - 12;
    size_t blocks, bytes, peak;
    ombrel_get_alloc_info(&blocks, &bytes, &peak);
    clear_content(window, paper);
    for (int i = 0; i <= 4; i++)
        ombrel_fbmap_draw_hline(window, rule, left, top + i * (height - 1) / 4, (uint32_t)width);
    draw_curve(window, history, left, top, width, height);
    ombrel_fbmap_set_brush_xy(window, left, title_height + 8);
    ombrel_fbmap_set_brush_xy_delta(window, 0, 0);
    ombrel_fbmap_set_brush_fcolor(window, ink);
    ombrel_fbmap_draw_printf(window, "%llu blocks  %llu KiB  peak %llu KiB", (unsigned long long)blocks,
                             (unsigned long long)bytes / 1024, (unsigned long long)peak / 1024);
    ombrel_fbmap_update(window);
}

/* ---- windows that stay as they are ---- */

static ombrel_fbmap_t* open_desktop(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* desktop = ombrel_new_fbmap(root, own_map, rgb8888, 0, 0, screen_width, screen_height);
    if (desktop == NULL)
        return NULL;
    for (int y = 0; y < screen_height; y++) {
        const uint32_t shade = (uint32_t)y * 96 / screen_height;
        ombrel_fbmap_draw_hline(desktop, (16 + shade / 2) << 16 | (52 + shade / 2) << 8 | (72 + shade), 0, y,
                                screen_width);
    }
    for (uint32_t radius = 60; radius <= 420; radius += 40)
        ombrel_fbmap_draw_circle(desktop, 0x3A6E86, screen_width - 40, screen_height - 20, radius, 0);
    ombrel_fbmap_use_brush_color(desktop, 1);
    ombrel_fbmap_use_brush_bcolor(desktop, 0);
    ombrel_fbmap_set_brush_ocolor(desktop, 0x14303C);
    write_large(desktop, 3, 0xF4D35E, 24, screen_height - 66, "libombrel_tuk");
    ombrel_fbmap_update(desktop);
    return desktop;
}

static ombrel_fbmap_t* open_color_bars(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* window = open_window(root, 0x4B5FA8, 556, 28, 220, 152, "colour bars");
    if (window != NULL) {
        ombrel_fbmap_draw_color_bar(window, def_ombrel_fbmap_color_bar_full, 255, 1, title_height, 218, 131);
        ombrel_fbmap_update(window);
    }
    return window;
}

static ombrel_fbmap_t* open_text(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* window = open_window(root, second, 384, 220, 372, 196, "text 글자");
    if (window == NULL)
        return NULL;
    ombrel_fbmap_set_brush_y_interval(window, 5);
    write_at(window, ink, 14, title_height + 12,
             "The quick brown fox jumps over\nthe lazy dog 0123456789.\n"
             "다람쥐 헌 쳇바퀴에 타고파.\n값진 삶, 괜찮아요!");
    ombrel_fbmap_set_brush_y_interval(window, 0);
    write_large(window, 2, accent, 14, title_height + 104, "안녕하세요");
    ombrel_fbmap_set_brush_angle(window, -15);
    write_large(window, 2, 0x4B5FA8, 210, title_height + 146, "Hello");
    ombrel_fbmap_set_brush_angle(window, 0);
    ombrel_fbmap_update(window);
    return window;
}

static ombrel_fbmap_t* open_glass(ombrel_fbmap_t* root) {
    ombrel_fbmap_t* window = open_window(root, ink, 0, 0, 190, 110, "translucent");
    if (window == NULL)
        return NULL;
    clear_content(window, 0xF4D35E);
    write_large(window, 2, ink, 16, title_height + 14, "moving");
    write_at(window, ink, 16, title_height + 54, "움직이는 창");
    ombrel_fbmap_set_alpha_window(window, glass_alpha);
    ombrel_fbmap_use_alpha_window(window, 1);
    return window;
}

/* ---- the screen ---- */

/* A frame buffer in memory, in which the windows are composed: its root, or null. */
static ombrel_fbmap_t* open_root(int ctx) {
    ombrel_ctx_fbinfo_t info;
    ombrel_ctx_set_option_fstring(ctx, "xywh", "0,0,%d,%d", screen_width, screen_height);
    ombrel_ctx_set_option_fstring(ctx, "color_interface", "%lu", (unsigned long)rgb8888);
    if (ombrel_open_ctx(ctx, "application/tuk_fb") != 0 || ombrel_ctx_get_fbinfo(ctx, &info) != 0)
        return NULL;
    return info.m_root;
}

static void close_windows(status_screen_t* screen) {
    if (screen->windows == NULL)
        return;
    ombrel_destroy_ctx(screen->windows->ctx); /* with all windows */
    ombrel_free(screen->windows);
    screen->windows = NULL;
}

static void take_picture(status_screen_t* screen) {
    ombrel_buffer_t* picture = ombrel_open_buffer();
    if (ombrel_png_push_fbmap(picture, def_ombrel_png_rgb, screen->windows->root) == 0) {
        screen->picture_size = ombrel_get_buffer_size(picture);
        screen->picture = ombrel_alloc_pop_buffer_ex(picture, screen->picture_size, 1);
    }
    ombrel_close_buffer(picture);
}

static void drop_picture(status_screen_t* screen) {
    ombrel_check_free(screen->picture);
    screen->picture = NULL;
}

static int open_windows(status_screen_t* screen) {
    struct screen_windows* windows = screen->windows = ombrel_calloc(1, sizeof *windows);
    if (windows == NULL)
        return -1;
    windows->ctx = ombrel_new_ctx();
    windows->root = open_root(windows->ctx);
    if (windows->root == NULL)
        return -1;
    const int has_desktop = open_desktop(windows->root) != NULL;
    windows->clock = open_window(windows->root, accent, 28, 28, 206, 232, "clock");
    windows->heap = open_window(windows->root, ink, 222, 52, 322, 176, "heap");
    const int has_others = open_color_bars(windows->root) != NULL && open_text(windows->root) != NULL;
    windows->glass = open_glass(windows->root);
    return has_desktop && has_others && windows->clock != NULL && windows->heap != NULL &&
                   windows->glass != NULL
               ? 0
               : -1;
}

/* There and back again. */
static int swing(uint32_t step, uint32_t range) {
    const uint32_t at = step % (2 * range);
    return (int)(at < range ? at : 2 * range - at);
}

static void draw_frame(status_screen_t* screen) {
    const struct screen_windows* windows = screen->windows;
    const uint32_t frame = screen->frames++;
    draw_clock(windows->clock);
    draw_heap(windows->heap, screen->history);
    ombrel_fbmap_move(windows->glass, 40 + swing(330 + frame * 8, screen_width - 270),
                      30 + swing(180 + frame * 5, screen_height - 170));
    drop_picture(screen);
}

static void on_frame(ombrel_event_t* event, int socket, uint32_t ready, void* context) {
    status_screen_t* screen = context;
    (void)socket;
    if ((ready & def_ombrel_event_timeout) == 0)
        return;
    if (ombrel_time_stamp_msec() - screen->looked_at < attention_msec &&
        ombrel_add_event(event, frame_msec) == 0) {
        draw_frame(screen);
        return;
    }
    close_windows(screen);
    drop_picture(screen);
}

int begin_status_screen(status_screen_t* screen, ombrel_event_base_t* base, const heap_history_t* history) {
    screen->history = history;
    ombrel_get_instant(&screen->begin);
    return ombrel_assign_event(base, &screen->timer, -1, 0, on_frame, screen);
}

void end_status_screen(status_screen_t* screen) {
    if ((screen->timer.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&screen->timer);
    close_windows(screen);
    drop_picture(screen);
}

int look_at_status_screen(status_screen_t* screen, char* tag) {
    screen->looked_at = ombrel_time_stamp_msec();
    if (screen->windows == NULL) {
        if (open_windows(screen) != 0 || ombrel_add_event(&screen->timer, frame_msec) != 0) {
            close_windows(screen);
            return -1;
        }
        draw_frame(screen);
    }
    ombrel_snprintf(tag, screen_tag_size, "\"%llX-%lX-%lX\"", (unsigned long long)screen->begin.m_seconds,
                    (unsigned long)screen->begin.m_nanoseconds, (unsigned long)screen->frames);
    return 0;
}

const unsigned char* take_status_picture(status_screen_t* screen, size_t* size) {
    if (screen->picture == NULL)
        take_picture(screen);
    *size = screen->picture_size;
    return screen->picture;
}
