#include <ombrel/color.h>

#include <algorithm>
#include <array>

#include "graphics/pixel/palette_data.h"

namespace {

using namespace ombrel::graphics;

constexpr int field_count = 4;

// One of the four fields of a colour interface.
struct field {
    unsigned kind, bits;
};

constexpr field field_at(uint32_t color_interface, int index) {
    const uint32_t code = color_interface >> (8 * index);
    return {code >> 4 & 0xF, code & 0xF};
}

using channels = std::array<uint8_t, 16>; // indexed by kind

constexpr bool is_yuv(uint32_t color_interface) {
    for (int i = 0; i < field_count; i++) {
        const unsigned kind = field_at(color_interface, i).kind;
        if (kind >= def_ombrel_color_channel_luma && kind <= def_ombrel_color_channel_chroma_v)
            return true;
    }
    return false;
}

constexpr uint32_t swap_red_and_blue(uint32_t color) {
    return (color & 0xFF00FF00) | (color & 0xFF) << 16 | (color >> 16 & 0xFF);
}

constexpr bool is_rgb_in_bytes(uint32_t color_interface) {
    return color_interface == def_ombrel_color_interface_xrgb8888 ||
           color_interface == def_ombrel_color_interface_rgb888;
}

constexpr bool is_bgr_in_bytes(uint32_t color_interface) {
    return color_interface == def_ombrel_color_interface_xbgr8888 ||
           color_interface == def_ombrel_color_interface_bgr888;
}

bool convert_from_565(uint32_t to, uint32_t color, uint32_t& result) {
    const uint32_t widened = (color & 0xF800) << 8 | (color & 0x7E0) << 5 | (color & 0x1F) << 3;
    if (to == def_ombrel_color_interface_argb8888)
        result = widened | 0xFF000000;
    else if (is_rgb_in_bytes(to))
        result = widened;
    else if (to == def_ombrel_color_interface_rgb233)
        // It reads 2-3-3 bits and spreads them to the top of bytes, whatever the interfaces say: meant so.
        result = (color & 0xC0) << 16 | (color & 0x38) << 10 | (color & 0x7) << 5;
    else
        return false;
    return true;
}

bool convert_from_rgb_bytes(uint32_t to, uint32_t from, uint32_t color, uint32_t& result) {
    const bool has_alpha = from == def_ombrel_color_interface_argb8888;
    if (has_alpha && is_rgb_in_bytes(to))
        result = color & 0xFFFFFF;
    else if (!has_alpha && to == def_ombrel_color_interface_argb8888)
        result = color | 0xFF000000;
    else if (to == def_ombrel_color_interface_rgb565)
        result = (color >> 8 & 0xF800) | (color >> 5 & 0x7E0) | (color >> 3 & 0x1F);
    else if (to == def_ombrel_color_interface_rgb233)
        result = (color >> 16 & 0xC0) | (color >> 10 & 0x38) | (color >> 5 & 0x7);
    else
        return false;
    return true;
}

bool convert_from_bgr_bytes(uint32_t to, uint32_t from, uint32_t color, uint32_t& result) {
    const uint32_t swapped = swap_red_and_blue(color);
    if (is_rgb_in_bytes(to))
        result = swapped & 0xFFFFFF;
    else if (to == def_ombrel_color_interface_argb8888)
        result = from == def_ombrel_color_interface_abgr8888 ? swapped : swapped | 0xFF000000;
    else
        return false;
    return true;
}

bool convert_directly(uint32_t to, uint32_t from, uint32_t color, uint32_t& result) {
    if (from == def_ombrel_color_interface_rgb565)
        return convert_from_565(to, color, result);
    if (from == def_ombrel_color_interface_argb8888 || is_rgb_in_bytes(from))
        return convert_from_rgb_bytes(to, from, color, result);
    if (from == def_ombrel_color_interface_abgr8888 || is_bgr_in_bytes(from))
        return convert_from_bgr_bytes(to, from, color, result);
    return false;
}

void set_rgb(channels& slot, uint32_t rgb) {
    slot[def_ombrel_color_channel_red] = static_cast<uint8_t>(rgb >> 16);
    slot[def_ombrel_color_channel_green] = static_cast<uint8_t>(rgb >> 8);
    slot[def_ombrel_color_channel_blue] = static_cast<uint8_t>(rgb);
}

channels unpack_fields(uint32_t from, uint32_t color, channels slot) {
    uint64_t rest = color; // wider than the fields of any code together
    for (int i = 0; i < field_count; i++) {
        const field part = field_at(from, i);
        const auto value = static_cast<uint32_t>(rest & ((1u << part.bits) - 1));
        if (part.bits > 0)
            slot[part.kind] =
                static_cast<uint8_t>(part.bits <= 8 ? value << (8 - part.bits) : value >> (part.bits - 8));
        rest >>= part.bits;
    }
    return slot;
}

channels unpack(uint32_t from, uint32_t color) {
    constexpr uint32_t white_entry = 15;
    channels slot{};
    slot[def_ombrel_color_channel_alpha] = 0xFF;
    switch (from) {
    case def_ombrel_color_interface_grey1:
        if (color != 0)
            set_rgb(slot, default_palette[white_entry]);
        return slot;
    case def_ombrel_color_interface_palette2:
    case def_ombrel_color_interface_palette4:
    case def_ombrel_color_interface_palette8:
        set_rgb(slot, default_palette[color & 0xFF]);
        return slot;
    default:
        return unpack_fields(from, color, slot);
    }
}

uint32_t pack(uint32_t to, const channels& slot) {
    uint64_t result = 0;
    unsigned shift = 0;
    for (int i = 0; i < field_count; i++) {
        const field part = field_at(to, i);
        const uint64_t value = slot[part.kind];
        result |= (part.bits <= 8 ? value >> (8 - part.bits) : value << (part.bits - 8)) << shift;
        shift += part.bits;
    }
    return static_cast<uint32_t>(result);
}

void luma_to_rgb(channels& slot) {
    const int y = slot[def_ombrel_color_channel_luma];
    const int u = slot[def_ombrel_color_channel_chroma_u] - 128;
    const int v = slot[def_ombrel_color_channel_chroma_v] - 128;
    // No sum is clamped, and blue adds luma where chroma U might be expected: meant so.
    slot[def_ombrel_color_channel_red] = static_cast<uint8_t>(y + v * 91881 / 65536);
    slot[def_ombrel_color_channel_green] = static_cast<uint8_t>(y - u * 22554 / 65536 - v * 46802 / 65536);
    slot[def_ombrel_color_channel_blue] = static_cast<uint8_t>(y + y * 116130 / 65536);
}

void rgb_to_luma(channels& slot) {
    const int r = slot[def_ombrel_color_channel_red];
    const int g = slot[def_ombrel_color_channel_green];
    const int b = slot[def_ombrel_color_channel_blue];
    const auto byte = [](int sum) { return static_cast<uint8_t>(std::clamp(sum, 0, 255)); };
    slot[def_ombrel_color_channel_luma] = byte((r * 19595 >> 16) + (g * 38470 >> 16) + (b * 7471 >> 16));
    slot[def_ombrel_color_channel_chroma_u] = byte(-(r * 11059 >> 16) - (g * 21709 >> 16) + b / 2 + 128);
    slot[def_ombrel_color_channel_chroma_v] = byte(r / 2 - (g * 27439 >> 16) - (b * 5329 >> 16) + 128);
}

} // namespace

