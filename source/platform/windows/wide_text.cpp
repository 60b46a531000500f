#include "platform/windows/wide_text.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "platform/fault.h"
#include "platform/host_block.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

template<typename Unit, size_t inline_units>
converted_text<Unit, inline_units>::~converted_text() {
    if (text_ != inline_)
        free(text_);
}

template<typename Unit, size_t inline_units>
Unit* converted_text<Unit, inline_units>::make_room(size_t units) {
    if (units < inline_units)
        text_ = inline_;
    else
        text_ = static_cast<Unit*>(malloc((units + 1) * sizeof(Unit)));
    if (text_ == nullptr)
        leave_fault(fault_code::no_memory);
    return text_;
}

template<typename Unit, size_t inline_units>
void converted_text<Unit, inline_units>::end_at(size_t units) {
    text_[units] = Unit{};
    size_ = units;
    is_whole_ = true;
}

template class converted_text<wchar_t, 280>;
template class converted_text<char, 300>;

wide_text::wide_text(const char* text) {
    if (text == nullptr)
        leave_fault(fault_code::invalid);
    else
        convert(text, strlen(text));
}

wide_text::wide_text(const char* text, size_t size) {
    convert(text, size);
}

// No text of UTF-8 has more units in UTF-16.
void wide_text::convert(const char* text, size_t size) {
    if (size > INT_MAX / 2) {
        leave_fault(fault_code::no_memory);
        return;
    }
    wchar_t* const room = make_room(size);
    if (room == nullptr)
        return;
    const int bytes = static_cast<int>(size);
    const int units =
        bytes == 0 ? 0 : MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, bytes, room, bytes);
    if (units == 0 && bytes != 0)
        leave_fault(fault_code::invalid);
    else
        end_at(static_cast<size_t>(units));
}

narrow_text::narrow_text(const wchar_t* text) {
    if (text == nullptr)
        leave_fault(fault_code::invalid);
    else
        convert(text, wcslen(text));
}

narrow_text::narrow_text(const wchar_t* text, size_t size) {
    convert(text, size);
}

// A unit becomes three bytes at most.
void narrow_text::convert(const wchar_t* text, size_t size) {
    if (size > INT_MAX / 4) {
        leave_fault(fault_code::no_memory);
        return;
    }
    char* const room = make_room(size * 3);
    if (room == nullptr)
        return;
    const int units = static_cast<int>(size);
    const int bytes =
        units == 0 ? 0 : WideCharToMultiByte(CP_UTF8, 0, text, units, room, units * 3, nullptr, nullptr);
    end_at(static_cast<size_t>(bytes));
}

namespace {

/// What a name may have without the prefix, less what a directory leaves for the names in it.
constexpr size_t short_path = MAX_PATH - 12;

/// Neither "C:x" nor "\x" is: the one begins in the drive's current folder, the other is on the current
/// drive.
bool is_whole(const wchar_t* path) {
    return wcsncmp(path, LR"(\\)", 2) == 0 || (path[0] != L'\0' && wcsncmp(path + 1, LR"(:\)", 2) == 0);
}

/// A short path may be long once it is made whole, when the current folder is.
bool is_short(const wide_text& path) {
    return path.size() < short_path &&
           (is_whole(path.get()) || GetFullPathNameW(path.get(), 0, nullptr, nullptr) <= short_path);
}

bool has_device_prefix(const wchar_t* path) {
    return wcsncmp(path, LR"(\\?\)", 4) == 0 || wcsncmp(path, LR"(\\.\)", 4) == 0;
}

} // namespace

wide_path::wide_path(const char* path) {
    wide_text text(path);
    if (!text)
        return;
    std::replace(text.get(), text.get() + text.size(), L'/', L'\\');
    if (has_device_prefix(text.get()) || is_short(text))
        take(L"", text.get(), text.size());
    else
        lift_limit(text.get());
}

void wide_path::take(const wchar_t* prefix, const wchar_t* path, size_t size) {
    const size_t before = wcslen(prefix);
    wchar_t* const room = make_room(before + size);
    if (room == nullptr)
        return;
    wmemcpy(room, prefix, before);
    wmemcpy(room + before, path, size);
    end_at(before + size);
}

// Behind the prefix nothing is resolved any more, so the path must be whole before.
void wide_path::lift_limit(const wchar_t* path) {
    const DWORD needed = GetFullPathNameW(path, 0, nullptr, nullptr);
    const host_block<wchar_t> whole(needed);
    if (!whole)
        return;
    const DWORD size = GetFullPathNameW(path, needed, whole.get(), nullptr);
    if (size == 0 || size >= needed)
        leave_fault(fault_code::invalid);
    else if (wcsncmp(whole.get(), LR"(\\)", 2) == 0)
        take(LR"(\\?\UNC\)", whole.get() + 2, size - 2);
    else
        take(LR"(\\?\)", whole.get(), size);
}

} // namespace ombrel::platform
