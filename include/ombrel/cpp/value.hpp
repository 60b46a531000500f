/**
 * @file value.hpp
 * @brief Digests, regular expressions and hash tables as objects.
 */
#ifndef OMBREL_CPP_VALUE_HPP
#define OMBREL_CPP_VALUE_HPP

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include <ombrel/digest.h>
#include <ombrel/hash.h>
#include <ombrel/regular.h>

#include <ombrel/cpp/owner.hpp>
#include <ombrel/cpp/text.hpp>

namespace ombrel {

/** A digest or checksum under way, by the name of its algorithm. It is a value: copies continue
 * independently. */
class digest {
public:
    /** @brief Begins. @param algorithm a name of digest.h, such as "sha256"; for an unknown one the digest is
     * `false`
     */
    explicit digest(c_text algorithm) noexcept {
        ombrel_init_digest(&digest_, ombrel_find_digest_algorithm(algorithm.get()));
    }
    /** Whether there is such an algorithm. */
    explicit operator bool() const noexcept { return digest_.m_algorithm != nullptr; }
    /** @brief Feeds bytes. @param bytes the bytes @return this digest */
    digest& push(std::string_view bytes) noexcept {
        ombrel_digest_push(&digest_, bytes.data(), bytes.size());
        return *this;
    }
#if defined(__cpp_lib_span)
    /** @brief Feeds bytes. @param bytes the bytes @return this digest */
    digest& push(std::span<const std::byte> bytes) noexcept {
        ombrel_digest_push(&digest_, bytes.data(), bytes.size());
        return *this;
    }
#endif
    /** @brief Ends the message. @return the result in lower-case hexadecimal, as long as this digest lives;
     * empty without an algorithm */
    std::string_view result() noexcept {
        return detail::view_of(ombrel_digest_result(&digest_, nullptr));
    }
    /** @brief Ends the message. @param out receives the bytes of the result, `def_ombrel_digest_size_max` at
     * most
     * @return their number */
    std::size_t result(void* out) noexcept {
        return ombrel_digest_result(&digest_, out) != nullptr ? digest_.m_algorithm->m_size : 0;
    }

private:
    ombrel_digest_t digest_;
};

/** What a regular expression found: the whole match, and up to `Groups` groups. */
template<int Groups>
class regular_match {
public:
    /** @brief Searches. @param pattern the expression, by the rules of regular.h @param subject the bytes,
     * which outlive the match @param flags #def_ombrel_regular_ignore_case or 0 */
    regular_match(c_text pattern, std::string_view subject, unsigned flags = 0) noexcept
        : result_(subject.size() > INT_MAX
                      ? def_ombrel_regular_no_match
                      : ombrel_regular_match(flags, pattern.get(), subject.data(),
                                             static_cast<int>(subject.size()), captures_, Groups + 2)) {}
    /** Whether it matches. */
    explicit operator bool() const noexcept { return result_ == def_ombrel_regular_match; }
    /** @brief Why it does not match. @return a `def_ombrel_regular_*` result */
    int result() const noexcept { return result_; }
    /** @brief A part of the subject. @param index 0 for the whole match, from 1 for groups @return it, empty
     * for a group that took no part */
    std::string_view operator[](int index) const noexcept {
        if (index < 0 || index > Groups || captures_[index].m_start == nullptr)
            return {};
        return {captures_[index].m_start, static_cast<std::size_t>(captures_[index].m_length)};
    }

private:
    ombrel_regular_capture_t captures_[Groups + 2] = {};
    int result_;
};

/**
 * Owns a hash table whose values of the type `V` lie in it.
 * @tparam Key `std::string_view` for texts and bytes, or `std::uint64_t`
 * @tparam V   a type that may be copied byte by byte; a new one begins as zero bytes
 */
template<class Key, class V>
class hash : public owner<&ombrel_close_hash> {
    static_assert(std::is_trivially_copyable_v<V> && std::is_trivially_destructible_v<V>,
                  "values move as bytes");
    static_assert(sizeof(V) <= def_ombrel_hash_value_max, "values are small");
    static_assert(std::is_same_v<Key, std::string_view> || std::is_same_v<Key, std::uint64_t>,
                  "no such keys");
    static constexpr bool is_numbered = std::is_same_v<Key, std::uint64_t>;

public:
    using owner::owner;
    /** @brief An empty table. @param options the settings, except the size and kind of values and keys; null
     * for the defaults @param from the caller @return the table; nothing on failure */
    static hash open(const ombrel_hash_options_t* options = nullptr,
                     caller from = caller::current()) noexcept {
        ombrel_hash_options_t own = {};
        ombrel_init_hash_options(&own);
        if (options != nullptr)
            own = *options;
        own.m_value_size = sizeof(V);
        own.m_value_alignment = alignof(V);
        own.m_flags = (own.m_flags & ~def_ombrel_hash_numbers) | (is_numbered ? def_ombrel_hash_numbers : 0u);
        return hash(ombrel_open_hash_tag(&own, from.function, from.line));
    }
    /** @brief Sets a value. @param key its key @param value the value @return 0 or -1 */
    int set(Key key, const V& value) const noexcept {
        if constexpr (is_numbered)
            return ombrel_hash_put_at(get(), key, &value);
        else
            return ombrel_hash_put(get(), key.data(), key.size(), &value);
    }
    /** @brief Where a value lies. @param key its key @return its place until the table changes; null when it
     * is not there */
    V* find(Key key) const noexcept {
        if constexpr (is_numbered)
            return static_cast<V*>(ombrel_hash_find_at(get(), key));
        else
            return static_cast<V*>(ombrel_hash_find(get(), key.data(), key.size()));
    }
    /** @brief Where a value lies, which is added if need be. @param key its key @return its place until the
     * table changes; null on failure */
    V* obtain(Key key) const noexcept {
        if constexpr (is_numbered)
            return static_cast<V*>(ombrel_hash_obtain_at(get(), key, nullptr));
        else
            return static_cast<V*>(ombrel_hash_obtain(get(), key.data(), key.size(), nullptr));
    }
    /** @brief Removes a value. @param key its key @return whether it was there */
    bool remove(Key key) const noexcept {
        if constexpr (is_numbered)
            return ombrel_hash_remove_at(get(), key) == 1;
        else
            return ombrel_hash_remove(get(), key.data(), key.size()) == 1;
    }
    /** @brief The number of entries. @return it */
    std::size_t size() const noexcept { return ombrel_hash_get_count(get()); }
    /** @brief Calls the callable for each entry. @param callable called with the key and a `V&`; it must not
     * add or remove entries */
    template<class F>
    void for_each(F&& callable) const {
        ombrel_hash_walk_t walk;
        if (ombrel_init_hash_walk(&walk, get()) != 0)
            return;
        while (ombrel_hash_walk_step(&walk) == 1) {
            if constexpr (is_numbered)
                callable(Key(walk.m_number), *static_cast<V*>(walk.m_value));
            else
                callable(Key(static_cast<const char*>(walk.m_key), walk.m_key_size),
                         *static_cast<V*>(walk.m_value));
        }
    }
};

} // namespace ombrel

#endif
