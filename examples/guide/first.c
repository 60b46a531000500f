/* Greets each of its arguments. */
#include <string.h>

#include <ombrel_tuk.h>

int main(int argc, char** argv) {
    int i;
    ombrel_printf("libombrel_tuk %s\n", ombrel_get_tuk_version_string());
    for (i = 1; i < argc; i++)
        ombrel_printf("%2d: hello, %-8s (%llu bytes)\n", i, argv[i], (unsigned long long)strlen(argv[i]));
    return 0;
}
