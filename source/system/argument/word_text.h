// The words of a command line as they are taken apart.
#pragma once

#include <cstddef>

namespace ombrel::system {

/// Takes words one character after the other. Run without a place, it counts what the words need; then it
/// writes them, each with its end.
class word_text {
public:
    word_text() = default;
    /// @param words receives where the words begin
    /// @param text  receives their characters
    word_text(char** words, char* text) : words_(words), text_(text) {}

    /// Opens a word; nothing while one is open.
    void begin() {
        if (is_open_)
            return;
        if (words_ != nullptr)
            words_[count_] = text_ + size_;
        count_++;
        is_open_ = true;
    }

    void put(char c) {
        begin();
        add(c);
    }

    /// Closes a word, if one is open.
    void end() {
        if (is_open_)
            add('\0');
        is_open_ = false;
    }

    size_t count() const { return count_; }
    /// Bytes of all words with their ends.
    size_t size() const { return size_; }

private:
    void add(char c) {
        if (text_ != nullptr)
            text_[size_] = c;
        size_++;
    }

    char** words_ = nullptr;
    char* text_ = nullptr;
    size_t count_ = 0;
    size_t size_ = 0;
    bool is_open_ = false;
};

} // namespace ombrel::system
