#include "graphics/font/text_frame.h"

namespace ombrel::graphics {
namespace {

// The sine by its series, which at a quarter turn needs no more terms than these.
constexpr double sine_of(double radians) {
    double sum = 0, term = radians;
    for (int i = 1; i < 24; i += 2) {
        sum += term;
        term *= -radians * radians / ((i + 1) * (i + 2));
    }
    return sum;
}

constexpr std::array<int64_t, 91> make_quarter() {
    std::array<int64_t, 91> sines{};
    for (int degree = 0; degree <= 90; degree++) {
        const double scaled =
            sine_of(degree * 3.14159265358979323846 / 180) * (int64_t{1} << text_turn::fraction_bits);
        // None is negative, and this rounds at compile time. NOLINTNEXTLINE(bugprone-incorrect-roundings)
        sines[static_cast<size_t>(degree)] = static_cast<int64_t>(scaled + 0.5);
    }
    return sines;
}

constexpr std::array<int64_t, 91> quarter = make_quarter();
static_assert(quarter[0] == 0 && quarter[90] == int64_t{1} << text_turn::fraction_bits);

// Of 0 to 359 degrees.
int64_t fixed_sine(unsigned degrees) {
    if (degrees >= 180)
        return -fixed_sine(degrees - 180);
    return quarter[degrees <= 90 ? degrees : 180 - degrees];
}

} // namespace

text_turn::text_turn(int32_t degrees) {
    const auto within = static_cast<unsigned>((degrees % 360 + 360) % 360);
    sine_ = fixed_sine(within);
    cosine_ = fixed_sine((within + 90) % 360);
}

} // namespace ombrel::graphics
