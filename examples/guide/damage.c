/* Writes behind a block, frees another one twice, and is told so. */
#include <ombrel_tuk.h>

static char* line_of(char letter, size_t length) {
    char* text = ombrel_alloc(length);
    size_t i;
    for (i = 0; text != NULL && i < length; i++)
        text[i] = letter;
    return text;
}

static void end_line(char* text, size_t length) {
    text[length] = '\0'; /* there is no room for it */
}

int main(void) {
    char* first = line_of('a', 12);
    char* second = line_of('b', 12);
    if (first == NULL || second == NULL)
        return 1;
    end_line(first, 12);
    ombrel_free(first); /* reported, and left alone */
    ombrel_free(second);
    ombrel_free(second); /* reported, and nothing else happens */
    return ombrel_push_heap_report(NULL);
}
