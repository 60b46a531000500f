// Runs bytes as a program of pushes to a coder beside a model that goes by the rules, a character at a time:
// for random tests and for the fuzzers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <ombrel/base64.h>
#include <ombrel/heap.h>
#include <ombrel/quoted_printable.h>

#include "program_bytes.h"

namespace ombrel_test {

/// A block of the heap as a string; the block is freed.
inline std::string take_string(char* block, size_t size) {
    std::string text(block != nullptr ? block : "", block != nullptr ? size : 0);
    ombrel_check_free(block);
    return text;
}

/// What decoding gives when the text comes in pieces: short ones, of at most `longest` bytes, and then the
/// rest.
template<typename Coder>
std::string decode_in_pieces(const uint8_t* data, size_t size, size_t longest) {
    auto* coder = Coder::open();
    const auto push = [&](size_t piece) {
        Coder::decode(coder, data, piece);
        data += piece, size -= piece;
    };
    for (int i = 0; i < 100 && size > 0; i++)
        push(std::min<size_t>(size, 1 + *data % longest));
    while (size > 0)
        push(size);
    push(0);
    char* text = Coder::get(coder, &size);
    Coder::close(coder);
    return take_string(text, size);
}

/// What both models share: limits, input that waits, output, and the end.
struct coder_model {
    size_t input_limit = 0, output_limit = 0;
    std::string input, output;
    size_t taken = 0; // of the input
    bool final = false, done = false;

    size_t left() const { return input.size() - taken; }
    unsigned char at(size_t position) const { return static_cast<unsigned char>(input[taken + position]); }

    bool take_in(std::string_view data) {
        input.erase(0, std::exchange(taken, 0));
        if (!final && input_limit != 0 && input.size() + data.size() > input_limit)
            return false;
        if (!final)
            input += data;
        final = final || data.empty();
        return true;
    }
    bool has_room(size_t bytes) const { return output_limit == 0 || output.size() + bytes <= output_limit; }
};

struct base64_model : coder_model {
    size_t line_width = 0, column = 0;
    bool continued = false, lenient = false, url_safe = false;

    int encode() {
        const std::string alphabet = characters + (url_safe ? "-_" : "+/");
        for (; left() >= (final ? 1 : 3); taken += std::min<size_t>(3, left())) {
            if (!has_room(4))
                return -1;
            unsigned bits = 0;
            for (size_t i = 0; i < 3; i++)
                bits = bits << 8 | (i < left() ? at(i) : 0u);
            for (size_t i = 0; i < 4; i++)
                put(i <= left() ? alphabet[bits >> (18 - 6 * i) & 63] : '=');
        }
        if (final && line_width != 0)
            put_break();
        done = final;
        return 0;
    }
    int decode() {
        const std::string alphabet = characters + "+/=";
        for (;;) {
            std::string group;
            size_t read = 0;
            for (; group.size() < 4 && read < left(); read++) {
                const char character = input[taken + read];
                if (alphabet.find(character) != std::string::npos)
                    group += character;
                else if (character != '\r' && character != '\n' && !lenient)
                    return stop();
            }
            done = final && group.size() < 4;
            if (group.size() < 4)
                return 0;
            if (!has_room(3))
                return -1;
            taken += read;
            output += bytes_of(group.substr(0, group.find('=')), alphabet);
        }
    }

private:
    static inline const std::string characters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

    void put(char character) {
        if (line_width != 0 && column == line_width)
            put_break();
        output += character;
        column++;
    }
    void put_break() {
        output += continued ? "\\\n" : "\n";
        column = 0;
    }
    int stop() {
        final = done = true;
        input.clear();
        return 0;
    }
    static std::string bytes_of(const std::string& group, const std::string& alphabet) {
        std::string bytes;
        unsigned bits = 0;
        for (size_t i = 0; i < group.size(); i++) {
            bits = bits << 6 | static_cast<unsigned>(alphabet.find(group[i]));
            if (i > 0)
                bytes += static_cast<char>(bits >> (4 - 2 * (i - 1)));
        }
        return bytes;
    }
};

struct quoted_printable_model : coder_model {
    int encode() {
        for (; final && left() > 0; taken++) {
            if (!has_room(3))
                return -1;
            const unsigned char byte = at(0);
            if (byte > ' ' && byte < 0x7F && byte != '=')
                output += static_cast<char>(byte);
            else
                output += {'=', digits[byte >> 4], digits[byte & 15]};
        }
        done = final;
        return 0;
    }
    int decode() {
        while (left() > 0) {
            const bool escape = at(0) == '=';
            if (escape && left() < 3 && !final)
                return 0;
            if (!has_room(1))
                return -1;
            if (!escape || left() < 3) {
                output += input[taken++];
                continue;
            }
            const size_t high = digits.find(input[taken + 1]), low = digits.find(input[taken + 2]);
            const bool valid = high != std::string::npos && low != std::string::npos;
            output += valid ? static_cast<char>(high << 4 | low) : '=';
            taken += valid ? 3 : 1;
        }
        done = final;
        return 0;
    }

private:
    static inline const std::string digits = "0123456789ABCDEF";
};

/// Bytes as options, pushes and gets. Coder names the functions of a coder and its model.
template<typename Coder>
class coder_program {
public:
    coder_program(const uint8_t* code, size_t size) : code_(code), end_(code + size) {}

