// A database result as a table of text.
#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

#include <ombrel/output.h>
#include <ombrel/printf.h>

#include "context/ctx_internal.h"

using namespace ombrel;
using namespace ombrel::context;

namespace {

constexpr const char tag[] = "ombrel_ctx_db_dump_result";
constexpr std::string_view gap = " | ";
constexpr std::string_view crossing = "-+-";

// Characters of UTF-8: bytes that do not continue one.
size_t width_of(std::string_view text) {
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

char printable(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '.' : c;
}

struct cell {
    std::string_view text;
    bool to_right;
};

/// A value's cell; the text of a blob is its own.
class value_cell {
public:
    explicit value_cell(const ombrel_ctx_db_value_t& value) {
        const auto type = value.m_type;
        cell_.to_right = type == def_ombrel_ctx_db_integer || type == def_ombrel_ctx_db_real;
        if (type == def_ombrel_ctx_db_null)
            cell_.text = "NULL";
        else if (type == def_ombrel_ctx_db_blob)
            cell_.text = {size_text_, static_cast<size_t>(
                                          ombrel_snprintf(size_text_, sizeof size_text_, "(%llu bytes)",
                                                          static_cast<unsigned long long>(value.m_size)))};
        else if (value.m_data != nullptr)
            cell_.text = {static_cast<const char*>(value.m_data), value.m_size};
    }
    value_cell(const value_cell&) = delete;
    value_cell& operator=(const value_cell&) = delete;

    const cell& get() const { return cell_; }

private:
    char size_text_[40];
    cell cell_{};
};

/// A line of the table, with its cells and then their texts behind it in one block.
struct line {
    line* next;
    size_t text_size;

    cell* cells() { return reinterpret_cast<cell*>(this + 1); }
};
static_assert(sizeof(line) % alignof(cell) == 0);

/// The lines that are to be printed.
class table {
public:
    explicit table(size_t columns) : columns_(columns) {}
    ~table() {
        while (first_ != nullptr) {
            heap_ptr<line> old(first_);
            first_ = old->next;
        }
    }
    table(const table&) = delete;
    table& operator=(const table&) = delete;

    bool prepare() {
        widths_.reset(static_cast<size_t*>(ombrel_calloc_tag(columns_, sizeof(size_t), tag, __LINE__)));
        return static_cast<bool>(widths_);
    }

    /// Adds a line with the cells that use_cell(column, use) hands to use(cell).
    template<typename UseCell>
    bool add(UseCell use_cell) {
        size_t size = 0;
        for (size_t i = 0; i < columns_; i++)
            use_cell(i, [&](const cell& at) { size += at.text.size(); });
        line* added = new_line(size);
        if (added == nullptr)
            return false;
        char* text = reinterpret_cast<char*>(added->cells() + columns_);
        for (size_t i = 0; i < columns_; i++)
            use_cell(i, [&](const cell& at) {
                widths_.get()[i] = std::max(widths_.get()[i], width_of(at.text));
                added->cells()[i] = {{text, at.text.size()}, at.to_right};
                text = std::transform(at.text.begin(), at.text.end(), text, printable);
            });
        return true;
    }

    /// False when memory runs out, nothing being printed.
    bool print() {
        const std::span<const size_t> widths(widths_.get(), columns_);
        size_t room = longest_ + 2;
        for (const size_t width : widths)
            if (__builtin_add_overflow(room, width + gap.size(), &room))
                return false;
        const heap_ptr<char> text(static_cast<char*>(ombrel_alloc_tag(room, tag, __LINE__)));
        if (!text)
            return false;
        for (line* at = first_; at != nullptr; at = at->next) {
            print_line(*at, text.get());
            if (at == first_)
                print_rule(text.get());
        }
        return true;
    }

private:
    line* new_line(size_t text_size) {
        size_t size;
        if (__builtin_mul_overflow(columns_, sizeof(cell), &size) ||
            __builtin_add_overflow(size, sizeof(line), &size) ||
            __builtin_add_overflow(size, text_size, &size))
            return nullptr;
        auto* added = static_cast<line*>(ombrel_alloc_tag(size, tag, __LINE__));
        if (added == nullptr)
            return nullptr;
        *added = {nullptr, text_size};
        longest_ = std::max(longest_, text_size);
        *(last_ != nullptr ? &last_->next : &first_) = added;
        return last_ = added;
    }

    static char* put(char* to, std::string_view text) { return std::copy(text.begin(), text.end(), to); }

    void print_line(line& at, char* text) const {
        char* to = text;
        for (size_t i = 0; i < columns_; i++) {
            const cell& here = at.cells()[i];
            const size_t padding = widths_.get()[i] - width_of(here.text);
            const bool is_last = i + 1 == columns_;
            to = std::fill_n(to, here.to_right ? padding : 0, ' ');
            to = put(to, here.text);
            to = std::fill_n(to, here.to_right || is_last ? 0 : padding, ' ');
            to = put(to, is_last ? "\n" : gap);
        }
        *to = '\0';
        ombrel_puts(text);
    }

    void print_rule(char* text) const {
        char* to = text;
        for (size_t i = 0; i < columns_; i++) {
            to = std::fill_n(to, widths_.get()[i], '-');
            to = put(to, i + 1 == columns_ ? "\n" : crossing);
        }
        *to = '\0';
        ombrel_puts(text);
    }

    size_t columns_;
    heap_ptr<size_t> widths_;
    line* first_ = nullptr;
    line* last_ = nullptr;
    size_t longest_ = 0;
};

bool add_names(table& to, int ctx, ombrel_ctx_db_result_t* result) {
    return to.add([=](size_t column, auto use) {
        const char* name = ombrel_ctx_db_get_field_name(ctx, result, static_cast<int>(column));
        use(cell{name != nullptr ? name : "", false});
    });
}

bool add_row(table& to, const ombrel_ctx_db_value_t* values) {
    return to.add([=](size_t column, auto use) { use(value_cell(values[column]).get()); });
}

} // namespace

int64_t ombrel_ctx_db_dump_result(int handle, ombrel_ctx_db_result_t* result) {
    const int columns = ombrel_ctx_db_get_field_count(handle, result);
    if (columns <= 0)
        return columns;
    table lines(static_cast<size_t>(columns));
    bool complete = lines.prepare() && add_names(lines, handle, result);
    int64_t rows = 0;
    while (complete) {
        const auto* values = ombrel_ctx_db_fetch_row(handle, result);
        if (values == nullptr && ombrel_ctx_get_last_error(handle) != def_ombrel_ctx_error_none)
            return -1;
        if (values == nullptr)
            break;
        complete = add_row(lines, values);
        rows += complete ? 1 : 0;
    }
    return complete && lines.print() ? rows : fail<int64_t>(handle, def_ombrel_ctx_error_no_memory);
}
