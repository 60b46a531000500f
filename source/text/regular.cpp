#include <ombrel/regular.h>

#include <cstring>

#include <ombrel/printf.h>
#include <ombrel/scan.h>

#include "text/regular_internal.h"
#include "text/regular_matcher.h"
#include "text/regular_tracer.h"

using namespace ombrel::regular;

namespace {

constexpr int slots_of_extraction = 20;

int match(expression& program, unsigned flags, const char* pattern, const char* subject, int length,
          ombrel_regular_capture_t* captures, int slots) {
    for (int i = 0; captures != nullptr && i < slots; i++)
        captures[i] = {nullptr, 0};
    const int error = compile(program, flags, pattern != nullptr ? pattern : "");
    if (error != 0)
        return error;
    length = subject != nullptr && length > 0 ? length : 0;
    matcher finder(program, subject, length);
    const int start = finder.search();
    if (captures != nullptr) {
        tracer trace(program, finder, subject, captures, slots);
        if (!trace.follow(start, program.m_anchored != 0 ? 1 : length))
            return def_ombrel_regular_few_slots;
    }
    return start != nowhere ? def_ombrel_regular_match : def_ombrel_regular_no_match;
}

// The scanner's view of a capture, which has no terminator.
struct capture_reader {
    const char* cursor;
    const char* end;
};

int peek_capture(void* context) {
    const auto* reader = static_cast<const capture_reader*>(context);
    return reader->cursor < reader->end ? static_cast<unsigned char>(*reader->cursor) : 0;
}

int pop_capture(void* context) {
    const int character = peek_capture(context);
    auto* reader = static_cast<capture_reader*>(context);
    if (reader->cursor < reader->end)
        reader->cursor++;
    return character;
}

int scan_capture(const ombrel_regular_capture_t& capture, const char* format, ...) {
    capture_reader reader{capture.m_start, capture.m_start + capture.m_length};
    va_list args;
    va_start(args, format);
    const int fields = ombrel_context_scanf(peek_capture, pop_capture, &reader, format, args);
    va_end(args);
    return fields;
}

int take_string(const ombrel_regular_capture_t& capture, int size, void* destination) {
    if (size <= capture.m_length)
        return def_ombrel_regular_string_size;
    const auto length = static_cast<size_t>(capture.m_length);
    auto* text = static_cast<char*>(destination);
    if (length > 0)
        memcpy(text, capture.m_start, length);
    text[length] = '\0';
    return 0;
}

int take_integer(const ombrel_regular_capture_t& capture, int size, void* destination) {
    // The two short sizes name no conversion, so that their scans always fail: meant so.
    constexpr struct {
        int size;
        const char* suffix;
    } suffixes[] = {{1, "hh"}, {2, "h"}, {4, "d"}, {8, "lld"}};
    for (const auto& known : suffixes) {
        if (known.size != size)
            continue;
        char format[32];
        ombrel_snprintf(format, sizeof format, "%%%lu%s", static_cast<unsigned long>(capture.m_length),
                        known.suffix);
        return scan_capture(capture, format, destination) == 1 ? 0 : def_ombrel_regular_integer;
    }
    return def_ombrel_regular_integer_size;
}

int take_capture(const ombrel_regular_capture_t& capture, int type, int size, void* destination) {
    switch (type) {
    case def_ombrel_regular_type_string:
        return take_string(capture, size, destination);
    case def_ombrel_regular_type_integer:
        return take_integer(capture, size, destination);
    default:
        return def_ombrel_regular_capture_type;
    }
}

} // namespace

int ombrel_regular_match(unsigned flags, const char* pattern, const char* subject, int length,
                         ombrel_regular_capture_t* captures, int capture_slots) {
    expression program;
    return match(program, flags, pattern, subject, length, captures, capture_slots);
}

int ombrel_regular(unsigned flags, const char* pattern, const char* subject, int length, ...) {
    expression program;
    // A group without a slot can still stand in an alternative that was not tried: it reads as empty.
    ombrel_regular_capture_t captures[most_captures] = {};
    const int result = match(program, flags, pattern, subject, length, captures, slots_of_extraction);
    if (result != 0)
        return result;
    va_list args;
    va_start(args, length);
    const int extracted = ombrel_regular_vcapture(captures + 1, program.m_capture_count, args);
    va_end(args);
    return extracted;
}

int ombrel_regular_capture(const ombrel_regular_capture_t* captures, int count, ...) {
    va_list args;
    va_start(args, count);
    const int result = ombrel_regular_vcapture(captures, count, args);
    va_end(args);
    return result;
}

int ombrel_regular_vcapture(const ombrel_regular_capture_t* captures, int count, va_list args) {
    int result = 0;
    // The last result is the answer, whatever the earlier ones were: meant so.
    for (int i = 0; i < count; i++) {
        const int type = va_arg(args, int);
        const int size = va_arg(args, int);
        void* destination = va_arg(args, void*);
        result = take_capture(captures[i], type, size, destination);
    }
    return result;
}
