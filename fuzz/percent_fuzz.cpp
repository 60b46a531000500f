// Encoding loses nothing, and decoding takes any text.

#include <cstdint>
#include <cstdlib>
#include <string>

#include <ombrel/heap.h>
#include <ombrel/percent.h>

#include "support/require.h"

namespace {} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
    const size_t live = ombrel_get_alloc_count();

    char* encoded = ombrel_encode_percent_string_ex(text.c_str(), "/&=");
    char* decoded = ombrel_decode_percent_string(encoded);
    require(text == decoded);
    for (const char* at = encoded; *at != '\0'; at++)
        require(*at > ' ' && *at < 0x7f);
    ombrel_free(decoded);
    ombrel_free(encoded);

    decoded = ombrel_decode_percent_string(text.c_str());
    require(std::string(decoded).size() <= text.size());
    ombrel_free(decoded);
    require(ombrel_get_alloc_count() == live);
    return 0;
}
