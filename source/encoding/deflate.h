// Compression in the zlib format: matches and fixed Huffman codes, or bytes as they are where that is
// shorter.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ombrel::encoding {

/// Receives bytes in their order; false ends the work of whoever hands them over.
struct byte_sink {
    bool (*put)(void* context, const uint8_t* bytes, size_t size);
    void* context;

    bool operator()(const uint8_t* bytes, size_t size) const { return put(context, bytes, size); }
};

/// The checksum of zlib streams, of further bytes; the first ones start from 1.
uint32_t adler32(uint32_t checksum, const uint8_t* bytes, size_t size);

/// Bits that follow each other from the least significant one of each byte on. The owner sees to the room.
class bit_writer {
public:
    void start(uint8_t* to) { *this = {to, 0, 0}; }

    /// At most 32 bits, those above them 0.
    void put(uint32_t bits, unsigned count) {
        waiting_ |= uint64_t{bits} << count_;
        count_ += count;
        if (count_ < 32)
            return;
        for (unsigned i = 0; i < 4; i++)
            to_[i] = static_cast<uint8_t>(waiting_ >> (8 * i));
        to_ += 4;
        waiting_ >>= 32;
        count_ -= 32;
    }

    /// Goes on with a whole byte; bits that were skipped are 0.
    void align();
    /// Of bytes, when aligned.
    void put_bytes(const uint8_t* bytes, size_t size);

    uint8_t* end() const { return to_; }
    unsigned waiting() const { return count_; }
    /// Whole bytes that were written are gone; the next ones go to the given place.
    void continue_at(uint8_t* to) { to_ = to; }

    bit_writer() = default;

private:
    bit_writer(uint8_t* to, uint64_t waiting, unsigned count) : to_(to), waiting_(waiting), count_(count) {}

    uint8_t* to_;
    uint64_t waiting_;
    unsigned count_;
};

/// One stream. It is large, and has no constructor, so that it can lie in a block of the heap.
class deflater {
public:
    void start(byte_sink sink);
    /// False when the sink has refused; the stream is of no use then.
    bool push(const uint8_t* bytes, size_t size);
    bool finish();

private:
    // A block's bytes lie behind as many of those before it.
    static constexpr size_t block_size = 32768, hash_bits = 14;
    static constexpr size_t longest_output = block_size + block_size / 8 + 64;

    struct match {
        size_t length, distance;
    };

    bool write_block(bool is_last);
    void compress(size_t end, bool is_last);
    void store(size_t end, bool is_last);
    match find_match(size_t at, size_t end) const;
    void remember(size_t at);
    size_t hash_at(size_t at) const;
    void put_match(const match& found);
    bool hand_over(size_t least);
    void make_history();

    byte_sink sink_;
    bit_writer writer_;
    uint32_t checksum_;
    size_t pending_;
    std::array<uint8_t, 2 * block_size> bytes_;
    std::array<uint16_t, size_t{1} << hash_bits>
        latest_;                               // where four bytes of a hash were last; 0 for nowhere,
    std::array<uint16_t, block_size> earlier_; // and where they were before that
    std::array<uint8_t, block_size + longest_output> output_;
};

} // namespace ombrel::encoding
