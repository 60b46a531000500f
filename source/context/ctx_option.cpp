#include "context/ctx_internal.h"
#include "core/wipe.h"

using namespace ombrel;
using namespace ombrel::context;

namespace {

int set_option(int handle, const char* name, const char* value) {
    const ctx_pin ctx(handle);
    if (!ctx)
        return -1;
    if (name == nullptr || *name == '\0')
        return fail<int>(handle, def_ombrel_ctx_error_invalid_argument);
    if (value == nullptr)
        ctx->options.remove(name);
    else if (!ctx->options.set(name, value))
        return fail<int>(handle, def_ombrel_ctx_error_no_memory);
    return 0;
}

} // namespace

int ombrel_ctx_set_option(int handle, const char* name, const char* value) {
    return set_option(handle, name, value);
}

int ombrel_ctx_set_option_string(int handle, const char* name, const char* text) {
    return set_option(handle, name, text != nullptr ? text : "");
}

int ombrel_ctx_set_option_vfstring(int handle, const char* name, const char* format, va_list args) {
    const heap_ptr<char> text = format_text(format, args, "ombrel_ctx_set_option_vfstring");
    if (!text)
        return fail<int>(handle, def_ombrel_ctx_error_no_memory);
    const wipe_guard wiped(text.get(), strlen(text.get())); // it may be a password
    return set_option(handle, name, text.get());
}

int ombrel_ctx_set_option_fstring(int handle, const char* name, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = ombrel_ctx_set_option_vfstring(handle, name, format, args);
    va_end(args);
    return result;
}

int ombrel_ctx_set_option_int_string(int handle, const char* name, int number) {
    return set_option(handle, name, number_text(number).get());
}

const char* ombrel_ctx_get_option(int handle, const char* name) {
    return ombrel_ctx_get_option_string_ex(handle, name, nullptr);
}

const char* ombrel_ctx_get_option_string(int handle, const char* name) {
    return ombrel_ctx_get_option_string_ex(handle, name, nullptr);
}

const char* ombrel_ctx_get_option_string_ex(int handle, const char* name, const char* fallback) {
    const ctx_pin ctx(handle);
    const char* text = ctx ? ctx->options.get(name) : nullptr;
    return text != nullptr ? text : fallback;
}
