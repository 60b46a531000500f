#include "shown_name.h"

#include <string.h>

#include <ombrel/utf8.h>

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
