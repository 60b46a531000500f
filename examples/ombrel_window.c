/*
 * ombrel_window [TYPE [NAME=VALUE...]]: balls on a display. TYPE is where: "application/tuk_window" (a window
 * of the desktop by SDL, what is taken without a type), "application/tuk_windows_dib" (on Windows, and taken
 * there), "application/tuk_linuxfb" (the display of a device) or "application/tuk_fb" (memory). The options
 * are those of the type, such as "xywh=50,50,480,320" or "scale=2", and "frames=N" ends it after so many
 * pictures.
 *
 * The balls flee from the pointer while a button is pressed, and take another colour at each click. "s"
 * stores the picture as ombrel_window.png; escape, or closing the window, ends it.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <ombrel_tuk.h>

#include "whole_arguments.h"

#if defined(_WIN32)
#define USUAL_TYPE "application/tuk_windows_dib"
#else
#define USUAL_TYPE def_ombrel_plugin_window_mime_type
#endif

enum { balls = 14, radius = 16, size = 2 * radius + 1, unit = 64, picture_ms = 16 };

/* A window whose corners are transparent; it moves by units of a pixel. */
typedef struct {
    ombrel_fbmap_t* map;
    int x, y, x_speed, y_speed;
} ball_t;

typedef struct {
    int ctx, plugin;
    ombrel_fbmap_t *root, *panel;
    ball_t ball[balls];
    ombrel_window_event_t pointer; /* the last event that told of it */
    unsigned pictures, clicks;
} show_t;

static const uint32_t own = def_ombrel_fbmap_own_map;

/* A colour in a map's own interface. */
static uint32_t paint(const ombrel_fbmap_t* map, uint32_t rgb) {
    return ombrel_convert_color(map->m_color_interface, def_ombrel_color_interface_argb8888,
                                0xFF000000 | rgb);
}

static void draw_ball(const ball_t* ball, unsigned color) {
    static const uint32_t colors[] = {0xE4572E, 0x29A19C, 0xF3A712, 0x669BBC, 0xA8C686, 0xB388EB};
    const uint32_t rgb = colors[color % (sizeof colors / sizeof *colors)];
    ombrel_fbmap_draw_circle(ball->map, paint(ball->map, rgb), radius, radius, radius, 1);
    ombrel_fbmap_draw_circle(ball->map, paint(ball->map, rgb & 0x7F7F7F), radius, radius, radius, 0);
    ombrel_fbmap_draw_circle(ball->map, paint(ball->map, 0xFFFFFF), radius - 5, radius - 5, 3, 1);
    ombrel_fbmap_update(ball->map);
}

static int add_ball(show_t* show, int number) {
    ball_t* ball = &show->ball[number];
    ball->x = (int)show->root->m_resx * unit * (number + 1) / (balls + 1);
    ball->y = (int)show->root->m_resy * unit * (number * 5 % balls + 1) / (balls + 1);
    ball->x_speed = 90 - number * 37 % 180;
    ball->y_speed = 60 - number * 53 % 120;
    ball->map =
        ombrel_new_fbmap(show->root, own, 0, ball->x / unit - radius, ball->y / unit - radius, size, size);
    if (ball->map == NULL)
        return -1;
    ombrel_fbmap_draw_clear(ball->map, paint(ball->map, 0xFF00FF));
    ombrel_fbmap_set_ccolor(ball->map, paint(ball->map, 0xFF00FF));
    ombrel_fbmap_use_ccolor(ball->map, 1);
    draw_ball(ball, (unsigned)number);
    return 0;
}

static void draw_background(ombrel_fbmap_t* map) {
    for (uint32_t y = 0; y < map->m_resy; y++) {
        const uint32_t shade = y * 48 / map->m_resy;
        ombrel_fbmap_draw_hline(map, paint(map, 0x101828 + shade * 0x010102), 0, (int32_t)y, map->m_resx);
    }
    for (uint32_t x = 0; x < map->m_resx; x += 40)
        ombrel_fbmap_draw_vline(map, paint(map, 0x2A3550), (int32_t)x, 0, map->m_resy);
    for (uint32_t y = 0; y < map->m_resy; y += 40)
        ombrel_fbmap_draw_hline(map, paint(map, 0x2A3550), 0, (int32_t)y, map->m_resx);
    ombrel_fbmap_update(map);
}

static int compose(show_t* show) {
    ombrel_fbmap_t* background = ombrel_new_fbmap(show->root, own, 0, 0, 0, 0, 0);
    if (background == NULL)
        return -1;
    draw_background(background);
    for (int i = 0; i < balls; i++)
        if (add_ball(show, i) != 0)
            return -1;
    show->panel = ombrel_new_fbmap(show->root, own, 0, 8, 8, 196, 36);
    if (show->panel == NULL)
        return -1;
    ombrel_fbmap_use_brush_fcolor(show->panel, 1);
    ombrel_fbmap_set_alpha_window(show->panel, 200);
    ombrel_fbmap_use_alpha_window(show->panel, 1);
    return 0;
}

