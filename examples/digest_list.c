#include "digest_list.h"

#include <string.h>

#include <ombrel/utf8.h>

static const char hex_digits[] = "0123456789abcdefABCDEF";

line_result_t read_line(FILE* stream, char line[list_line_limit]) {
    size_t size = 0;
    int too_long = 0;
    int c = getc(stream);
    if (c == EOF)
        return line_end;
    for (; c != EOF && c != '\n'; c = getc(stream)) {
        if (size + 1 < list_line_limit)
            line[size++] = (char)c;
        else
            too_long = 1;
    }
    if (size > 0 && line[size - 1] == '\r')
        size--;
    line[size] = '\0';
    return too_long ? line_too_long : line_read;
}

/* -1 for an escape that no list has. */
static int remove_escapes(char* name) {
    char* to = name;
    for (; *name != '\0'; name++) {
        if (*name != '\\') {
            *to++ = *name;
            continue;
        }
        name++;
        if (*name != '\\' && *name != 'n' && *name != 'r')
            return -1;
        *to++ = (char)(*name == 'n' ? '\n' : *name == 'r' ? '\r' : '\\');
    }
    *to = '\0';
    return 0;
}

int parse_entry(char* line, list_entry_t* entry) {
    const int escaped = *line == '\\';
    line += escaped;
    entry->digits = line;
    entry->digit_count = strspn(line, hex_digits);
    line += entry->digit_count;
    if (entry->digit_count == 0 || line[0] != ' ' || (line[1] != ' ' && line[1] != '*') || line[2] == '\0')
        return -1;
    entry->name = line + 2;
    return escaped ? remove_escapes(entry->name) : 0;
}

int needs_escapes(const char* name) {
    return strpbrk(name, "\\\n\r") != NULL;
}

void print_name(FILE* stream, const char* name) {
    for (; *name != '\0'; name++) {
        const char* escape = *name == '\\' ? "\\\\" : *name == '\n' ? "\\n" : *name == '\r' ? "\\r" : NULL;
        if (escape != NULL)
            fputs(escape, stream);
        else
            putc(*name, stream);
    }
}

/* The bytes of the next character; negative, as many, where it is not to reach a terminal: it is a control
 * character, or no character at all. */
static int next_character(const char* text, size_t size) {
    uint32_t code = 0;
    const int taken = ombrel_utf8_character_decode(text, size, &code);
    if (taken <= 0)
        return -1;
    return code < ' ' || (code >= 0x7f && code < 0xa0) ? -taken : taken;
}

int is_plain_text(const char* text) {
    for (size_t size = strlen(text); size > 0;) {
        const int taken = next_character(text, size);
        if (taken < 0)
            return 0;
        text += taken;
        size -= (size_t)taken;
    }
    return 1;
}

static void show_byte(FILE* stream, char byte) {
    if (byte == '\n' || byte == '\r' || byte == '\\')
        fprintf(stream, "\\%c", byte == '\n' ? 'n' : byte == '\r' ? 'r' : '\\');
    else
        fprintf(stream, "\\x%02X", (unsigned)(unsigned char)byte);
}

void show_name(FILE* stream, const char* name) {
    for (size_t size = strlen(name); size > 0;) {
        const int taken = next_character(name, size);
        const size_t step = (size_t)(taken < 0 ? -taken : taken);
        if (taken > 0 && *name != '\\')
            fwrite(name, 1, step, stream);
        else
            for (size_t i = 0; i < step; i++)
                show_byte(stream, name[i]);
        name += step;
        size -= step;
    }
}
