#include <ombrel/string.h>

#include <cstring>

#include "text/fold.h"

namespace {

void copy_terminated(char* to, const char* from, size_t length) {
    if (length > 0)
        memcpy(to, from, length);
    to[length] = '\0';
}

// One pass over the haystack: after a mismatch the current character is by design not tried again as the
// start of the needle, so that "aab" does not contain "ab".
template<typename Fold>
char* find_in_one_pass(const char* haystack, const char* needle, Fold fold) {
    if (haystack == nullptr || needle == nullptr || *needle == '\0')
        return nullptr;
    size_t matched = 0;
    for (; *haystack != '\0'; haystack++) {
        if (fold(static_cast<unsigned char>(*haystack)) != fold(static_cast<unsigned char>(needle[matched])))
            matched = 0;
        else if (needle[++matched] == '\0')
            return const_cast<char*>(haystack + 1 - matched);
    }
    return nullptr;
}

} // namespace

const char* ombrel_check_string(const char* s) {
    return s != nullptr ? s : "";
}

size_t ombrel_strlen(const char* s) {
    return s != nullptr ? strlen(s) : 0;
}

size_t ombrel_strnlen(const char* s, size_t limit) {
    return s != nullptr ? strnlen(s, limit) : 0;
}

char* ombrel_strcpy(char* dst, const char* src) {
    if (dst != nullptr)
        copy_terminated(dst, src, ombrel_strlen(src));
    return dst;
}

char* ombrel_strncpy(char* dst, const char* src, size_t size) {
    if (dst == nullptr)
        return nullptr;
    const size_t length = ombrel_strnlen(src, size);
    if (length > 0)
        memcpy(dst, src, length);
    memset(dst + length, 0, size - length);
    return dst;
}

char* ombrel_strncpy_safe(char* dst, const char* src, size_t size) {
    if (dst == nullptr || size == 0)
        return dst;
    ombrel_strncpy(dst, src, size - 1);
    dst[size - 1] = '\0';
    return dst;
}

char* ombrel_strcat(char* dst, const char* src) {
    if (dst != nullptr)
        copy_terminated(dst + strlen(dst), src, ombrel_strlen(src));
    return dst;
}

char* ombrel_strncat(char* dst, const char* src, size_t n) {
    if (dst != nullptr)
        copy_terminated(dst + strlen(dst), src, ombrel_strnlen(src, n));
    return dst;
}

char* ombrel_strchr(const char* s, int c) {
    return s != nullptr ? const_cast<char*>(strchr(s, c)) : nullptr;
}

char* ombrel_strrchr(const char* s, int c) {
    return s != nullptr ? const_cast<char*>(strrchr(s, c)) : nullptr;
}

char* ombrel_strpbrk(const char* s, const char* accept) {
    return s != nullptr ? const_cast<char*>(strpbrk(s, ombrel_check_string(accept))) : nullptr;
}

size_t ombrel_strspn(const char* s, const char* accept) {
    return strspn(ombrel_check_string(s), ombrel_check_string(accept));
}

size_t ombrel_strcspn(const char* s, const char* reject) {
    return strcspn(ombrel_check_string(s), ombrel_check_string(reject));
}

char* ombrel_strstr(const char* haystack, const char* needle) {
    return find_in_one_pass(haystack, needle, ombrel::keep_case);
}

char* ombrel_strcasestr(const char* haystack, const char* needle) {
    return find_in_one_pass(haystack, needle, ombrel::to_upper);
}
