// Memory of the C library for what lies below the tagged heap.
#pragma once

#include <cstddef>
#include <cstdlib>

#include "platform/fault.h"

namespace ombrel::platform {

/// So many elements, not set, freed at the end of the scope. False, with its fault, when there is no memory.
template<typename Element>
class host_block {
public:
    explicit host_block(size_t count) : elements_(make(count)) {
        if (elements_ == nullptr)
            leave_fault(fault_code::no_memory);
    }
    ~host_block() { free(elements_); }
    host_block(const host_block&) = delete;
    host_block& operator=(const host_block&) = delete;

    explicit operator bool() const { return elements_ != nullptr; }
    Element* get() const { return elements_; }
    Element& operator[](size_t index) const { return elements_[index]; }

private:
    static Element* make(size_t count) {
        return count > SIZE_MAX / 2 / sizeof(Element)
                   ? nullptr
                   : static_cast<Element*>(malloc((count + 1) * sizeof(Element)));
    }

    Element* elements_;
};

} // namespace ombrel::platform
