#include "text/charset/utf8_columns.h"

#include <algorithm>

#include <ombrel/utf8.h>

#include "core/fault.h"

namespace ombrel {

namespace {

/// Printing characters of ASCII, one column each.
size_t printing_run(const char* text, size_t size) {
    return static_cast<size_t>(std::find_if(text, text + size, [](char c) { return c < ' ' || c > '~'; }) -
                               text);
}

} // namespace

fitting_columns fit_columns(const char* text, size_t size, uint64_t most, bool is_ambiguous_wide) {
    fitting_columns fitting = {0, 0};
    while (fitting.size < size) {
        const uint64_t left = most - fitting.columns;
        const size_t plain = printing_run(text + fitting.size,
                                          static_cast<size_t>(std::min<uint64_t>(size - fitting.size, left)));
        fitting.size += plain;
        fitting.columns += plain;
        if (fitting.size == size)
            break;
        const utf8_reading next = read_utf8(text + fitting.size, size - fitting.size);
        const unsigned columns = columns_in_text(next.code, is_ambiguous_wide);
        if (columns > most - fitting.columns)
            break;
        fitting.size += next.size;
        fitting.columns += columns;
    }
    return fitting;
}

} // namespace ombrel

using namespace ombrel;

namespace {

/// The flags are checked, and so is the text.
bool are_fitting(const char* text, size_t size, uint32_t flags) {
    if ((text != nullptr || size == 0) && (flags & ~def_ombrel_utf8_ambiguous_wide) == 0)
        return true;
    leave_fault(fault_code::invalid);
    return false;
}

} // namespace

int64_t ombrel_utf8_get_columns(const char* text, size_t size, uint32_t flags) {
    if (!are_fitting(text, size, flags))
        return -1;
    return static_cast<int64_t>(fit_columns(text, size, UINT64_MAX, flags != 0).columns);
}

int64_t ombrel_utf8_fit_columns(const char* text, size_t size, int64_t columns, uint32_t flags,
                                int64_t* used) {
    if (!are_fitting(text, size, flags))
        return -1;
    const auto most = static_cast<uint64_t>(std::max<int64_t>(columns, 0));
    const fitting_columns fitting =
        columns < 0 ? fitting_columns{} : fit_columns(text, size, most, flags != 0);
    if (used != nullptr)
        *used = static_cast<int64_t>(fitting.columns);
    return static_cast<int64_t>(fitting.size);
}
