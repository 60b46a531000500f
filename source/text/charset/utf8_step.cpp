#include "text/charset/utf8_step.h"

#include <ombrel/utf8.h>

#include "core/fault.h"

using namespace ombrel;

namespace {

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

void put_code(uint32_t* code, uint32_t value) {
    if (code != nullptr)
        *code = value;
}

bool is_place(const char* text, size_t size, const size_t* offset) {
    return (text != nullptr || size == 0) && offset != nullptr && *offset <= size;
}

/// The n-th character's place in what is valid, which has as many.
size_t place_in_valid(const char* text, size_t size, size_t index) {
    // Blocks are counted as a whole until the one that it lies in.
    constexpr size_t block = 256;
    size_t at = 0;
    while (size - at > block) {
        const size_t count = utf8_count(text + at, block);
        if (count > index)
            break;
        index -= count;
        at += block;
    }
    for (; at < size; at++)
        if (!is_utf8_continuation(text[at]) && index-- == 0)
            break;
    return at;
}

} // namespace

int64_t ombrel_utf8_count(const char* text, size_t size) {
    if (text == nullptr && size > 0)
        return refuse(fault_code::invalid);
    size_t count = 0;
    for_each_part(
        text, size, [&](size_t at, size_t length) { count += utf8_count(text + at, length); },
        [&](size_t, size_t) { count++; });
    return static_cast<int64_t>(count);
}

int ombrel_utf8_next(const char* text, size_t size, size_t* offset, uint32_t* code) {
    if (!is_place(text, size, offset))
        return refuse(fault_code::invalid);
    if (*offset == size)
        return 0;
    const utf8_reading reading = read_utf8(text + *offset, size - *offset);
    *offset += reading.size;
    put_code(code, reading.code);
    return 1;
}

int ombrel_utf8_previous(const char* text, size_t size, size_t* offset, uint32_t* code) {
    if (!is_place(text, size, offset))
        return refuse(fault_code::invalid);
    if (*offset == 0)
        return 0;
    *offset = utf8_beginning(text, size, *offset);
    put_code(code, read_utf8(text + *offset, size - *offset).code);
    return 1;
}

int64_t ombrel_utf8_find_character(const char* text, size_t size, int64_t index) {
    if ((text == nullptr && size > 0) || index < 0)
        return refuse(fault_code::invalid);
    uint64_t left = static_cast<uint64_t>(index);
    size_t at = 0;
    while (at < size && left > 0) {
        const size_t valid = utf8_run(text + at, size - at);
        const size_t count = utf8_count(text + at, valid);
        if (left < count)
            return static_cast<int64_t>(at + place_in_valid(text + at, valid, static_cast<size_t>(left)));
        left -= count;
        at += valid;
        if (at < size && left > 0) {
            at += utf8_flaw_at(text + at, size - at).size;
            left--;
        }
    }
    return left == 0 ? static_cast<int64_t>(at) : refuse(fault_code::not_found);
}

int64_t ombrel_utf8_fit(const char* text, size_t size, size_t limit) {
    if (text == nullptr && size > 0)
        return refuse(fault_code::invalid);
    return static_cast<int64_t>(utf8_fit(text, size, limit));
}
