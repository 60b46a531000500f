// JSON for standard output, that is valid whatever the texts in it are.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include <ombrel/printf.h>
#include <ombrel/utf8.h>

#include "command/command_input.h"

namespace ombrel::command {

/// Puts objects and arrays, a line at a time; a failure of the output shows when the command has finished.
class json_output {
public:
    json_output() = default;
    ~json_output() { flush(); }
    json_output(const json_output&) = delete;
    json_output& operator=(const json_output&) = delete;

    void begin_object(const char* name = nullptr) { begin(name, "{"); }
    void end_object() { end("}"); }
    void begin_array(const char* name = nullptr) { begin(name, "["); }
    void end_array() { end("]"); }
    void end_line() {
        put("\n");
        needs_comma_ = false;
        flush();
    }

    void add_text(const char* name, std::string_view text) {
        begin(name, "\"");
        while (!text.empty())
            text.remove_prefix(put_start(text));
        end("\"");
    }
    void add_item(const char* text) { add_text(nullptr, text); }
    void add_number(const char* name, int64_t number) {
        char digits[24];
        ombrel_snprintf(digits, sizeof digits, "%lld", static_cast<long long>(number));
        add_word(name, digits);
    }
    void add_true(const char* name) { add_word(name, "true"); }
    void add_null(const char* name) { add_word(name, "null"); }

private:
    void flush() {
        put_bytes(buffer_, used_);
        used_ = 0;
    }
    void put(std::string_view text) {
        if (text.size() > sizeof buffer_ - used_)
            flush();
        if (text.size() > sizeof buffer_) {
            put_bytes(text.data(), text.size());
            return;
        }
        memcpy(buffer_ + used_, text.data(), text.size());
        used_ += text.size();
    }

    void begin(const char* name, const char* opening) {
        if (needs_comma_)
            put(",");
        if (name != nullptr) {
            put("\"");
            put(name);
            put("\":");
        }
        put(opening);
        needs_comma_ = false;
    }
    void end(const char* closing) {
        put(closing);
        needs_comma_ = true;
    }
    void add_word(const char* name, const char* word) {
        begin(name, word);
        end("");
    }

    static bool is_plain(uint32_t code) {
        constexpr uint32_t first_printed = 0x20;
        return code >= first_printed && code != '"' && code != '\\';
    }
    static size_t plain_start(std::string_view text) {
        constexpr char last_ascii = 0x7E;
        size_t size = 0;
        while (size < text.size() && text[size] > 0 && text[size] <= last_ascii &&
               is_plain(static_cast<uint32_t>(text[size])))
            size++;
        return size;
    }

    /// What stands for itself at the beginning, or the first character; what is no UTF-8 becomes U+FFFD.
    /// @return how many bytes it was
    size_t put_start(std::string_view text) {
        constexpr uint32_t replacement = 0xFFFD;
        if (const size_t plain = plain_start(text); plain != 0)
            return put({text.data(), plain}), plain;
        uint32_t code = replacement;
        const int size = ombrel_utf8_character_decode(text.data(), text.size(), &code);
        if (size > 0 && is_plain(code))
            return put({text.data(), static_cast<size_t>(size)}), static_cast<size_t>(size);
        char escaped[8];
        ombrel_snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(code));
        put(escaped);
        return size > 0 ? static_cast<size_t>(size) : 1;
    }

    char buffer_[4096];
    size_t used_ = 0;
    bool needs_comma_ = false;
};

} // namespace ombrel::command
