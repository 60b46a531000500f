// Results do not depend on how the input and the output are cut, and what came out is a text of its set.

#include <algorithm>
#include <cstdint>
#include <string>

#include <ombrel/charset.h>
#include <ombrel/heap.h>

#include "support/require.h"

namespace {

struct outcome {
    std::string text;
    int reason = 0;
    int64_t offset = 0, malformed = 0, unencodable = 0;
    bool operator==(const outcome&) const = default;
};

outcome convert(int from, int to, const ombrel_charset_options_t& options, const std::string& text,
                size_t piece, size_t room) {
    outcome result;
    auto* const converter = ombrel_open_charset_converter(from, to, &options);
    std::string out(room, '\0');
    int step = 0;
    bool is_end = false;
    for (size_t start = 0; step == 0 && !is_end; start += piece) {
        is_end = start + piece >= text.size();
        size_t at = 0, made = 0;
        do {
            step = ombrel_charset_converter_push(converter, text.data() + start,
                                                 std::min(piece, text.size() - start), &at, out.data(), room,
                                                 &made);
            result.text.append(out, 0, made);
        } while (step == 1);
        while (is_end && step >= 0) {
            step = ombrel_charset_converter_finish(converter, out.data(), room, &made);
            result.text.append(out, 0, made);
            if (step != 1)
                break;
        }
    }
    const ombrel_charset_fault_t fault = *ombrel_charset_converter_get_fault(converter);
    ombrel_charset_counts_t counts;
    ombrel_charset_converter_get_counts(converter, &counts);
    require((step == -1) == (fault.m_reason != 0));
    require(counts.m_written == static_cast<int64_t>(result.text.size()));
    ombrel_close_charset_converter(converter);
    result.reason = fault.m_reason;
    result.offset = fault.m_offset;
    result.malformed = counts.m_malformed;
    result.unencodable = counts.m_unencodable;
    return result;
}

} // namespace

// Four bytes of settings, then the text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4)
        return 0;
    const int from = 1 + data[0] % def_ombrel_charset_count, to = 1 + data[1] % def_ombrel_charset_count;
    ombrel_charset_options_t options;
    ombrel_init_charset_options(&options);
    options.m_malformed = data[2] % 4;
    options.m_unencodable = data[2] / 4 % 5;
    options.m_flags = data[2] / 32 % 4;
    const std::string text(reinterpret_cast<const char*>(data + 4), size - 4);
    const size_t live = ombrel_get_alloc_count();

    const outcome whole = convert(from, to, options, text, text.size() + 1, 4 * text.size() + 200);
    require(whole == convert(from, to, options, text, 1u + data[3] % 16, 1u + data[3] / 16));
    // Before a fault, and where there is none, stands a text.
    require(ombrel_is_charset_text(to, whole.text.data(), whole.text.size()) == 1);
    const bool is_text = ombrel_is_charset_text(from, text.data(), text.size()) == 1;
    const bool was_text = whole.malformed == 0 && whole.reason == 0;
    require(is_text == was_text || whole.reason == def_ombrel_charset_fault_unencodable);
    require(ombrel_get_alloc_count() == live);
    return 0;
}
