// Windows of blocks (RFC 7440), the same on both sides: a sender's, kept until they are acknowledged, and a
// receiver's count of what came. A window of one block is the protocol without windows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "core/heap_ptr.h"
#include "protocol/tftp/tftp_packet.h"

namespace ombrel::protocol {

/// The blocks of a file that are being filled or wait for their acknowledgement, as packets.
class tftp_send_window {
public:
    /// Room for so many blocks of so many bytes. False when memory runs out.
    bool reserve(size_t block_size, unsigned count, const char* tag);
    /// Empties the window; the blocks must fit into what is reserved. The first gets the number 1.
    void begin(size_t block_size, unsigned count);
    void release() { packets_.reset(); }

    /// Where the next bytes go; empty when the window is full or the file has ended.
    std::span<uint8_t> room();
    /// Counts bytes that were put into the room.
    void add(size_t size);
    /// The file ends here: what the present block holds, even nothing, is the last one.
    void end();

    bool is_full() const { return count_ == most_ || ended_; }
    bool is_empty() const { return count_ == 0; }
    bool has_ended() const { return ended_; }
    /// Complete blocks, and their packets.
    size_t count() const { return count_; }
    std::span<const uint8_t> packet(size_t index) const;

    /// Takes blocks out, up to the one of this number. @return how many; 0 for a number that is not in it
    size_t acknowledge(uint16_t number);

private:
    uint8_t* slot(size_t index) const;
    size_t slot_size() const { return tftp_header_size + block_size_; }
    void complete();

    heap_ptr<uint8_t> packets_;
    size_t block_size_ = 0;
    size_t most_ = 0;
    size_t first_ = 0;     ///< slot of the oldest block
    size_t count_ = 0;     ///< complete blocks
    size_t filled_ = 0;    ///< bytes in the block behind them
    size_t last_size_ = 0; ///< of the file's last block
    uint64_t number_ = 1;  ///< of the oldest block, not reduced to 16 bits
    bool ended_ = false;
};

/// Which block comes next, and when an acknowledgement is due.
class tftp_block_order {
public:
    void begin(unsigned window_size) { *this = {}, window_size_ = window_size; }
    /// Of the last block taken, not reduced to 16 bits; the number goes on at 0 behind 65535.
    uint64_t last() const { return last_; }

    bool is_next(uint16_t number) const { return number == static_cast<uint16_t>(last_ + 1); }
    /// Counts the next block. @return whether an acknowledgement is due
    bool take(bool is_final);
    /// Whether a block that is not the next one asks for the last acknowledgement again: it came once more,
    /// or one before it was lost, which is told once.
    bool is_acknowledged_again(uint16_t number);
    /// Takes note that what came has been acknowledged by now.
    void note_acknowledgement() { unacknowledged_ = 0; }

private:
    uint64_t last_ = 0;
    unsigned window_size_ = 1;
    unsigned unacknowledged_ = 0;
    bool gap_told_ = false;
};

} // namespace ombrel::protocol
