// Texts that are written anew: repaired, or in another case.
#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/utf8.h>

#include "core/fault.h"
#include "text/charset/code_point.h"
#include "text/charset/utf8_step.h"
#include "text/fold.h"

using namespace ombrel;

namespace {

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// A buffer that whole characters are written to, as far as it has room, with a NUL behind them.
class changed_text {
public:
    changed_text(char* to, size_t room) : to_(to), room_(room) {}

    void put(const char* text, size_t size) {
        const size_t fitting = is_full_ ? 0 : utf8_fit(text, size, std::min(size, left()));
        if (fitting > 0)
            memcpy(to_ + written_, text, fitting);
        size_ += size;
        written_ += fitting;
        is_full_ = fitting < size;
    }

    int64_t end() {
        if (room_ > 0)
            to_[written_] = '\0';
        return static_cast<int64_t>(size_);
    }

private:
    size_t left() const { return room_ - std::min(room_, written_ + 1); }

    char* to_;
    size_t room_;
    size_t size_ = 0, written_ = 0;
    bool is_full_ = false;
};

/// Another case for a valid text, in pieces that lie on the stack.
void put_in_case(changed_text& to, const char* text, size_t size, int mapping) {
    char piece[256];
    const char* const end = text + size;
    while (text != end) {
        size_t filled = 0;
        while (text != end && filled <= sizeof piece - longest_utf8) {
            if (const auto byte = static_cast<uint8_t>(*text); byte < 0x80) {
                piece[filled++] =
                    static_cast<char>(mapping == def_ombrel_utf8_upper ? to_upper(byte) : to_lower(byte));
                text++;
            } else
                filled += put_utf8(change_case(take_valid_utf8(text), mapping), piece + filled);
        }
        to.put(piece, filled);
    }
}

bool is_buffer(const char* to, size_t room) {
    return to != nullptr || room == 0;
}

bool is_text(const char* text, size_t size) {
    return text != nullptr || size == 0;
}

/// A new string of what `change(to, room)` writes and measures.
template<typename Change>
char* alloc_changed(size_t* size, const char* function, unsigned long line, Change change) {
    const int64_t wanted = change(nullptr, 0);
    if (wanted < 0)
        return nullptr;
    const size_t room = static_cast<size_t>(wanted) + 1;
    auto* const to = static_cast<char*>(ombrel_alloc_tag(room, function, line));
    if (to == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    change(to, room);
    if (size != nullptr)
        *size = room - 1;
    return to;
}

/// A text read by folded code points; bytes that are invalid follow all of these.
class folded_text {
public:
    folded_text(const char* text, size_t size) : text_(text), size_(text == nullptr ? 0 : size) {}

    /// The next code, counted from 1; 0 at the end.
    uint32_t next() {
        if (invalid_ == 0 && size_ == 0)
            return 0;
        if (invalid_ == 0) {
            const utf8_reading reading = read_utf8(text_, size_);
            if (reading.kind == utf8_reading::valid) {
                advance(reading.size);
                return 1 + (reading.code < 0x80 ? to_lower(static_cast<uint8_t>(reading.code))
                                                : change_case(reading.code, def_ombrel_utf8_fold));
            }
            invalid_ = reading.size;
        }
        const uint32_t byte = static_cast<uint8_t>(*text_);
        invalid_--;
        advance(1);
        return 2 + last_code_point + byte;
    }

private:
    void advance(size_t size) {
        text_ += size;
        size_ -= size;
    }

    const char* text_;
    size_t size_;
    size_t invalid_ = 0;
};

} // namespace

int64_t ombrel_utf8_repair(char* to, size_t room, const char* text, size_t size) {
    if (!is_buffer(to, room) || !is_text(text, size))
        return refuse(fault_code::invalid);
    changed_text repaired(to, room);
    for_each_part(
        text, size, [&](size_t at, size_t length) { repaired.put(text + at, length); },
        [&](size_t, size_t) { repaired.put("\xEF\xBF\xBD", 3); });
    return repaired.end();
}

char* ombrel_alloc_utf8_repaired_tag(const char* text, size_t size, size_t* repaired, const char* function,
                                     unsigned long line) {
    return alloc_changed(repaired, function, line,
                         [&](char* to, size_t room) { return ombrel_utf8_repair(to, room, text, size); });
}

int64_t ombrel_utf8_change_case(char* to, size_t room, const char* text, size_t size, int mapping) {
    if (!is_buffer(to, room) || !is_text(text, size) || mapping < def_ombrel_utf8_upper ||
        mapping > def_ombrel_utf8_fold)
        return refuse(fault_code::invalid);
    changed_text changed(to, room);
    for_each_part(
        text, size, [&](size_t at, size_t length) { put_in_case(changed, text + at, length, mapping); },
        [&](size_t at, size_t length) { changed.put(text + at, length); });
    return changed.end();
}

char* ombrel_alloc_utf8_case_tag(const char* text, size_t size, int mapping, size_t* changed,
                                 const char* function, unsigned long line) {
    return alloc_changed(changed, function, line, [&](char* to, size_t room) {
        return ombrel_utf8_change_case(to, room, text, size, mapping);
    });
}

int ombrel_utf8_compare_any_case(const char* a, size_t a_size, const char* b, size_t b_size) {
    folded_text left(a, a_size), right(b, b_size);
    while (true) {
        const uint32_t from_left = left.next(), from_right = right.next();
        if (from_left != from_right)
            return from_left < from_right ? -1 : 1;
        if (from_left == 0)
            return 0;
    }
}
