/**
 * @file text.hpp
 * @brief Texts and blocks that the library allocated, and terminated texts as arguments.
 */
#ifndef OMBREL_CPP_TEXT_HPP
#define OMBREL_CPP_TEXT_HPP

#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>

#include <ombrel/heap.h>

#include <ombrel/cpp/owner.hpp>

#if __cplusplus >= 202002L
#include <span>
#endif

namespace ombrel {

/**
 * A terminated text as an argument: a `const char*`, a `std::string`, an ombrel::text, or whatever else has
 * `c_str()`. A `std::string_view` is not accepted, as it need not be terminated.
 */
class c_text {
public:
    /** @brief A terminated text, or null where the C function takes null. */
    constexpr c_text(const char* text) noexcept : text_(text) {}
    /** @brief A text that has `c_str()`; it must live as long as the call. */
    template<class String, class = decltype(std::declval<const String&>().c_str())>
    c_text(const String& text) noexcept : text_(text.c_str()) {}

    /** @brief The text. @return it, or null */
    constexpr const char* get() const noexcept { return text_; }

private:
    const char* text_;
};

/** @cond */
namespace detail {

inline int free_block(void* block) {
    return ombrel_check_free_tag(block, "ombrel::owner", 0);
}
inline int free_text(char* text) {
    return free_block(text);
}

inline std::string_view view_of(const char* text) noexcept {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

} // namespace detail
/** @endcond */

/** A terminated text of the library's heap. */
class text_ref : public pointer_ref<char> {
public:
    using pointer_ref::pointer_ref;

    /** @brief The text. @return it, "" when there is none */
    const char* c_str() const noexcept { return get() != nullptr ? get() : ""; }
    /** @brief The text without its terminator. @return it, empty when there is none */
    std::string_view view() const noexcept { return c_str(); }
    /** The same. */
    operator std::string_view() const noexcept { return view(); }
};

/** Owns a text that the library allocated: what `ombrel::format()` and the `ombrel_alloc_` functions give. */
using text = owner<&detail::free_text, text_ref>;

/** Owns bytes that the library allocated, and knows how many they are. */
class block {
public:
    /** Holds nothing. */
    block() noexcept = default;
    /** @brief Takes over a block of the library's heap and its size. */
    block(void* bytes, std::size_t size) noexcept : bytes_(bytes), size_(size) {}

    /** @brief The bytes. @return them, or null */
    void* data() const noexcept { return bytes_.get(); }
    /** @brief Their number. @return it; 0 when there is no block */
    std::size_t size() const noexcept { return bytes_ ? size_ : 0; }
    /** @brief The bytes as a text. @return them; empty when there is no block */
    std::string_view view() const noexcept { return {static_cast<const char*>(data()), size()}; }
    /** Whether there is a block. */
    explicit operator bool() const noexcept { return static_cast<bool>(bytes_); }
#if defined(__cpp_lib_span)
    /** @brief The bytes. @return them; empty when there is no block */
    std::span<std::byte> bytes() const noexcept {
        return {static_cast<std::byte*>(data()), size()};
    }
#endif

private:
    owner<&detail::free_block> bytes_;
    std::size_t size_ = 0;
};

} // namespace ombrel

#endif
