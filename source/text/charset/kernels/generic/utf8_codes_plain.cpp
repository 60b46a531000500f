#include "text/charset/kernels/utf8_codes.h"
#include "text/charset/utf8_sequence.h"

namespace ombrel::charset {

utf8_progress unpack_utf8_plain(uint32_t* codes, size_t room, const char* text, size_t size) {
    const char* at = text;
    size_t count = 0;
    while (at < text + size && count < room)
        codes[count++] = take_valid_utf8(at);
    return {static_cast<size_t>(at - text), count};
}

utf8_progress pack_utf8_plain(char* text, size_t room, const uint32_t* codes, size_t count) {
    size_t used = 0, made = 0;
    for (; used < count && utf8_size(codes[used]) <= room - made; used++)
        made += put_utf8(codes[used], text + made);
    return {made, used};
}

} // namespace ombrel::charset
