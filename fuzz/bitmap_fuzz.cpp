// Bitmaps of any shape, and a rectangle that is put, turned or scaled from one to another: what is written to
// a part of the target must be what it is in the whole, and nothing around the target changes.

#include <algorithm>
#include <vector>

#include <ombrel/bitmap_transform.h>
#include <ombrel/color.h>

#include "support/byte_source.h"

namespace {

constexpr uint32_t interfaces[] = {0x31,     0x2121,     0x21212121, 0xF8,       0x425363,
                                   0x455665, 0x485868,   0x8485868,  0x18485868, 0x18685848,
                                   0x788898, 0x44145464, 0x14445464, 0x19485768, 0x545868};

// A bitmap whose memory ends with it.
struct picture {
    ombrel_bitmap_t record{};
    std::vector<unsigned char> memory;

    explicit picture(byte_source& input) {
        const uint32_t color_interface = interfaces[input.number(std::size(interfaces))];
        record = {nullptr, color_interface, 1u + input.number(90), 1u + input.number(12), 0, 0, 0, 0};
        record.m_line_length = static_cast<uint32_t>(
            (record.m_resx * ombrel_color_interface_to_bits_per_pixel(color_interface) + 7) / 8 +
            input.number(3));
        record.m_flags = (input.byte() & 7u) << 15; // key, window alpha, pixel alpha
        record.m_alpha_window = input.byte() * 2u;
        record.m_ccolor = input.byte() * 0x01010101u;
        memory.resize(size_t{record.m_line_length} * record.m_resy);
        uint32_t state = input.byte();
        for (unsigned char& byte : memory) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<unsigned char>(state >> 24 &
                                              (state >> 16 & 1 ? 255 : 0)); // meets the key 0 often
        }
        record.m_map = memory.data();
    }
    picture(const picture& other) : record(other.record), memory(other.memory) {
        record.m_map = memory.data();
    }
};

struct transform {
    int32_t to_x, to_y, from_x, from_y;
    uint32_t to_w, to_h, from_w, from_h;
    uint32_t kind, method, mode;

    explicit transform(byte_source& input)
        : to_x(place(input)), to_y(place(input)), from_x(place(input)), from_y(place(input)),
          to_w(length(input)), to_h(length(input)), from_w(length(input)), from_h(length(input)),
          kind(input.number(3)), method(input.number(9)), mode(input.number(3)) {}

    int run(ombrel_bitmap_t* to, int32_t x, int32_t y, const ombrel_bitmap_t* from) const {
        switch (kind) {
        case 0:
            return ombrel_bitmap_put(to, x, y, from, from_x, from_y, from_w, from_h, mode);
        case 1:
            return ombrel_bitmap_put_turned(to, x, y, from, from_x, from_y, from_w, from_h, method, mode);
        default:
            return ombrel_bitmap_put_scaled(to, x, y, to_w, to_h, from, from_x, from_y, from_w, from_h,
                                            method, mode);
        }
    }

private:
    static int32_t place(byte_source& input) { return static_cast<int8_t>(input.byte()) / 2; }
    static uint32_t length(byte_source& input) {
        constexpr uint32_t large[] = {65535, 65536, 0x7FFFFFFF, 0xFFFFFFFF};
        const uint32_t byte = input.byte();
        return byte < 252 ? byte : large[byte - 252];
    }
};

void compare(const ombrel_bitmap_t& whole, uint32_t x, uint32_t y, const ombrel_bitmap_t& part) {
    for (uint32_t j = 0; j < part.m_resy; j++)
        for (uint32_t i = 0; i < part.m_resx; i++)
            require(ombrel_bitmap_get_pixel(&whole, x + i, y + j) == ombrel_bitmap_get_pixel(&part, i, j),
                    "a part");
}

void put_in_parts(const picture& from, const picture& to, const transform& work, byte_source& input) {
    picture whole = to, parts = to;
    const int result = work.run(&whole.record, work.to_x, work.to_y, &from.record);
    require(result == 0 || whole.memory == to.memory, "nothing is written by what fails");
    const uint32_t x = input.number(to.record.m_resx), y = input.number(to.record.m_resy);
    ombrel_bitmap_t part;
    if (ombrel_init_bitmap_part(&part, &parts.record, x, y, 1 + input.number(to.record.m_resx - x),
                                1 + input.number(to.record.m_resy - y)) != 0)
        return;
    work.run(&part, work.to_x - static_cast<int32_t>(x), work.to_y - static_cast<int32_t>(y), &from.record);
    compare(whole.record, x, y, part);
}

void put_within_one(const picture& one, const transform& work) {
    picture apart = one, shared = one;
    const int result = work.run(&apart.record, work.to_x, work.to_y, &one.record);
    require(result == work.run(&shared.record, work.to_x, work.to_y, &shared.record), "result");
    require(apart.memory == shared.memory, "shared memory");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source input(data, size);
    const picture from(input), to(input);
    const transform work(input);
    put_in_parts(from, to, work, input);
    put_within_one(to, work);
    return 0;
}
