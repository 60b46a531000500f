#include <ombrel/string.h>

#include <cstdint>
#include <cstring>
#include <string_view>

#include "text/fold.h"
#include "text/word_list.h"

namespace {

constexpr size_t no_limit = SIZE_MAX;

unsigned char character(const char* s, size_t index) {
    return static_cast<unsigned char>(s[index]);
}

// A word of a list has no NUL in memory but compares as if it had.
unsigned char character(std::string_view word, size_t index) {
    return index < word.size() ? static_cast<unsigned char>(word[index]) : 0;
}

template<typename Text, typename Fold>
int difference(Text text, const char* s, size_t limit, Fold fold) {
    for (size_t i = 0; i < limit; i++) {
        const unsigned char a = character(text, i), b = character(s, i);
        if (a == b) { // mostly, so that nothing is to be folded
            if (a == 0)
                break;
            continue;
        }
        const int left = fold(a), right = fold(b);
        if (left != right)
            return left - right;
    }
    return 0;
}

template<typename Text>
int compare(Text text, const char* s, size_t limit, bool ignore_case) {
    return ignore_case ? difference(text, s, limit, ombrel::to_upper)
                       : difference(text, s, limit, ombrel::keep_case);
}

} // namespace

int ombrel_compare_string_ex(const char* list, const char* separators, const char* s, size_t limit,
                             int ignore_case) {
    s = ombrel_check_string(s);
    limit = limit == 0 ? no_limit : limit;
    if (separators == nullptr)
        return compare(ombrel_check_string(list), s, limit, ignore_case != 0);
    int result = -1;
    ombrel::word_list words(list, separators);
    for (std::string_view word; result != 0 && words.next(word);)
        result = compare(word, s, limit, ignore_case != 0);
    return result;
}

int ombrel_compare_string(const char* list, const char* separators, const char* s) {
    return ombrel_compare_string_ex(list, separators, s, 0, 0);
}

int ombrel_compare_case_string(const char* list, const char* separators, const char* s) {
    return ombrel_compare_string_ex(list, separators, s, 0, 1);
}

int ombrel_compare_string_limit(const char* list, const char* separators, const char* s, size_t limit) {
    return limit != 0 ? ombrel_compare_string_ex(list, separators, s, limit, 0) : 0;
}

int ombrel_compare_case_string_limit(const char* list, const char* separators, const char* s, size_t limit) {
    return limit != 0 ? ombrel_compare_string_ex(list, separators, s, limit, 1) : 0;
}

int ombrel_strcmp(const char* a, const char* b) {
    return strcmp(ombrel_check_string(a), ombrel_check_string(b));
}

int ombrel_strncmp(const char* a, const char* b, size_t n) {
    return strncmp(ombrel_check_string(a), ombrel_check_string(b), n);
}

int ombrel_strcasecmp(const char* a, const char* b) {
    return compare(ombrel_check_string(a), ombrel_check_string(b), no_limit, true);
}

int ombrel_strncasecmp(const char* a, const char* b, size_t n) {
    return compare(ombrel_check_string(a), ombrel_check_string(b), n, true);
}
