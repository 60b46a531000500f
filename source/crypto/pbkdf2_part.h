// A key made of a password, in steps, so that nobody who has other work waits for all of them.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/hmac.h>

#include "core/wipe.h"
#include "crypto/digest_shape.h"

namespace ombrel::crypto {

/// As many bytes of a PBKDF2 key as the digest has.
class pbkdf2_part {
public:
    pbkdf2_part() = default;
    ~pbkdf2_part() { forget(); }
    pbkdf2_part(const pbkdf2_part&) = delete;
    pbkdf2_part& operator=(const pbkdf2_part&) = delete;

    /// @param keyed      of a digest with a shape, started with the password
    /// @param number     the part's, from 1
    /// @param iterations at least 1
    void begin(const ombrel_hmac_t& keyed, const void* salt, size_t salt_size, uint32_t number,
               uint32_t iterations);
    /// Does as many of the iterations as are left, and not more than `most`. True when none is left.
    bool step(uint32_t most);
    /// The bytes, when all is done.
    void get(unsigned char* part) const;
    void forget() { wipe(this, sizeof *this); }

private:
    // Each leaves on the stack what the one of its name wipes from there.
    void begin_openly(const ombrel_hmac_t& keyed, const void* salt, size_t salt_size, uint32_t number,
                      uint32_t iterations);
    void step_openly(uint32_t most);
    void get_openly(unsigned char* part) const;
    void digest_block(const uint32_t* first_state, uint32_t (&state)[most_digest_words]);

    const digest_shape* shape_ = nullptr;
    size_t words_ = 0;
    uint32_t left_ = 0;
    uint32_t inner_[most_digest_words], outer_[most_digest_words];
    uint32_t sum_[most_digest_words]; ///< without carries, of the results behind the first
    unsigned char first_[def_ombrel_digest_size_max];
    unsigned char block_[block_size]; ///< the last result as a whole message
};

} // namespace ombrel::crypto
