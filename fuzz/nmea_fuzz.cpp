// Reads any bytes as sentences, whole and in pieces, which must come to the same; what has a record is
// written and must be read the same.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel/nmea.h>

#include "support/require.h"

namespace {

using sentences = std::vector<std::string>;

/// Angles may have lost a sign that nothing follows from, texts their form: only the record is compared.
void check_written_again(const ombrel_nmea_sentence_t& sentence) {
    char text[def_ombrel_nmea_length_highest];
    const int size = ombrel_format_nmea_sentence(text, sizeof text, &sentence);
    require(size > 0 && static_cast<size_t>(size) == strlen(text));
    const ombrel_nmea_options_t options = {0, def_ombrel_nmea_length_highest};
    ombrel_nmea_sentence_t again;
    require(ombrel_parse_nmea_sentence(text, static_cast<size_t>(size), &options, &again) == 0);
    require(memcmp(&sentence.m_value, &again.m_value, sizeof again.m_value) == 0);
}

void check_fields(const ombrel_nmea_sentence_t& sentence) {
    std::string joined;
    for (int i = 0; i < sentence.m_field_count; i++) {
        const char* text;
        size_t size;
        require(ombrel_nmea_sentence_get_field(&sentence, i, &text, &size) == 0);
        joined.append(",").append(text, size);
    }
    require(std::string(sentence.m_text, sentence.m_size).find(joined) != std::string::npos);
}

int take(const ombrel_nmea_sentence_t* sentence, void* context) {
    require(sentence->m_fault_at <= sentence->m_size);
    static_cast<sentences*>(context)->emplace_back(sentence->m_text, sentence->m_size);
    static_cast<sentences*>(context)->back().push_back(static_cast<char>('0' + sentence->m_fault));
    if (sentence->m_fault != def_ombrel_nmea_fault_none)
        return 0;
    check_fields(*sentence);
    if (sentence->m_type != def_ombrel_nmea_other)
        check_written_again(*sentence);
    return 0;
}

sentences read_in_pieces(const uint8_t* data, size_t size, size_t piece,
                         const ombrel_nmea_options_t& options) {
    sentences found;
    ombrel_nmea_reader_t* const reader = ombrel_open_nmea_reader(&options, take, &found);
    require(reader != nullptr);
    for (size_t at = 0; at < size; at += piece)
        require(ombrel_nmea_reader_push(reader, data + at, std::min(piece, size - at)) == 0);
    require(ombrel_nmea_reader_push(reader, nullptr, 0) == 0);
    ombrel_close_nmea_reader(reader);
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (const uint32_t flags :
         {def_ombrel_nmea_bad_too, def_ombrel_nmea_bad_too | def_ombrel_nmea_unchecked})
        for (const size_t limit : {82u, 200u}) {
            const ombrel_nmea_options_t options = {flags, limit};
            require(read_in_pieces(data, size, size + 1, options) == read_in_pieces(data, size, 5, options));
        }
    return 0;
}