static void tell_pointer(show_t* show) {
    ombrel_fbmap_t* panel = show->panel;
    ombrel_fbmap_draw_clear(panel, paint(panel, 0x0B1020));
    ombrel_fbmap_set_brush_xy(panel, 6, 2);
    ombrel_fbmap_set_brush_xy_delta(panel, 0, 0);
    ombrel_fbmap_draw_printf(panel, "picture %u\npointer %d,%d%s", show->pictures, (int)show->pointer.m_x,
                             (int)show->pointer.m_y, show->pointer.m_buttons != 0 ? " pressed" : "");
    ombrel_fbmap_update(panel);
}

/* Bounces off the edges. */
static void step_along(int* place, int* speed, int last) {
    *place += *speed;
    if (*place < radius * unit || *place > last * unit - radius * unit) {
        *place = *place < radius * unit ? radius * unit : last * unit - radius * unit;
        *speed = -*speed;
    }
}

static void flee(ball_t* ball, const ombrel_window_event_t* pointer) {
    const int x = ball->x / unit - pointer->m_x, y = ball->y / unit - pointer->m_y;
    const int square = x * x + y * y;
    if (pointer->m_buttons == 0 || square > 120 * 120 || square == 0)
        return;
    ball->x_speed = (ball->x_speed * 7 + x * 4) / 8;
    ball->y_speed = (ball->y_speed * 7 + y * 4) / 8;
}

static void draw_picture(show_t* show) {
    show->pictures++;
    for (int i = 0; i < balls; i++) {
        ball_t* ball = &show->ball[i];
        flee(ball, &show->pointer);
        step_along(&ball->x, &ball->x_speed, (int)show->root->m_resx);
        step_along(&ball->y, &ball->y_speed, (int)show->root->m_resy);
        ombrel_fbmap_move(ball->map, ball->x / unit - radius, ball->y / unit - radius);
    }
    tell_pointer(show);
}

/* The next event of a window; a display without a mouse has none. */
static int next_event(const show_t* show, ombrel_window_wait_t* wait) {
    wait->m_timeout_ms = picture_ms;
    if (ombrel_ctx_xcontrol(show->ctx, "get_window_event", wait, sizeof(*wait)) == 0)
        return 0;
    if (ombrel_ctx_get_last_error(show->ctx) != def_ombrel_ctx_error_not_supported)
        return -1;
    ombrel_load_balance();
    wait->m_event.m_kind = def_ombrel_window_event_none;
    return 0;
}

static void react(show_t* show, const ombrel_window_event_t* event) {
    show->pointer = *event;
    if (event->m_kind == def_ombrel_window_event_button_down) {
        show->clicks++;
        for (int i = 0; i < balls; i++)
            draw_ball(&show->ball[i], (unsigned)i + show->clicks);
    }
    if (event->m_kind == def_ombrel_window_event_key_down && event->m_key == 's')
        ombrel_png_save_fbmap("ombrel_window.png", 0, show->root);
}

static void run(show_t* show) {
    const char* text = ombrel_ctx_get_option(show->ctx, "frames");
    const unsigned most = text != NULL ? (unsigned)strtoul(text, NULL, 10) : 0;
    uint64_t next = ombrel_time_stamp_msec();
    ombrel_window_wait_t wait;
    while ((most == 0 || show->pictures < most) && next_event(show, &wait) == 0) {
        if (wait.m_event.m_kind != def_ombrel_window_event_none)
            react(show, &wait.m_event);
        if (wait.m_event.m_kind == def_ombrel_window_event_key_down &&
            wait.m_event.m_key == def_ombrel_window_key_escape)
            return;
        /* Events do not hurry the pictures. */
        if (ombrel_time_stamp_msec() >= next) {
            draw_picture(show);
            next = ombrel_time_stamp_msec() + picture_ms;
        }
    }
}

static int open_display(show_t* show, int argc, char** argv) {
    const char* type = argc > 1 ? argv[1] : USUAL_TYPE;
    ombrel_ctx_fbinfo_t info;
    show->plugin = strcmp(type, def_ombrel_plugin_window_mime_type) == 0
                       ? ombrel_load_plugin(def_ombrel_plugin_window_name ".so", getenv("OMBREL_PLUGIN_PATH"))
                       : -1;
    show->ctx = ombrel_new_ctx();
    ombrel_ctx_set_option(show->ctx, "title_name", "ombrel_window");
    ombrel_ctx_set_option(show->ctx, "verbose", "1");
    for (int i = 2; i < argc; i++) {
        char* value = strchr(argv[i], '=');
        if (value == NULL)
            return -1;
        *value = '\0';
        ombrel_ctx_set_option(show->ctx, argv[i], value + 1);
    }
    if (ombrel_open_ctx(show->ctx, type) != 0 || ombrel_ctx_get_fbinfo(show->ctx, &info) != 0)
        return -1;
    show->root = info.m_root;
    return info.m_resx > size && info.m_resy > size ? 0 : -1;
}

int main(int argc, char** argv) {
    static show_t show;
    const int is_open = open_display(&show, argc, whole_arguments(argv)) == 0 && compose(&show) == 0;
    if (is_open)
        run(&show);
    else
        fprintf(stderr, "ombrel_window: no display (error %d)\n", ombrel_ctx_get_last_error(show.ctx));
    ombrel_destroy_ctx(show.ctx);
    ombrel_unload_plugin(show.plugin);
    return is_open ? 0 : 1;
}
