// Steps both ways, counts, places, cuts and repairs agree on where characters are, whatever the bytes.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <ombrel/heap.h>
#include <ombrel/utf8.h>

#include "support/require.h"

namespace {

std::vector<size_t> characters_of(const char* text, size_t size) {
    std::vector<size_t> begins;
    size_t at = 0;
    for (size_t begin = 0; ombrel_utf8_next(text, size, &at, nullptr) == 1; begin = at)
        begins.push_back(begin);
    require(at == size);
    return begins;
}

void check_steps(const char* text, size_t size) {
    const std::vector<size_t> begins = characters_of(text, size);
    require(ombrel_utf8_count(text, size) == static_cast<int64_t>(begins.size()));
    size_t at = size;
    for (size_t left = begins.size(); ombrel_utf8_previous(text, size, &at, nullptr) == 1; left--)
        require(begins[left - 1] == at);
    require(at == 0);
    for (size_t cut = 0; cut < std::min<size_t>(size, 40); cut++)
        require(ombrel_utf8_fit(text, size, cut) ==
                static_cast<int64_t>(*(std::upper_bound(begins.begin(), begins.end(), cut) - 1)));
    for (size_t i = 0; i < begins.size(); i += 7)
        require(ombrel_utf8_find_character(text, size, static_cast<int64_t>(i)) ==
                static_cast<int64_t>(begins[i]));
}

void check_validation(const char* text, size_t size) {
    size_t fault_at, valid = 0;
    const int result = ombrel_utf8_check(text, size, &fault_at);
    for (int step = 1; step > 0 && valid < size; valid += static_cast<size_t>(std::max(step, 0)))
        step = ombrel_utf8_character_decode(text + valid, size - valid, nullptr);
    require(fault_at == valid && (result == 0) == (valid == size));
    ombrel_utf8_checker_t checker;
    ombrel_init_utf8_checker(&checker);
    for (size_t at = 0, piece = 1; at < size; at += piece, piece = piece % 5 + 1)
        ombrel_utf8_checker_push(&checker, text + at, std::min(piece, size - at));
    require(ombrel_utf8_checker_finish(&checker) == result);
    require(ombrel_utf8_checker_get_fault_at(&checker) ==
            (result == 0 ? -1 : static_cast<int64_t>(fault_at)));
}

void check_changes(const char* text, size_t size) {
    size_t repaired_size, folded_size;
    char* const repaired = ombrel_alloc_utf8_repaired(text, size, &repaired_size);
    require(ombrel_utf8_check(repaired, repaired_size, nullptr) == 0 && repaired_size <= 3 * size);
    require(ombrel_utf8_count(repaired, repaired_size) == ombrel_utf8_count(text, size));
    require(ombrel_utf8_get_columns(repaired, repaired_size, 0) == ombrel_utf8_get_columns(text, size, 0));
    char* const folded = ombrel_alloc_utf8_case(text, size, def_ombrel_utf8_fold, &folded_size);
    require(folded_size <= 3 * size && ombrel_utf8_compare_any_case(text, size, folded, folded_size) == 0);
    std::string part(size / 2 + 1, '!');
    ombrel_utf8_change_case(part.data(), part.size(), text, size, def_ombrel_utf8_fold);
    require(std::string(folded).rfind(part.c_str(), 0) == 0);
    ombrel_free(folded);
    ombrel_free(repaired);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<char> text(data, data + size); // whose end a sanitizer guards
    const size_t live = ombrel_get_alloc_count();
    check_steps(text.data(), size);
    check_validation(text.data(), size);
    check_changes(text.data(), size);
    int64_t used;
    const int64_t fitting = ombrel_utf8_fit_columns(text.data(), size, 10, 0, &used);
    require(used <= 10 && ombrel_utf8_get_columns(text.data(), static_cast<size_t>(fitting), 0) == used);
    require(ombrel_get_alloc_count() == live);
    return 0;
}
