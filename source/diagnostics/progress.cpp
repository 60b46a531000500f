#include <ombrel/progress.h>

#include <cstdarg>
#include <cstddef>
#include <cstring>

#include <ombrel/output.h>
#include <ombrel/printf.h>
#include <ombrel/terminal.h>
#include <ombrel/time.h>

#include "core/heap_ptr.h"
#include "core/short_lock_guard.h"
#include "platform/terminal.h"

using namespace ombrel;

namespace {

// Multiplies and divides bit by bit, so that no intermediate value is larger than `total`; value < total.
uint64_t divide_product(uint64_t value, uint64_t scale, uint64_t total) {
    uint64_t quotient = 0;
    uint64_t rest = 0;
    const auto add = [&](uint64_t term) {
        if (rest >= total - term) {
            rest -= total - term;
            quotient++;
        } else {
            rest += term;
        }
    };
    for (unsigned bit = 64; bit-- > 0;) {
        quotient <<= 1;
        add(rest);
        if ((scale >> bit & 1) != 0)
            add(value);
    }
    return quotient;
}

size_t bar_width(int columns, const char* prefix, const char* suffix) {
    const size_t room = columns > 0 ? static_cast<size_t>(columns) : 0;
    const size_t taken = strlen(prefix) + 7 + strlen(suffix) + 2;
    return room > taken ? room - taken : 0;
}

class bar_writer {
public:
    explicit bar_writer(char* to) : to_(to) {}

    void put(char character) { *to_++ = character; }
    void put(const char* text) {
        while (*text != '\0')
            put(*text++);
    }
    void end() { *to_ = '\0'; }

private:
    char* to_;
};

void draw_bar(char* to, size_t width, size_t filled, const char* pattern) {
    const size_t length = pattern != nullptr ? strlen(pattern) : 0;
    const auto character = [&](size_t position, char past_end) {
        return position < length ? pattern[position] : past_end;
    };
    bar_writer bar(to);
    bar.put("\x1b[1;32m");
    for (size_t position = 0; position < filled; position++)
        bar.put(character(position, '='));
    if (filled < width) {
        bar.put("\x1b[1;37m>");
        if (pattern != nullptr)
            bar.put("\x1b[0;31m");
        for (size_t position = filled + 1; position < width; position++)
            bar.put(character(position, ' '));
    }
    bar.put("\x1b[0m");
    bar.end();
}

constexpr char frames[][4] = {">  ", ">> ", ">>>", " >>", "  >", "  <", " <<", "<<<", "<< ", "<  "};
constexpr size_t frame_count = sizeof frames / sizeof *frames;
constexpr uint64_t frame_milliseconds = 100;

struct {
    ombrel_short_lock_t lock;
    size_t counter OMBREL_GUARDED_BY(lock);
    uint64_t advanced_at OMBREL_GUARDED_BY(lock);
} roll;

} // namespace

uint64_t ombrel_ratio_uintmax(uint64_t value, uint64_t total, uint64_t scale) {
    if (total == 0)
        return 0;
    if (value >= total)
        return scale;
    uint64_t product;
    if (!__builtin_mul_overflow(value, scale, &product))
        return product / total;
    return divide_product(value, scale, total);
}

int ombrel_progress_bar(uint64_t value, uint64_t total, const char* prefix, const char* pattern,
                        const char* format, ...) {
    int columns = def_ombrel_terminal_columns, rows = 0;
    platform::terminal_size(columns, rows);
    const heap_ptr<char> bar(static_cast<char*>(
        ombrel_alloc_tag(static_cast<size_t>(columns) + 128, "ombrel_progress_bar", __LINE__)));
    if (!bar)
        return -1;
    heap_ptr<char> suffix;
    if (format != nullptr) {
        va_list args;
        va_start(args, format);
        suffix.reset(ombrel_alloc_vsprintf(format, args));
        va_end(args);
    }
    const char* before = prefix != nullptr ? prefix : " ";
    const char* after = suffix ? suffix.get() : " ";
    const size_t width = bar_width(columns, before, after);
    const int percent = static_cast<int>(ombrel_ratio_uintmax(value, total, 100));
    unsigned result;
    if (width != 0) {
        draw_bar(bar.get(), width, static_cast<size_t>(ombrel_ratio_uintmax(value, total, width)), pattern);
        result = ombrel_printf("\r%s\x1b[1;37m%3d%%\x1b[0m [%s]%s ", before, percent, bar.get(), after);
    } else {
        result = ombrel_printf("\r%s\x1b[1;37m%3d%%\x1b[0m%s ", before, percent, after);
    }
    ombrel_puts(nullptr);
    return static_cast<int>(result);
}

const char* ombrel_roll_string(void) {
    const short_lock_guard guard(roll.lock);
    const uint64_t now = ombrel_time_stamp_msec();
    if (now - roll.advanced_at >= frame_milliseconds) {
        roll.advanced_at = now;
        roll.counter = (roll.counter + 1) % frame_count;
    }
    return frames[roll.counter];
}
