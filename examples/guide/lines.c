/* Tells how many lines a file has, and which is the longest. */
#include <ombrel_tuk.h>

int main(int argc, char** argv) {
    const char* path = argc > 1 ? argv[1] : "lines.c";
    ombrel_file_stream_t* file = ombrel_open_file_stream(path, "r", NULL);
    char* longest = NULL;
    char* line;
    size_t size, most = 0;
    unsigned long count = 0;
    int more;
    if (file == NULL) {
        ombrel_error_printf("%s: %s (%s)\n", path, ombrel_fault_text(),
                            ombrel_fault_name(ombrel_last_fault()));
        return 1;
    }
    while ((more = ombrel_file_stream_read_line(file, &line, &size)) > 0) {
        count++;
        if (size >= most) { /* the line is the stream's until the next one is read, so it is copied */
            most = size;
            longest = ombrel_realloc_sprintf(longest, "%s", line);
        }
    }
    if (more < 0)
        ombrel_error_printf("%s: %s\n", path, ombrel_fault_text());
    ombrel_close_file_stream(file);
    ombrel_printf("%lu lines, the longest: \"%s\"\n", count, longest != NULL ? longest : "");
    ombrel_check_free(longest); /* ombrel_free() says something about a null pointer, this one does not */
    return more < 0;
}
