// What a context keeps for its plug-in.
#include "context/ctx_internal.h"

using namespace ombrel::context;

namespace {

template<typename Word>
int set_word(int handle, std::atomic<Word> ctx_record::*word, Word value) {
    const ctx_pin ctx(handle);
    if (!ctx)
        return -1;
    (*ctx).*word = value;
    return 0;
}

} // namespace

intptr_t ombrel_ctx_get_plugin_descriptor(int handle) {
    const ctx_pin ctx(handle);
    return ctx ? ctx->descriptor.load() : -1;
}

int ombrel_ctx_set_plugin_descriptor(int handle, intptr_t descriptor) {
    return set_word(handle, &ctx_record::descriptor, descriptor);
}

void* ombrel_ctx_get_plugin_data(int handle) {
    const ctx_pin ctx(handle);
    return ctx ? ctx->data.load() : nullptr;
}

int ombrel_ctx_set_plugin_data(int handle, void* data) {
    return set_word(handle, &ctx_record::data, data);
}

uintptr_t* ombrel_ctx_get_plugin_state(int handle) {
    const ctx_pin ctx(handle);
    return ctx ? ctx->state : nullptr;
}

int ombrel_ctx_get_error_word(int handle) {
    const ctx_pin ctx(handle);
    return ctx ? ctx->error.load() : -1;
}

int ombrel_ctx_set_error_word(int handle, int error) {
    const ctx_pin ctx(handle);
    if (!ctx)
        return -1;
    ctx->words.clear();
    ctx->error = error;
    return 0;
}
