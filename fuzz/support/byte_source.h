// The input of a fuzz target, taken piece by piece.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "support/require.h"

/// Zeros and empty texts follow the end.
class byte_source {
public:
    byte_source(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

    bool is_empty() const { return at_ == end_; }
    uint8_t byte() { return is_empty() ? 0 : *at_++; }
    /// Below the limit, which is 256 or less.
    unsigned number(unsigned limit) { return byte() % limit; }
    /// Any bytes, their length before them.
    std::string bytes() {
        const size_t wanted = byte(); // before what is left is counted
        const size_t size = std::min(wanted, static_cast<size_t>(end_ - at_));
        at_ += size;
        return {reinterpret_cast<const char*>(at_ - size), size};
    }
    /// bytes() up to the first zero.
    std::string text() { return bytes().c_str(); }
    std::string rest() {
        const std::string all(reinterpret_cast<const char*>(at_), static_cast<size_t>(end_ - at_));
        at_ = end_;
        return all;
    }

private:
    const uint8_t* at_;
    const uint8_t* end_;
};
