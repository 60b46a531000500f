#include "protocol/secret/secret_table.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/wipe.h"
#include "protocol/secret/secret_text.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

uint64_t mark_of(std::string_view name, const ombrel_hmac_t& key) {
    ombrel_hmac_t keyed = key;
    unsigned char digest[def_ombrel_digest_size_max];
    ombrel_hmac_push(&keyed, name.data(), name.size());
    ombrel_hmac_result(&keyed, digest);
    uint64_t mark;
    memcpy(&mark, digest, sizeof mark);
    return mark;
}

bool is_passed_over(std::string_view line) {
    return line.empty() || line.front() == '#';
}

/// Editors of Windows write it before the first line.
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

} // namespace

secret_table& secret_table::operator=(secret_table&& other) noexcept {
    clear();
    text_ = std::move(other.text_);
    entries_ = std::move(other.entries_);
    order_ = std::move(other.order_);
    size_ = std::exchange(other.size_, 0);
    count_ = std::exchange(other.count_, 0);
    room_ = std::exchange(other.room_, 0);
    return *this;
}

void secret_table::clear() {
    if (text_)
        wipe(text_.get(), size_);
    if (entries_)
        wipe(entries_.get(), room_ * sizeof(secret_entry));
    text_.reset();
    entries_.reset();
    order_.reset();
    size_ = count_ = room_ = 0;
}

fault_code secret_table::read(heap_ptr<char> text, size_t size, const ombrel_secret_list_options_t& options,
                              const ombrel_hmac_t& key, uint32_t& line, call_site caller) {
    clear();
    text_ = std::move(text);
    size_ = size;
    line = 0;
    // A line too many shows that there are more than may be.
    room_ = std::min(options.m_secret_limit,
                     static_cast<size_t>(std::count(text_.get(), text_.get() + size, '\n')) + 1);
    const auto allocate = [&](size_t each) {
        return room_ < PTRDIFF_MAX / each ? ombrel_alloc_tag(room_ * each, caller.tag, caller.line) : nullptr;
    };
    entries_.reset(static_cast<secret_entry*>(allocate(sizeof(secret_entry))), caller.tag, caller.line);
    order_.reset(static_cast<uint32_t*>(allocate(sizeof(uint32_t))), caller.tag, caller.line);
    if (!entries_ || !order_) {
        room_ = entries_ ? room_ : 0;
        clear();
        return fault_code::no_memory;
    }
    const fault_code why = read_lines(options, key, line);
    if (why != fault_code::none)
        clear();
    return why;
}

fault_code secret_table::read_lines(const ombrel_secret_list_options_t& options, const ombrel_hmac_t& key,
                                    uint32_t& line) {
    char *at = text_.get(), *const end = at + size_;
    if (starts_with({at, size_}, byte_order_mark))
        at += byte_order_mark.size();
    for (uint32_t number = 1; at < end; number++) {
        char* const stop = std::find(at, end, '\n');
        char* const shown_stop = stop > at && stop < end && stop[-1] == '\r' ? stop - 1 : stop;
        const fault_code why = read_line(at, shown_stop, number, options, key);
        if (why != fault_code::none) {
            line = number;
            return why;
        }
        at = stop < end ? stop + 1 : end;
    }
    return put_in_order(line) ? fault_code::none : fault_code::exists;
}

fault_code secret_table::read_line(char* begin, char* end, uint32_t line,
                                   const ombrel_secret_list_options_t& options, const ombrel_hmac_t& key) {
    const std::string_view text(begin, static_cast<size_t>(end - begin));
    if (text.size() > options.m_line_limit)
        return fault_code::too_large;
    if (is_passed_over(text))
        return fault_code::none;
    if (count_ == room_)
        return fault_code::too_large;
    const bool has_more = (options.m_flags & def_ombrel_secret_list_more) != 0;
    char* const name_end = std::find(begin, end, ':');
    char* const secret = name_end < end ? name_end + 1 : end;
    char* const secret_end = has_more ? std::find(secret, end, ':') : end;
    secret_entry& entry = entries_.get()[count_];
    const std::string_view name(begin, static_cast<size_t>(name_end - begin));
    if ((has_more && secret_end == end) || text.find('\0') != std::string_view::npos ||
        !is_secret_name(name) ||
        !parse_secret({secret, static_cast<size_t>(secret_end - secret)}, entry.secret))
        return fault_code::invalid;
    *name_end = *end = '\0'; // behind the text stands a zero that may be written
    entry.name = begin;
    entry.more = has_more ? secret_end + 1 : end;
    entry.line = line;
    entry.mark = mark_of(name, key);
    count_++;
    return fault_code::none;
}

/// False, with the line of the second, when a name is there twice.
bool secret_table::put_in_order(uint32_t& line) {
    uint32_t* const order = order_.get();
    for (uint32_t i = 0; i < count_; i++)
        order[i] = i;
    const secret_entry* const entries = entries_.get();
    std::sort(order, order + count_, [=](uint32_t left, uint32_t right) {
        return std::pair(entries[left].mark, left) < std::pair(entries[right].mark, right);
    });
    const uint32_t* const twin =
        std::adjacent_find(order, order + count_, [=](uint32_t left, uint32_t right) {
            return entries[left].mark == entries[right].mark;
        });
    if (twin == order + count_)
        return true;
    line = entries[twin[1]].line;
    return false;
}

secret_table::found secret_table::find(const char* name, const ombrel_hmac_t& key) const {
    const uint64_t mark = mark_of(name, key);
    const uint32_t *const begin = order_.get(), *const end = begin + count_;
    const uint32_t* at = std::lower_bound(
        begin, end, mark, [this](uint32_t index, uint64_t wanted) { return (*this)[index].mark < wanted; });
    if (at == end)
        at = begin;
    return {*at, (*this)[*at].mark == mark && strcmp((*this)[*at].name, name) == 0};
}

} // namespace ombrel::protocol
