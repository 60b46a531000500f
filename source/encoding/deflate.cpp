#include "encoding/deflate.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace ombrel::encoding {

namespace {

constexpr unsigned shortest_match = 4, longest_match = 258;
// Places that are compared before the longest match so far is taken, and the length that ends the search.
constexpr unsigned most_tries = 4, good_length = 64;
// Bytes without a match after which places are left out, more of them the longer it lasts.
constexpr size_t patience = 64;

constexpr uint32_t reversed(uint32_t bits, unsigned count) {
    uint32_t result = 0;
    for (unsigned i = 0; i < count; i++)
        result |= (bits >> i & 1) << (count - 1 - i);
    return result;
}

struct code {
    uint32_t bits;
    unsigned count;
};

constexpr code fixed_code(unsigned symbol) {
    if (symbol < 144)
        return {reversed(0x30 + symbol, 8), 8};
    if (symbol < 256)
        return {reversed(0x190 + symbol - 144, 9), 9};
    if (symbol < 280)
        return {reversed(symbol - 256, 7), 7};
    return {reversed(0xC0 + symbol - 280, 8), 8};
}

constexpr unsigned end_of_block = 256, first_length_symbol = 257;

template<size_t count, typename Make>
constexpr auto table_of(Make make) {
    std::array<code, count> codes{};
    for (size_t i = 0; i < count; i++)
        codes[i] = make(static_cast<unsigned>(i));
    return codes;
}

// Values in groups of `steps` for each power of two, the lower bits of a value behind its symbol.
struct symbol {
    unsigned number, extra_bits, extra;
};

constexpr symbol symbol_of(unsigned value, unsigned steps) {
    if (value < 2 * steps)
        return {value, 0, 0};
    const auto extra_bits = static_cast<unsigned>(std::bit_width(value / steps)) - 1;
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): at least 2
    return {value / (1u << extra_bits) + extra_bits * steps, extra_bits, value % (1u << extra_bits)};
}

constexpr auto literal_codes = table_of<end_of_block + 1>(fixed_code);

constexpr auto length_codes = table_of<longest_match + 1>([](unsigned length) -> code {
    if (length < 3)
        return {};
    // The longest has a symbol of its own.
    const symbol found = length == longest_match ? symbol{28, 0, 0} : symbol_of(length - 3, 4);
    const code prefix = fixed_code(first_length_symbol + found.number);
    return {prefix.bits | found.extra << prefix.count, prefix.count + found.extra_bits};
});

code distance_code(size_t distance) {
    constexpr auto prefixes = table_of<30>([](unsigned number) { return code{reversed(number, 5), 5}; });
    const symbol found = symbol_of(static_cast<unsigned>(distance - 1), 2);
    const code prefix = prefixes[found.number];
    return {prefix.bits | found.extra << prefix.count, prefix.count + found.extra_bits};
}

size_t common_length(const uint8_t* a, const uint8_t* b, size_t limit) {
    size_t length = 0;
    if constexpr (std::endian::native == std::endian::little)
        for (; length + 8 <= limit; length += 8) {
            uint64_t left = 0, right = 0;
            memcpy(&left, a + length, 8);
            memcpy(&right, b + length, 8);
            if (left != right)
                return length + static_cast<size_t>(std::countr_zero(left ^ right)) / 8;
        }
    while (length < limit && a[length] == b[length])
        length++;
    return length;
}

uint32_t four_bytes(const uint8_t* from) {
    return from[0] | uint32_t{from[1]} << 8 | uint32_t{from[2]} << 16 | uint32_t{from[3]} << 24;
}

} // namespace

// Sixteen bytes at a time, so that the compiler makes vectors of it; the sums are reduced before they
// overflow.
uint32_t adler32(uint32_t checksum, const uint8_t* bytes, size_t size) {
    constexpr uint32_t modulus = 65521;
    constexpr size_t run = 16, most = 5552;
    uint32_t low = checksum & 0xFFFF, high = checksum >> 16;
    while (size > 0) {
        const size_t now = std::min(size, most);
        const uint8_t *const end = bytes + now, *const whole = bytes + now / run * run;
        for (; bytes < whole; bytes += run) {
            uint32_t sum = 0, weighted = 0;
            for (uint32_t i = 0; i < run; i++) {
                sum += bytes[i];
                weighted += bytes[i] * (static_cast<uint32_t>(run) - i);
            }
            high += low * static_cast<uint32_t>(run) + weighted;
            low += sum;
        }
        for (; bytes < end; bytes++)
            high += low += *bytes;
        low %= modulus;
        high %= modulus;
        size -= now;
    }
    return high << 16 | low;
}

void bit_writer::align() {
    for (; count_ > 0; count_ -= std::min(count_, 8u), waiting_ >>= 8)
        *to_++ = static_cast<uint8_t>(waiting_);
}

void bit_writer::put_bytes(const uint8_t* bytes, size_t size) {
    std::copy_n(bytes, size, to_);
    to_ += size;
}

