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

// Out of line, so that what its callee leaves lies below the caller's frame.
template<typename Work>
[[gnu::noinline]] void call_apart(Work& work) {
    work();
}

/// Overwrites what calls before this one used of the stack, registers included that were put aside there.
template<size_t depth>
[[gnu::noinline]] void wipe_used_stack() {
    unsigned char used[depth];
    wipe(used, sizeof used);
}

/// Does work on secrets that needs at most `depth` bytes of stack, and leaves nothing of them there.
template<size_t depth = 2048, typename Work>
void without_trace(Work work) {
    call_apart(work);
    wipe_used_stack<depth>();
}

} // namespace ombrel
