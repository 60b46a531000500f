/* Lets several people talk at a chat: each says hello, and tells what it reads. Usage: talk PORT NAME... */
#include <ombrel_tuk.h>

#define MOST 16

/* Reads up to the end of a line, and tells it. */
static int tell(int person, const char* name) {
    char line[80];
    size_t n = 0;
    while (n < sizeof(line) - 1 && ombrel_ctx_read(person, line + n, 1) == 1 && line[n] != '\n')
        n++;
    line[n] = '\0';
    ombrel_printf("%s reads: %s\n", name, line);
    return n > 0 ? 0 : -1;
}

static int come(int person, const char* port) {
    char source[40], why[def_ombrel_ctx_error_text_size];
    ombrel_snprintf(source, sizeof(source), "tcp://127.0.0.1:%s", port);
    if (ombrel_open_ctx_stream(person, source, "r+", 0) == 0)
        return 0;
    ombrel_ctx_get_last_error_text(person, why, sizeof(why));
    return ombrel_error_printf("%s: %s\n", source, why), -1;
}

int main(int argc, char** argv) {
    const int count = argc - 2 < MOST ? argc - 2 : MOST;
    char** names = argv + 2;
    int people[MOST], i, j;
    for (i = 0; i < count; i++) {
        people[i] = ombrel_new_ctx();
        if (come(people[i], argv[1]) != 0)
            return 1;
        for (j = 0; j <= i; j++)
            tell(people[j], names[j]);
    }
    for (i = 0; i < count; i++) {
        ombrel_ctx_printf(people[i], "hello from %s\n", names[i]);
        for (j = 0; j < count; j++)
            if (j != i)
                tell(people[j], names[j]);
    }
    for (i = 0; i < count; i++)
        ombrel_destroy_ctx(people[i]);
    return 0;
}
