#include "system/file/mount_lines.h"

#include <algorithm>

#include "system/file/file_internal.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

/// Takes what stands before the first `end`, which goes as well, or all.
std::string_view take_until(std::string_view& text, char end) {
    const size_t size = std::min(text.find(end), text.size());
    const std::string_view taken = slice(text, 0, size);
    text = slice(text, size + 1);
    return taken;
}

bool is_octal(char character) {
    return character >= '0' && character <= '7';
}

/// Whether the text begins with a backslash and three octal digits that make a byte.
bool begins_with_code(std::string_view text) {
    return text.size() >= 4 && text[0] == '\\' && text[1] >= '0' && text[1] <= '3' && is_octal(text[2]) &&
           is_octal(text[3]);
}

/// Writes a word without its codes, which makes it no longer, and the 0 behind it.
char* put_decoded(char* to, std::string_view word) {
    while (!word.empty()) {
        const bool is_code = begins_with_code(word);
        *to++ = is_code ? static_cast<char>((word[1] - '0') * 64 + (word[2] - '0') * 8 + (word[3] - '0'))
                        : word[0];
        word.remove_prefix(is_code ? 4 : 1);
    }
    *to++ = '\0';
    return to;
}

/// Writes the texts of a line and where they are. False, with nothing written, for a line with too few.
bool take_line(std::string_view line, ombrel_mount_t& record, char*& to) {
    std::string_view words[4];
    for (std::string_view& word : words)
        word = take_until(line, ' ');
    if (words[1].empty())
        return false;
    const char** const fields[] = {&record.m_source, &record.m_directory, &record.m_kind, &record.m_options};
    for (size_t i = 0; i < std::size(words); i++) {
        *fields[i] = to;
        to = put_decoded(to, words[i]);
    }
    return true;
}

} // namespace

ombrel_mount_t* parse_mount_lines(std::string_view lines, size_t* count, call_site caller) {
    constexpr size_t words = 4, most_bytes = SIZE_MAX / (2 * sizeof(ombrel_mount_t));
    if (lines.size() > most_bytes)
        return refuse(fault_code::too_large), nullptr;
    const auto most = static_cast<size_t>(std::count(lines.begin(), lines.end(), '\n')) + 1;
    const size_t head = (most + 1) * sizeof(ombrel_mount_t);
    char* const block = allocate_text(head + lines.size() + most * words, caller);
    if (block == nullptr)
        return nullptr;
    auto* const records = reinterpret_cast<ombrel_mount_t*>(block);
    char* texts = block + head;
    size_t found = 0;
    while (!lines.empty())
        found += take_line(take_until(lines, '\n'), records[found], texts) ? 1 : 0;
    records[found] = {};
    if (count != nullptr)
        *count = found;
    return records;
}

} // namespace ombrel::system
