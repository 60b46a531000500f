// The walk over a separated list that all functions with word lists share.
#pragma once

#include <cstddef>
#include <string_view>

#include <ombrel/word.h>

namespace ombrel {

/// Takes the words of a list one by one: "a,,b" holds "a", "" and "b"; a separator at the end adds no word.
class word_list {
public:
    word_list(const char* list, const char* separators)
        : cursor_(list != nullptr ? list : ""), separators_(separators) {}

    bool next(std::string_view& word) {
        if (*cursor_ == '\0')
            return false;
        const char* first = ombrel_get_word_sep_c(0, separators_, &cursor_);
        word = {first, static_cast<size_t>(cursor_ - first)};
        if (*cursor_ != '\0')
            cursor_++;
        return true;
    }

private:
    const char* cursor_;
    const char* separators_;
};

} // namespace ombrel
