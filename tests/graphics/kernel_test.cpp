#include "graphics/pixel/kernels/kernels.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "platform/processor.h"

namespace {

using namespace ombrel;
using namespace ombrel::graphics;

std::mt19937 generator{20250302};

size_t below(size_t limit) {
    return generator() % limit;
}

// Random bytes in a block that ends with them, at any alignment.
class bytes {
public:
    explicit bytes(size_t size) : shift_(below(64)), block_(shift_ + size) {
        std::generate(block_.begin(), block_.end(), [] { return static_cast<unsigned char>(generator()); });
    }
    unsigned char* data() { return block_.data() + shift_; }
    bool operator==(const bytes& other) const { return block_ == other.block_; }

private:
    size_t shift_;
    std::vector<unsigned char> block_;
};

// Runs every kernel of a list that this processor has, and the plain one, on the same target.
template<typename Kernel, typename Run>
void check(std::span<const candidate<Kernel>> list, size_t pixel_bytes, Run run) {
    const uint32_t features = platform::processor_features();
    for (const auto& kernel : list)
        for (size_t round = 0; round < 600 && (kernel.needs & ~features) == 0; round++) {
            const size_t count = round < 300 ? round : below(below(100) == 0 ? 60000 : 2000);
            bytes plain(count * pixel_bytes), tested = plain;
            const auto seed = generator();
            for (auto [to, use] : {std::pair{&plain, list.back().run}, std::pair{&tested, kernel.run}}) {
                generator.seed(seed);
                run(use, to->data(), count);
            }
            ASSERT_TRUE(tested == plain) << kernel.name << ", " << count << " pixels";
        }
}

// Any box in the target.
template<size_t pixel_bytes>
void run_fill(fill_kernel run, unsigned char* to, size_t count) {
    const size_t gap = below(4), width = below(below(2) == 0 ? 40 : count + 1);
    const size_t height = count / (width + gap + 1);
    run({to, (width + gap) * pixel_bytes, width, height}, static_cast<uint32_t>(generator()));
}

// A glyph of any size in the target.
template<size_t pixel_bytes>
void run_glyph(glyph_kernel run, unsigned char* to, size_t count) {
    const size_t width = size_t{8} << below(2), line = width + below(9);
    bytes bits(width / 8 * 16);
    const auto used = below(3);
    if (count >= width)
        run({to, line * pixel_bytes, bits.data(), width, std::min<size_t>(16, (count - width) / line + 1)},
            {used != 0, used != 1, static_cast<uint32_t>(generator()), static_cast<uint32_t>(generator())});
}

TEST(Kernels, Agree) {
    check(all_kernels.glyph8, 1, run_glyph<1>);
    check(all_kernels.glyph16, 2, run_glyph<2>);
    check(all_kernels.glyph24, 3, run_glyph<3>);
    check(all_kernels.glyph32, 4, run_glyph<4>);
    check(all_kernels.fill16, 2, run_fill<2>);
    check(all_kernels.fill24, 3, run_fill<3>);
    check(all_kernels.fill32, 4, run_fill<4>);
    check(all_kernels.copy, 1, [](copy_kernel run, unsigned char* to, size_t count) {
        const size_t line = 1 + below(below(2) == 0 ? 40 : 30000);
        const copy_area area{to, line, nullptr, line + below(70), below(line + 1), count / line};
        bytes from(area.from_line_length * area.height);
        if (area.height > 0)
            run({to, line, from.data(), area.from_line_length, area.width, area.height});
    });
    check(all_kernels.widen, 4, [](widen_kernel run, unsigned char* to, size_t count) {
        run(to, bytes(2 * count).data(), count, below(2) == 0 ? 0 : 0xFF000000);
    });
    check(all_kernels.narrow, 2, [](narrow_kernel run, unsigned char* to, size_t count) {
        run(to, bytes(4 * count).data(), count);
    });
    check(all_kernels.blend, 4, [](blend_kernel run, unsigned char* to, size_t count) {
        bytes from(4 * count);
        blend_settings settings;
        settings.window_alpha = static_cast<uint32_t>(below(3) == 0 ? 255 : below(256));
        settings.pixel_alpha = below(2) == 0;
        settings.keyed = below(2) == 0;
        settings.key_mask = below(2) == 0 ? 0x03000003 : 0x00FF0000; // met by many a pixel
        settings.key = static_cast<uint32_t>(generator()) & settings.key_mask;
        settings.keep = below(2) == 0 ? 0x00FFFFFF : 0xFFFFFFFF;
        settings.set = below(2) == 0 ? 0 : ~settings.keep;
        run(to, from.data(), count, settings);
    });
    check(all_kernels.gather32, 4, [](gather_kernel run, unsigned char* to, size_t count) {
        std::vector<uint32_t> columns(count);
        for (size_t i = 0, column = 0, most = below(4) * 2 + 1; i < count; i++)
            columns[i] = static_cast<uint32_t>(column += below(most + (i % 64 == 0 ? 20 : 0)));
        bytes row(count > 0 ? 4 * size_t{columns.back() + 1} : 0);
        run(to, row.data(), columns.data(), count);
    });
    check(all_kernels.reverse32, 4, [](reverse_kernel run, unsigned char* to, size_t count) {
        run(to, bytes(4 * count).data(), count);
    });
    check(all_kernels.mix_columns, 8, [](mix_columns_kernel run, unsigned char* to, size_t count) {
        count = std::min<size_t>(count, 500);
        bytes row(4 * (count + 2));
        std::vector<uint32_t> columns(count);
        std::vector<uint16_t> weights(count);
        std::vector<int16_t> sums(4 * count);
        for (size_t i = 0; i < count; i++) {
            const size_t weight = below(4) == 0 ? below(2) * 128 : below(129);
            columns[i] = static_cast<uint32_t>(below(count + 1));
            weights[i] = static_cast<uint16_t>(weight << 8 | (128 - weight));
        }
        if (below(2) == 0) // like pixels that lie side by side
            for (uint32_t& column : columns)
                column = column / 4 + static_cast<uint32_t>(count / 2);
        std::ranges::sort(columns);
        run(sums.data(), row.data(), row.data(), columns.data(), weights.data(), count);
        std::copy_n(reinterpret_cast<const unsigned char*>(sums.data()), 8 * count, to);
    });
    check(all_kernels.mix_rows, 4, [](mix_rows_kernel run, unsigned char* to, size_t count) {
        count = std::min<size_t>(count, 500);
        std::vector<int16_t> sums[2];
        for (auto& row : sums)
            for (size_t i = 0; i < 4 * count; i++)
                row.push_back(
                    static_cast<int16_t>((below(3) == 0 ? below(2) * 32640 : below(32641)) - 16384));
        run(to, sums[0].data(), sums[1].data(), static_cast<unsigned>(below(128)), count);
    });
    check(all_kernels.weigh_rows, 4, [](weigh_rows_kernel run, unsigned char* to, size_t count) {
        count = std::min<size_t>(count, 500);
        bytes first(count), second(count);
        std::vector<uint32_t> sums(count, static_cast<uint32_t>(generator() >> 12));
        run(sums.data(), first.data(), static_cast<unsigned>(below(4097)), second.data(),
            static_cast<unsigned>(below(4097)), count);
        std::copy_n(reinterpret_cast<const unsigned char*>(sums.data()), 4 * count, to);
    });
    check(all_kernels.turn32, 4, [](turn_kernel run, unsigned char* to, size_t count) {
        const size_t line = 1 + below(60), width = below(line + 1), height = count / line;
        const size_t from_line = height + below(9);
        bytes from(4 * from_line * (width + 1));
        const auto bytes_of = [](size_t pixels) { return static_cast<ptrdiff_t>(4 * pixels); };
        const bool upwards = below(2) == 0, from_upwards = below(2) == 0;
        turn_area area = {to, bytes_of(line), from.data(), bytes_of(from_line), width, height};
        if (upwards && height > 0)
            area.to += 4 * line * (height - 1), area.to_line_length = -area.to_line_length;
        if (from_upwards && width > 0)
            area.from += 4 * from_line * (width - 1), area.from_line_length = -area.from_line_length;
        run(area);
    });
}

} // namespace
