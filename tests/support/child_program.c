/* A program that tests start as their child: what it does is its first argument. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <stdint.h>
#include <windows.h>

int _configure_wide_argv(int mode);

/* As the C run-time takes the command line apart, in UTF-8. */
static void print_argument(int index) {
    char text[32768];
    WideCharToMultiByte(CP_UTF8, 0, __wargv[index], -1, text, sizeof text, NULL, NULL);
    fwrite(text, 1, strlen(text) + 1, stdout);
}
static void prepare(void) {
    _setmode(0, _O_BINARY);
    _setmode(1, _O_BINARY);
    _configure_wide_argv(1); /* without looking for files that match */
}
/* Whether a handle of the parent's is one here. */
static int has_handle(const char* number) {
    DWORD flags;
    return GetHandleInformation((HANDLE)(uintptr_t)strtoull(number, NULL, 10), &flags) != 0;
}
#else
#include <fcntl.h>

static char** all_arguments;
static void print_argument(int index) {
    fwrite(all_arguments[index], 1, strlen(all_arguments[index]) + 1, stdout);
}
static void prepare(void) {}
static int has_handle(const char* number) {
    return fcntl(atoi(number), F_GETFD) >= 0;
}
#endif

/* What there is, at once. */
static int copy_input(void) {
    char part[4096];
    int size;
    while ((size = (int)read(0, part, sizeof part)) > 0)
        for (int done = 0, taken; done < size; done += taken)
            if ((taken = (int)write(1, part + done, (unsigned)(size - done))) < 0)
                return 1;
    return 0;
}

/* Longer than any test. */
static int hang(void) {
    puts("up");
    fflush(stdout);
    sleep(600);
    return 0;
}

/* arguments ...: prints the others, each ended by 0. copy: prints its input. hang: says that it is up, and
 * sleeps. exit N. handle N: 1 when it has it. */
int main(int argc, char** argv) {
#if !defined(_WIN32)
    all_arguments = argv;
#endif
    prepare();
    if (argc == 2 && strcmp(argv[1], "copy") == 0)
        return copy_input();
    if (argc == 2 && strcmp(argv[1], "hang") == 0)
        return hang();
    if (argc == 3 && strcmp(argv[1], "exit") == 0)
        return atoi(argv[2]);
    if (argc == 3 && strcmp(argv[1], "handle") == 0)
        return has_handle(argv[2]);
    for (int i = 2; i < argc; i++)
        print_argument(i);
    return 0;
}
