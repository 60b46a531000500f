#include "protocol/http/auth_nonce.h"

#include <algorithm>
#include <cstring>

#include "core/wipe.h"
#include "platform/clock.h"
#include "protocol/secret/joined_digest.h"
#include "text/digits.h"

namespace ombrel::protocol {

namespace {

/// What a nonce has inside: its number, when it was made, and a proof of both.
struct nonce_bytes {
    uint64_t serial, made;
    unsigned char proof[16];
};
static_assert(2 * sizeof(nonce_bytes) == nonce_book::text_size);

void prove(const ombrel_hmac_t& key, nonce_bytes& nonce) {
    ombrel_hmac_t keyed = key;
    unsigned char digest[def_ombrel_digest_size_max];
    ombrel_hmac_push(&keyed, &nonce, offsetof(nonce_bytes, proof));
    ombrel_hmac_result(&keyed, digest);
    memcpy(nonce.proof, digest, sizeof nonce.proof);
}

} // namespace

nonce_book::~nonce_book() {
    wipe(&key_, sizeof key_);
}

// The words are in the order of this machine, as nobody else reads them.
void nonce_book::make(char (&text)[text_size]) {
    nonce_bytes nonce{next_serial_++, platform::monotonic_nanoseconds(), {}};
    prove(key_, nonce);
    put_digits(text, reinterpret_cast<const unsigned char*>(&nonce), sizeof nonce);
}

bool nonce_book::read(std::string_view text, known& nonce) const {
    if (text.size() != text_size)
        return false;
    unsigned char bytes[sizeof(nonce_bytes)];
    for (size_t i = 0; i < sizeof bytes; i++) {
        const unsigned high = digit_value(text[2 * i]), low = digit_value(text[2 * i + 1]);
        if (high == no_digit || low == no_digit)
            return false;
        bytes[i] = static_cast<unsigned char>(high << 4 | low);
    }
    nonce_bytes given, expected;
    memcpy(&given, bytes, sizeof given);
    expected = given;
    prove(key_, expected);
    nonce = {given.serial, platform::monotonic_nanoseconds() - given.made < lifetime_};
    return ombrel_is_same_secret(given.proof, expected.proof, sizeof given.proof) == 1;
}

nonce_book::use nonce_book::take(const known& nonce, uint32_t count) {
    if (!nonce.is_fresh)
        return use::stale;
    record *const begin = records_.get(), *const end = begin + size_;
    record* at = std::lower_bound(begin, end, nonce.serial,
                                  [](const record& each, uint64_t serial) { return each.serial < serial; });
    if (at == end || at->serial != nonce.serial) {
        at = nonce.serial > forgotten_ ? insert(at, nonce.serial) : nullptr;
        if (at == nullptr)
            return use::stale;
    }
    return take(*at, count) ? use::first : use::replayed;
}

bool nonce_book::take(record& used, uint32_t count) const {
    constexpr uint32_t window = 64;
    if (used.is_spent)
        return false;
    if (count == 0) {
        used.is_spent = true;
        return used.highest == 0;
    }
    if (count > used.highest) {
        const uint32_t step = count - used.highest;
        used.seen = (step < window ? used.seen << step : 0) | 1u;
        used.highest = count;
        return true;
    }
    const uint32_t back = used.highest - count;
    const uint64_t bit = back < window ? uint64_t{1} << back : 0;
    const bool is_first = bit != 0 && (used.seen & bit) == 0;
    used.seen |= bit;
    return is_first;
}

/// Null when there is neither memory nor a record that could be given up.
nonce_book::record* nonce_book::insert(record* at, uint64_t serial) {
    const auto index = static_cast<size_t>(at - records_.get());
    const size_t before = size_;
    if (size_ == room_ && !grow())
        forget_oldest();
    const size_t gone = before - size_;
    if (size_ == room_ || gone > index || serial <= forgotten_)
        return nullptr;
    record* const place = records_.get() + (index - gone);
    std::copy_backward(place, records_.get() + size_, records_.get() + size_ + 1);
    size_++;
    *place = {.serial = serial, .seen = 0, .highest = 0, .is_spent = false};
    return place;
}

bool nonce_book::grow() {
    const size_t room = std::min(std::max<size_t>(2 * room_, 16), limit_);
    if (room == room_)
        return false;
    heap_ptr<record> larger(static_cast<record*>(
        ombrel_alloc_tag(room * sizeof(record), "ombrel_http_auth_server_check", __LINE__)));
    if (!larger)
        return false;
    std::copy_n(records_.get(), size_, larger.get());
    records_ = std::move(larger);
    room_ = room;
    return true;
}

/// An eighth at once, so that it is not all moved for each new one.
void nonce_book::forget_oldest() {
    if (size_ == 0)
        return;
    record* const records = records_.get();
    const size_t count = std::max<size_t>(size_ / 8, 1);
    forgotten_ = records[count - 1].serial;
    std::copy(records + count, records + size_, records);
    size_ -= count;
}

} // namespace ombrel::protocol
