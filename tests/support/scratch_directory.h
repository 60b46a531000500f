// A folder for files of a test.
#pragma once

#include <cstdio>
#include <string>
#include <sys/stat.h>

#if defined(_WIN32)
#include <dirent.h>
#include <io.h>
#include <wchar.h>
extern "C" __declspec(dllimport) int __stdcall MultiByteToWideChar(unsigned code_page, unsigned long flags,
                                                                   const char*, int, wchar_t*, int);
#else
#include <filesystem>
#endif

#include <gtest/gtest.h>

#include "support/no_copy.h"
#include "support/temporary_path.h"

namespace ombrel_test {

#if defined(_WIN32)

inline constexpr char separator[] = "\\";

/// Names are UTF-8, which the C library there does not take.
inline std::wstring wide(const std::string& text) {
    std::wstring result(text.size(), L'\0');
    const auto size = static_cast<int>(text.size());
    result.resize(static_cast<size_t>(MultiByteToWideChar(65001, 0, text.data(), size, result.data(), size)));
    return result;
}
inline std::FILE* open_stream(const std::string& path, const char* mode) {
    return _wfopen(wide(path).c_str(), wide(mode).c_str());
}
inline int make_directory(const std::string& path) {
    return _wmkdir(wide(path).c_str());
}
inline void remove_all(const std::wstring& path) {
    _WDIR* const folder = _wopendir(path.c_str());
    if (folder == nullptr) {
        _wunlink(path.c_str());
        return;
    }
    while (const _wdirent* const entry = _wreaddir(folder)) {
        const std::wstring name = entry->d_name;
        if (name != L"." && name != L"..")
            remove_all(path + L"\\" + name);
    }
    _wclosedir(folder);
    _wrmdir(path.c_str());
}
inline void remove_all(const std::string& path) {
    remove_all(wide(path));
}

#else

inline constexpr char separator[] = "/";

inline std::FILE* open_stream(const std::string& path, const char* mode) {
    return std::fopen(path.c_str(), mode);
}
inline int make_directory(const std::string& path) {
    return mkdir(path.c_str(), 0700);
}
/// Removes a file, or a folder with what is in it.
inline void remove_all(const std::string& path) {
    std::filesystem::remove_all(path);
}

#endif

/// Nothing for a file that is not there.
inline std::string read_file(const std::string& path) {
    std::FILE* const file = open_stream(path, "rb");
    std::string bytes;
    for (int byte; file != nullptr && (byte = fgetc(file)) != EOF;)
        bytes += static_cast<char>(byte);
    if (file != nullptr)
        fclose(file);
    return bytes;
}

/// Removed, with what is in it, at the end of the scope.
class scratch_directory : no_copy {
public:
    scratch_directory() { EXPECT_EQ(0, make_directory(path_)); }
    ~scratch_directory() { remove_all(path_); }
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + separator + name; }
    void write(const std::string& name, const std::string& bytes) const {
        std::FILE* const file = open_stream(*this / name, "wb");
        EXPECT_EQ(bytes.size(), fwrite(bytes.data(), 1, bytes.size(), file));
        fclose(file);
    }
    /// Writes a file. @return its path
    std::string file(const std::string& name, const std::string& bytes) const {
        write(name, bytes);
        return *this / name;
    }
    std::string read(const std::string& name) const { return read_file(*this / name); }

private:
    const std::string path_ = temporary_path();
};

} // namespace ombrel_test
