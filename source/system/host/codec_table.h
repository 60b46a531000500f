// The names of codecs, as data.
#pragma once

#include <cstdint>
#include <span>

#include <ombrel/codec_name.h>

namespace ombrel::system {

/// The number of four characters: the first is its lowest byte.
constexpr uint32_t fourcc_of(const char* characters) {
    uint32_t code = 0;
    for (unsigned i = 0; i < 4; i++)
        code |= uint32_t{static_cast<unsigned char>(characters[i])} << (8 * i);
    return code;
}

/// The order of codes by their characters, and of tags.
constexpr uint32_t fourcc_order(uint32_t code) {
    return __builtin_bswap32(code);
}
constexpr uint32_t tag_order(uint32_t tag) {
    return tag;
}

std::span<const ombrel_codec_t> all_audio_codecs();
std::span<const ombrel_codec_t> all_video_codecs();

} // namespace ombrel::system
