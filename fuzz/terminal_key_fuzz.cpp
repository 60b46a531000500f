// Decodes any bytes as keys: in pieces the same as at once, and no more keys than bytes.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <ombrel/terminal_key.h>

#include "support/require.h"

namespace {

struct decoded {
    std::vector<int64_t> keys;
    ombrel_key_decoder_t decoder;

    decoded() { ombrel_init_key_decoder(&decoder); }

    void add(const ombrel_key_t& key) {
        const bool is_special = key.m_code >= def_ombrel_key_special && key.m_code <= def_ombrel_key_unknown;
        const bool is_character = key.m_code >= 0 && key.m_code < def_ombrel_key_special &&
                                  (key.m_code < 0xd800 || key.m_code > 0xdfff);
        require(is_special || is_character, "a key is a character or has a name");
        char name[48];
        require(ombrel_format_key(name, sizeof name, &key) > 0, "every key has a name");
        keys.push_back(int64_t{key.m_code} << 32 | key.m_modifiers);
    }

    void push(const uint8_t* bytes, size_t size) {
        const void* data = bytes;
        ombrel_key_t key;
        while (ombrel_key_decoder_take(&decoder, &data, &size, &key) == 1)
            add(key);
        require(size == 0, "all is taken");
    }

    void flush() {
        ombrel_key_t key;
        if (ombrel_key_decoder_flush(&decoder, &key) == 1)
            add(key);
        require(ombrel_key_decoder_is_waiting(&decoder) == 0, "nothing waits behind a flush");
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const size_t piece = data[0] % 7u + 1;
    decoded whole, parts, patient;
    for (decoded* one : {&whole, &parts, &patient})
        one->decoder.m_backspace = data[0] < 128 ? 127 : 8;
    whole.push(data + 1, size - 1);
    for (size_t at = 1; at < size; at += piece)
        parts.push(data + at, std::min(piece, size - at));
    whole.flush();
    parts.flush();
    require(whole.keys == parts.keys, "pieces make no difference");
    require(whole.keys.size() < size, "no more keys than bytes");
    // Who flushes after each byte gets keys too.
    for (size_t at = 1; at < size; at++) {
        patient.push(data + at, 1);
        patient.flush();
    }
    require(patient.keys.size() < size, "no more keys than bytes");
    return 0;
}
