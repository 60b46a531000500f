#include "builtin/argument_words.h"

#include <ombrel/heap.h>
#include <ombrel/string.h>

namespace ombrel::builtin {

argument_words::outcome argument_words::split(const char* program, const char* text) {
    const size_t size = ombrel_strlen(text) + 1;
    // Each word but the last takes at least one character and a separator.
    const size_t most_words = size / 2 + 1;
    words_.reset(static_cast<const char**>(
        ombrel_calloc_tag(most_words + 2, sizeof(const char*), "builtin_pipe", __LINE__)));
    text_.reset(static_cast<char*>(ombrel_alloc_tag(size, "builtin_pipe", __LINE__)));
    if (!words_ || !text_)
        return outcome::no_memory;
    words_.get()[0] = program;
    return copy_words(text) ? outcome::good : outcome::open_quote;
}

bool argument_words::copy_words(const char* text) {
    char* to = text_.get();
    size_t count = 1;
    char quote = '\0';
    bool in_word = false;
    for (; *text != '\0'; text++) {
        const bool is_space = *text == ' ' && quote == '\0';
        if (!is_space && !in_word)
            words_.get()[count++] = to;
        if (is_space && in_word)
            *to++ = '\0';
        in_word = !is_space;
        if (*text == quote)
            quote = '\0';
        else if (quote == '\0' && (*text == '"' || *text == '\''))
            quote = *text;
        else if (!is_space)
            *to++ = *text;
    }
    *to = '\0';
    return quote == '\0';
}

} // namespace ombrel::builtin
