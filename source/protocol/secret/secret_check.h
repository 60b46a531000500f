// Whether somebody knows a password, found out in steps: a strong secret would hold up a loop otherwise.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <ombrel/secret.h>

#include "crypto/pbkdf2_part.h"

namespace ombrel::protocol {

class secret_check {
public:
    secret_check() = default;
    ~secret_check() { forget(); }
    secret_check(const secret_check&) = delete;
    secret_check& operator=(const secret_check&) = delete;

    /// Begins anew; nothing is kept of what is given.
    void begin(const ombrel_secret_t& secret, const char* name, const char* password);
    bool has_begun() const { return has_begun_; }
    /// Does so many iterations of a strong secret at most. True when it is done, as it is at once for others.
    bool step(uint32_t most);
    /// Whether the password is that of a secret, once it is done. For another secret than was begun with,
    /// which may have come to its place, it is not.
    bool is_password_of(const ombrel_secret_t& secret) const;
    /// Ends it, with nothing left of the password.
    void forget() {
        part_.forget();
        wipe(made_, sizeof made_);
        has_begun_ = false;
    }

    /// How many iterations one of several checks does at a turn of their loop, so that the turn stays short.
    static uint32_t at_a_turn(size_t checks) {
        constexpr size_t of_all = 1024, least = 32;
        return static_cast<uint32_t>(std::max(of_all / std::max<size_t>(checks, 1), least));
    }

private:
    crypto::pbkdf2_part part_;
    bool has_begun_ = false, is_strong_ = false, is_sound_ = false;
    unsigned char made_[def_ombrel_sha256_size];
};

/// ombrel_secret_list_check() by a check of the caller's, which is begun when it was not yet: 1 or 0 when it
/// is known, and `check_goes_on` when it needs more calls with the same arguments.
constexpr int check_goes_on = 2;
int check_by_list(ombrel_secret_list_t& list, const char* name, const char* password, secret_check& check,
                  uint32_t most);

} // namespace ombrel::protocol
