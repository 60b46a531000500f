// What the reading and the writing of sentences share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/nmea.h>

namespace ombrel::protocol {

constexpr bool is_nmea_start(char c) {
    return c == '$' || c == '!';
}

/// Whether all are capital letters and digits.
bool is_nmea_address(std::string_view address);

/// Of what stands between the start and the "*".
uint8_t nmea_checksum(std::string_view content);

/// Bytes from the start to the "*".
size_t nmea_content_size(const ombrel_nmea_sentence_t& sentence);

/// False, with the fault left, for nonsense.
bool check_nmea_options(const ombrel_nmea_options_t& options);

/// Reads a sentence without its line end; false for a bad one, which tells what is wrong.
bool read_nmea_sentence(std::string_view text, const ombrel_nmea_options_t& options,
                        ombrel_nmea_sentence_t& sentence);

} // namespace ombrel::protocol