unsigned int ombrel_color_interface_to_bits_per_pixel(uint32_t color_interface) {
    unsigned bits = 0;
    for (int i = 0; i < field_count; i++)
        bits += field_at(color_interface, i).bits;
    return bits;
}

uint32_t ombrel_bits_per_pixel_to_color_interface(unsigned int bits_per_pixel) {
    switch (bits_per_pixel) {
    case 1:
        return def_ombrel_color_interface_grey1;
    case 2:
        return def_ombrel_color_interface_palette2;
    case 4:
        return def_ombrel_color_interface_palette4;
    case 8:
        return def_ombrel_color_interface_palette8;
    case 16:
        return def_ombrel_color_interface_rgb565;
    case 24:
        return def_ombrel_color_interface_rgb888;
    case 32:
        return def_ombrel_color_interface_argb8888;
    default:
        return 0;
    }
}

char* ombrel_color_interface_name(char* buffer, uint32_t color_interface) {
    if (buffer == nullptr)
        return nullptr;
    for (int i = 0; i < field_count; i++) {
        const field part = field_at(color_interface, field_count - 1 - i);
        buffer[i] = "dAPgRGBYuvxxxxxp"[part.kind];
        // From 10 on 'A' + bits, so that 10 is 'K': meant so.
        buffer[field_count + i] = static_cast<char>((part.bits < 10 ? '0' : 'A') + part.bits);
    }
    buffer[2 * field_count] = '\0';
    return buffer;
}

uint32_t ombrel_convert_color(uint32_t to_interface, uint32_t from_interface, uint32_t color) {
    uint32_t result = color;
    if (to_interface == from_interface || convert_directly(to_interface, from_interface, color, result))
        return result;
    channels slot = unpack(from_interface, color);
    if (is_yuv(from_interface) != is_yuv(to_interface)) {
        if (is_yuv(from_interface))
            luma_to_rgb(slot);
        else
            rgb_to_luma(slot);
    }
    return pack(to_interface, slot);
}
