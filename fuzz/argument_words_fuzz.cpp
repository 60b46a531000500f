// Splits any text into the words of an argument list, beside a model.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "builtin/argument_words.h"
#include "support/byte_source.h"

namespace {

/// False when a quote stays open.
bool model_split(const std::string& text, std::vector<std::string>& words) {
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
    std::vector<std::string> expected{"program"};
    const bool is_good = model_split(text, expected);
    ombrel::builtin::argument_words words;
    const auto outcome = words.split("program", text.c_str());
    require((outcome == ombrel::builtin::argument_words::outcome::good) == is_good);
    if (!is_good)
        return 0;
    const char* const* word = words.get();
    for (const std::string& each : expected)
        require(*word != nullptr && each == *word++);
    require(*word == nullptr);
    return 0;
}
