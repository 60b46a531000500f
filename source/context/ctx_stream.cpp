// Reading, writing and positions.
#include <climits>
#include <cstring>

#include "context/ctx_internal.h"

using namespace ombrel;
using namespace ombrel::context;

namespace {

constexpr size_t most_bytes = INT_MAX;

size_t clip(size_t size) {
    return size < most_bytes ? size : most_bytes;
}

bool is_block(const void* bytes, size_t size) {
    return bytes != nullptr || size == 0;
}

// Of the options "source" and "fd" the one that is set takes the other away; false when memory runs out.
bool set_options(option_list& options, const char* name, const char* value, const char* mode, int debug) {
    const number_text debug_text(debug);
    options.remove(strcmp(name, "fd") == 0 ? "source" : "fd");
    return (value == nullptr || options.set(name, value)) && (mode == nullptr || options.set("mode", mode)) &&
           options.set("debug", debug_text.get());
}

// Options are those of the next opening; an open context keeps its own.
int open_stream(int handle, const char* name, const char* value, const char* mode, int debug) {
    const ctx_change ctx(handle);
    if (!ctx)
        return refuse_opening(handle);
    if (ctx->bound)
        return fail<int>(*ctx, def_ombrel_ctx_error_already_open);
    if (!set_options(ctx->options, name, value, mode, debug))
        return fail<int>(*ctx, def_ombrel_ctx_error_no_memory);
    return open(*ctx, "application/tuk_stream");
}

// Writes until all is written or nothing more is taken. An empty text is written too, so that it fails where
// others do.
int write_all(int handle, const char* text, size_t size) {
    size_t written = 0;
    do {
        const int now = ombrel_ctx_write(handle, text + written, size - written);
        if (now < 0 || (now == 0 && size != 0) || static_cast<size_t>(now) > size - written)
            return written > 0 ? static_cast<int>(written) : -1;
        written += static_cast<size_t>(now);
    } while (written < size);
    return static_cast<int>(written);
}

} // namespace

int ombrel_open_ctx_stream(int handle, const char* source, const char* mode, int debug) {
    return open_stream(handle, "source", source, mode, debug);
}

int ombrel_open_ctx_stream_fd(int handle, int fd, const char* mode, int debug) {
    return open_stream(handle, "fd", number_text(fd).get(), mode, debug);
}

int ombrel_ctx_is_readable(int handle, int timeout_ms) {
    return forward(handle, &v0_interface::m_is_readable, timeout_ms);
}

int ombrel_ctx_read(int handle, void* buffer, size_t size) {
    return forward_if(is_block(buffer, size), handle, &v0_interface::m_read, buffer, clip(size));
}

int ombrel_ctx_is_writable(int handle, int timeout_ms) {
    return forward(handle, &v0_interface::m_is_writable, timeout_ms);
}

int ombrel_ctx_write(int handle, const void* buffer, size_t size) {
    return forward_if(is_block(buffer, size), handle, &v0_interface::m_write, buffer, clip(size));
}

int ombrel_ctx_puts(int handle, const char* text) {
    const char* bytes = text != nullptr ? text : "";
    return write_all(handle, bytes, clip(strlen(bytes)));
}

int ombrel_ctx_vprintf(int handle, const char* format, va_list args) {
    const heap_ptr<char> text = format_text(format, args, "ombrel_ctx_vprintf");
    return text ? ombrel_ctx_puts(handle, text.get()) : fail<int>(handle, def_ombrel_ctx_error_no_memory);
}

int ombrel_ctx_printf(int handle, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = ombrel_ctx_vprintf(handle, format, args);
    va_end(args);
    return result;
}

int64_t ombrel_ctx_seek(int handle, int64_t offset, int whence) {
    return forward(handle, &v0_interface::m_seek, offset, whence);
}

int ombrel_ctx_rewind(int handle) {
    return ombrel_ctx_seek(handle, 0, def_ombrel_ctx_seek_set) == 0 ? 0 : -1;
}

int ombrel_ctx_sync(int handle) {
    return forward(handle, &v0_interface::m_sync);
}
