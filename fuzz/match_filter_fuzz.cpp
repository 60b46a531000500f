// Takes any bytes as flags, a list of patterns and paths: the list is read whole or refused at a line, and
// matching agrees with a matcher that tries every way where that comes to an end, and with itself.

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <ombrel_tuk.h>

#include "support/byte_source.h"

namespace {

struct budget {
    unsigned steps = 20000;
};

bool same(char a, char b) {
    return a == b;
}

/// Of patterns without classes and backslashes, by recursion over all that stars may take; `spent` says
/// nothing.
bool matches(std::string_view pattern, std::string_view path, bool at_start, budget& left, bool& spent) {
    if (left.steps-- == 0)
        spent = true;
    if (spent || pattern.empty())
        return path.empty();
    const size_t stars = std::min(pattern.find_first_not_of('*'), pattern.size());
    if (stars == 0) {
        if (path.empty() || (pattern[0] == '?' ? path[0] == '/' : !same(pattern[0], path[0])))
            return false;
        return matches(pattern.substr(1), path.substr(1), pattern[0] == '/', left, spent);
    }
    const std::string_view rest = pattern.substr(stars);
    if (stars >= 2 && at_start && rest.empty())
        return !path.empty();
    const bool deep = stars >= 2 && at_start && rest[0] == '/';
    if (deep && matches(rest.substr(1), path, true, left, spent))
        return true;
    for (size_t taken = 0; taken <= path.size(); taken++) {
        if (deep ? taken > 0 && path[taken - 1] == '/' &&
                       matches(rest.substr(1), path.substr(taken), true, left, spent)
                 : matches(rest, path.substr(taken), false, left, spent))
            return true;
        if (!deep && taken < path.size() && path[taken] == '/')
            return false;
    }
    return false;
}

/// One pattern against the model.
void check_pattern(const std::string& pattern, const std::string& path) {
    if (pattern.empty() || pattern.find_first_of("[\\") != pattern.npos || pattern.size() > 60 ||
        path.size() > 60 || path.empty() || path.back() == '/')
        return;
    ombrel_match_filter_t* const filter = ombrel_open_match_filter(0);
    require(ombrel_match_filter_add(filter, def_ombrel_match_include, pattern.c_str()) == 0);
    const int verdict = ombrel_match_filter_match(filter, path.c_str(), 1);
    ombrel_close_match_filter(filter);
    std::string_view text = pattern, asked = path;
    if (text.back() == '/')
        text.remove_suffix(1);
    if (text.find('/') == text.npos)
        asked = asked.substr(asked.rfind('/') + 1);
    if (!text.empty() && text[0] == '/')
        text.remove_prefix(1);
    budget left;
    bool spent = false;
    const bool expected = !text.empty() && matches(text, asked, true, left, spent);
    require(spent || (verdict == def_ombrel_match_include) == expected);
}

void check_list(uint32_t flags, const std::string& list, const std::string& path) {
    ombrel_match_filter_t* const filter = ombrel_open_match_filter(flags);
    size_t fault_at = SIZE_MAX;
    const int64_t added =
        ombrel_match_filter_add_text(filter, def_ombrel_match_exclude, list.data(), list.size(), &fault_at);
    require(added >= 0 ? fault_at == SIZE_MAX && added == ombrel_match_filter_get_count(filter)
                       : fault_at < list.size());
    const int verdict = ombrel_match_filter_match(filter, path.c_str(), 0);
    require(verdict >= 0 && verdict <= def_ombrel_match_exclude);
    const int admits = ombrel_match_filter_admits(filter, path.c_str(), 0);
    require(verdict == def_ombrel_match_none ? admits == 0 || admits == 1
                                             : admits == (verdict == def_ombrel_match_include));
    const int below = ombrel_match_filter_match_below(filter, path.c_str(), 0);
    require(below == verdict || below == def_ombrel_match_exclude);
    ombrel_close_match_filter(filter);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The flags, the path, a newline and the list.
    const std::string text(reinterpret_cast<const char*>(data), size);
    const size_t end = std::min(text.find('\n'), size);
    if (end == 0)
        return 0;
    const std::string path(text.substr(1, end - 1).c_str()), list = text.substr(std::min(end + 1, size));
    check_list(data[0] & 3u, list, path);
    check_pattern(list.substr(0, list.find('\n')).c_str(), path);
    return 0;
}
