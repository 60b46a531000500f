// Single characters and texts in memory.
#include <algorithm>
#include <cstring>
#include <iterator>

#include <ombrel/charset.h>
#include <ombrel/heap.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "text/charset/charset_conversion.h"
#include "text/charset/utf8_run.h"

using namespace ombrel;

namespace {

constexpr size_t end_size = def_ombrel_charset_character_limit;

void tell(ombrel_charset_fault_t* fault, const ombrel_charset_fault_t& what) {
    if (fault != nullptr)
        *fault = what;
}

/// A result that grows while it is made.
class growing_text {
public:
    growing_text(size_t limit, const char* function, unsigned long line)
        : limit_(std::min(limit, SIZE_MAX - end_size)), function_(function), line_(line) {}

    /// Has room for more bytes: `first` in the beginning, then twice as many each time.
    bool grow(size_t first, ombrel_charset_fault_t& fault) {
        const size_t room = std::min(limit_, room_ == 0 ? first : room_ <= limit_ / 2 ? 2 * room_ : limit_);
        if (room == room_ && text_) {
            leave_fault(fault_code::too_large);
            fault = {def_ombrel_charset_fault_too_large, 0, 0, 0, {}};
            return false;
        }
        return resize(room, fault);
    }

    bool resize(size_t room, ombrel_charset_fault_t& fault) {
        void* const grown = ombrel_heap_tag(text_.get(), room + end_size, function_, line_);
        if (grown == nullptr) {
            leave_fault(fault_code::no_memory);
            fault = {def_ombrel_charset_fault_no_memory, 0, 0, 0, {}};
            return false;
        }
        text_.release();
        text_.reset(static_cast<uint8_t*>(grown));
        room_ = room;
        return true;
    }

    uint8_t* end() { return text_.get() + size; }
    size_t room() const { return room_ - size; }

    char* release() {
        memset(end(), 0, end_size);
        return reinterpret_cast<char*>(text_.release());
    }

    size_t size = 0;

private:
    heap_ptr<uint8_t> text_;
    size_t room_ = 0, limit_;
    const char* function_;
    unsigned long line_;
};

/// Converts all, `text` growing with it.
bool convert(charset_conversion& conversion, const uint8_t* data, size_t size, growing_text& text,
             ombrel_charset_fault_t& fault) {
    size_t at = 0, made = 0;
    for (bool is_read = false;;) {
        const int step = is_read ? conversion.finish(text.end(), text.room(), made)
                                 : conversion.push(data, size, at, text.end(), text.room(), made);
        text.size += made;
        if (step == 0 && is_read)
            return true;
        is_read = is_read || step == 0;
        if (step == -1)
            return fault = conversion.fault(), false;
        if (step == 1 && !text.grow(0, fault)) {
            fault.m_offset = conversion.counts().m_read;
            return false;
        }
    }
}

/// Where the characters of a text begin, and in which set.
struct unmarked_text {
    const charset_form* form;
    const uint8_t* from;
};
unmarked_text pass_mark(int charset, const uint8_t* data, size_t size) {
    const charset_form* const form = find_charset_form(charset);
    if (form->is_marked)
        for (const charset_mark& mark : charset_marks_of(charset))
            if (size >= mark.size && mark.begins_with(data, mark.size))
                return {find_charset_form(mark.charset), data + mark.size};
    return {form, data};
}

/// Counts the characters from `from` on, which it leaves at the end or before what is none.
int64_t count_characters(const charset_form& form, const uint8_t*& from, const uint8_t* end) {
    if (form.decode == decode_utf_8) {
        const auto* const text = reinterpret_cast<const char*>(from);
        const size_t size = utf8_run(text, static_cast<size_t>(end - from));
        from += size;
        return static_cast<int64_t>(utf8_count(text, size));
    }
    int64_t count = 0;
    uint32_t codes[512];
    for (decode_stop stop = decode_stop::none; from < end && stop == decode_stop::none;) {
        const decode_result read = form.decode(from, end, codes, std::end(codes));
        count += read.to - codes;
        from = read.from;
        stop = read.stop;
    }
    return count;
}

} // namespace

