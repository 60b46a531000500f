/* Draws two windows into memory, and saves what a display would show as windows.png. */
#include <ombrel_tuk.h>

/* Text begins at the brush's place plus its cursor, which is where the last text ended. */
static void write_at(ombrel_fbmap_t* window, int x, int y, uint32_t color, const char* text) {
    ombrel_fbmap_use_brush_fcolor(window, 1);
    ombrel_fbmap_set_brush_fcolor(window, color);
    ombrel_fbmap_set_brush_xy(window, x, y);
    ombrel_fbmap_set_brush_xy_delta(window, 0, 0);
    ombrel_fbmap_draw_puts(window, text);
}

static ombrel_fbmap_t* open_window(ombrel_fbmap_t* screen, const char* title, int x, int y, uint32_t color) {
    ombrel_fbmap_t* window = ombrel_new_fbmap(screen, def_ombrel_fbmap_own_map, 0, x, y, 232, 112);
    ombrel_fbmap_draw_clear(window, 0xF4F1EA);
    ombrel_fbmap_draw_box(window, color, 0, 0, 232, 112, 0);
    ombrel_fbmap_draw_box(window, color, 0, 0, 232, 24, 1);
    write_at(window, 8, 4, 0xFFFFFF, title);
    return window;
}

int main(void) {
    const uint32_t rgb = def_ombrel_color_interface_rgb888;
    ombrel_fbmap_t* screen = ombrel_new_fbmap(NULL, def_ombrel_fbmap_own_map, rgb, 0, 0, 400, 240);
    ombrel_fbmap_t* desktop = ombrel_new_fbmap(screen, def_ombrel_fbmap_own_map, 0, 0, 0, 0, 0);
    ombrel_fbmap_t *text, *shapes;
    int i, result;
    ombrel_fbmap_draw_clear(desktop, 0x35586C);
    ombrel_fbmap_update(desktop);
    text = open_window(screen, "Text", 20, 20, 0x0B7A75);
    write_at(text, 8, 34, 0x202830, "Hello, \xED\x95\x9C\xEA\xB8\x80!");
    ombrel_fbmap_set_brush_xy_scale(text, 2, 1, 2, 1);
    write_at(text, 8, 58, 0x202830, "twice");
    ombrel_fbmap_update(text);
    shapes = open_window(screen, "Shapes, a bit clear", 140, 96, 0xB4452F);
    for (i = 0; i < 5; i++)
        ombrel_fbmap_draw_circle(shapes, 0xB4452F, 30 + 40 * i, 68, (uint32_t)(10 + 4 * i), i % 2);
    ombrel_fbmap_use_alpha_window(shapes, 1);
    ombrel_fbmap_set_alpha_window(shapes, 208);
    ombrel_fbmap_update(shapes);
    result = ombrel_png_save_fbmap("windows.png", def_ombrel_png_rgb, screen);
    ombrel_free_fbmap(screen); /* with all its windows */
    ombrel_printf("windows.png: %s\n", result == 0 ? "400 x 240 pixels" : ombrel_fault_text());
    return result == 0 ? 0 : 1;
}
