#include "encoding/kernels/base64.h"

namespace ombrel::encoding {

void encode_base64_plain(char* text, const unsigned char* bytes, size_t groups,
                         const base64_alphabet& alphabet) {
    const auto& characters = alphabet.characters;
    for (; groups > 0; groups--, bytes += 3, text += 4) {
        text[0] = characters[bytes[0] >> 2];
        text[1] = characters[(bytes[0] << 4 | bytes[1] >> 4) & 63];
        text[2] = characters[(bytes[1] << 2 | bytes[2] >> 6) & 63];
        text[3] = characters[bytes[2] & 63];
    }
}

size_t decode_base64_plain(unsigned char* bytes, const unsigned char* text, size_t groups) {
    size_t made = 0;
    for (; made < groups; made++, text += 4, bytes += 3) {
        const uint32_t a = base64_values[text[0]], b = base64_values[text[1]], c = base64_values[text[2]],
                       d = base64_values[text[3]];
        if ((a | b | c | d) == base64_no_value)
            break;
        bytes[0] = static_cast<unsigned char>(a << 2 | b >> 4);
        bytes[1] = static_cast<unsigned char>(b << 4 | c >> 2);
        bytes[2] = static_cast<unsigned char>(c << 6 | d);
    }
    return made;
}

} // namespace ombrel::encoding
