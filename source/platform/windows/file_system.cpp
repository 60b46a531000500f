#include "platform/file_system.h"

#include <cstdio>
#include <cstring>

#include "platform/fault.h"
#include "platform/host_block.h"
#include "platform/windows/host_error.h"
#include "platform/windows/path_handle.h"
#include "platform/windows/wide_text.h"

namespace ombrel::platform {

namespace {

constexpr size_t name_room = 128; // a volume's name has 50 characters, a file system's a few

/// Writes words into a room that is large enough for what all drives can have.
class line_writer {
public:
    explicit line_writer(char* at) : at_(at) {}

    void put_word(const wchar_t* text, char behind) {
        const narrow_text narrow(text);
        for (const char* from = narrow ? narrow.get() : ""; *from != '\0'; from++) {
            const bool is_plain = *from != ' ' && *from != '\\' && *from != '\t' && *from != '\n';
            at_ += snprintf(at_, 5, is_plain ? "%c" : "\\%03o", static_cast<unsigned char>(*from));
        }
        *at_++ = behind;
        *at_ = '\0';
    }

private:
    char* at_;
};

void put_drive(line_writer& lines, const wchar_t* root) {
    wchar_t volume[name_room] = L"", kind[name_room] = L"";
    DWORD flags = 0;
    GetVolumeNameForVolumeMountPointW(root, volume, name_room);
    // A drive without a disk has no file system.
    GetVolumeInformationW(root, nullptr, 0, nullptr, nullptr, &flags, kind, name_room);
    lines.put_word(volume, ' ');
    lines.put_word(root, ' ');
    lines.put_word(kind, ' ');
    lines.put_word((flags & FILE_READ_ONLY_VOLUME) != 0 ? L"ro" : L"rw", '\n');
}

/// Keeps the system from asking the user for a disk.
class quiet_errors {
public:
    quiet_errors() { SetThreadErrorMode(SEM_FAILCRITICALERRORS, &before_); }
    ~quiet_errors() { SetThreadErrorMode(before_, nullptr); }
    quiet_errors(const quiet_errors&) = delete;
    quiet_errors& operator=(const quiet_errors&) = delete;

private:
    DWORD before_ = 0;
};

/// The root of the volume in which something lies, which must be there.
bool find_root(const char* path, wchar_t* root, DWORD size) {
    const wide_path name(path);
    if (!name)
        return false;
    if (attributes_of(name) == INVALID_FILE_ATTRIBUTES)
        return fail_by_path(name.get()) == 0;
    return GetVolumePathNameW(name.get(), root, size) || fail_by_last_error() == 0;
}

} // namespace

bool get_file_space(const char* path, ombrel_file_space_t& space) {
    constexpr DWORD longest = 32768;
    const host_block<wchar_t> root(longest);
    const quiet_errors quiet;
    ULARGE_INTEGER available, total, all_free;
    if (!root || !find_root(path, root.get(), longest))
        return false;
    if (!GetDiskFreeSpaceExW(root.get(), &available, &total, &all_free))
        return fail_by_last_error() == 0;
    DWORD sectors = 1, bytes = 512, unused_free, unused_total;
    GetDiskFreeSpaceW(root.get(), &sectors, &bytes, &unused_free, &unused_total);
    space = {};
    space.m_total = static_cast<int64_t>(total.QuadPart);
    space.m_free = static_cast<int64_t>(all_free.QuadPart);
    space.m_available = static_cast<int64_t>(available.QuadPart);
    space.m_block_size = int64_t{sectors} * bytes;
    return true;
}

host_text mount_lines() {
    constexpr int letters = 26;
    constexpr size_t bytes_per_unit = 4; // of a code, or of UTF-8
    constexpr size_t line_room = (2 * name_room + 16) * bytes_per_unit;
    auto* const text = static_cast<char*>(calloc(letters, line_room));
    if (text == nullptr)
        return host_text(nullptr);
    const quiet_errors quiet;
    line_writer lines(text);
    const DWORD drives = GetLogicalDrives();
    for (int i = 0; i < letters; i++) {
        const wchar_t root[] = {static_cast<wchar_t>(L'A' + i), L':', L'\\', L'\0'};
        if ((drives >> i & 1) != 0)
            put_drive(lines, root);
    }
    return host_text(text);
}

} // namespace ombrel::platform
