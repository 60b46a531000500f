// Codes of failures, and what was said of them.
#include <algorithm>

#include "context/ctx_internal.h"

using namespace ombrel::context;

namespace {

// The code as the one who asks is to see it; -1 for an unknown handle.
int find_last_error(int handle) {
    const ctx_call ctx(handle, ombrel::instance_call::query);
    if (ctx)
        return ctx->last_error();
    const ctx_pin outside(handle);
    return outside ? outside->error.load() : -1;
}

int give_text(const char* whole, char* text, size_t size) {
    const size_t length = strlen(whole);
    if (size > 0) {
        const size_t stored = std::min(length, size - 1);
        memcpy(text, whole, stored);
        text[stored] = '\0';
    }
    return static_cast<int>(length);
}

} // namespace

int ombrel_ctx_get_last_error(int handle) {
    return find_last_error(handle);
}

int ombrel_ctx_set_last_error(int handle, int error) {
    return set_last_error(handle, error);
}

int ombrel_ctx_get_last_error_text(int handle, char* text, size_t size) {
    const ctx_pin ctx(handle);
    const int code = ctx ? find_last_error(handle) : -1;
    if (!ctx || (text == nullptr && size > 0))
        return -1;
    char words[def_ombrel_ctx_error_text_size];
    ctx->words.get(code, words);
    return give_text(words[0] != '\0' ? words : ombrel_ctx_error_text(code), text, size);
}

int ombrel_ctx_set_last_error_text(int handle, int error, const char* text) {
    const ctx_pin ctx(handle);
    if (!ctx || set_last_error(handle, error) < 0)
        return -1;
    ctx->words.set(error, text);
    return 0;
}
