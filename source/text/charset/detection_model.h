// What a text would cost if it were in one character set: bits that a writer would need for it who knows how
// common the characters of that set's languages are. The set in which a text costs least is the likeliest.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ombrel::detection {

/// Costs are counted in quarters of a bit.
using cost = int64_t;
constexpr cost bits(int64_t count) {
    return 4 * count;
}

/// What a byte costs of which nothing is known.
inline constexpr cost unknown_byte = bits(8);

/// What a place costs where the text is none of the set.
inline constexpr cost fault_cost = bits(48);

/// What stands before a character, as far as it matters.
enum class neighbour : uint8_t {
    none,
    small_letter,
    capital,
    digit,
    wide,
    small_accent,
    capital_accent,
    japanese,
    korean,
    other_script
};

/// What all sets share: the cost so far, and the bytes of a character whose rest is to come.
struct model {
    cost spent = 0;
    uint32_t faults = 0;
    bool is_out = false; ///< it is no text of this set
    uint8_t held_size = 0;
    std::array<uint8_t, 4> held{};
    neighbour before = neighbour::none;

    void note_fault() {
        faults++;
        spent += fault_cost;
        before = neighbour::none;
    }
    void put_ascii(uint8_t byte);
    void put_wide(cost price);
};

struct utf8_model : model {
    void take(uint8_t byte);
};

struct utf16_model : model {
    void take(uint8_t byte);
    bool is_big = false;
    uint16_t high_half = 0; ///< the first of a pair, or 0
};

struct utf32_model : model {
    void take(uint8_t byte);
    bool is_big = false;
};

/// ISO-8859-1 and windows-1252.
struct western_model : model {
    void take(uint8_t byte);
    bool is_windows = false; ///< it has characters that only windows-1252 has
};

/// EUC-KR and CP949.
struct korean_model : model {
    void take(uint8_t byte);
    bool is_extended = false; ///< it has syllables that only CP949 has

private:
    void put_pair(size_t row, size_t cell);
    uint16_t last_pair = 0;
};

/// Shift_JIS and CP932.
struct shift_jis_model : model {
    void take(uint8_t byte);
    bool is_windows = false; ///< it has characters that only CP932 has

private:
    void put_half_katakana(uint8_t byte);
};

struct euc_jp_model : model {
    void take(uint8_t byte);
};

} // namespace ombrel::detection
