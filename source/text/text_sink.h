// Output into an area of fixed size: what does not fit is dropped silently.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace ombrel {

class text_sink {
public:
    text_sink(char* to, size_t room) : cursor_(to), room_(room) {}

    size_t room() const { return room_; }
    bool full() const { return room_ == 0; }

    void put(char c) {
        if (room_ == 0)
            return;
        *cursor_++ = c;
        room_--;
    }

    void fill(char c, size_t count) {
        char* to = claim(std::min(count, room_));
        std::fill(to, cursor_, c);
    }

    void copy(const char* from, size_t count) {
        count = std::min(count, room_);
        memcpy(claim(count), from, count);
    }

    /// Copies up to one of two characters, and gives the place of it, or of what the room ends before.
    const char* copy_until(const char* from, char one, char other) {
        char* const begin = cursor_;
        char* const end = cursor_ + room_;
        char* to = begin;
        for (; to != end && *from != one && *from != other; from++)
            *to++ = *from;
        cursor_ = to;
        room_ = static_cast<size_t>(end - to);
        return from;
    }

    /// Hands out the next `count` characters, which must not be more than room(); the caller fills them.
    char* claim(size_t count) {
        char* area = cursor_;
        cursor_ += count;
        room_ -= count;
        return area;
    }

    /// The next character's place.
    char* cursor() const { return cursor_; }

private:
    char* cursor_;
    size_t room_;
};

} // namespace ombrel
