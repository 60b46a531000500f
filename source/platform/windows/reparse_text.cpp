#include "platform/windows/reparse_text.h"

#include <cstdint>
#include <cstring>
#include <string_view>

#include <winioctl.h>

#include "platform/fault.h"
#include "platform/host_block.h"
#include "platform/windows/wide_text.h"

namespace ombrel::platform {

namespace {

constexpr DWORD largest = 16384; // bytes, by the system's own rule

/// What the system's record begins with; offsets and sizes are bytes from the texts on.
struct reparse_head {
    uint32_t tag;
    uint16_t size, unused;
    uint16_t target_offset, target_size, shown_offset, shown_size;
};

/// The texts of a symbolic link stand behind one more word.
size_t texts_offset(uint32_t tag) {
    return sizeof(reparse_head) + (tag == IO_REPARSE_TAG_SYMLINK ? sizeof(uint32_t) : 0);
}

/// Without what leads it past the system's rules for names.
std::wstring_view as_users_write(std::wstring_view target) {
    constexpr std::wstring_view way = LR"(\??\)";
    if (target.starts_with(way))
        target.remove_prefix(way.size());
    return target;
}

host_text refuse(fault_code why) {
    leave_fault(why);
    return host_text(nullptr);
}

} // namespace

host_text reparse_text(HANDLE link) {
    const host_block<unsigned char> record(largest);
    DWORD size = 0;
    if (!record)
        return host_text(nullptr);
    reparse_head head{};
    const bool is_read =
        DeviceIoControl(link, FSCTL_GET_REPARSE_POINT, nullptr, 0, record.get(), largest, &size, nullptr);
    if (!is_read || size < sizeof head)
        return refuse(fault_code::invalid);
    memcpy(&head, record.get(), sizeof head);
    const bool has_shown = head.shown_size != 0;
    const size_t start = texts_offset(head.tag) + (has_shown ? head.shown_offset : head.target_offset);
    const size_t bytes = has_shown ? head.shown_size : head.target_size;
    const bool is_known = head.tag == IO_REPARSE_TAG_SYMLINK || head.tag == IO_REPARSE_TAG_MOUNT_POINT;
    if (!is_known || start + bytes > size)
        return refuse(fault_code::invalid);
    const host_block<wchar_t> units(bytes / sizeof(wchar_t));
    if (!units)
        return host_text(nullptr);
    memcpy(units.get(), record.get() + start, bytes / sizeof(wchar_t) * sizeof(wchar_t));
    const std::wstring_view target = as_users_write({units.get(), bytes / sizeof(wchar_t)});
    const narrow_text text(target.data(), target.size());
    return host_text(text ? strdup(text.get()) : nullptr);
}

} // namespace ombrel::platform
