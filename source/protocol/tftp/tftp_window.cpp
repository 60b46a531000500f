#include "protocol/tftp/tftp_window.h"

namespace ombrel::protocol {

bool tftp_send_window::reserve(size_t block_size, unsigned count, const char* tag) {
    // Both are bounded far below what could overflow: 64 blocks of 64 KiB.
    const size_t size = (tftp_header_size + block_size) * count;
    packets_.reset(static_cast<uint8_t*>(ombrel_alloc_tag(size, tag, __LINE__)));
    return static_cast<bool>(packets_);
}

void tftp_send_window::begin(size_t block_size, unsigned count) {
    block_size_ = block_size;
    most_ = count;
    first_ = count_ = filled_ = 0;
    number_ = 1;
    ended_ = false;
}

uint8_t* tftp_send_window::slot(size_t index) const {
    return packets_.get() + (first_ + index) % most_ * slot_size();
}

std::span<uint8_t> tftp_send_window::room() {
    if (is_full())
        return {};
    return {slot(count_) + tftp_header_size + filled_, block_size_ - filled_};
}

void tftp_send_window::add(size_t size) {
    filled_ += size;
    if (filled_ == block_size_)
        complete();
}

void tftp_send_window::end() {
    last_size_ = filled_;
    complete();
    ended_ = true;
}

void tftp_send_window::complete() {
    write_tftp_block_header({slot(count_), tftp_header_size}, tftp_opcode::data,
                            static_cast<uint16_t>(number_ + count_));
    count_++;
    filled_ = 0;
}

std::span<const uint8_t> tftp_send_window::packet(size_t index) const {
    const bool is_last = ended_ && index + 1 == count_;
    return {slot(index), tftp_header_size + (is_last ? last_size_ : block_size_)};
}

size_t tftp_send_window::acknowledge(uint16_t number) {
    const size_t blocks = static_cast<uint16_t>(number - static_cast<uint16_t>(number_ - 1));
    if (blocks > count_)
        return 0;
    first_ = (first_ + blocks) % most_;
    count_ -= blocks;
    number_ += blocks;
    return blocks;
}

bool tftp_block_order::take(bool is_final) {
    last_++;
    gap_told_ = false;
    unacknowledged_++;
    if (!is_final && unacknowledged_ < window_size_)
        return false;
    unacknowledged_ = 0;
    return true;
}

bool tftp_block_order::is_acknowledged_again(uint16_t number) {
    const unsigned ahead = static_cast<uint16_t>(number - static_cast<uint16_t>(last_));
    if (ahead == 0)
        return last_ > 0 && unacknowledged_ == 0;
    // Without windows what is too early cannot be on its way, and a reply to it would double packets for
    // ever.
    if (window_size_ == 1 || ahead > window_size_ || gap_told_)
        return false;
    gap_told_ = true;
    unacknowledged_ = 0;
    return true;
}

} // namespace ombrel::protocol