    /// Null when the coder did as the model, else what differed.
    const char* run() {
        typename Coder::record* coder = Coder::open();
        decodes_ = (next() & 1) != 0;
        model_.input_limit = coder->m_input_limit = next_limit();
        model_.output_limit = coder->m_output_limit = next_limit();
        Coder::set_options(*coder, model_, next(), next());
        const char* fault = nullptr;
        while (fault == nullptr && code_ < end_ && limit_.allows_step())
            fault = step(coder);
        for (int i = 0; fault == nullptr && i < 3; i++)
            fault = push(coder, "");
        if (fault == nullptr)
            fault = get(coder);
        Coder::close(coder);
        return fault;
    }

private:
    unsigned next() { return code_ < end_ ? *code_++ : 0; }
    uint32_t next_limit() {
        const unsigned limit = next();
        return limit < 128 ? 0 : limit < 192 ? limit - 127 : (limit - 191) * 64;
    }

    // Characters that make groups, escapes and what is between them likely.
    std::string make_text(size_t size) {
        const unsigned state = next() | next() << 8, plain = next();
        return make_mixture(
            limit_.of_bytes(size), state, plain, "=\n\r \t-_=3D=0A=zz\xC3\\",
            [](unsigned choice) { return static_cast<char>('A' + choice % 26 + choice / 128 * 32); });
    }

    const char* step(typename Coder::record* coder) {
        const unsigned operation = next();
        if (operation < 32)
            return get(coder);
        if (operation == 32)
            return push(coder, "");
        if (operation < 160) {
            const std::string raw(reinterpret_cast<const char*>(code_),
                                  std::min<size_t>(operation - 32, static_cast<size_t>(end_ - code_)));
            code_ += raw.size();
            return push(coder, raw);
        }
        const unsigned size = next();
        return push(coder, make_text(operation < 240 ? 1 + size % 100 : 1 + size * 16));
    }

    const char* push(typename Coder::record* coder, const std::string& data) {
        int expected = model_.done ? 0 : -1;
        if (!model_.done && model_.take_in(data))
            expected = decodes_ ? model_.decode() : model_.encode();
        const auto function = decodes_ ? Coder::decode : Coder::encode;
        if (function(coder, data.data(), data.size()) != expected)
            return "result";
        if ((coder->m_final != 0) != model_.final)
            return "final flag";
        return ombrel_get_buffer_size(coder->m_output) == model_.output.size() ? nullptr
                                                                               : "size of the output";
    }

    const char* get(typename Coder::record* coder) {
        size_t size = 1;
        char* block = Coder::get(coder, &size);
        const bool terminated = block != nullptr && block[size] == '\0';
        const bool same = take_string(block, size) == model_.output;
        model_.output.clear();
        return terminated && same ? nullptr : "output";
    }

    const uint8_t *code_, *end_;
    work_limit limit_{12 * 1024};
    bool decodes_ = false;
    typename Coder::model model_;
};

struct base64_functions {
    using record = ombrel_base64_t;
    using model = base64_model;
    static constexpr auto open = ombrel_open_base64;
    static constexpr auto close = ombrel_close_base64;
    static constexpr auto encode = ombrel_push_encode_base64;
    static constexpr auto decode = ombrel_push_decode_base64;
    static constexpr auto get = ombrel_get_base64;
    static void set_options(record& coder, model& model, unsigned flags, unsigned width) {
        model.line_width = coder.m_line_width = width < 128 ? 0 : width - 127;
        model.continued = (coder.m_continuation = flags & 4) != 0;
        model.lenient = (coder.m_lenient = flags & 2) != 0;
        model.url_safe = (coder.m_alphabet = flags & 1) != 0;
    }
};

struct quoted_printable_functions {
    using record = ombrel_quoted_printable_t;
    using model = quoted_printable_model;
    static constexpr auto open = ombrel_open_quoted_printable;
    static constexpr auto close = ombrel_close_quoted_printable;
    static constexpr auto encode = ombrel_push_encode_quoted_printable;
    static constexpr auto decode = ombrel_push_decode_quoted_printable;
    static constexpr auto get = ombrel_get_quoted_printable;
    static void set_options(record&, model&, unsigned, unsigned) {}
};

} // namespace ombrel_test
