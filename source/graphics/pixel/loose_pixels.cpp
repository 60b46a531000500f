#include "graphics/pixel/loose_pixels.h"

#include "graphics/pixel/pixel.h"

namespace ombrel::graphics {

namespace {

template<unsigned bytes>
void gather_pixels(unsigned char* to, const unsigned char* row, const uint32_t* columns, size_t count) {
    for (size_t i = 0; i < count; i++)
        store_pixel<bytes>(to + i * bytes, load_pixel<bytes>(row + size_t{columns[i]} * bytes));
}

} // namespace

void loose_reader::gather(unsigned char* to, int64_t y, const uint32_t* columns, size_t count) const {
    const unsigned char* const row = row_at(from_, y);
    if (packed()) {
        for (size_t i = 0; i < count; i++)
            to[i] = load_packed(row, bits_, columns[i]);
        return;
    }
    if (bytes_ == 4)
        return kernels().gather32(to, row, columns, count);
    (bytes_ == 3   ? gather_pixels<3>
     : bytes_ == 2 ? gather_pixels<2>
                   : gather_pixels<1>)(to, row, columns, count);
}

void loose_writer::write_packed(int64_t x, int64_t y, const unsigned char* pixels, size_t count) const {
    packed_room room;
    unsigned char* const row = row_at(to_, y);
    for (size_t now; count > 0; count -= now, x += static_cast<int64_t>(now)) {
        now = std::min(count, packed_chunk);
        unpack(room.data(), row, bits_, static_cast<size_t>(x), now);
        writer_.write(room.data(), pixels, now);
        pack(row, bits_, static_cast<size_t>(x), room.data(), now);
        pixels += now * writer_.from_bytes();
    }
}

} // namespace ombrel::graphics
