// A folder for files of a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "support/no_copy.h"

namespace ombrel_test {

/// Removed, with what is in it, at the end of the scope.
class scratch_directory : no_copy {
public:
    scratch_directory() {
        std::string name = (std::filesystem::temp_directory_path() / "ombrel_test_XXXXXX").string();
        EXPECT_NE(nullptr, mkdtemp(name.data()));
        path_ = name;
    }
    ~scratch_directory() { std::filesystem::remove_all(path_); }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path_ / name, std::ios::binary) << bytes;
    }
    /// Writes a file. @return its path
    std::string file(const std::string& name, const std::string& bytes) const {
        write(name, bytes);
        return *this / name;
    }
    std::string read(const std::string& name) const {
        std::ifstream file(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path path_;
};

} // namespace ombrel_test
