// Path resolution, against a plain stack of components, and the base and directory names.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <ombrel/heap.h>
#include <ombrel/path.h>
#include <ombrel/string.h>

#include "support/require.h"

namespace {

std::string take(char* s) {
    require(s != nullptr);
    std::string text = s;
    ombrel_free(s);
    return text;
}

std::string resolve(const std::string& path) {
    std::vector<std::string> kept;
    for (size_t at = 0; at < path.size();) {
        const size_t end = std::min(path.find_first_of("/\\", at), path.size());
        const std::string part = path.substr(at, end - at);
        if (part == "..") {
            if (!kept.empty() && !kept.back().empty())
                kept.pop_back();
        } else if (part != "." && (!part.empty() || at == 0)) {
            kept.push_back(part);
        }
        at = end + 1;
    }
    std::string joined;
    for (size_t i = 0; i < kept.size(); i++)
        joined += kept[i] + (i + 1 < kept.size() || kept[i].empty() ? "/" : "");
    return joined;
}

void check_nodes(const std::string& path) {
    ombrel_string_node_t* list = ombrel_path_to_node(path.c_str());
    require((list == nullptr) == path.empty());
    if (list == nullptr)
        return;
    const ombrel_string_node_t* before = nullptr;
    for (const auto* at = list; at != nullptr; before = at, at = at->m_next)
        require(at->m_prev == before);
    require(take(ombrel_node_to_path(list, 1)) == resolve(path));
    list = ombrel_append_path_node(list, ombrel_copy_path_node(list), 0);
    require(take(ombrel_node_to_path(list, 1)) == resolve(path + "/" + path));
    ombrel_free_path_node(list);
}

void check_names(const std::string& path) {
    const std::string base = take(ombrel_alloc_basename(path.c_str()));
    require(base.size() < 2 || base.find_first_of("/\\") == std::string::npos);
    const char* kept = ombrel_basename_c(path.c_str());
    require(kept >= path.c_str() && std::string(kept).compare(0, base.size(), base) == 0);
    const std::string directory = take(ombrel_alloc_dirname(path.c_str()));
    require(directory == "." || path.compare(0, directory.size(), directory) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = std::string(reinterpret_cast<const char*>(data), size).c_str();
    const size_t live = ombrel_get_alloc_count();
    check_nodes(path);
    check_names(path);
    require(ombrel_get_alloc_count() == live);
    return 0;
}
