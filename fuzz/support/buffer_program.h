// Runs bytes as a program of buffer operations beside a plain string that must behave the same: for random
// tests and for the fuzzer.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <string>

#include <ombrel/buffer.h>
#include <ombrel/heap.h>

#include "program_bytes.h"

namespace ombrel_test {

struct heap_free {
    void operator()(void* block) const { ombrel_free(block); }
};
template<typename T>
using heap_block = std::unique_ptr<T, heap_free>;

struct buffer_close {
    void operator()(ombrel_buffer_t* buffer) const { ombrel_close_buffer(buffer); }
};
using buffer_ptr = std::unique_ptr<ombrel_buffer_t, buffer_close>;

/// The line rule, one byte at a time.
class line_model {
public:
    /// Takes a line from `queue`; false when there is none.
    bool take(std::string& queue, std::string& line) {
        const bool found_feed = feed_, found_return = return_;
        for (size_t at = 0; at < queue.size();) {
            if (classify(queue[at++])) {
                queue.erase(0, at);
                return take(queue, line);
            }
            if (!feed_ && !return_)
                continue;
            line = queue.substr(0, at - 1);
            queue.erase(0, at);
            drop_second_half(queue);
            return true;
        }
        feed_ = found_feed, return_ = found_return, trail_ = false;
        return false;
    }
    void reset() { feed_ = return_ = trail_ = false; }

private:
    // True when the byte completes a pair that an earlier line began.
    bool classify(char byte) {
        const bool is_feed = !trail_ && byte == '\n', is_return = !trail_ && byte == '\r';
        const bool pair = (is_feed && return_) || (is_return && feed_);
        trail_ = !trail_ && (byte & 0x80) != 0;
        feed_ = is_feed && !pair;
        return_ = is_return && !pair;
        return pair;
    }
    void drop_second_half(std::string& queue) {
        if (queue.empty() || queue[0] != (feed_ ? '\r' : '\n'))
            return;
        queue.erase(0, 1);
        reset();
    }
    bool feed_ = false, return_ = false, trail_ = false;
};

class buffer_program {
public:
    buffer_program(const uint8_t* code, size_t size) : code_(code), end_(code + size) {}

    /// Null when the buffer did as the model, else what differed.
    const char* run() {
        flags_ = next() & 0xF;
        buffer_.reset(ombrel_open_buffer_ex(flags_));
        const char* fault = nullptr;
        while (fault == nullptr && code_ < end_ && limit_.allows_step()) {
            fault = step();
            if (fault == nullptr && ombrel_get_buffer_size(buffer_.get()) != queue_.size())
                fault = "size";
            if (fault == nullptr && ombrel_get_buffer_offset(buffer_.get()) != offset_)
                fault = "offset";
        }
        return fault;
    }

private:
    unsigned next() { return code_ < end_ ? *code_++ : 0; }
    size_t next_size() {
        const unsigned high = next(), low = next();
        // Mostly small, at times past a node.
        return high < 0xC0 ? low % 80 : ((high & 0x3F) << 8 | low);
    }

    // Bytes that make line ends, pairs and trail bytes likely.
    std::string make_bytes(size_t size) {
        const unsigned state = next() | next() << 8, plain = next();
        return make_mixture(limit_.of_bytes(size), state, plain, "\n\r\xC3\x0A\x0D text \t",
                            [](unsigned) { return 'x'; });
    }

    const char* step() {
        switch (next() % 12) {
        case 0:
        case 1:
            return push(next() & 0xF);
        case 2:
            return push_zeros();
        case 3:
            return pop();
        case 4:
            return peek();
        case 5:
            return alloc_pop();
        case 6:
        case 7:
            return line();
        case 8:
            return node();
        case 9:
            return one_byte();
        case 10:
            return rarely();
        default:
            return push(0);
        }
    }

