// The powers of ten that a number type holds exactly, from the 0th on.
#pragma once

#include <array>
#include <cstddef>

namespace ombrel {

template<typename Number, size_t Count>
constexpr std::array<Number, Count> make_powers_of_ten() {
    std::array<Number, Count> powers{};
    Number power = 1;
    for (Number& entry : powers) {
        entry = power;
        power *= 10;
    }
    return powers;
}

} // namespace ombrel
