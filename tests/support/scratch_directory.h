// A folder for files of a test.
#pragma once

#include <cstdio>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/no_copy.h"
#include "support/temporary_path.h"

namespace ombrel_test {

#if defined(_WIN32)
inline constexpr char separator[] = "\\";
inline int make_directory(const std::string& path) {
    return mkdir(path.c_str());
}
#else
inline constexpr char separator[] = "/";
inline int make_directory(const std::string& path) {
    return mkdir(path.c_str(), 0700);
}
#endif

/// Removes a file, or a folder with what is in it.
inline void remove_all(const std::string& path) {
    DIR* const folder = opendir(path.c_str());
    if (folder == nullptr) {
        unlink(path.c_str());
        return;
    }
    while (const dirent* const entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            remove_all(path + separator + name);
    }
    closedir(folder);
    rmdir(path.c_str());
}

/// Removed, with what is in it, at the end of the scope.
class scratch_directory : no_copy {
public:
    scratch_directory() { EXPECT_EQ(0, make_directory(path_)); }
    ~scratch_directory() { remove_all(path_); }
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + separator + name; }
    void write(const std::string& name, const std::string& bytes) const {
        std::FILE* const file = std::fopen((*this / name).c_str(), "wb");
        EXPECT_EQ(bytes.size(), fwrite(bytes.data(), 1, bytes.size(), file));
        fclose(file);
    }
    /// Writes a file. @return its path
    std::string file(const std::string& name, const std::string& bytes) const {
        write(name, bytes);
        return *this / name;
    }
    /// Nothing for a file that is not there.
    std::string read(const std::string& name) const {
        std::FILE* const file = std::fopen((*this / name).c_str(), "rb");
        std::string bytes;
        for (int byte; file != nullptr && (byte = fgetc(file)) != EOF;)
            bytes += static_cast<char>(byte);
        if (file != nullptr)
            fclose(file);
        return bytes;
    }

private:
    const std::string path_ = temporary_path();
};

} // namespace ombrel_test
