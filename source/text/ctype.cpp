#include <ombrel/ctype.h>

#include "text/ctype_table.h"

int ombrel_ctype_select(int c, unsigned mask) {
    return ombrel::is_class(c, mask) ? 1 : 0;
}

int ombrel_to_upper(int c) {
    return ombrel::is_class(c, def_ombrel_ctype_lower) ? c - 32 : c;
}

int ombrel_to_lower(int c) {
    return ombrel::is_class(c, def_ombrel_ctype_upper) ? c + 32 : c;
}
