#include "text/natural_order.h"

#include <cstddef>
#include <cstring>

#include "text/ctype_table.h"

namespace ombrel {

namespace {

/// A number within a name, without the zeros that it begins with.
struct name_number {
    const char* digits;
    size_t count;
};

name_number take_number(const char*& name) {
    while (*name == '0' && is_digit(name[1]))
        name++;
    const char* const start = name;
    while (is_digit(*name))
        name++;
    return {start, static_cast<size_t>(name - start)};
}

} // namespace

bool natural_less(const char* a, const char* b) {
    while (*a != '\0' && *b != '\0') {
        if (is_digit(*a) && is_digit(*b)) {
            const name_number x = take_number(a), y = take_number(b);
            const int order = x.count == y.count ? memcmp(x.digits, y.digits, x.count) : 0;
            if (x.count != y.count || order != 0)
                return x.count != y.count ? x.count < y.count : order < 0;
        } else if (*a != *b) {
            return static_cast<unsigned char>(*a) < static_cast<unsigned char>(*b);
        } else {
            a++;
            b++;
        }
    }
    return *a == '\0' && *b != '\0';
}

} // namespace ombrel
