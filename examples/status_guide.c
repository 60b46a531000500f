#include "status_guide.h"

#include <string.h>

/* Browsers show Markdown when it is called plain text. */
static const char* type_of(const char* name) {
    const char* suffix = strrchr(name, '.');
    return suffix != NULL && strcmp(suffix, ".png") == 0 ? "image/png" : "text/plain; charset=utf-8";
}

int answer_guide_file(ombrel_http_exchange_t* exchange, void* context) {
    const char* name = ombrel_http_exchange_get_path(exchange) + strlen("/guide/");
    (void)context;
    for (const guide_file_t* file = guide_files; file->name != NULL; file++)
        if (strcmp(file->name, name) == 0)
            return ombrel_http_exchange_answer(exchange, 200, type_of(name), file->text, *file->size);
    return ombrel_http_exchange_answer_error(exchange, 404, "the guide has no such chapter");
}
