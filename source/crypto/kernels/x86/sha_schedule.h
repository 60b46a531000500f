// SHA-1 and SHA-256 with the message schedules of one or more blocks worked out in vectors and the rounds on
// single words. It is compiled once for each width of vector: the including source defines OMBREL_TARGET and
// gives a type of lanes, whose vectors hold four words of each block.

#include "crypto/kernels/sha_rounds.h"

namespace ombrel::crypto {

namespace {

template<typename Lanes>
OMBREL_TARGET [[gnu::always_inline]] inline typename Lanes::vector rotate_left(typename Lanes::vector words,
                                                                               int by) {
    return Lanes::either(Lanes::shift_left(words, by), Lanes::shift_right(words, 32 - by));
}

/// The four words after those of w0 to w3.
template<typename Lanes>
OMBREL_TARGET [[gnu::always_inline]] inline typename Lanes::vector
next_of_sha1(typename Lanes::vector w0, typename Lanes::vector w1, typename Lanes::vector w2,
             typename Lanes::vector w3) {
    const auto older = Lanes::differ(Lanes::differ(Lanes::template join<8>(w1, w0), w0), w2);
    const auto sum = Lanes::differ(older, Lanes::template towards_first<4>(w3));
    // The last word depends on the first of these four, which is rotated twice on that way.
    const auto first = rotate_left<Lanes>(Lanes::template towards_last<12>(sum), 2);
    return Lanes::differ(rotate_left<Lanes>(sum, 1), first);
}

template<typename Lanes>
OMBREL_TARGET [[gnu::always_inline]] inline typename Lanes::vector near_sum(typename Lanes::vector words) {
    return Lanes::differ(Lanes::differ(rotate_left<Lanes>(words, 15), rotate_left<Lanes>(words, 13)),
                         Lanes::shift_right(words, 10));
}

template<typename Lanes>
OMBREL_TARGET [[gnu::always_inline]] inline typename Lanes::vector far_sum(typename Lanes::vector words) {
    return Lanes::differ(Lanes::differ(rotate_left<Lanes>(words, 25), rotate_left<Lanes>(words, 14)),
                         Lanes::shift_right(words, 3));
}

/// The four words after those of w0 to w3. The last two of them depend on the first two.
template<typename Lanes>
OMBREL_TARGET [[gnu::always_inline]] inline typename Lanes::vector
next_of_sha256(typename Lanes::vector w0, typename Lanes::vector w1, typename Lanes::vector w2,
               typename Lanes::vector w3) {
    auto sum = Lanes::add(Lanes::add(w0, far_sum<Lanes>(Lanes::template join<4>(w1, w0))),
                          Lanes::template join<4>(w3, w2));
    sum = Lanes::add(sum, near_sum<Lanes>(Lanes::template towards_first<8>(w3)));
    return Lanes::add(sum, near_sum<Lanes>(Lanes::template towards_last<8>(sum)));
}

struct sha1_digest {
    static constexpr size_t rounds = 80, words = 5;

    template<typename Lanes>
    OMBREL_TARGET [[gnu::always_inline]] static typename Lanes::vector constants(size_t round) {
        return Lanes::repeat(sha1_constants[round / 20]);
    }
    template<typename Lanes>
    OMBREL_TARGET [[gnu::always_inline]] static typename Lanes::vector
    next(typename Lanes::vector w0, typename Lanes::vector w1, typename Lanes::vector w2,
         typename Lanes::vector w3) {
        return next_of_sha1<Lanes>(w0, w1, w2, w3);
    }
    template<size_t first>
    OMBREL_TARGET [[gnu::always_inline]] static void run(uint32_t (&now)[5], const uint32_t* inputs) {
        sha1_rounds<first>(now, inputs, std::make_index_sequence<16>());
    }
};

struct sha256_digest {
    static constexpr size_t rounds = 64, words = 8;

    template<typename Lanes>
    OMBREL_TARGET [[gnu::always_inline]] static typename Lanes::vector constants(size_t round) {
        return Lanes::four_words(&sha256_constants[round]);
    }
    template<typename Lanes>
    OMBREL_TARGET [[gnu::always_inline]] static typename Lanes::vector
    next(typename Lanes::vector w0, typename Lanes::vector w1, typename Lanes::vector w2,
         typename Lanes::vector w3) {
        return next_of_sha256<Lanes>(w0, w1, w2, w3);
    }
    template<size_t first>
    OMBREL_TARGET [[gnu::always_inline]] static void run(uint32_t (&now)[8], const uint32_t* inputs) {
        sha256_rounds(now, inputs, std::make_index_sequence<16>());
    }
};

template<typename Lanes, typename Digest>
using round_inputs = uint32_t[Lanes::blocks][Digest::rounds];

/// Sixteen rounds of the first block, among which the next words of all blocks are worked out.
template<typename Lanes, typename Digest, size_t first>
OMBREL_TARGET [[gnu::always_inline]] inline void scheduled_rounds(uint32_t (&now)[Digest::words],
                                                                  typename Lanes::vector (&schedule)[4],
                                                                  round_inputs<Lanes, Digest>& inputs) {
    for (size_t i = 0; i < 4; i++)
        Lanes::store(&inputs[0][first + 4 * i], Digest::rounds,
                     Lanes::add(schedule[i], Digest::template constants<Lanes>(first + 4 * i)));
    // The rounds are to read memory: compilers would take the words out of the vectors one by one.
    __asm__("" : "+m"(inputs));
    if constexpr (first + 16 < Digest::rounds)
        for (size_t i = 0; i < 4; i++)
            schedule[i] = Digest::template next<Lanes>(schedule[i], schedule[(i + 1) % 4],
                                                       schedule[(i + 2) % 4], schedule[(i + 3) % 4]);
    Digest::template run<first>(now, &inputs[0][first]);
}

template<typename Lanes, typename Digest, size_t... part>
OMBREL_TARGET [[gnu::always_inline]] inline void
first_block(uint32_t* state, typename Lanes::vector (&schedule)[4], round_inputs<Lanes, Digest>& inputs,
            std::index_sequence<part...> /*parts*/) {
    uint32_t now[Digest::words];
    std::copy_n(state, Digest::words, now);
    (scheduled_rounds<Lanes, Digest, 16 * part>(now, schedule, inputs), ...);
    add_words(state, now);
}

template<typename Digest, size_t... part>
OMBREL_TARGET [[gnu::always_inline]] inline void later_block(uint32_t* state,
                                                             const uint32_t (&inputs)[Digest::rounds],
                                                             std::index_sequence<part...> /*parts*/) {
    uint32_t now[Digest::words];
    std::copy_n(state, Digest::words, now);
    (Digest::template run<16 * part>(now, inputs + 16 * part), ...);
    add_words(state, now);
}

template<typename Lanes, typename Digest>
OMBREL_TARGET [[gnu::always_inline]] inline void run_blocks(uint32_t* state, const unsigned char* blocks,
                                                            size_t count) {
    constexpr auto parts = std::make_index_sequence<Digest::rounds / 16>();
    round_inputs<Lanes, Digest> inputs;
    while (count > 0) {
        const size_t now = std::min(count, Lanes::blocks);
        typename Lanes::vector schedule[4];
        for (size_t i = 0; i < 4; i++)
            schedule[i] = Lanes::load(blocks + 16 * i, blocks + 64 * (now - 1) + 16 * i);
        first_block<Lanes, Digest>(state, schedule, inputs, parts);
        for (size_t later = 1; later < now; later++)
            later_block<Digest>(state, inputs[later], parts);
        blocks += 64 * now;
        count -= now;
    }
}

} // namespace

} // namespace ombrel::crypto
