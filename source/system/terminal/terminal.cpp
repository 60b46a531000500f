#include <ombrel/terminal.h>

#include "platform/terminal.h"

using namespace ombrel;

int ombrel_isatty(int fd) {
    return platform::is_terminal(fd) ? 1 : 0;
}

int ombrel_get_terminal_size(int* columns, int* rows) {
    int width = def_ombrel_terminal_columns;
    int height = def_ombrel_terminal_rows;
    const bool known = platform::terminal_size(width, height);
    if (columns != nullptr)
        *columns = width;
    if (rows != nullptr)
        *rows = height;
    return known ? 0 : -1;
}
