// New files and directories under names that nobody can guess.
#pragma once

#include "platform/random.h"
#include "system/file/file_internal.h"

namespace ombrel::system {

/// Letters and digits that differ without regard to case.
inline void fill_with_random_letters(char* letters, size_t size) {
    constexpr char alphabet[] = "abcdefghijklmnopqrstuvwxyz234567";
    platform::fill_random(letters, size);
    for (size_t i = 0; i < size; i++)
        letters[i] = alphabet[static_cast<unsigned char>(letters[i]) % 32];
}

/// Calls `make(path)` for paths that begin with the given one until it does not fail as "exists".
/// @return the path that it made, the caller's; null on failure
template<typename Make>
char* make_unique(std::string_view folder, std::string_view start, call_site caller, Make make) {
    constexpr int most_tries = 100; // none but the first is ever needed, unless somebody knows our numbers
    for (int i = 0; i < most_tries; i++) {
        char letters[12];
        fill_with_random_letters(letters, sizeof letters);
        quiet_ptr<char> path(joined_text(folder, start, {letters, sizeof letters}, caller));
        if (!path || make(path.get()))
            return path.release();
        if (last_fault().code != fault_code::exists)
            break;
    }
    return nullptr;
}

} // namespace ombrel::system
