// Bytes compressed in pieces, and written as a picture of any shape; zlib must read back what was given.

#include <algorithm>

#include <ombrel/heap.h>
#include <ombrel/png.h>

#include "encoding/deflate.h"
#include "png_decoder.h"
#include "support/byte_source.h"

namespace {

using ombrel::encoding::deflater;

bool append(void* to, const uint8_t* bytes, size_t size) {
    static_cast<std::string*>(to)->append(reinterpret_cast<const char*>(bytes), size);
    return true;
}

void compress_in_pieces(const std::string& bytes, size_t piece) {
    static deflater stream;
    std::string compressed, again(bytes.size() + 1, '\0');
    stream.start({append, &compressed});
    for (size_t at = 0; at < bytes.size(); at += piece)
        require(stream.push(reinterpret_cast<const uint8_t*>(bytes.data()) + at,
                            std::min(piece, bytes.size() - at)));
    require(stream.finish());
    uLongf size = again.size();
    require(uncompress(reinterpret_cast<Bytef*>(again.data()), &size,
                       reinterpret_cast<const Bytef*>(compressed.data()), compressed.size()) == Z_OK);
    require(again.substr(0, size) == bytes, "what zlib reads");
    require(compressed.size() <= bytes.size() + 16 + bytes.size() / 4096, "no longer than stored");
}

void write_picture(const std::string& bytes, uint32_t format, uint32_t width) {
    const auto height = static_cast<uint32_t>(bytes.size() / (format * width));
    ombrel_buffer_t* const output = ombrel_open_buffer();
    const int result = ombrel_png_push_rows(output, format, bytes.data(), format * width, width, height);
    require(result == (height > 0 ? 0 : -1), "result");
    const size_t size = ombrel_get_buffer_size(output);
    auto* const block = static_cast<char*>(ombrel_alloc_pop_buffer_ex(output, size, 1));
    if (height > 0) {
        const ombrel_test::png_picture picture = ombrel_test::png_decoder({block, size}).decode();
        require(picture.format == format && picture.width == width && picture.height == height, "shape");
        require(std::equal(picture.pixels.begin(), picture.pixels.end(), bytes.begin(),
                           [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); }),
                "pixels");
    }
    ombrel_check_free(block);
    ombrel_close_buffer(output);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source input(data, size);
    const uint32_t format = std::array{1u, 3u, 4u}[input.number(3)], width = 1 + input.byte();
    const size_t piece = 1 + size_t{input.byte()} * input.byte(), times = 1 + input.number(64);
    const std::string part = input.rest();
    std::string bytes;
    for (size_t i = 0; i < times && bytes.size() < 100000; i++)
        bytes += part + static_cast<char>(i);
    compress_in_pieces(bytes, piece);
    write_picture(bytes, format, width);
    return 0;
}
