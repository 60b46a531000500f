/* Prints whatever can be opened. Usage: show SOURCE [PLUGIN] */
#include <ombrel_tuk.h>

static void print_all(int ctx) {
    char block[4096];
    int n;
    while ((n = ombrel_ctx_read(ctx, block, sizeof(block) - 1)) > 0) {
        block[n] = '\0';
        ombrel_puts(block);
    }
}

int main(int argc, char** argv) {
    const int ctx = ombrel_new_ctx();
    const int plugin = argc > 2 ? ombrel_load_plugin(argv[2], NULL) : 0;
    char why[def_ombrel_ctx_error_text_size] = "";
    if (plugin < 0)
        ombrel_error_printf("show: %s\n", ombrel_dl_error());
    ombrel_init_network();
    ombrel_ctx_set_option(ctx, "timeout", "5000");
    ombrel_ctx_set_option(ctx, "schemes", "file|pipe|tcp|text");
    if (ombrel_open_ctx_stream(ctx, argc > 1 ? argv[1] : "show.c", "r", 0) == 0)
        print_all(ctx);
    ombrel_ctx_get_last_error_text(ctx, why, sizeof(why));
    if (why[0] != '\0')
        ombrel_printf("error %d: %s\n", ombrel_ctx_get_last_error(ctx), why);
    ombrel_destroy_ctx(ctx);
    if (plugin > 0)
        ombrel_unload_plugin(plugin);
    return why[0] != '\0';
}
