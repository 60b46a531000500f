// Takes any text apart as a command line in each way, as options of a table, and as a text with values in it.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel/argument.h>
#include <ombrel/heap.h>

#include "support/byte_source.h"

namespace {

using list = std::vector<std::string>;

bool split(const std::string& text, int quoting, list& words) {
    size_t fault_at;
    int count;
    char** const vector = ombrel_alloc_arguments(text.c_str(), quoting, &count, &fault_at);
    require(fault_at <= text.size());
    if (vector == nullptr)
        return false;
    words.assign(vector, vector + count);
    require(vector[count] == nullptr);
    ombrel_free(vector);
    return true;
}

// What was taken apart comes back from the line that is made of it.
void go_there_and_back(const std::string& text, int quoting) {
    list words;
    if (!split(text, quoting, words))
        return;
    std::vector<const char*> vector;
    for (const std::string& word : words)
        vector.push_back(word.c_str());
    vector.push_back(nullptr);
    char* const line = ombrel_alloc_command_line(vector.data(), quoting);
    if (line == nullptr) { // a program that has a quote in its name
        require(quoting == def_ombrel_argument_quoting_windows && words[0].find('"') != std::string::npos);
        return;
    }
    list again;
    require(split(line, quoting, again) && again == words);
    ombrel_free(line);
}

bool model_split(const std::string& text, list& words) {
    bool in_word = false;
    for (size_t at = 0; at < text.size(); at++) {
        if (text[at] == ' ') {
            in_word = false;
            continue;
        }
        if (!in_word)
            words.emplace_back();
        in_word = true;
        if (text[at] != '"' && text[at] != '\'') {
            words.back() += text[at];
            continue;
        }
        const size_t end = text.find(text[at], at + 1);
        if (end == text.npos)
            return false;
        words.back() += text.substr(at + 1, end - at - 1);
        at = end;
    }
    return true;
}

bool model_expand(const std::string& text, std::string& to) {
    for (size_t at = 0; at < text.size(); at++) {
        if (text.compare(at, 2, "$$") == 0) {
            to += text[at++];
        } else if (text.compare(at, 2, "${") != 0) {
            to += text[at];
        } else {
            const size_t end = text.find('}', at);
            if (end == text.npos)
                return false;
            const std::string inner = text.substr(at + 2, end - at - 2);
            const std::string name = inner.substr(0, inner.find(":-"));
            if (name.empty())
                return false;
            to += name == "A" ? "${B}$$" : name.size() < inner.size() ? inner.substr(name.size() + 2) : "";
            at = end;
        }
    }
    return true;
}

void expand(const std::string& text, size_t limit) {
    ombrel_value_t values;
    ombrel_init_value(&values);
    ombrel_set_value_string(&values, def_ombrel_value_append, 1, "A", "${B}$$");
    std::string expected;
    const bool is_good = model_expand(text, expected) && expected.size() <= limit;
    char* const result = ombrel_alloc_expanded_text(text.c_str(), &values, 0, limit, nullptr);
    require((result != nullptr) == is_good);
    require(result == nullptr || result == expected);
    if (result != nullptr)
        ombrel_free(result);
    ombrel_destroy_value(&values);
}

struct chosen {
    int flag;
    const char* text;
    int64_t size, duration;
    ombrel_argument_list_t listed;
};

constexpr ombrel_argument_option_t rows[] = {
    {'f', "flag", def_ombrel_argument_flag, def_ombrel_argument_negatable, nullptr, offsetof(chosen, flag)},
    {'t', "text", def_ombrel_argument_text, def_ombrel_argument_optional, nullptr, offsetof(chosen, text)},
    {'s', "size", def_ombrel_argument_size, 0, nullptr, offsetof(chosen, size)},
    {'d', "duration", def_ombrel_argument_duration, 0, nullptr, offsetof(chosen, duration)},
    {'i', "include", def_ombrel_argument_listed, 0, nullptr, offsetof(chosen, listed), "PATTERN"},
    {},
};

// No argument is lost, and the words of a mistake have an end.
void read_options(list words, uint32_t flags) {
    const ombrel_argument_table_t table = {"fuzz",  nullptr, "FILE...", 0,       3,
                                           nullptr, nullptr, rows,      nullptr, flags};
    words.insert(words.begin(), "fuzz");
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    std::vector<char*> sorted = argv;
    argv.push_back(nullptr);
    std::vector<ombrel_argument_entry_t> entries(words.size());
    chosen at{0, nullptr, 0, 0, {entries.data(), entries.size(), 0}};
    ombrel_arguments_t result;
    const int outcome =
        ombrel_parse_arguments(&table, static_cast<int>(words.size()), argv.data(), &at, &result);
    require((outcome == -1) == (result.m_wrong != def_ombrel_argument_good) && at.size >= 0 &&
            at.duration >= 0);
    require((outcome == -1) == (strnlen(result.m_message, sizeof result.m_message) > 0));
    require(result.m_message[sizeof result.m_message - 1] == '\0');
    require(outcome != 0 || result.m_operands + result.m_operand_count == argv.data() + words.size());
    argv.pop_back();
    std::sort(sorted.begin(), sorted.end());
    std::sort(argv.begin(), argv.end());
    require(argv == sorted);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source source(data, size);
    const size_t limit = source.byte() + size_t{1};
    const std::string text = source.rest().c_str();
    for (const int quoting : {def_ombrel_argument_quoting_posix, def_ombrel_argument_quoting_windows,
                              def_ombrel_argument_quoting_windows_rest, def_ombrel_argument_quoting_plain})
        go_there_and_back(text, quoting);
    list expected, words;
    const bool is_good = model_split(text, expected);
    require(split(text, def_ombrel_argument_quoting_plain, words) == is_good &&
            (!is_good || words == expected));
    expand(text, limit);
    if (is_good)
        for (uint32_t flags = 0; flags < 4; flags++)
            read_options(words, flags);
    return 0;
}
