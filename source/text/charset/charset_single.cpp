// Sets of one byte.
#include <algorithm>
#include <iterator>

#include "text/charset/charset_form.h"
#include "text/charset/charset_loops.h"

namespace ombrel {

namespace {

constexpr decoded_character wrong_byte = {0, 1, decode_stop::wrong};

// The characters 80 to 9F of windows-1252; 0 for none.
constexpr uint16_t windows_1252_codes[] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,
};

decoded_character get_windows_1252(const uint8_t* from, size_t /* size */) {
    if (*from >= 0xA0)
        return {*from, 1};
    const uint16_t code = windows_1252_codes[*from - 0x80];
    return code != 0 ? decoded_character{code, 1} : wrong_byte;
}

size_t put_windows_1252(uint32_t code, uint8_t* to) {
    if (code >= 0xA0 && code <= 0xFF)
        return *to = static_cast<uint8_t>(code), 1;
    const auto* const place = std::find(std::begin(windows_1252_codes), std::end(windows_1252_codes), code);
    *to = static_cast<uint8_t>(0x80 + (place - windows_1252_codes));
    return place != std::end(windows_1252_codes) ? 1 : 0;
}

} // namespace

decode_result decode_us_ascii(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_ascii_based(from, end, to, to_end, [](const uint8_t*, size_t) { return wrong_byte; });
}

encode_result encode_us_ascii(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, [](uint32_t, uint8_t*) { return size_t{0}; });
}

decode_result decode_latin_1(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    const auto count = std::min(end - from, to_end - to);
    return {from + count, std::copy_n(from, count, to)};
}

encode_result encode_latin_1(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, [](uint32_t code, uint8_t* byte) {
        *byte = static_cast<uint8_t>(code);
        return size_t{code <= 0xFF};
    });
}

decode_result decode_windows_1252(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_ascii_based(from, end, to, to_end, get_windows_1252);
}

encode_result encode_windows_1252(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, put_windows_1252);
}

} // namespace ombrel
