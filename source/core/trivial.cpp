#include <ombrel/trivial.h>

int ombrel_nop(void) {
    return 0;
}

int ombrel_true(void) {
    return 1;
}

int ombrel_false(void) {
    return 0;
}

void* ombrel_ignore_strict_aliasing_pointer(void* p) {
    return p;
}
