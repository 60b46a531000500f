// Reads PNG documents by zlib, strictly: what a writer of ours makes and nothing else.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <zlib.h>

namespace ombrel_test {

struct png_picture {
    uint32_t width = 0, height = 0, format = 0; // bytes a pixel; 0 when the document is none
    std::vector<uint8_t> pixels;
    std::string compressed, filtered; // the zlib stream, and what it holds

    bool operator==(const png_picture& other) const {
        return width == other.width && height == other.height && format == other.format &&
               pixels == other.pixels;
    }
};

class png_decoder {
public:
    explicit png_decoder(const std::string& document) : document_(document) {}

    png_picture decode() {
        static const std::string signature("\x89PNG\r\n\x1A\n", 8);
        std::string name, data, order;
        if (take(8) != signature)
            return {};
        while (at_ < document_.size()) {
            if (!take_chunk(name, data))
                return {};
            order += name[1]; // each has another second letter
            if (name == "IHDR" && !read_header(data))
                return {};
            if (name == "IDAT")
                made_.compressed += data;
        }
        const size_t behind = order.find_first_not_of('D', 1);
        const bool ordered = order[0] == 'H' && behind > 1 && behind == order.size() - 1 &&
                             order[behind] == 'E' && data.empty();
        return ordered && inflate_rows() && undo_filters() ? made_ : png_picture{};
    }

private:
    std::string take(size_t size) {
        const std::string part = document_.substr(at_, size);
        at_ += part.size();
        return part;
    }
    static uint32_t word(const std::string& bytes) {
        uint32_t value = 0;
        for (const char byte : bytes)
            value = value << 8 | static_cast<uint8_t>(byte);
        return value;
    }
    static const Bytef* bytes_of(const std::string& text) {
        return reinterpret_cast<const Bytef*>(text.data());
    }

    bool take_chunk(std::string& name, std::string& data) {
        const uint32_t size = word(take(4));
        name = take(4);
        data = take(size);
        const std::string checked = name + data;
        return data.size() == size &&
               word(take(4)) == crc32(0, bytes_of(checked), static_cast<uInt>(checked.size()));
    }

    bool read_header(const std::string& data) {
        made_.width = word(data.substr(0, 4));
        made_.height = word(data.substr(4, 4));
        const std::string rest = data.substr(8);
        for (const auto& [format, type] : {std::pair{1u, '\0'}, {3u, '\2'}, {4u, '\6'}})
            if (rest == std::string{8, type, 0, 0, 0})
                made_.format = format;
        return made_.format != 0;
    }

    bool inflate_rows() {
        uLongf size = uLongf{made_.height} * (1 + made_.format * made_.width);
        made_.filtered.resize(size);
        uLong used = made_.compressed.size();
        const uLongf expected = size;
        return uncompress2(reinterpret_cast<Bytef*>(made_.filtered.data()), &size, bytes_of(made_.compressed),
                           &used) == Z_OK &&
               size == expected && used == made_.compressed.size();
    }

    static int nearest(int left, int above, int above_left) {
        const int guess = left + above - above_left;
        const int a = abs(guess - left), b = abs(guess - above), c = abs(guess - above_left);
        return a <= b && a <= c ? left : b <= c ? above : above_left;
    }

    bool undo_filters() {
        const size_t bpp = made_.format, row_bytes = bpp * made_.width;
        std::vector<uint8_t>& out = made_.pixels;
        for (size_t y = 0; y < made_.height; y++) {
            const char* row = &made_.filtered[y * (row_bytes + 1)];
            for (size_t i = 0; i < row_bytes; i++) {
                const int left = i >= bpp ? out[out.size() - bpp] : 0,
                          above = y > 0 ? out[out.size() - row_bytes] : 0;
                const int above_left = i >= bpp && y > 0 ? out[out.size() - row_bytes - bpp] : 0;
                const int expected[] = {0, left, above, (left + above) / 2, nearest(left, above, above_left)};
                if (static_cast<uint8_t>(row[0]) >= std::size(expected))
                    return false;
                out.push_back(static_cast<uint8_t>(row[i + 1] + expected[static_cast<uint8_t>(row[0])]));
            }
        }
        return true;
    }

    const std::string& document_;
    size_t at_ = 0;
    png_picture made_;
};

} // namespace ombrel_test
