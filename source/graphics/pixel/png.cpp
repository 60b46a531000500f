#include <ombrel/png.h>

#include <algorithm>
#include <array>
#include <cstring>

#include <ombrel/color.h>
#include <ombrel/crc.h>
#include <ombrel/file.h>
#include <ombrel/heap.h>

#include "core/heap_ptr.h"
#include "encoding/deflate.h"
#include "graphics/pixel/bitmap_box.h"
#include "graphics/pixel/png.h"
#include "graphics/pixel/report.h"
#include "graphics/pixel/row_writer.h"

using namespace ombrel;
using namespace ombrel::graphics;

namespace {

using encoding::byte_sink;

constexpr size_t widest_pixel = 4;
constexpr uint32_t most_pixels = INT32_MAX; // in a row, and rows

/// What is written: `fill` puts a row's bytes where it is told.
struct picture {
    uint32_t format, width, height;
    const void* source;
    void (*fill)(const picture& self, uint32_t row, uint8_t* to);

    size_t row_bytes() const { return size_t{format} * width; }
};

void put_word(uint8_t* to, uint32_t value) {
    for (unsigned i = 0; i < 4; i++)
        to[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

bool put_chunk(const byte_sink& output, const char (&name)[5], const uint8_t* data, size_t size) {
    std::array<uint8_t, 8> head;
    std::array<uint8_t, 4> tail;
    put_word(head.data(), static_cast<uint32_t>(size));
    memcpy(&head[4], name, 4);
    put_word(tail.data(), ombrel_crc32_ieee_802_3(0, ombrel_crc32_ieee_802_3(0, 0, &head[4], 4), data, size));
    return output(head.data(), head.size()) && (size == 0 || output(data, size)) &&
           output(tail.data(), tail.size());
}

bool put_data_chunk(void* output, const uint8_t* data, size_t size) {
    return put_chunk(*static_cast<const byte_sink*>(output), "IDAT", data, size);
}

bool put_head(const byte_sink& output, const picture& shown) {
    constexpr uint8_t signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    constexpr uint8_t grey = 0, rgb = 2, rgba = 6;
    uint8_t header[13] = {};
    put_word(header, shown.width);
    put_word(header + 4, shown.height);
    header[8] = 8; // bits a channel
    header[9] = shown.format == def_ombrel_png_grey ? grey : shown.format == def_ombrel_png_rgb ? rgb : rgba;
    return output(signature, sizeof signature) && put_chunk(output, "IHDR", header, sizeof header);
}

/// The row in hand, the one above it, and the row as it looks filtered, in the best way so far and in
/// another.
class filtered_rows {
public:
    /// False when memory has run out.
    bool open(const picture& shown) {
        const uint64_t room = uint64_t{shown.format} * shown.width + widest_pixel + 1;
        if (room > PTRDIFF_MAX / 4)
            return false;
        bytes_ = shown.row_bytes();
        pixel_bytes_ = shown.format;
        block_ = heap_ptr<uint8_t>(
            static_cast<uint8_t*>(ombrel_calloc_tag(4, static_cast<size_t>(room), "ombrel_png", __LINE__)));
        uint8_t** const parts[] = {&row_, &above_, &best_, &other_};
        for (size_t i = 0; block_ && i < std::size(parts); i++)
            *parts[i] = block_.get() + i * static_cast<size_t>(room);
        return static_cast<bool>(block_);
    }

    /// Where the next row goes.
    uint8_t* next() {
        std::swap(row_, above_);
        return row_ + widest_pixel;
    }

    /// That row filtered so that the differences are smallest.
    const uint8_t* filtered() {
        uint64_t least = UINT64_MAX;
        for (const size_t filter : by_promise) {
            const uint64_t sum = filter_png_row(filter, other_, row_ + widest_pixel, above_ + widest_pixel,
                                                bytes_, pixel_bytes_);
            if (sum >= least)
                continue;
            least = sum;
            std::swap(best_, other_);
            if (least == 0)
                break;
        }
        return best_;
    }
    size_t filtered_bytes() const { return bytes_ + 1; }

private:
    // Rows are often the same as those above them, or of one colour.
    static constexpr size_t by_promise[png_filters] = {2, 1, 0, 3, 4};

    heap_ptr<uint8_t> block_;
    uint8_t *row_ = nullptr, *above_ = nullptr, *best_ = nullptr, *other_ = nullptr;
    size_t bytes_ = 0, pixel_bytes_ = 0;
};

bool put_pixels(byte_sink output, const picture& shown) {
    filtered_rows rows;
    const heap_ptr<encoding::deflater> stream(allocate_record<encoding::deflater>("ombrel_png", __LINE__));
    if (!stream || !rows.open(shown))
        return false;
    stream->start({put_data_chunk, &output});
    for (uint32_t y = 0; y < shown.height; y++) {
        shown.fill(shown, y, rows.next());
        if (!stream->push(rows.filtered(), rows.filtered_bytes()))
            return false;
    }
    return stream->finish();
}

bool is_writable(const picture& shown) {
    const bool known = shown.format == def_ombrel_png_grey || shown.format == def_ombrel_png_rgb ||
                       shown.format == def_ombrel_png_rgba;
    return known && shown.width - 1 < most_pixels && shown.height - 1 < most_pixels;
}

int put_document(const byte_sink& output, const picture& shown) {
    return put_head(output, shown) && put_pixels(output, shown) && put_chunk(output, "IEND", nullptr, 0) ? 0
                                                                                                         : -1;
}

int push_document(ombrel_buffer_t* buffer, const picture& shown) {
    const auto push = [](void* to, const uint8_t* bytes, size_t size) {
        return ombrel_push_buffer(static_cast<ombrel_buffer_t*>(to), bytes, size) == size;
    };
    return buffer != nullptr ? put_document({push, buffer}, shown) : -1;
}

int save_document(const char* path, const picture& shown) {
    constexpr uint32_t anew = def_ombrel_file_write | def_ombrel_file_create | def_ombrel_file_truncate;
    constexpr uint32_t for_all = 0666;
    int file = ombrel_open_file(path, anew, for_all);
    if (file < 0)
        return -1;
    const auto write = [](void* to, const uint8_t* bytes, size_t size) {
        return ombrel_file_write_all(*static_cast<int*>(to), bytes, size) == 0;
    };
    const int result = put_document({write, &file}, shown);
    return ombrel_close_file(file) == 0 ? result : -1;
}

/// Rows that are in the format.
struct plain_rows {
    const uint8_t* first;
    size_t line_length;
};

template<typename Put>
int put_rows(uint32_t format, const plain_rows& rows, uint32_t width, uint32_t height, Put put) {
    const picture shown = {format, width, height, &rows, [](const picture& self, uint32_t y, uint8_t* to) {
                               const auto& from = *static_cast<const plain_rows*>(self.source);
                               memcpy(to, from.first + y * from.line_length, self.row_bytes());
                           }};
    const bool whole = rows.first != nullptr && is_writable(shown) &&
                       rows.line_length >= uint64_t{format} * width &&
                       rows.line_length <= static_cast<size_t>(PTRDIFF_MAX) / height;
    return whole ? put(shown) : -1;
}

struct converted_rows {
    const ombrel_bitmap_t& from;
    row_writer writer;
};

template<typename Put>
int put_bitmap(uint32_t format, const ombrel_bitmap_t* bitmap, const report_site& site, Put put) {
    if (bitmap == nullptr || !is_valid(*bitmap))
        return -1;
    if (!is_supported(*bitmap))
        return fail(site, "not supported");
    ombrel_bitmap_t target = {};
    target.m_color_interface = png_interface(format);
    const converted_rows rows = {*bitmap, row_writer(target, *bitmap, def_ombrel_fbmap_plain)};
    const picture shown = {format, bitmap->m_resx, bitmap->m_resy, &rows,
                           [](const picture& self, uint32_t y, uint8_t* to) {
                               const auto& from = *static_cast<const converted_rows*>(self.source);
                               from.writer.write(to, row_at(from.from, y), self.width);
                           }};
    return is_writable(shown) ? put(shown) : -1;
}

constexpr const char source_name[] = "source/png";

} // namespace

// In memory red comes first, where a pixel's least significant byte is.
uint32_t ombrel::graphics::png_interface(uint32_t format) {
    constexpr uint32_t luma8 = 0x78;
    switch (format) {
    case def_ombrel_png_rgb:
        return def_ombrel_color_interface_bgr888;
    case def_ombrel_png_rgba:
        return def_ombrel_color_interface_abgr8888;
    default:
        return luma8;
    }
}

int ombrel_png_push_rows(ombrel_buffer_t* output, uint32_t format, const void* rows, size_t line_length,
                         uint32_t width, uint32_t height) {
    return put_rows(format, {static_cast<const uint8_t*>(rows), line_length}, width, height,
                    [&](const picture& shown) { return push_document(output, shown); });
}

int ombrel_png_save_rows(const char* path, uint32_t format, const void* rows, size_t line_length,
                         uint32_t width, uint32_t height) {
    return put_rows(format, {static_cast<const uint8_t*>(rows), line_length}, width, height,
                    [&](const picture& shown) { return save_document(path, shown); });
}

int ombrel_png_push_bitmap(ombrel_buffer_t* output, uint32_t format, const ombrel_bitmap_t* bitmap) {
    return put_bitmap(format, bitmap, {source_name, {__func__, __LINE__}},
                      [&](const picture& shown) { return push_document(output, shown); });
}

int ombrel_png_save_bitmap(const char* path, uint32_t format, const ombrel_bitmap_t* bitmap) {
    return put_bitmap(format, bitmap, {source_name, {__func__, __LINE__}},
                      [&](const picture& shown) { return save_document(path, shown); });
}
