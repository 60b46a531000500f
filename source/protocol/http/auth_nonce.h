// The nonces of a server: made without memory, and remembered once they were used well.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/hmac.h>

#include "core/heap_ptr.h"

namespace ombrel::protocol {

class nonce_book {
public:
    static constexpr size_t text_size = 64;

    /// @param key started with a secret key
    /// @param lifetime nanoseconds
    nonce_book(const ombrel_hmac_t& key, uint64_t lifetime, size_t limit)
        : key_(key), lifetime_(lifetime), limit_(limit) {}
    ~nonce_book();
    nonce_book(const nonce_book&) = delete;
    nonce_book& operator=(const nonce_book&) = delete;

    /// Writes a new nonce, not terminated.
    void make(char (&text)[text_size]);

    /// A nonce that was made here, with its age left.
    struct known {
        uint64_t serial;
        bool is_fresh;
    };
    /// Whether a text is a nonce that was made here.
    bool read(std::string_view text, known& nonce) const;

    enum class use { first, replayed, stale };

    /// Counts a use of a fresh nonce by somebody who has proved who he is.
    /// @param count the nonce count; 0 for a client that has none and may use the nonce once
    use take(const known& nonce, uint32_t count);

    size_t size() const { return size_; }

private:
    /// Which counts of a nonce were there: the highest, and in a window those before it.
    struct record {
        uint64_t serial;
        uint64_t seen; ///< bit 0 for the highest
        uint32_t highest;
        bool is_spent;
    };

    bool take(record& used, uint32_t count) const;
    record* insert(record* at, uint64_t serial);
    bool grow();
    void forget_oldest();

    ombrel_hmac_t key_;
    uint64_t lifetime_;
    size_t limit_;
    uint64_t next_serial_ = 1;
    uint64_t forgotten_ = 0;   ///< of a serial up to this one, whether it was used is not known any more
    heap_ptr<record> records_; ///< by serial
    size_t size_ = 0, room_ = 0;
};

} // namespace ombrel::protocol
