// What programs of operations share: how much an input may ask for, and the bytes that it makes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ombrel_test {

/// Keeps one input from taking the time of a thousand: enough for many operations and several nodes and
/// blocks.
class work_limit {
public:
    explicit work_limit(size_t bytes) : bytes_(bytes) {}
    bool allows_step() { return steps_ > 0 && steps_-- > 0 && bytes_ > 0; }
    size_t of_bytes(size_t size) {
        const size_t allowed = size < bytes_ ? size : bytes_;
        bytes_ -= allowed;
        return allowed;
    }

private:
    size_t bytes_, steps_ = 200;
};

/// Bytes of which `plain` out of 256 are made by ordinary(choice), the others taken from a set. Long texts
/// repeat a beginning that fits no block, as making them takes longer than what is tested.
template<typename Ordinary>
std::string make_mixture(size_t size, unsigned state, unsigned plain, std::string_view others,
                         Ordinary ordinary) {
    constexpr size_t most = 251;
    std::string bytes(size < most ? size : most, '\0');
    for (char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        const unsigned choice = state >> 8 & 0xFFFF;
        byte =
            (state >> 24) < plain || plain == 255 ? ordinary(choice & 0xFF) : others[choice % others.size()];
    }
    bytes.reserve(size);
    while (bytes.size() < size)
        bytes.append(bytes, 0, size - bytes.size());
    return bytes;
}

} // namespace ombrel_test
