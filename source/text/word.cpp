#include <ombrel/word.h>

#include <cstring>

#include <ombrel/string.h>

namespace {

char* copy_word(int skip_space, const char* separators, const char** cursor, const char* caller,
                unsigned long line) {
    if (cursor == nullptr)
        return nullptr;
    const char* word = ombrel_check_string(ombrel_get_word_sep(skip_space, separators, cursor));
    return ombrel_strndup_tag(word, *cursor != nullptr ? static_cast<size_t>(*cursor - word) : 0, caller,
                              line);
}

} // namespace

const char* ombrel_get_word_sep(int skip_space, const char* separators, const char** cursor) {
    if (cursor == nullptr || *cursor == nullptr)
        return nullptr;
    const char* word = skip_space != 0 ? ombrel_skip_space(*cursor) : *cursor;
    *cursor = separators != nullptr ? word + strcspn(word, separators) : word;
    return word;
}

const char* ombrel_get_word_sep_c(int skip_space, const char* separators, const char** cursor) {
    return ombrel_get_word_sep(skip_space, separators, cursor);
}

char* ombrel_get_word_sep_alloc(int skip_space, const char* separators, const char** cursor) {
    return copy_word(skip_space, separators, cursor, "ombrel_get_word_sep_alloc", __LINE__);
}

char* ombrel_get_word_sep_alloc_c(int skip_space, const char* separators, const char** cursor) {
    return copy_word(skip_space, separators, cursor, "ombrel_get_word_sep_alloc_c", __LINE__);
}
