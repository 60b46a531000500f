// Text as TFTP's netascii has it, and as files do: a line feed is CR LF, a carriage return CR NUL.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ombrel::protocol {

/// From a file to the network.
class netascii_encoder {
public:
    struct step {
        size_t taken, made;
    };
    /// Encodes as many bytes as fit. One may wait for the next room as half of its pair.
    step encode(std::span<const uint8_t> from, std::span<uint8_t> to) {
        step done{};
        while (done.made < to.size() && (second_ >= 0 || done.taken < from.size())) {
            if (second_ >= 0) {
                to[done.made++] = static_cast<uint8_t>(second_);
                second_ = -1;
                continue;
            }
            const uint8_t byte = from[done.taken++];
            second_ = byte == '\n' ? '\n' : byte == '\r' ? 0 : -1;
            to[done.made++] = second_ >= 0 ? uint8_t{'\r'} : byte;
        }
        return done;
    }
    bool is_waiting() const { return second_ >= 0; }

private:
    int second_ = -1; ///< what has to follow a carriage return
};

/// From the network to a file. A carriage return before anything else stays as it is.
class netascii_decoder {
public:
    /// The most that a piece grows by: a carriage return that waited.
    static constexpr size_t growth = 1;

    /// Decodes a piece. `to` may be as far as `growth` before the piece, and overlap it.
    /// @param is_last nothing follows
    /// @return bytes made
    size_t decode(std::span<const uint8_t> from, uint8_t* to, bool is_last) {
        size_t made = 0;
        for (const uint8_t byte : from) {
            if (waits_ && byte != '\n' && byte != 0)
                to[made++] = '\r';
            if (byte != '\r')
                to[made++] = waits_ && byte == 0 ? uint8_t{'\r'} : byte;
            waits_ = byte == '\r';
        }
        if (is_last && waits_)
            to[made++] = '\r';
        return made;
    }

private:
    bool waits_ = false; ///< the piece before ended with a carriage return
};

} // namespace ombrel::protocol
