#include "text/charset/charset_form.h"

#include <iterator>

namespace ombrel {

namespace {

constexpr charset_form forms[] = {
    {},
    {decode_us_ascii, encode_us_ascii, nullptr, 1, true, false},
    {decode_latin_1, encode_latin_1, nullptr, 1, true, false},
    {decode_windows_1252, encode_windows_1252, nullptr, 1, true, false},
    {decode_utf_8, encode_utf_8, nullptr, 1, true, false},
    {decode_utf_16le, encode_utf_16le, nullptr, 2, false, true},
    {decode_utf_16le, encode_utf_16le, nullptr, 2, false, false},
    {decode_utf_16be, encode_utf_16be, nullptr, 2, false, false},
    {decode_utf_32le, encode_utf_32le, nullptr, 4, false, true},
    {decode_utf_32le, encode_utf_32le, nullptr, 4, false, false},
    {decode_utf_32be, encode_utf_32be, nullptr, 4, false, false},
    {decode_euc_kr, encode_euc_kr, utf_8_to_euc_kr, 1, true, false},
    {decode_cp949, encode_cp949, utf_8_to_cp949, 1, true, false},
    {decode_shift_jis, encode_shift_jis, utf_8_to_shift_jis, 1, true, false},
    {decode_cp932, encode_cp932, utf_8_to_shift_jis, 1, true, false},
    {decode_euc_jp, encode_euc_jp, utf_8_to_euc_jp, 1, true, false},
};
static_assert(std::size(forms) == def_ombrel_charset_count + 1);

} // namespace

const charset_form* find_charset_form(int charset) {
    return charset >= 1 && charset <= def_ombrel_charset_count ? &forms[charset] : nullptr;
}

decoded_character decode_one(const charset_form& form, const uint8_t* bytes, size_t size) {
    uint32_t code = 0;
    const decode_result found = form.decode(bytes, bytes + size, &code, &code + 1);
    if (found.to == &code)
        return {0, found.wrong, found.stop};
    return {code, static_cast<uint8_t>(found.from - bytes)};
}

size_t encode_one(const charset_form& form, uint32_t code, uint8_t* bytes) {
    if (!is_scalar_value(code))
        return 0;
    const encode_result found =
        form.encode(&code, &code + 1, bytes, bytes + def_ombrel_charset_character_limit);
    return static_cast<size_t>(found.to - bytes);
}

} // namespace ombrel
