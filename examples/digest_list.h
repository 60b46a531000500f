/* Lists of digests as the tools of GNU coreutils write and check them: "hex  name" a line. */
#ifndef DIGEST_LIST_H
#define DIGEST_LIST_H

#include <stddef.h>
#include <stdio.h>

enum { list_line_limit = 16384 };

typedef enum { line_end, line_read, line_too_long } line_result_t;

/* Reads a line without its end; of one that is too long the rest is passed over. */
line_result_t read_line(FILE* stream, char line[list_line_limit]);

typedef struct {
    const char* digits; /* not terminated */
    size_t digit_count;
    char* name;
} list_entry_t;

/* Takes a line apart in place. 0 when it has the form of an entry, else -1. */
int parse_entry(char* line, list_entry_t* entry);

/* Whether a name must be written with escapes, which a backslash before the line's first character tells. */
int needs_escapes(const char* name);

/* Writes a name as lists have it, with their escapes where it needs them. */
void print_name(FILE* stream, const char* name);

/* Whether a text can be shown as it is: no control character, nothing that is no UTF-8. */
int is_plain_text(const char* text);

/* Writes a name for people: what a terminal would obey, and the backslash, as \n, \r, \\ and \xHH. */
void show_name(FILE* stream, const char* name);

#endif
