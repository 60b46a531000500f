// The lines that a client sends, with what Telnet mixes into them taken out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ombrel::protocol {

/// Part of a record that is all zero before it is opened. Lines end in LF, with or without a CR before it.
class ftp_line_reader {
public:
    /// @param area room for the longest line with its end, kept by the caller
    void open(char* area, size_t size) {
        area_ = area;
        size_ = size;
    }

    /// How many bytes can be received, and where to.
    size_t room_size() const { return size_ - (end_ - begin_); }
    char* room() {
        close_up();
        return area_ + end_;
    }
    /// So many came there.
    void take(size_t count);

    enum class found { nothing, line, too_long };
    /// The next line, without its end, until the next call of anything here; one that is too long is told
    /// once, at its end.
    found next(std::string_view& line);

    /// Whether another line is there as a whole.
    bool has_line() const { return waiting().find('\n') != std::string_view::npos; }
    /// Whether one of the lines that wait is this word, in any case.
    bool has_word(std::string_view word) const;
    bool begins_with_word(std::string_view word) const;
    void drop() { begin_ = end_ = 0; }

private:
    enum class telnet : uint8_t { text, command, option };

    std::string_view waiting() const { return {area_ + begin_, end_ - begin_}; }
    void put(char c);
    void close_up();

    char* area_;
    size_t size_, begin_, end_;
    telnet telnet_;
    bool overlong_; ///< the beginning of the line that comes was dropped
};

/// Whether two texts are the same but for the case of ASCII letters.
bool is_word(std::string_view text, std::string_view word);

} // namespace ombrel::protocol
