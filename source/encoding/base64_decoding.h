// The decoder's way through a piece of base64 text: whole runs of characters by a kernel, what stands between
// them character by character.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "encoding/kernels/base64_tables.h"
#include "encoding/kernels/kernels.h"

namespace ombrel::encoding {

/// The characters of one group of four that were read so far.
class base64_group {
public:
    bool is_empty() const { return count_ == 0; }
    bool is_complete() const { return count_ == 4; }
    bool is_stopped() const { return stopped_; }

    /// Reads until the group is complete or a foreign character stops it; gives the characters looked at.
    size_t read(const unsigned char* text, size_t size, bool lenient) {
        size_t at = 0;
        while (at < size && !is_complete() && !stopped_) {
            const uint8_t found = classes[text[at++]];
            if (found <= padding)
                values_[count_++] = found;
            else
                stopped_ = found == base64_no_value && !lenient;
        }
        return at;
    }

    /// Writes the bytes of a complete group, at most 3, and empties it; gives their number.
    size_t take(unsigned char* bytes) {
        count_ = 0;
        const auto* end = std::find(values_.begin(), values_.end(), padding);
        uint32_t bits = 0;
        for (const uint8_t value : values_)
            bits = bits << 6 | (value & 63u);
        const std::array<unsigned char, 3> whole = {static_cast<unsigned char>(bits >> 16),
                                                    static_cast<unsigned char>(bits >> 8),
                                                    static_cast<unsigned char>(bits)};
        const auto size = static_cast<size_t>(std::max<ptrdiff_t>(end - values_.begin() - 1, 0));
        memcpy(bytes, whole.data(), size);
        return size;
    }

private:
    static constexpr uint8_t padding = 64, line_end = 65;
    static constexpr std::array<uint8_t, 256> classes = [] {
        std::array<uint8_t, 256> found = base64_values;
        found['='] = padding;
        found['\r'] = found['\n'] = line_end;
        return found;
    }();

    std::array<uint8_t, 4> values_;
    unsigned count_;
    bool stopped_;
};

/// One piece of text, and the state of the decoder while it goes through it.
struct base64_decoding {
    const unsigned char* m_text;
    size_t m_size;
    unsigned char* m_bytes;
    size_t m_room;
    bool m_lenient;
    base64_group m_group;
    size_t m_waiting;  // characters looked at, those before the piece included, since the last group was made
    size_t m_read = 0; // of the piece
    size_t m_made = 0; // bytes

    /// Ends with the piece or where the group is stopped; false when a complete group has no room.
    bool run() {
        for (;;) {
            if (m_group.is_complete() && !make_group())
                return false;
            if (m_group.is_empty())
                make_run();
            if (m_read == m_size)
                return true;
            const size_t looked_at = m_group.read(m_text + m_read, m_size - m_read, m_lenient);
            m_read += looked_at;
            m_waiting += looked_at;
            if (m_group.is_stopped())
                return true;
        }
    }

private:
    // Room for three bytes is due also when the group has fewer: meant so.
    bool make_group() {
        if (m_room - m_made < 3)
            return false;
        m_made += m_group.take(m_bytes + m_made);
        m_waiting = 0;
        return true;
    }
    void make_run() {
        const size_t fitting = std::min((m_size - m_read) / 4, (m_room - m_made) / 3);
        const size_t groups = kernels().decode(m_bytes + m_made, m_text + m_read, fitting);
        m_made += 3 * groups;
        m_read += 4 * groups;
        if (groups > 0)
            m_waiting = 0;
    }
};

} // namespace ombrel::encoding
