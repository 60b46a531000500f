#include "protocol/download/download_digest.h"

#include <cstring>

#include "text/digits.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// Checksums prove nothing, so they are not taken.
const ombrel_digest_algorithm_t* find_message_digest(std::string_view name) {
    for (const char* const known : {"sha256", "sha1", "md5"})
        if (name == known)
            return ombrel_find_digest_algorithm(known);
    return nullptr;
}

bool set_digits(std::string_view digits, const ombrel_digest_algorithm_t* algorithm, wanted_digest& wanted) {
    if (algorithm == nullptr || digits.size() != 2 * algorithm->m_size)
        return false;
    for (size_t i = 0; i < digits.size(); i++) {
        const unsigned value = digit_value(digits[i]);
        if (value == no_digit)
            return false;
        wanted.text[i] = lower_digits[value];
    }
    wanted.text[digits.size()] = '\0';
    wanted.algorithm = algorithm;
    return true;
}

} // namespace

bool parse_wanted_digest(const char* text, wanted_digest& wanted) {
    const std::string_view all = text;
    const size_t colon = all.find(':');
    wanted = {};
    return colon != all.npos &&
           set_digits(slice(all, colon + 1), find_message_digest(slice(all, 0, colon)), wanted);
}

/// The first line with the name counts.
int digest_search::take_entry(const ombrel_digest_entry_t* entry, void* self) {
    auto& search = *static_cast<digest_search*>(self);
    if (entry == nullptr || search.found_.algorithm != nullptr)
        return 0;
    std::string_view name = entry->m_name;
    name = slice(name, starts_with(name, "./") ? 2 : 0);
    const ombrel_digest_algorithm_t* const algorithm =
        ombrel_find_digest_algorithm_by_size(entry->m_digit_count / 2);
    if (name == search.name_ && algorithm != nullptr && find_message_digest(algorithm->m_name) != nullptr)
        set_digits({entry->m_digits, entry->m_digit_count}, algorithm, search.found_);
    return 0;
}

} // namespace ombrel::protocol
