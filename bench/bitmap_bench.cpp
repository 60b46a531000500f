// Bitmaps scaled and turned beside pixman and memcpy. What is mixed must be the picture that pixman makes,
// within 1 of 255.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <ombrel/bitmap_transform.h>
#include <ombrel/color.h>

namespace {

constexpr uint32_t argb8888 = def_ombrel_color_interface_argb8888, plain = def_ombrel_fbmap_plain;

struct free_image {
    void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using image_ptr = std::unique_ptr<pixman_image_t, free_image>;

// Pixels in memory, seen by either.
struct picture {
    uint32_t width, height;
    std::vector<uint32_t> pixels;

    picture(uint32_t w, uint32_t h) : width(w), height(h), pixels(size_t{w} * h, 1) {}

    ombrel_bitmap_t bitmap() {
        ombrel_bitmap_t made = {};
        ombrel_init_bitmap(&made, argb8888, width, height, pixels.data(), 0);
        return made;
    }
    image_ptr image() {
        return image_ptr(pixman_image_create_bits(PIXMAN_a8r8g8b8, static_cast<int>(width),
                                                  static_cast<int>(height), pixels.data(),
                                                  static_cast<int>(4 * width)));
    }
};

// Something like a photograph: shades with grain, whose neighbours differ by less than a quarter of the
// range.
picture photograph(uint32_t width, uint32_t height) {
    picture made(width, height);
    for (uint32_t y = 0; y < height; y++)
        for (uint32_t x = 0; x < width; x++) {
            const uint32_t grain = (x * 2654435761u ^ y * 2246822519u) >> 9;
            uint32_t pixel = 0;
            for (uint32_t channel = 0; channel < 4; channel++) {
                const uint32_t shade = (x * (channel + 1) + y * 3) % 400;
                pixel |= ((shade < 200 ? shade : 400 - shade) + (grain >> channel * 5 & 31)) << 8 * channel;
            }
            made.pixels[size_t{y} * width + x] = pixel;
        }
    return made;
}

template<typename Work>
void measure(benchmark::State& state, double pixels, Work work) {
    for (auto _ : state) {
        work();
        benchmark::ClobberMemory();
    }
    state.counters["pixels/s"] = benchmark::Counter(pixels, benchmark::Counter::kIsIterationInvariantRate);
}

// --- scaling --------------------------------------------------------------------------------------------

struct scaling {
    uint32_t from, to, method;
};

void scale(const scaling& way, picture& from, picture& to) {
    ombrel_bitmap_t target = to.bitmap();
    const ombrel_bitmap_t source = from.bitmap();
    ombrel_bitmap_put_scaled(&target, 0, 0, way.to, way.to, &source, 0, 0, way.from, way.from, way.method,
                             plain);
}

// The box that pixman is to take the mean of comes with its parameters.
void choose_filter(pixman_image_t* image, const scaling& way) {
    if (way.method != def_ombrel_bitmap_scale_box) {
        const bool nearest = way.method == def_ombrel_bitmap_scale_nearest;
        pixman_image_set_filter(image, nearest ? PIXMAN_FILTER_NEAREST : PIXMAN_FILTER_BILINEAR, nullptr, 0);
        return;
    }
    const pixman_fixed_t ratio = pixman_double_to_fixed(static_cast<double>(way.from) / way.to);
    int count = 0;
    pixman_fixed_t* const values = pixman_filter_create_separable_convolution(
        &count, ratio, ratio, PIXMAN_KERNEL_IMPULSE, PIXMAN_KERNEL_IMPULSE, PIXMAN_KERNEL_BOX,
        PIXMAN_KERNEL_BOX, 4, 4);
    pixman_image_set_filter(image, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, values, count);
    free(values);
}

class pixman_scaler {
public:
    pixman_scaler(const scaling& way, picture& from, picture& to)
        : size_(static_cast<int>(way.to)), from_(from.image()), to_(to.image()) {
        const pixman_fixed_t ratio = pixman_double_to_fixed(static_cast<double>(way.from) / way.to);
        pixman_transform_t transform;
        pixman_transform_init_scale(&transform, ratio, ratio);
        pixman_image_set_transform(from_.get(), &transform);
        pixman_image_set_repeat(from_.get(), PIXMAN_REPEAT_PAD);
        choose_filter(from_.get(), way);
    }
    void scale() const {
        pixman_image_composite32(PIXMAN_OP_SRC, from_.get(), nullptr, to_.get(), 0, 0, 0, 0, 0, 0, size_,
                                 size_);
    }

private:
    int size_;
    image_ptr from_, to_;
};

int farthest(const picture& a, const picture& b) {
    int most = 0;
    for (size_t i = 0; i < a.pixels.size(); i++)
        for (int shift = 0; shift < 32; shift += 8)
            most = std::max(most, std::abs(static_cast<int>(a.pixels[i] >> shift & 255) -
                                           static_cast<int>(b.pixels[i] >> shift & 255)));
    return most;
}

void compare_pictures(const scaling& way, picture from) {
    picture ours(way.to, way.to), theirs(way.to, way.to);
    scale(way, from, ours);
    pixman_scaler(way, from, theirs).scale();
    const int difference = farthest(ours, theirs);
    if (difference <= 1)
        return;
    fprintf(stderr, "bitmap_bench: [ERROR] %u to %u: %d away from pixman's picture\n", way.from, way.to,
            difference);
    exit(1);
}

picture noise(uint32_t size) {
    picture made(size, size);
    uint32_t state = 1;
    for (uint32_t& pixel : made.pixels)
        pixel = state = (state ^ state << 13) * 2654435761u ^ state >> 17;
    return made;
}

// Where pixman's fractions of 16 bits are exact the pictures agree whatever they show.
void compare_all(const scaling& way) {
    if (way.method != def_ombrel_bitmap_scale_bilinear)
        return;
    compare_pictures(way, photograph(way.from, way.from));
    if (uint64_t{way.from} * 65536 % way.to == 0)
        compare_pictures(way, noise(way.from));
}

void scale_by_ombrel(benchmark::State& state, scaling way) {
    compare_all(way);
    picture from = photograph(way.from, way.from), to(way.to, way.to);
    measure(state, 1.0 * way.to * way.to, [&] { scale(way, from, to); });
}

void scale_by_pixman(benchmark::State& state, scaling way) {
    picture from = photograph(way.from, way.from), to(way.to, way.to);
    const pixman_scaler scaler(way, from, to);
    measure(state, 1.0 * way.to * way.to, [&] { scaler.scale(); });
}

void copy_as_much(benchmark::State& state, uint32_t size) {
    picture from(size, size), to(size, size);
    measure(state, 1.0 * size * size,
            [&] { memcpy(to.pixels.data(), from.pixels.data(), 4 * to.pixels.size()); });
}

// --- turning --------------------------------------------------------------------------------------------

void turn_by_ombrel(benchmark::State& state, uint32_t size, uint32_t turn) {
    picture from = photograph(size, size), to(size, size);
    ombrel_bitmap_t target = to.bitmap();
    const ombrel_bitmap_t source = from.bitmap();
    measure(state, 1.0 * size * size,
            [&] { ombrel_bitmap_put_turned(&target, 0, 0, &source, 0, 0, size, size, turn, plain); });
}

// Where pixman's target lies in the source, after so many quarters the other way.
pixman_transform_t turning(uint32_t size, uint32_t turn) {
    constexpr int cosine[] = {1, 0, -1, 0}, sine[] = {0, 1, 0, -1};
    const auto fixed = [](int64_t value) { return static_cast<pixman_fixed_t>(value * pixman_fixed_1); };
    const int c = cosine[turn & 3], s = sine[turn & 3], flip = (turn & 4) != 0 ? -1 : 1;
    return {{{fixed(c * flip), fixed(s * flip), fixed(c * flip + s * flip < 0 ? int64_t{size} : 0)},
             {fixed(-s), fixed(c), fixed(c - s < 0 ? int64_t{size} : 0)},
             {0, 0, pixman_fixed_1}}};
}

void turn_by_pixman(benchmark::State& state, uint32_t size, uint32_t turn) {
    picture from = photograph(size, size), to(size, size), ours(size, size);
    const image_ptr source = from.image(), target = to.image();
    const pixman_transform_t transform = turning(size, turn);
    pixman_image_set_transform(source.get(), &transform);
    pixman_image_set_filter(source.get(), PIXMAN_FILTER_NEAREST, nullptr, 0);
    const auto work = [&] {
        pixman_image_composite32(PIXMAN_OP_SRC, source.get(), nullptr, target.get(), 0, 0, 0, 0, 0, 0,
                                 static_cast<int>(size), static_cast<int>(size));
    };
    work();
    ombrel_bitmap_t ours_bitmap = ours.bitmap();
    const ombrel_bitmap_t from_bitmap = from.bitmap();
    ombrel_bitmap_put_turned(&ours_bitmap, 0, 0, &from_bitmap, 0, 0, size, size, turn, plain);
    if (ours.pixels != to.pixels) {
        fprintf(stderr, "bitmap_bench: [ERROR] turn %u: another picture than pixman's\n", turn);
        exit(1);
    }
    measure(state, 1.0 * size * size, work);
}

// --- all of them ----------------------------------------------------------------------------------------

template<typename Ours, typename Peer>
void pair(const std::string& work, const char* peer, Ours ours, Peer theirs) {
    benchmark::RegisterBenchmark((work + "|ombrel").c_str(), ours);
    benchmark::RegisterBenchmark((work + "|" + peer).c_str(), theirs);
}

void register_scaling(uint32_t from, uint32_t to) {
    constexpr const char* names[] = {"nearest", "bilinear", "box"};
    for (uint32_t method = 0; method < 3; method++) {
        const scaling way = {from, to, method};
        const std::string work =
            std::string(names[method]) + " " + std::to_string(from) + " to " + std::to_string(to);
        pair(
            work, "pixman", [=](auto& state) { scale_by_ombrel(state, way); },
            [=](auto& state) { scale_by_pixman(state, way); });
        if (to == 2048)
            pair(
                work + ", as a copy", "memcpy", [=](auto& state) { scale_by_ombrel(state, way); },
                [=](auto& state) { copy_as_much(state, to); });
    }
}

void register_turn(uint32_t size, uint32_t turn) {
    constexpr const char* names[] = {"as it is",      "90",         "180",        "270",
                                     "left to right", "transverse", "up to down", "transposed"};
    const std::string work = std::string("turn ") + names[turn] + ", " + std::to_string(size);
    pair(
        work, "pixman", [=](auto& state) { turn_by_ombrel(state, size, turn); },
        [=](auto& state) { turn_by_pixman(state, size, turn); });
    pair(
        work + ", as a copy", "memcpy", [=](auto& state) { turn_by_ombrel(state, size, turn); },
        [=](auto& state) { copy_as_much(state, size); });
}

const bool registered = [] {
    for (const uint32_t size : {64u, 512u, 2048u}) {
        register_scaling(size * 2 / 3, size);
        register_scaling(size / 2, size);
        register_scaling(size, size * 7 / 10);
        register_scaling(size, size);
    }
    register_scaling(2048, 512);
    for (const uint32_t turn : {1u, 2u, 3u, 4u, 6u, 7u})
        for (const uint32_t size : {512u, 2048u})
            register_turn(size, turn);
    return true;
}();

} // namespace