void deflater::start(byte_sink sink) {
    sink_ = sink;
    writer_.start(output_.data());
    checksum_ = 1;
    pending_ = 0;
    latest_.fill(0);
    earlier_.fill(0);
    writer_.put(0x0178, 16); // the zlib format, a window of 32 KiB, fast
}

bool deflater::push(const uint8_t* bytes, size_t size) {
    while (size > 0) {
        if (pending_ == block_size && !write_block(false))
            return false;
        const size_t now = std::min(size, block_size - pending_);
        memcpy(&bytes_[block_size + pending_], bytes, now);
        pending_ += now;
        bytes += now;
        size -= now;
    }
    return true;
}

bool deflater::finish() {
    if (!write_block(true))
        return false;
    writer_.align();
    for (int shift = 24; shift >= 0; shift -= 8)
        writer_.put(checksum_ >> shift & 0xFF, 8);
    writer_.align();
    return hand_over(0);
}

bool deflater::write_block(bool is_last) {
    const bit_writer before = writer_;
    const size_t end = block_size + pending_;
    checksum_ = adler32(checksum_, &bytes_[block_size], pending_);
    compress(end, is_last);
    if (static_cast<size_t>(writer_.end() - before.end()) > pending_ + 4) {
        writer_ = before;
        store(end, is_last);
    }
    make_history();
    return hand_over(block_size);
}

void deflater::compress(size_t end, bool is_last) {
    writer_.put((is_last ? 1 : 0) | 1 << 1, 3);
    size_t in_vain = 0;
    for (size_t at = block_size; at < end;) {
        match found = {0, 0};
        if (in_vain < patience || in_vain % (in_vain / patience + 1) == 0) {
            found = find_match(at, end);
            remember(at);
        }
        if (found.length == 0) {
            const code& literal = literal_codes[bytes_[at++]];
            writer_.put(literal.bits, literal.count);
            in_vain++;
            continue;
        }
        put_match(found);
        in_vain = 0;
        // What stands within a long match is most often found by what stood there before.
        const size_t next = at + found.length;
        for (size_t i = at + 1; i < std::min(next, at + 16); i++)
            remember(i);
        at = next;
    }
    writer_.put(literal_codes[end_of_block].bits, literal_codes[end_of_block].count);
}

void deflater::store(size_t end, bool is_last) {
    writer_.put(is_last ? 1 : 0, 3);
    writer_.align();
    const auto size = static_cast<uint32_t>(end - block_size);
    writer_.put(size | ~size << 16, 32);
    writer_.put_bytes(&bytes_[block_size], size);
}

size_t deflater::hash_at(size_t at) const {
    return four_bytes(&bytes_[at]) * 0x9E3779B1u >> (32 - hash_bits);
}

deflater::match deflater::find_match(size_t at, size_t end) const {
    match best = {shortest_match - 1, 0};
    const size_t limit = std::min<size_t>(longest_match, end - at);
    if (limit < shortest_match)
        return {0, 0};
    size_t place = latest_[hash_at(at)];
    for (unsigned tries = 0; tries < most_tries && place > at - block_size; tries++) {
        if (bytes_[place + best.length] == bytes_[at + best.length]) {
            const size_t length = common_length(&bytes_[place], &bytes_[at], limit);
            if (length > best.length)
                best = {length, at - place};
            if (length >= std::min<size_t>(limit, good_length))
                break;
        }
        const size_t next = earlier_[place % block_size];
        if (next >= place)
            break;
        place = next;
    }
    return best.distance != 0 ? best : match{0, 0};
}

// Bytes at the end of the block in hand have none behind them yet.
void deflater::remember(size_t at) {
    if (at + shortest_match > block_size + pending_)
        return;
    uint16_t& latest = latest_[hash_at(at)];
    earlier_[at % block_size] = latest;
    latest = static_cast<uint16_t>(at);
}

void deflater::put_match(const match& found) {
    const code &length = length_codes[found.length], distance = distance_code(found.distance);
    writer_.put(length.bits, length.count);
    writer_.put(distance.bits, distance.count);
}

// Makes the block in hand what stood before the next one.
void deflater::make_history() {
    if (pending_ == block_size) {
        memcpy(bytes_.data(), &bytes_[block_size], block_size);
        const auto moved = [](uint16_t place) {
            return static_cast<uint16_t>(place > block_size ? place - block_size : 0);
        };
        std::transform(latest_.begin(), latest_.end(), latest_.begin(), moved);
        std::transform(earlier_.begin(), earlier_.end(), earlier_.begin(), moved);
    }
    pending_ = 0;
}

bool deflater::hand_over(size_t least) {
    const auto size = static_cast<size_t>(writer_.end() - output_.data());
    if (size < least || size == 0)
        return true;
    writer_.continue_at(output_.data());
    return sink_(output_.data(), size);
}

} // namespace ombrel::encoding
