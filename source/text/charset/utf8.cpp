#include <ombrel/utf8.h>

#include "core/fault.h"
#include "text/charset/utf8_sequence.h"

using namespace ombrel;

int ombrel_utf8_character_decode(const char* text, size_t size, uint32_t* code) {
    if (text == nullptr)
        return -1;
    if (size == 0)
        return 0;
    const utf8_reading reading = read_utf8(text, size);
    if (reading.kind != utf8_reading::valid)
        return -1;
    if (code != nullptr)
        *code = reading.code;
    return reading.size;
}

int ombrel_utf8_character_encode(uint32_t code, char* text, size_t size) {
    const size_t needed = utf8_size(code);
    const bool is_fitting = text == nullptr || needed <= size;
    if (!is_scalar_value(code) || !is_fitting) {
        leave_fault(is_fitting ? fault_code::invalid : fault_code::too_large);
        return -1;
    }
    if (text != nullptr)
        put_utf8(code, text);
    return static_cast<int>(needed);
}
