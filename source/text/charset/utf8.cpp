#include <ombrel/utf8.h>

#include <array>

namespace {

// The characters of one length: how their first byte looks, and the least code that needs so many bytes.
struct sequence_form {
    uint8_t mask, lead;
    uint32_t least;
};

constexpr std::array<sequence_form, 4> forms = {{
    {0x80, 0x00, 0},
    {0xE0, 0xC0, 0x80},
    {0xF0, 0xE0, 0x800},
    {0xF8, 0xF0, 0x10000},
}};

constexpr bool is_continuation(uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

constexpr bool is_scalar_value(uint32_t code) {
    return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

size_t sequence_length(uint8_t first) {
    for (size_t i = 0; i < forms.size(); i++)
        if ((first & forms[i].mask) == forms[i].lead)
            return i + 1;
    return 0;
}

} // namespace

int ombrel_utf8_character_decode(const char* text, size_t size, uint32_t* code) {
    if (text == nullptr)
        return -1;
    if (size == 0)
        return 0;
    const auto* bytes = reinterpret_cast<const uint8_t*>(text);
    const size_t length = sequence_length(bytes[0]);
    if (length == 0 || length > size)
        return -1;
    const sequence_form& form = forms[length - 1];
    uint32_t value = bytes[0] & ~form.mask & 0xFFu;
    for (size_t i = 1; i < length; i++) {
        if (!is_continuation(bytes[i]))
            return -1;
        value = value << 6 | (bytes[i] & 0x3Fu);
    }
    if (value < form.least || !is_scalar_value(value))
        return -1;
    if (code != nullptr)
        *code = value;
    return static_cast<int>(length);
}
