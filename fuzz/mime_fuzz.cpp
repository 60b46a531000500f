// A MIME-type hint and a type, separated by a NUL byte: a hint covers what one of its patterns does.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <ombrel/mime.h>
#include <ombrel/pattern.h>
#include <ombrel/string.h>

#include "support/require.h"

namespace {

// Whether any of the hint's patterns matches, one by one; no pattern comes after a separator at the end.
bool covers(const std::string& hint, const std::string& type) {
    for (size_t at = 0; at < hint.size();) {
        const size_t end = std::min(hint.find_first_of(";|", at), hint.size());
        if (ombrel_check_case_pattern(hint.substr(at, end - at).c_str(), type.c_str()) == 0)
            return true;
        at = end + 1;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string hint = input.c_str();
    std::string type = hint.size() < size ? input.c_str() + hint.size() + 1 : "";

    const int result = ombrel_compare_mime_type_hint(hint.c_str(), type.c_str());
    require(result == (covers(hint, type) ? 0 : -1));
    require(ombrel_compare_mime_type_hint(nullptr, type.c_str()) == 0);
    require((ombrel_compare_mime_type(hint.c_str(), type.c_str()) == 0) == (hint == type));
    // Neither case nor another pattern in front takes a match away.
    require(ombrel_compare_mime_type_hint(hint.c_str(), ombrel_strupper(type.data())) == result);
    require(result != 0 || ombrel_compare_mime_type_hint(("\x01|" + hint).c_str(), type.c_str()) == 0);
    return 0;
}
