// JSON for standard output, that is valid whatever the texts in it are.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include <ombrel/printf.h>
#include <ombrel/utf8.h>

#include "command/command_input.h"

namespace ombrel::command {

/// Puts objects and arrays; a failure of the output shows when the command has finished.
class json_output {
public:
    void begin_object(const char* name = nullptr) { begin(name, "{"); }
    void end_object() { end("}"); }
    void begin_array(const char* name = nullptr) { begin(name, "["); }
    void end_array() { end("]"); }
    void end_line() {
        put("\n");
        needs_comma_ = false;
    }

    void add_text(const char* name, std::string_view text) {
        begin(name, "\"");
        while (!text.empty())
            text.remove_prefix(put_character(text));
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
    static void put(std::string_view text) { put_bytes(text.data(), text.size()); }

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

    /// The first character, and how many bytes it was; what is no UTF-8 becomes U+FFFD.
    static size_t put_character(std::string_view text) {
        constexpr uint32_t replacement = 0xFFFD;
        uint32_t code = replacement;
        const int size = ombrel_utf8_character_decode(text.data(), text.size(), &code);
        constexpr uint32_t first_printed = 0x20;
        const bool is_plain = size > 0 && code >= first_printed && code != '"' && code != '\\';
        if (is_plain) {
            put_bytes(text.data(), static_cast<size_t>(size));
            return static_cast<size_t>(size);
        }
        char escaped[8];
        ombrel_snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(code));
        put(escaped);
        return size > 0 ? static_cast<size_t>(size) : 1;
    }

    bool needs_comma_ = false;
};

} // namespace ombrel::command
