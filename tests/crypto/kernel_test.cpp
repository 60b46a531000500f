#include "crypto/kernels/kernels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "platform/processor.h"

namespace {

using namespace ombrel;
using namespace ombrel::crypto;

constexpr size_t longest = 5000;

class input {
public:
    // Random bytes at any alignment, until the next call. Their block ends with them, so that a sanitizer
    // sees a kernel that reaches too far.
    const unsigned char* bytes(size_t size) {
        const size_t shift = below(64);
        words_.resize(longest / 8 + 16);
        std::generate(words_.begin(), words_.end(), std::ref(random_));
        bytes_ = std::make_unique<unsigned char[]>(shift + size);
        memcpy(bytes_.get() + shift, words_.data(), size);
        return bytes_.get() + shift;
    }
    size_t below(size_t limit) { return static_cast<size_t>(random_() % limit); }
    uint64_t word() { return random_(); }

private:
    std::mt19937_64 random_{20240611};
    std::vector<uint64_t> words_;
    std::unique_ptr<unsigned char[]> bytes_;
};

bool runs_here(uint32_t needs) {
    return (needs & ~platform::processor_features()) == 0;
}

template<typename Register>
Register bitwise(Register polynomial, Register crc, const unsigned char* data, size_t size) {
    for (size_t i = 0; i < size * 8; i++) {
        const bool bit = ((crc ^ (data[i / 8] >> (i % 8))) & 1) != 0;
        crc = static_cast<Register>(crc >> 1 ^ (bit ? polynomial : 0));
    }
    return crc;
}

template<typename Register>
void check_crc(std::span<const candidate<crc_kernel<Register>>> list, Register polynomial) {
    input data;
    for (const auto& kernel : list)
        for (size_t round = 0; round < 6000 && runs_here(kernel.needs); round++) {
            // Every short length in turn, then any length.
            const size_t size = round < 1200 ? round : data.below(longest + 1);
            const size_t split = data.below(size + 1);
            const unsigned char* bytes = data.bytes(size);
            const auto start = static_cast<Register>(data.word());
            const Register reference =
                round < 1500 ? bitwise(polynomial, start, bytes, size) : list.back().run(start, bytes, size);
            ASSERT_EQ(kernel.run(start, bytes, size), reference) << kernel.name << ", " << size << " bytes";
            ASSERT_EQ(kernel.run(kernel.run(start, bytes, split), bytes + split, size - split), reference)
                << kernel.name << ", " << size << " bytes, split at " << split;
        }
}

TEST(CrcKernels, Agree) {
    check_crc<uint16_t>(all_kernels.crc16_ibm, 0xA001);
    check_crc<uint16_t>(all_kernels.crc16_ccitt, 0x8408);
    check_crc<uint32_t>(all_kernels.crc32, 0xEDB88320);
    check_crc<uint64_t>(all_kernels.crc64, 0xD800000000000000);
}

void check_blocks(std::span<const candidate<block_kernel>> list) {
    input data;
    for (const auto& kernel : list)
        for (size_t round = 0; round < 2000 && runs_here(kernel.needs); round++) {
            const size_t count = data.below(longest / 64 + 1), split = data.below(count + 1);
            const unsigned char* bytes = data.bytes(64 * count);
            std::array<uint32_t, 8> start;
            std::generate(start.begin(), start.end(), [&] { return static_cast<uint32_t>(data.word()); });
            auto plain = start, whole = start, parts = start;
            list.back().run(plain.data(), bytes, count);
            kernel.run(whole.data(), bytes, count);
            kernel.run(parts.data(), bytes, split);
            kernel.run(parts.data(), bytes + 64 * split, count - split);
            ASSERT_EQ(whole, plain) << kernel.name << ", " << count << " blocks";
            ASSERT_EQ(parts, plain) << kernel.name << ", " << count << " blocks, split at " << split;
        }
}

TEST(BlockKernels, Agree) {
    check_blocks(all_kernels.md5);
    check_blocks(all_kernels.sha1);
    check_blocks(all_kernels.sha256);
}

TEST(KernelChoice, TakesTheFirstThatCanRun) {
    const candidate<int> list[] = {{"both", 3, 30}, {"one", 1, 10}, {"plain", 0, 0}};
    for (const auto& [features, chosen] : {std::pair{7u, 30}, {3u, 30}, {1u, 10}, {2u, 0}, {0u, 0}})
        EXPECT_EQ(chosen, choose(std::span<const candidate<int>>(list), features)) << features;
}

TEST(KernelChoice, CanBeForcedToThePlainOnes) {
    for (const char* ordinary : {static_cast<const char*>(nullptr), "", "0"})
        EXPECT_EQ(5u, features_to_use(ordinary, 5));
    for (const char* forced : {"1", "yes", "00"})
        EXPECT_EQ(0u, features_to_use(forced, 5)) << forced;
}

} // namespace
