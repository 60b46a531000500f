// Reads any bytes as a list of mounted file systems, and whatever was written as one gets it back.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <ombrel/heap.h>

#include "support/require.h"
#include "system/file/mount_lines.h"

namespace {

using ombrel::system::parse_mount_lines;

/// Names of any bytes but 0, which stands between them here, as the kernel writes them.
std::string encoded(std::string_view name) {
    std::string text;
    for (const char character : name) {
        char code[5];
        snprintf(code, sizeof code, "\\%03o", static_cast<unsigned char>(character));
        const bool is_plain = std::string_view(" \t\n\\").find(character) == std::string_view::npos;
        text += is_plain ? std::string(1, character) : code;
    }
    return text;
}

void read_back(std::string_view bytes) {
    std::vector<std::string> names;
    while (!bytes.empty()) {
        const std::string_view name = bytes.substr(0, bytes.find('\0'));
        names.push_back("/" + std::string(name));
        bytes.remove_prefix(std::min(name.size() + 1, bytes.size()));
    }
    std::string lines;
    for (const std::string& name : names)
        lines += "none " + encoded(name) + " kind\n";
    size_t count = 0;
    ombrel_mount_t* const mounts = parse_mount_lines(lines, &count, {"fuzz", 1});
    require(count == names.size(), "as many as were written");
    for (size_t i = 0; i < count; i++) {
        require(mounts[i].m_directory == names[i], "the name that was written");
        require(mounts[i].m_kind == std::string_view("kind") && *mounts[i].m_options == '\0', "the rest");
    }
    ombrel_free(mounts);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    size_t count = 0, letters = 0;
    ombrel_mount_t* const mounts = parse_mount_lines(bytes, &count, {"fuzz", 1});
    for (const ombrel_mount_t* one = mounts; one->m_directory != nullptr; one++) {
        for (const char* const text : {one->m_directory, one->m_source, one->m_kind, one->m_options})
            letters += std::string_view(text).size();
        count--;
    }
    require(count == 0 && letters <= size, "texts never lengthen");
    ombrel_free(mounts);
    read_back(bytes);
    return 0;
}
