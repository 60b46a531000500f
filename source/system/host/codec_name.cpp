#include <ombrel/codec_name.h>

#include <algorithm>
#include <string_view>

#include <ombrel/string.h>

#include "core/fault.h"
#include "system/host/codec_table.h"
#include "text/digits.h"
#include "text/fold.h"
#include "text/slice.h"
#include "text/text_sink.h"

namespace ombrel::system {

namespace {

using codecs = std::span<const ombrel_codec_t>;

const ombrel_codec_t* find_code(codecs all, uint32_t code, uint32_t (*order)(uint32_t)) {
    const auto found = std::lower_bound(
        all.begin(), all.end(), order(code),
        [=](const ombrel_codec_t& codec, uint32_t wanted) { return order(codec.m_code) < wanted; });
    return found != all.end() && found->m_code == code ? &*found : nullptr;
}

uint32_t in_upper_case(uint32_t code) {
    uint32_t result = 0;
    for (unsigned shift = 0; shift < 32; shift += 8)
        result |= uint32_t{to_upper(static_cast<unsigned char>(code >> shift))} << shift;
    return result;
}

const ombrel_codec_t* found_or_fault(const ombrel_codec_t* found) {
    if (found == nullptr)
        leave_fault(fault_code::not_found);
    return found;
}

bool has_name(const ombrel_codec_t& codec, const char* name, std::string_view prefix) {
    const bool has_prefix = starts_with(codec.m_symbol, prefix);
    return ombrel_strcasecmp(codec.m_name, name) == 0 || ombrel_strcasecmp(codec.m_symbol, name) == 0 ||
           (has_prefix && ombrel_strcasecmp(codec.m_symbol + prefix.size(), name) == 0);
}

/// @param prefix what may be left out before a symbol
const ombrel_codec_t* find_name(codecs all, const char* name, std::string_view prefix) {
    if (name == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    const auto found = std::find_if(
        all.begin(), all.end(), [=](const ombrel_codec_t& codec) { return has_name(codec, name, prefix); });
    return found_or_fault(found != all.end() ? &*found : nullptr);
}

const ombrel_codec_t* at(codecs all, size_t index) {
    return index < all.size() ? &all[index] : nullptr;
}

bool is_printable(unsigned char c) {
    return c >= ' ' && c < 0x7F;
}

void put_character(text_sink& to, unsigned char c) {
    if (is_printable(c) && c != '\\') {
        to.put(static_cast<char>(c));
        return;
    }
    char escaped[] = {'\\', 'x', '0', '0'};
    put_hex(escaped + 2, c, lower_digits);
    to.copy(escaped, sizeof escaped);
}

} // namespace

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

uint32_t ombrel_make_fourcc(const char* text) {
    constexpr size_t longest = 4;
    const std::string_view characters = text != nullptr ? text : "";
    const bool is_printable_all = std::all_of(characters.begin(), characters.end(), [](char c) {
        return is_printable(static_cast<unsigned char>(c));
    });
    if (characters.empty() || characters.size() > longest || !is_printable_all) {
        leave_fault(fault_code::invalid);
        return 0;
    }
    char filled[] = "    ";
    put_text(filled, characters);
    return fourcc_of(filled);
}

int ombrel_format_fourcc(char* buf, size_t size, uint32_t code) {
    if (buf == nullptr || size == 0) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    text_sink to(buf, size - 1);
    for (unsigned shift = 0; shift < 32; shift += 8)
        put_character(to, static_cast<unsigned char>(code >> shift));
    *to.cursor() = '\0';
    return static_cast<int>(to.cursor() - buf);
}

const ombrel_codec_t* ombrel_find_video_codec(uint32_t code) {
    const ombrel_codec_t* const exact = find_code(all_video_codecs(), code, fourcc_order);
    return exact != nullptr
               ? exact
               : found_or_fault(find_code(all_video_codecs(), in_upper_case(code), fourcc_order));
}

const ombrel_codec_t* ombrel_find_audio_codec(uint32_t tag) {
    return found_or_fault(find_code(all_audio_codecs(), tag, tag_order));
}

const ombrel_codec_t* ombrel_find_video_codec_by_name(const char* name) {
    return find_name(all_video_codecs(), name, "");
}

const ombrel_codec_t* ombrel_find_audio_codec_by_name(const char* name) {
    return find_name(all_audio_codecs(), name, "WAVE_FORMAT_");
}

const ombrel_codec_t* ombrel_get_video_codec(size_t index) {
    return at(all_video_codecs(), index);
}

const ombrel_codec_t* ombrel_get_audio_codec(size_t index) {
    return at(all_audio_codecs(), index);
}
