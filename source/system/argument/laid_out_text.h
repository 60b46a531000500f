// Texts whose size is found out by laying them out once without a place.
#pragma once

#include <cstring>
#include <string_view>

#include <ombrel/heap.h>

#include "core/fault.h"

namespace ombrel::system {

/// Takes text that is laid out twice: without a place, to find out how much it is, and with one that is large
/// enough.
class laid_out_text {
public:
    explicit laid_out_text(char* to) : to_(to) {}

    size_t size() const { return size_; }

    void put(std::string_view text) {
        if (to_ != nullptr)
            memcpy(to_ + size_, text.data(), text.size());
        size_ += text.size();
    }

private:
    char* to_;
    size_t size_ = 0;
};

/// What `lay_out(to)` puts, which gives how much it is; null, with the fault, when there is no memory.
template<typename LayOut>
char* alloc_laid_out(const char* function, unsigned long line, LayOut lay_out) {
    auto* const text = static_cast<char*>(ombrel_alloc_tag(lay_out(nullptr) + 1, function, line));
    if (text == nullptr)
        leave_fault(fault_code::no_memory);
    else
        text[lay_out(text)] = '\0';
    return text;
}

} // namespace ombrel::system
