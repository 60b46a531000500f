#include <ombrel/environment.h>

#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/string.h>
#include <ombrel/word.h>

#include "core/heap_ptr.h"
#include "platform/environment.h"

char** ombrel_environ() {
    return ombrel::platform::environment();
}

char* ombrel_alloc_getenv(const char* names) {
    if (names == nullptr)
        return nullptr;
    while (*names != '\0') {
        const ombrel::heap_ptr<char> name(ombrel_get_word_sep_alloc_c(0, "|", &names));
        if (!name)
            return nullptr;
        const ombrel::platform::variable_text value = ombrel::platform::environment_variable(name.get());
        if (value.get() != nullptr)
            return ombrel_strdup_tag(value.get(), "__ombrel_alloc_getenv_one", __LINE__);
        if (*names != '\0')
            names++;
    }
    return nullptr;
}

int ombrel_putenv(const char* assignment) {
    if (assignment == nullptr)
        return -1;
    const char* equals = strchr(assignment, '=');
    if (equals == nullptr || equals == assignment)
        return ombrel::platform::put_environment(assignment);
    const ombrel::heap_ptr<char> name(
        ombrel_strndup_tag(assignment, static_cast<size_t>(equals - assignment), "ombrel_putenv", __LINE__));
    return name ? ombrel::platform::set_environment_variable(name.get(), equals + 1) : -1;
}
