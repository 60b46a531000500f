/* The arguments of a program as they were typed. */
#ifndef WHOLE_ARGUMENTS_H
#define WHOLE_ARGUMENTS_H

#if defined(_WIN32)
#include <stdlib.h>
#include <wchar.h>

#include <windows.h>

int __cdecl _configure_wide_argv(int mode);
#endif

/* Windows hands main() texts in a code page of few characters, and "?" for all others. Here they are UTF-8,
 * as the library takes them, for as long as the program runs. Where memory is short main()'s own are given.
 */
static inline char** whole_arguments(char** own) {
#if defined(_WIN32)
    enum { as_they_are = 1, most_bytes_of_a_unit = 3 };
    size_t count = 0, units = 0;
    char** arguments;
    char* text;
    if (_configure_wide_argv(as_they_are) != 0)
        return own;
    while (__wargv[count] != NULL)
        units += wcslen(__wargv[count++]) + 1;
    arguments = (char**)malloc((count + 1) * sizeof *arguments + units * most_bytes_of_a_unit);
    if (arguments == NULL)
        return own;
    text = (char*)(arguments + count + 1);
    for (size_t i = 0; i < count; i++) {
        const int room = (int)(wcslen(__wargv[i]) + 1) * most_bytes_of_a_unit;
        arguments[i] = text;
        text += WideCharToMultiByte(CP_UTF8, 0, __wargv[i], -1, text, room, NULL, NULL);
    }
    arguments[count] = NULL;
    return arguments;
#else
    return own;
#endif
}

#endif
