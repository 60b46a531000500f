// Replacement, words and string nodes against models. The input is up to four texts with zero bytes between:
// the string, what to look for, what to put there, and the separators.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <ombrel/heap.h>
#include <ombrel/replace_string.h>
#include <ombrel/string.h>
#include <ombrel/string_node.h>
#include <ombrel/word.h>

#include "support/require.h"

namespace {

std::string take(char* s) {
    require(s != nullptr);
    std::string text = s;
    ombrel_free(s);
    return text;
}

std::string next_text(std::string& input) {
    const size_t end = input.find('\0');
    const std::string text = input.substr(0, end);
    input = end != std::string::npos ? input.substr(end + 1) : "";
    return text;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

void check_replacement(const std::string& s, const std::string& from, const std::string& to) {
    const std::string expected = replaced(s, from, to);
    require(take(ombrel_replace_all_string_alloc(s.c_str(), from.c_str(), to.c_str())) == expected);
    char* copy = ombrel_strdup(s.c_str());
    require(take(ombrel_replace_all_string_realloc(copy, from.c_str(), to.c_str())) == expected);
    if (to.size() <= from.size()) {
        std::string in_place = s;
        require(ombrel_replace_all_string(in_place.data(), from.c_str(), to.c_str()) == expected);
    }
}

void check_escaping(const std::string& s) {
    std::string expected = s;
    for (const auto& [special, entity] :
         {std::pair{"<", "&lt;"}, {">", "&gt;"}, {"&", "&amp;"}, {"'", "&apos;"}, {"\"", "&quot;"}})
        expected = replaced(expected, special, entity);
    require(take(ombrel_replace_to_xml_entity_reference_alloc(s.c_str())) == expected);
    require(take(ombrel_replace_to_xml_entity_reference_realloc(ombrel_strdup(s.c_str()))) == expected);
}

std::vector<std::string> words_of(const std::string& s, const std::string& separators) {
    std::vector<std::string> words;
    for (size_t at = 0; at < s.size();) {
        const size_t end = std::min(s.find_first_of(separators, at), s.size());
        words.push_back(s.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

void check_words(const std::string& s, const std::string& separators) {
    const char* cursor = s.c_str();
    for (const std::string& word : words_of(s, separators)) {
        require(take(ombrel_get_word_sep_alloc(0, separators.c_str(), &cursor)) == word);
        cursor += *cursor != '\0' ? 1 : 0;
    }
    require(*cursor == '\0');
}

// One node is resolved after the other, each by a walk back: the rule in its plainest form.
std::vector<bool> ignored(const std::vector<std::string>& words) {
    std::vector<bool> flags(words.size());
    for (size_t i = 0; i < words.size(); i++) {
        flags[i] = words[i] == "." || words[i] == ".." || (words[i].empty() && i > 0);
        size_t before = i;
        while (before > 0 && flags[before - 1])
            before--;
        if (words[i] == ".." && before > 0 && !words[before - 1].empty())
            flags[before - 1] = true;
    }
    return flags;
}

void check_nodes(const std::string& s, const std::string& separators, const std::string& between) {
    ombrel_string_node_t* list = ombrel_string_to_node_ex(s.c_str(), separators.c_str(), 1);
    const std::vector<std::string> words = words_of(s, separators);
    const std::vector<bool> flags = ignored(words);
    std::string joined, last;
    const ombrel_string_node_t* node = list;
    const ombrel_string_node_t* before = nullptr;
    bool any = false;
    for (size_t i = 0; i < words.size(); i++, before = node, node = node->m_next) {
        require(node != nullptr && node->m_prev == before && node->m_text == words[i] &&
                (node->m_ignore != 0) == flags[i]);
        if (flags[i])
            continue;
        joined += any ? last + between : "";
        last = words[i];
        any = true;
    }
    require(node == nullptr);
    if (any)
        joined += last.empty() ? between : last;
    if (list != nullptr)
        require(take(ombrel_node_to_string(list, between.c_str(), 1)) == joined);
    ombrel_free_string_node(list);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string input(reinterpret_cast<const char*>(data), std::min(size, size_t{4096}));
    const std::string s = next_text(input);
    const std::string from = next_text(input);
    const std::string to = next_text(input);
    const std::string separators = next_text(input);
    check_replacement(s, from, to);
    check_escaping(s);
    check_words(s, separators);
    check_nodes(s, separators, to);
    return 0;
}
