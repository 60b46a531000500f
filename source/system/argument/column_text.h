// Text that is broken into lines between words.
#pragma once

#include <algorithm>
#include <string_view>

#include "system/argument/laid_out_text.h"
#include "text/charset/utf8_columns.h"
#include "text/slice.h"

namespace ombrel::system {

/// Lays out text in lines of a width, in columns of a terminal.
class column_text {
public:
    column_text(char* to, size_t columns) : text_(to), columns_(columns) {}

    size_t size() const { return text_.size(); }
    size_t column() const { return column_; }

    /// As it is: no line ends in it.
    void put(std::string_view text) {
        text_.put(text);
        column_ += width_of(text);
    }

    void fill_to(size_t column) {
        while (column_ < column)
            put(" ");
    }

    void end_line() {
        text_.put("\n");
        column_ = 0;
    }

    /// Text without spaces that are kept: moved to the next line when it does not fit.
    /// @param indent where lines begin that it breaks
    void put_word(std::string_view word, size_t indent) {
        if (column_ > indent && column_ + 1 + width_of(word) > columns_)
            end_line();
        else if (column_ > indent)
            put(" ");
        fill_to(indent);
        put(word);
    }

    /// Words behind one another, and line ends where the text has them; the last line is ended.
    void put_words(std::string_view text, size_t indent) {
        while (!text.empty()) {
            const size_t length = std::min(text.find_first_of(" \n"), text.size());
            if (length > 0)
                put_word(slice(text, 0, length), indent);
            const bool ends_line = length < text.size() && text[length] == '\n';
            text = slice(text, length + 1);
            if (ends_line && !text.empty())
                end_line();
        }
        end_line();
    }

    static size_t width_of(std::string_view text) {
        return static_cast<size_t>(columns_of(text.data(), text.size()));
    }

private:
    laid_out_text text_;
    size_t columns_;
    size_t column_ = 0;
};

} // namespace ombrel::system
