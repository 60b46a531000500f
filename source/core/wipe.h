// Overwriting of secrets that memory is done with.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace ombrel {

/// Overwrites memory with zeros. The empty instruction may read them, for all that a compiler knows, at every
/// level of optimisation and with all files seen at once: so the stores stay, though nobody looks at them.
inline void wipe(void* memory, size_t size) {
    if (size > 0)
        memset(memory, 0, size);
    asm volatile("" : : "r"(memory) : "memory");
}

/// wipe() for a text with its length; null has none.
inline void wipe_text(char* text) {
    if (text != nullptr)
        wipe(text, strlen(text));
}

/// Wipes memory at the end of a scope: declared behind what it wipes, which must not be copied elsewhere.
class [[nodiscard]] wipe_guard {
public:
    wipe_guard(void* memory, size_t size) : memory_(memory), size_(size) {}
    template<typename Record>
    explicit wipe_guard(Record& record) : wipe_guard(&record, sizeof record) {
        static_assert(!std::is_pointer_v<Record>, "the pointer would be wiped, not what it points to");
        static_assert(std::is_trivially_copyable_v<Record> && std::is_trivially_destructible_v<Record>);
    }
    ~wipe_guard() { wipe(memory_, size_); }
    wipe_guard(const wipe_guard&) = delete;
    wipe_guard& operator=(const wipe_guard&) = delete;

private:
    void* memory_;
    size_t size_;
};

} // namespace ombrel
