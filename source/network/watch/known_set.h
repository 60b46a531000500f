// What is known to be there, to tell what is new from what has changed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel {

/// By what an interface, an address or a neighbour differs from others of its kind. Zeroed where it has
/// nothing to say.
struct known_key {
    uint32_t kind;
    uint32_t interface_index;
    uint32_t family;
    uint32_t prefix_length;
    uint8_t address[16];
};

/// Keys in their order: there are few, and they seldom change.
class known_set {
public:
    known_set(size_t most, const char* function, unsigned long line)
        : most_(most), function_(function), line_(line) {}
    ~known_set() { clear(); }
    known_set(const known_set&) = delete;
    known_set& operator=(const known_set&) = delete;

    enum class entry { is_new, was_there, no_memory };
    /// Enters a key. One for which there is no place counts as new each time.
    entry enter(const known_key& key);
    void forget(const known_key& key);
    void clear();

private:
    known_key* place_of(const known_key& key) const;
    bool is_at(const known_key* place, const known_key& key) const;
    bool grow();

    known_key* keys_ = nullptr;
    size_t count_ = 0, room_ = 0, most_;
    const char* function_;
    unsigned long line_;
};

} // namespace ombrel
