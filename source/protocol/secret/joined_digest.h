// Digests of texts that are joined by ":", of which log-in by digest is made.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

#include <ombrel/digest.h>

#include "core/wipe.h"
#include "text/digits.h"

namespace ombrel::protocol {

inline void digest_joined(const ombrel_digest_algorithm_t& algorithm,
                          std::initializer_list<std::string_view> parts, unsigned char* result) {
    ombrel_digest_t digest;
    const wipe_guard wiped(digest);
    ombrel_init_digest(&digest, &algorithm);
    bool is_first = true;
    for (const std::string_view part : parts) {
        if (!is_first)
            ombrel_digest_push(&digest, ":", 1);
        is_first = false;
        ombrel_digest_push(&digest, part.data(), part.size());
    }
    ombrel_digest_result(&digest, result);
}

/// Writes bytes as digits of lower case, and gives the place behind them.
inline char* put_digits(char* to, const unsigned char* bytes, size_t size) {
    for (size_t i = 0; i < size; i++)
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): whole, a keyed digest wrote the last of them
        to = put_hex(to, bytes[i], lower_digits);
    return to;
}

} // namespace ombrel::protocol