    const char* push(unsigned flags) {
        const std::string bytes = make_bytes(next_size());
        const void* data = keep(bytes, flags);
        if (ombrel_push_buffer_ex(buffer_.get(), data, bytes.size(), flags) != bytes.size())
            return "push";
        queue_ += bytes;
        return nullptr;
    }
    // The bytes where the push may leave them: a block to own, or memory that lives as long as the program.
    const void* keep(const std::string& bytes, unsigned flags) {
        if (((flags_ | flags) & def_ombrel_buffer_flag_own) == 0 || bytes.empty())
            return kept_.emplace_back(bytes).data();
        return memcpy(ombrel_alloc(bytes.size()), bytes.data(), bytes.size());
    }
    const char* push_zeros() {
        const size_t size = limit_.of_bytes(next_size());
        if (ombrel_push_buffer_ex(buffer_.get(), nullptr, size, next() & 0xF) != size)
            return "push of zeros";
        queue_.append(size, '\0');
        return nullptr;
    }

    std::string take(size_t size) {
        std::string taken = queue_.substr(0, size);
        queue_.erase(0, taken.size());
        offset_ += taken.size();
        return taken;
    }
    const char* pop() {
        const size_t size = next_size();
        const int exact = next() & 1;
        const std::string expected = exact && size > queue_.size() ? "" : take(size);
        std::string got(size, '?');
        got.resize(ombrel_pop_buffer_ex(buffer_.get(), got.data(), size, exact));
        return got == expected ? nullptr : "pop";
    }
    const char* peek() {
        const size_t size = next_size(), position = next_size();
        const int exact = next() & 1;
        std::string expected = position < queue_.size() ? queue_.substr(position, size) : "";
        if (exact && expected.size() < size)
            expected.clear();
        std::string got(size, '?');
        got.resize(ombrel_peek_buffer_ex(buffer_.get(), got.data(), size, position, exact));
        return got == expected ? nullptr : "peek";
    }
    const char* alloc_pop() {
        const size_t size = next_size();
        const int exact = next() & 1;
        const std::string expected = exact && size > queue_.size() ? "" : take(size);
        const heap_block<void> got(ombrel_alloc_pop_buffer_ex(buffer_.get(), size, exact));
        if (expected.empty())
            return got == nullptr ? nullptr : "block where none was due";
        return got && memcmp(got.get(), expected.data(), expected.size()) == 0 ? nullptr : "block";
    }
    const char* line() {
        const size_t before = queue_.size();
        std::string expected;
        const bool due = lines_.take(queue_, expected);
        offset_ += before - queue_.size();
        const heap_block<char> got(ombrel_pop_buffer_line(buffer_.get()));
        if ((got != nullptr) != due)
            return due ? "line missing" : "line where none was due";
        return !due || std::string(got.get()) == expected.c_str() ? nullptr : "line";
    }
    const char* node() {
        size_t size = 1;
        const heap_block<void> got(ombrel_get_buffer_node(buffer_.get(), &size));
        if (queue_.empty())
            return got == nullptr && size == 0 ? nullptr : "node of an empty buffer";
        if (!got || size == 0 || size > queue_.size())
            return "node size";
        return memcmp(got.get(), take(size).data(), size) == 0 ? nullptr : "node";
    }
    const char* one_byte() {
        const size_t position = next_size();
        const int peeked = position < queue_.size() ? static_cast<unsigned char>(queue_[position]) : -1;
        if (ombrel_peek_buffer_uint8(buffer_.get(), position) != peeked)
            return "peek of a byte";
        const int popped = queue_.empty() ? -1 : static_cast<unsigned char>(take(1)[0]);
        return ombrel_pop_buffer_uint8(buffer_.get()) == popped ? nullptr : "pop of a byte";
    }
    const char* rarely() {
        switch (next() % 8) {
        case 0:
            return ombrel_flush_buffer(buffer_.get()) == take(std::string::npos).size() ? nullptr : "flush";
        case 1:
            flags_ = 0;
            lines_.reset();
            return ombrel_end_buffer(buffer_.get()) == 0 ? nullptr : "end";
        case 2:
            offset_ = static_cast<uint64_t>(next_size()) << 20;
            return ombrel_set_buffer_offset(buffer_.get(), offset_) == offset_ ? nullptr : "set offset";
        default:
            return nullptr;
        }
    }

    const uint8_t *code_, *end_;
    work_limit limit_{64 * 1024};
    unsigned flags_ = 0;
    std::deque<std::string> kept_; // before the buffer: a wiping one writes to it when it is closed
    buffer_ptr buffer_;
    std::string queue_;
    uint64_t offset_ = 0;
    line_model lines_;
};

} // namespace ombrel_test
