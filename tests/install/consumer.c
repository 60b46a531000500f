/* A C99 program on the installed library: leaves through 0 when the library answers. */
#include <stdio.h>

#include <ombrel_tuk.h>

int main(void) {
    char* text = ombrel_alloc_sprintf("%s %08lX", ombrel_get_tuk_version_string(), 0x5AUL);
    if (text == NULL || ombrel_get_tuk_version() != 0x05000103u)
        return 1;
    puts(text);
    ombrel_free(text);
    return ombrel_get_alloc_count() == 0 ? 0 : 2;
}
