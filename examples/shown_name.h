/* Names of files as they are shown to people. */
#ifndef SHOWN_NAME_H
#define SHOWN_NAME_H

#include <stdio.h>

/* Whether a text can be shown as it is: no control character, nothing that is no UTF-8. */
int is_plain_text(const char* text);

/* Writes a name for people: what a terminal would obey, and the backslash, as \n, \r, \\ and \xHH. */
void show_name(FILE* stream, const char* name);

#endif
