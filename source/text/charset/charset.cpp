#include <ombrel/charset.h>

#include <iterator>
#include <new>

#include <ombrel/heap.h>

#include "core/fault.h"
#include "text/charset/charset_conversion.h"

struct ombrel_charset_converter_ts {
    ombrel::charset_conversion conversion;
};

using namespace ombrel;

namespace {

constexpr size_t usual_limit = size_t{1} << 30;

constexpr const char* fault_texts[] = {
    "nothing failed",
    "bytes that are no character of the set",
    "the input ends within a character",
    "the other set does not have the character",
    "the result is above the limit",
    "memory ran out",
};

/// Goes on with a step while its output is only counted.
template<typename Step>
int count_output(Step step) {
    uint8_t room[1024];
    size_t made = 0;
    int result;
    do
        result = step(room, sizeof room, made);
    while (result == 1);
    return result;
}

} // namespace

const char* ombrel_charset_fault_text(int reason) {
    return reason >= 0 && reason < static_cast<int>(std::size(fault_texts)) ? fault_texts[reason] : "unknown";
}

int ombrel_init_charset_options(ombrel_charset_options_t* options) {
    if (options == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *options = {def_ombrel_charset_fail, def_ombrel_charset_fail, nullptr, 0, usual_limit};
    return 0;
}

ombrel_charset_converter_t* ombrel_open_charset_converter_tag(int from, int to,
                                                              const ombrel_charset_options_t* options,
                                                              const char* function, unsigned long line) {
    if (find_charset_form(from) == nullptr || find_charset_form(to) == nullptr)
        return leave_fault(fault_code::not_supported), nullptr;
    ombrel_charset_options_t chosen;
    ombrel_init_charset_options(&chosen);
    ombrel_charset_converter_t made{charset_conversion(from, to)};
    if (!made.conversion.take_options(options != nullptr ? *options : chosen))
        return nullptr;
    void* const block = ombrel_alloc_tag(sizeof made, function, line);
    if (block == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    return new (block) ombrel_charset_converter_t(made);
}

int ombrel_close_charset_converter(ombrel_charset_converter_t* converter) {
    if (converter != nullptr)
        ombrel_free_tag(converter, "ombrel_close_charset_converter", __LINE__);
    return 0;
}

int ombrel_charset_converter_reset(ombrel_charset_converter_t* converter) {
    if (converter == nullptr)
        return leave_fault(fault_code::invalid), -1;
    converter->conversion.reset();
    return 0;
}

int ombrel_charset_converter_push(ombrel_charset_converter_t* converter, const void* data, size_t size,
                                  size_t* at, void* output, size_t room, size_t* made) {
    if (made != nullptr)
        *made = 0;
    if (converter == nullptr || at == nullptr || *at > size || (data == nullptr && size > 0) ||
        (output != nullptr && made == nullptr))
        return leave_fault(fault_code::invalid), -1;
    const auto* const bytes = static_cast<const uint8_t*>(data);
    charset_conversion& conversion = converter->conversion;
    if (output != nullptr)
        return conversion.push(bytes, size, *at, static_cast<uint8_t*>(output), room, *made);
    return count_output([&](uint8_t* out, size_t out_room, size_t& out_made) {
        return conversion.push(bytes, size, *at, out, out_room, out_made);
    });
}

int ombrel_charset_converter_finish(ombrel_charset_converter_t* converter, void* output, size_t room,
                                    size_t* made) {
    if (made != nullptr)
        *made = 0;
    if (converter == nullptr || (output != nullptr && made == nullptr))
        return leave_fault(fault_code::invalid), -1;
    charset_conversion& conversion = converter->conversion;
    if (output != nullptr)
        return conversion.finish(static_cast<uint8_t*>(output), room, *made);
    return count_output([&](uint8_t* out, size_t out_room, size_t& out_made) {
        return conversion.finish(out, out_room, out_made);
    });
}

const ombrel_charset_fault_t*
ombrel_charset_converter_get_fault(const ombrel_charset_converter_t* converter) {
    if (converter == nullptr)
        return leave_fault(fault_code::invalid), nullptr;
    return &converter->conversion.fault();
}

int ombrel_charset_converter_get_counts(const ombrel_charset_converter_t* converter,
                                        ombrel_charset_counts_t* counts) {
    if (converter == nullptr || counts == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *counts = converter->conversion.counts();
    return 0;
}
