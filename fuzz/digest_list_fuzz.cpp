// Reads any bytes as a list of digests, whole and in pieces, which must come to the same; what is understood
// is written and must be read the same.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel_tuk.h>

#include "support/byte_source.h"

extern "C" {
#include "../examples/shown_name.h"
}

namespace {

/// The entries' digits and names, and an empty text for each line that is none.
using entries = std::vector<std::string>;

int take(const ombrel_digest_entry_t* entry, void* context) {
    if (entry != nullptr)
        require(strlen(entry->m_digits) == entry->m_digit_count && entry->m_name[0] != '\0');
    static_cast<entries*>(context)->push_back(
        entry != nullptr ? std::string(entry->m_digits) + ' ' + entry->m_name : std::string());
    return 0;
}

entries read_in_pieces(const uint8_t* data, size_t size, size_t piece) {
    entries found;
    ombrel_digest_list_t* const list = ombrel_open_digest_list(take, &found);
    require(list != nullptr);
    for (size_t at = 0; at < size; at += piece)
        require(ombrel_push_digest_list(list, data + at, std::min(piece, size - at)) == 0);
    require(ombrel_push_digest_list(list, nullptr, 0) == 0);
    require(ombrel_close_digest_list(list) == 0);
    return found;
}

void check_shown(const char* name) {
    char* text = nullptr;
    size_t size = 0;
    FILE* const stream = open_memstream(&text, &size);
    require(stream != nullptr);
    show_name(stream, name);
    fclose(stream);
    require(is_plain_text(text));
    require((strcmp(text, name) == 0) == (is_plain_text(name) && strchr(name, '\\') == nullptr));
    free(text);
}

void check_written_again(const std::string& entry) {
    const size_t space = entry.find(' ');
    const std::string digits = entry.substr(0, space), name = entry.substr(space + 1);
    char* const line = ombrel_alloc_digest_line(digits.c_str(), name.c_str());
    require(line != nullptr && std::strpbrk(line, "\n\r") == nullptr);
    ombrel_digest_entry_t again;
    require(ombrel_parse_digest_line(line, &again) == 0);
    require(name == again.m_name && digits == again.m_digits);
    ombrel_free(line);
    check_shown(name.c_str());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const entries whole = read_in_pieces(data, size, size + 1);
    require(whole == read_in_pieces(data, size, 7));
    for (const std::string& entry : whole)
        if (!entry.empty())
            check_written_again(entry);
    return 0;
}
