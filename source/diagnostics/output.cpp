#include <ombrel/output.h>

#include <atomic>
#include <cstdint>
#include <cstdio>

#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/error_text.h"
#include "core/heap_ptr.h"
#include "platform/library_loader.h"
#include "platform/terminal.h"

using namespace ombrel;

namespace {

constexpr uint32_t unknown = ~uint32_t{0};

struct channel {
    const char* name;
    int descriptor;
    ombrel_puts_handler_t built_in;
    std::atomic<ombrel_puts_handler_t> handler;
    std::atomic<uint32_t> keeps_escapes = unknown;
};

channel output{"ombrel_puts", 1, ombrel_puts, ombrel_puts};
channel error_output{"ombrel_error_puts", 2, ombrel_error_puts, ombrel_error_puts};

bool keeps_escapes(channel& to) {
    uint32_t flag = to.keeps_escapes.load(std::memory_order_relaxed);
    if (flag == unknown) {
        flag = platform::is_terminal(to.descriptor) && platform::terminal_renders_escapes() ? 1 : 0;
        to.keeps_escapes.store(flag, std::memory_order_relaxed);
    }
    return flag != 0;
}

// The handler that the application installed, or null.
ombrel_puts_handler_t installed_handler(const channel& of) {
    const ombrel_puts_handler_t handler = of.handler.load(std::memory_order_relaxed);
    return handler != of.built_in ? handler : nullptr;
}

unsigned write(const channel& to, FILE* stream, const char* text) {
    if (platform::has_own_encoding(to.descriptor) && fflush(stream) == 0 &&
        platform::write_terminal(to.descriptor, text))
        return 0;
    return static_cast<unsigned>(fputs(text, stream));
}

unsigned put(channel& to, FILE* stream, const char* text) {
    if (const ombrel_puts_handler_t handler = installed_handler(to))
        return handler(text);
    const bool keep = keeps_escapes(to);
    if (text == nullptr) {
        fflush(stream);
        return 0;
    }
    if (keep)
        return write(to, stream, text);
    // A text without escapes is copied too, and lost without memory for the copy: meant so.
    const heap_ptr<char> copy(ombrel_strdup_tag(text, to.name, __LINE__));
    return copy ? write(to, stream, ombrel_strip_ansi_code(copy.get())) : 0;
}

int set_handler(channel& of, ombrel_puts_handler_t handler, ombrel_puts_handler_t* old) {
    void* const own = platform::behind_import(reinterpret_cast<void*>(handler));
    const ombrel_puts_handler_t before =
        of.handler.exchange(reinterpret_cast<ombrel_puts_handler_t>(own), std::memory_order_relaxed);
    if (old != nullptr)
        *old = before;
    return 0;
}

unsigned put_formatted(ombrel_puts_handler_t way, const char* format, va_list ap) {
    const heap_ptr<char> text(format != nullptr ? ombrel_alloc_vsprintf(format, ap) : nullptr);
    return text ? way(text.get()) : 0;
}

} // namespace

void ombrel::put_error_without_memory(char* text) {
    if (const ombrel_puts_handler_t handler = installed_handler(error_output))
        handler(text);
    else
        write(error_output, stderr, keeps_escapes(error_output) ? text : ombrel_strip_ansi_code(text));
}

int ombrel_set_puts_handler(ombrel_puts_handler_t handler, ombrel_puts_handler_t* old) {
    return set_handler(output, handler, old);
}

int ombrel_set_error_puts_handler(ombrel_puts_handler_t handler, ombrel_puts_handler_t* old) {
    return set_handler(error_output, handler, old);
}

unsigned ombrel_puts(const char* text) {
    return put(output, stdout, text);
}

unsigned ombrel_error_puts(const char* text) {
    return put(error_output, stderr, text);
}

unsigned ombrel_quiet_puts(const char*) {
    return 0;
}

unsigned ombrel_log_puts(const char* text) {
    return ombrel_printf("%s\n", text);
}

unsigned ombrel_log_puts_tag(const char* text) {
    return ombrel_log_puts(text);
}

unsigned ombrel_vprintf(const char* format, va_list ap) {
    return put_formatted(ombrel_puts, format, ap);
}

unsigned ombrel_printf(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const unsigned result = ombrel_vprintf(format, ap);
    va_end(ap);
    return result;
}

unsigned ombrel_log_vprintf(const char* format, va_list ap) {
    return put_formatted(ombrel_log_puts, format, ap);
}

unsigned ombrel_log_printf(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const unsigned result = ombrel_log_vprintf(format, ap);
    va_end(ap);
    return result;
}

unsigned ombrel_error_vprintf(const char* format, va_list ap) {
    return put_formatted(ombrel_error_puts, format, ap);
}

unsigned ombrel_error_printf(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const unsigned result = ombrel_error_vprintf(format, ap);
    va_end(ap);
    return result;
}