int ombrel_decode_charset_character(int charset, const void* data, size_t size, uint32_t* code) {
    const charset_form* const form = find_charset_form(charset);
    if (form == nullptr || data == nullptr) {
        leave_fault(form == nullptr ? fault_code::not_supported : fault_code::invalid);
        return -1;
    }
    if (size == 0)
        return 0;
    const decoded_character read =
        decode_one(*form, static_cast<const uint8_t*>(data), std::min<size_t>(size, end_size));
    if (read.stop != decode_stop::none) {
        leave_fault(read.stop == decode_stop::cut ? fault_code::would_block : fault_code::violation);
        return -1;
    }
    if (code != nullptr)
        *code = read.code;
    return read.size;
}

int ombrel_encode_charset_character(int charset, uint32_t code, void* bytes) {
    const charset_form* const form = find_charset_form(charset);
    uint8_t made[end_size];
    const size_t size = form != nullptr ? encode_one(*form, code, made) : 0;
    if (size == 0)
        return leave_fault(fault_code::not_supported), -1;
    if (bytes != nullptr)
        memcpy(bytes, made, size);
    return static_cast<int>(size);
}

char* ombrel_alloc_converted_text_tag(int from, int to, const void* data, size_t size,
                                      const ombrel_charset_options_t* options, size_t* result_size,
                                      ombrel_charset_fault_t* fault, const char* function,
                                      unsigned long line) {
    tell(fault, {});
    if (find_charset_form(from) == nullptr || find_charset_form(to) == nullptr)
        return leave_fault(fault_code::not_supported), nullptr;
    if (data == nullptr && size > 0)
        return leave_fault(fault_code::invalid), nullptr;
    ombrel_charset_options_t chosen;
    ombrel_init_charset_options(&chosen);
    chosen = options != nullptr ? *options : chosen;
    charset_conversion conversion(from, to);
    if (!conversion.take_options(chosen))
        return nullptr;
    growing_text text(chosen.m_limit, function, line);
    ombrel_charset_fault_t why{};
    const size_t first = size / find_charset_form(from)->unit * find_charset_form(to)->unit;
    if (!text.grow(first + first / 2 + 16, why) ||
        !convert(conversion, static_cast<const uint8_t*>(data), size, text, why) ||
        !text.resize(text.size, why))
        return tell(fault, why), nullptr;
    if (result_size != nullptr)
        *result_size = text.size;
    return text.release();
}

int64_t ombrel_count_charset_characters(int charset, const void* data, size_t size,
                                        ombrel_charset_fault_t* fault) {
    tell(fault, {});
    if (find_charset_form(charset) == nullptr)
        return leave_fault(fault_code::not_supported), -1;
    if (data == nullptr && size > 0)
        return leave_fault(fault_code::invalid), -1;
    const auto* const bytes = static_cast<const uint8_t*>(data);
    auto [form, from] = pass_mark(charset, bytes, size);
    const int64_t count = count_characters(*form, from, bytes + size);
    if (from == bytes + size)
        return count;
    const size_t left = std::min<size_t>(static_cast<size_t>(bytes + size - from), end_size);
    const decoded_character wrong = decode_one(*form, from, left);
    const bool is_cut = wrong.stop == decode_stop::cut;
    ombrel_charset_fault_t why{is_cut ? def_ombrel_charset_fault_incomplete
                                      : def_ombrel_charset_fault_malformed,
                               static_cast<int>(is_cut ? left : wrong.size),
                               from - bytes,
                               0,
                               {}};
    memcpy(why.m_bytes, from, static_cast<size_t>(why.m_size));
    tell(fault, why);
    leave_fault(fault_code::violation);
    return -1;
}

int ombrel_is_charset_text(int charset, const void* data, size_t size) {
    if (data == nullptr || find_charset_form(charset) == nullptr)
        return 0;
    const auto* const bytes = static_cast<const uint8_t*>(data);
    auto [form, from] = pass_mark(charset, bytes, size);
    count_characters(*form, from, bytes + size);
    return from == bytes + size ? 1 : 0;
}
