// Text in the language of the formatters of man pages.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include <ombrel/printf.h>

#include "system/argument/laid_out_text.h"
#include "text/charset/utf8_sequence.h"
#include "text/slice.h"

namespace ombrel::system {

enum class roff_font : char { plain = 'R', bold = 'B', italic = 'I' };

/// Lays out a page in requests and lines of text. What is put as text stands in the page as it is, whatever
/// the formatter would take it for.
class roff_text {
public:
    explicit roff_text(char* to) : text_(to) {}

    size_t size() const { return text_.size(); }

    /// A line of the language itself.
    void put_request(std::string_view request) {
        end_line();
        text_.put(request);
        text_.put("\n");
    }

    /// The same with arguments, which are texts.
    void put_request(std::string_view request, std::initializer_list<std::string_view> arguments) {
        end_line();
        text_.put(request);
        for (const std::string_view argument : arguments) {
            text_.put(" \"");
            put_characters(text_, argument, false);
            text_.put("\"");
        }
        text_.put("\n");
    }

    /// Part of a line, without spaces at which it may be broken.
    void put(std::string_view text, roff_font font = roff_font::plain) {
        while (!text.empty() && is_control(text.front()))
            text.remove_prefix(1);
        if (text.empty())
            return;
        if (!is_in_line_ && text.front() == '.')
            text_.put("\\&"); // no request
        is_in_line_ = true;
        column_ += width_of(text);
        put_font(font);
        put_characters(text_, text);
        put_font(roff_font::plain, font);
    }

    void put_space() {
        text_.put(" ");
        column_++;
    }

    void end_line() {
        if (is_in_line_)
            text_.put("\n");
        is_in_line_ = ended_sentence_ = false;
        column_ = 0;
    }

    /// Words that may be broken into lines, as they fit.
    void put_words(std::string_view text) {
        for (size_t length; !text.empty(); text = slice(text, length + 1)) {
            length = std::min(text.find(' '), text.size());
            put_word(slice(text, 0, length));
        }
    }

    /// The same for lines, each of which begins one in the page. One that begins with a space is not broken,
    /// an empty one ends a paragraph.
    void put_lines(std::string_view text) {
        bool follows_line = false;
        for (size_t length; !text.empty(); text = slice(text, length + 1)) {
            length = std::min(text.find('\n'), text.size());
            if (follows_line || length == 0)
                put_request(length == 0 ? ".PP" : ".br");
            put_line(slice(text, 0, length));
            follows_line = length > 0;
        }
        end_line();
    }

    /// As usage lines have it: what a user puts something for is in capitals; small letters are to be typed.
    void put_usage(std::string_view text) {
        const bool has_point = text.find('.') != text.npos;
        while (!text.empty()) {
            const roff_font font = font_of(text[0]);
            size_t length = 1;
            while (length < text.size() && is_name(text[length]) == is_name(text[0]) &&
                   (font_of(text[length]) == font || font_of(text[length]) == roff_font::plain))
                length++;
            put(slice(text, 0, length), font);
            text = slice(text, length);
        }
        if (has_point)
            text_.put("\\&"); // it ends no sentence
    }

private:
    static constexpr size_t columns = 78;

    /// Such characters are left out.
    static bool is_control(char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }
    static bool is_capital(char c) { return c >= 'A' && c <= 'Z'; }
    static bool is_small(char c) { return c >= 'a' && c <= 'z'; }
    static bool is_name(char c) {
        return is_capital(c) || is_small(c) || c == '-' || c == '_' || (c >= '0' && c <= '9');
    }
    static roff_font font_of(char c) {
        return is_capital(c) ? roff_font::italic : is_small(c) ? roff_font::bold : roff_font::plain;
    }

    void put_font(roff_font font, roff_font before = roff_font::plain) {
        const char change[] = {'\\', 'f', static_cast<char>(font), '\0'};
        if (font != before)
            text_.put(change);
    }

    void put_line(std::string_view line) { starts_with(line, " ") ? put(line) : put_words(line); }

    void put_word(std::string_view word) {
        if (word.empty())
            return;
        if ((ended_sentence_ && !is_small(word.front())) || column_ + 1 + width_of(word) > columns)
            end_line();
        if (is_in_line_)
            put_space();
        put(word);
        ended_sentence_ = ends_sentence(word);
    }

    /// Formatters want each sentence to begin a line.
    static bool ends_sentence(std::string_view word) {
        while (!word.empty() && (word.back() == '"' || word.back() == ')'))
            word.remove_suffix(1);
        return !word.empty() && (word.back() == '.' || word.back() == '!' || word.back() == '?');
    }

    /// @param is_typed quotes and dashes are those of a keyboard, as users type them
    static void put_characters(laid_out_text& to, std::string_view text, bool is_typed = true) {
        while (!text.empty()) {
            const utf8_reading reading = read_utf8(text.data(), text.size());
            const bool is_plain_dash = reading.code == '-' && !is_typed;
            is_plain_dash ? to.put("-") : put_character(to, slice(text, 0, reading.size), reading.code);
            text = slice(text, reading.size);
        }
    }

    static void put_character(laid_out_text& to, std::string_view bytes, uint32_t code) {
        struct escape {
            uint32_t code;
            const char* text;
        };
        static constexpr escape escapes[] = {{'\\', "\\e"},  {'-', "\\-"},   {'"', "\\(dq"}, {'\'', "\\(aq"},
                                             {'`', "\\(ga"}, {'^', "\\(ha"}, {'~', "\\(ti"}, {' ', "\\ "}};
        for (const escape& one : escapes)
            if (one.code == code)
                return to.put(one.text);
        if (code >= 0x80)
            put_code(to, code);
        else if (!is_control(bytes.front()))
            to.put(bytes);
    }

    static void put_code(laid_out_text& to, uint32_t code) {
        char name[16];
        ombrel_snprintf(name, sizeof name, "\\[u%04X]", code);
        to.put(name);
    }

    static size_t width_of(std::string_view text) {
        laid_out_text measured(nullptr);
        put_characters(measured, text);
        return measured.size();
    }

    laid_out_text text_;
    size_t column_ = 0;
    bool is_in_line_ = false;
    bool ended_sentence_ = false;
};

} // namespace ombrel::system
