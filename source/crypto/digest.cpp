#include <ombrel/digest.h>

#include <cstring>
#include <iterator>

#include <ombrel/crc.h>

#include "core/wipe.h"
#include "text/digits.h"

namespace {

using state_t = decltype(ombrel_digest_t::m_state);

/// A row of the table; what callers see of it comes first.
struct row {
    ombrel_digest_algorithm_t shown;
    void (*start)(state_t& state);
    void (*push)(state_t& state, const void* data, size_t size);
    void (*finish)(state_t& state, unsigned char* result);
};

template<auto Member, auto Start, auto Push, auto Finish>
constexpr row digest_row(const char* name, size_t size) {
    return {{name, size},
            [](state_t& state) { Start(&(state.*Member)); },
            [](state_t& state, const void* data, size_t count) { Push(&(state.*Member), data, count); },
            [](state_t& state, unsigned char* result) { Finish(&(state.*Member), result); }};
}

template<typename Word, Word (*Continue)(int, Word, const void*, size_t)>
constexpr row checksum_row(const char* name) {
    return {{name, sizeof(Word)},
            [](state_t& state) { state.m_crc = 0; },
            [](state_t& state, const void* data, size_t size) {
                state.m_crc = Continue(0, static_cast<Word>(state.m_crc), data, size);
            },
            [](state_t& state, unsigned char* result) {
                for (size_t i = 0; i < sizeof(Word); i++)
                    result[i] = static_cast<unsigned char>(state.m_crc >> 8 * (sizeof(Word) - 1 - i));
            }};
}

constexpr row rows[] = {
    digest_row<&state_t::m_sha256, ombrel_init_sha256, ombrel_sha256_push, ombrel_sha256_digest>(
        "sha256", def_ombrel_sha256_size),
    digest_row<&state_t::m_sha1, ombrel_init_sha1, ombrel_sha1_push, ombrel_sha1_digest>(
        "sha1", def_ombrel_sha1_size),
    digest_row<&state_t::m_md5, ombrel_init_md5, ombrel_md5_push, ombrel_md5_digest>("md5",
                                                                                     def_ombrel_md5_size),
    checksum_row<uint32_t, ombrel_crc32_ieee_802_3>("crc32"),
    checksum_row<uint64_t, ombrel_crc64_iso>("crc64"),
    checksum_row<uint16_t, ombrel_crc16_ibm>("crc16-ibm"),
    checksum_row<uint16_t, ombrel_crc16_ccitt>("crc16-ccitt"),
};

template<typename Condition>
const row* find_row(Condition holds) {
    for (const row& each : rows)
        if (holds(each.shown))
            return &each;
    return nullptr;
}

const ombrel_digest_algorithm_t* shown(const row* found) {
    return found != nullptr ? &found->shown : nullptr;
}

/// Null for what is no algorithm of the table.
const row* row_of(const ombrel_digest_algorithm_t* algorithm) {
    return find_row([=](const ombrel_digest_algorithm_t& each) { return &each == algorithm; });
}

const row* row_of(const ombrel_digest_t* digest) {
    return digest != nullptr ? row_of(digest->m_algorithm) : nullptr;
}

void write_digits(const unsigned char* bytes, size_t size, char* text) {
    for (size_t i = 0; i < size; i++)
        text = ombrel::put_hex(text, bytes[i], ombrel::lower_digits);
    *text = '\0';
}

} // namespace

const ombrel_digest_algorithm_t* ombrel_get_digest_algorithm(size_t index) {
    return index < std::size(rows) ? &rows[index].shown : nullptr;
}

const ombrel_digest_algorithm_t* ombrel_find_digest_algorithm(const char* name) {
    if (name == nullptr)
        return nullptr;
    return shown(find_row([=](const auto& each) { return strcmp(each.m_name, name) == 0; }));
}

const ombrel_digest_algorithm_t* ombrel_find_digest_algorithm_by_size(size_t size) {
    return shown(find_row([=](const auto& each) { return each.m_size == size; }));
}

ombrel_digest_t* ombrel_init_digest(ombrel_digest_t* digest, const ombrel_digest_algorithm_t* algorithm) {
    if (digest == nullptr)
        return nullptr;
    memset(digest, 0, sizeof *digest);
    const row* const found = row_of(algorithm);
    if (found == nullptr)
        return nullptr;
    digest->m_algorithm = algorithm;
    found->start(digest->m_state);
    return digest;
}

const void* ombrel_digest_push(ombrel_digest_t* digest, const void* data, size_t size) {
    if (const row* const found = row_of(digest))
        found->push(digest->m_state, data, size);
    return data;
}

const char* ombrel_digest_result(ombrel_digest_t* digest, void* out) {
    const row* const found = row_of(digest);
    if (found == nullptr)
        return nullptr;
    unsigned char result[def_ombrel_digest_size_max];
    const ombrel::wipe_guard wiped(result); // of a password it is what logs in
    found->finish(digest->m_state, result);
    write_digits(result, found->shown.m_size, digest->m_text);
    if (out != nullptr)
        memcpy(out, result, found->shown.m_size);
    return digest->m_text;
}
