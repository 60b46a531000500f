// A path that grows and shrinks by components.
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "core/heap_ptr.h"

namespace ombrel::system {

/// Components are joined by "/", which is not doubled behind a root that ends with one.
class path_text {
public:
    explicit path_text(const char* tag) : tag_(tag) {}

    /// Begins anew with a root. False, with the fault left, when memory has run out.
    bool begin(std::string_view root);
    /// Adds a component, likewise.
    bool append(std::string_view name);
    /// Takes away what stands behind the first `size` characters. The text of the component that went stays
    /// in its place until another is written.
    void cut(size_t size) { size_ = size; }

    size_t size() const { return size_; }
    /// Where the name of the next component will begin.
    size_t next_name() const { return size_ + (needs_separator() ? 1 : 0); }

    /// Ended by 0.
    const char* get();
    /// The path and one more component, which is not kept. Null, with the fault left, when memory has run
    /// out.
    const char* get_with(std::string_view name);
    /// A place in it.
    const char* at(size_t place) const { return text_.get() + place; }
    /// Calls `use(name)` with a component, ended by 0, and gives what that gives.
    template<typename Use>
    auto with_component(size_t begin, size_t end, Use use) {
        const char behind = std::exchange(text_.get()[end], '\0');
        const auto result = use(at(begin));
        text_.get()[end] = behind;
        return result;
    }
    /// What of a path that get() or get_with() gave stands behind the root; empty for the root.
    const char* below_root(const char* path) const;

private:
    bool needs_separator() const;
    bool make_room(size_t size);
    size_t write(std::string_view name);

    const char* tag_;
    heap_ptr<char> text_;
    size_t size_ = 0, room_ = 0, root_size_ = 0;
    bool has_separator_ = false; ///< at the root's end
};

} // namespace ombrel::system
