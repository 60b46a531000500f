// What the fields of each type of sentence are: one table by which they are read and written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <ombrel/nmea.h>

namespace ombrel::protocol {

enum class nmea_kind : uint8_t {
    time,      ///< "hhmmss.ss"
    date,      ///< "ddmmyy"
    day,       ///< a date's parts in fields of their own
    month,     //
    year,      //
    latitude,  ///< "ddmm.mmmm" and "N" or "S" in the next field
    longitude, ///< "dddmm.mmmm" and "E" or "W"
    variation, ///< a number and "E" or "W"
    number,    ///< with a fraction
    count,     ///< without
    digit,     ///< a hexadecimal one
    letter,    ///< one of several
    unit,      ///< the one letter that the type has there, told to nobody
};

struct nmea_rule {
    nmea_kind kind;
    uint16_t place;           ///< of the value in the sentence's record
    int16_t least = 0;        ///< of a count
    int16_t most = 0;         //
    int16_t width = 1;        ///< digits of a count at least
    const char* letters = ""; ///< those of a letter or unit
    bool is_later = false;    ///< came with a later version of the standard: may be missing
};

struct nmea_type {
    char formatter[4];
    std::span<const nmea_rule> rules;
};

/// Of GSV: three fields, the satellites' groups, of which there are fewer in most sentences, and the signal.
inline constexpr int gsv_head_rules = 3;
inline constexpr int gsv_group_rules = 4;

/// Null for a type without a record.
const nmea_type* find_nmea_type(int type);
/// The type of a formatter, def_ombrel_nmea_other where it has no record.
int find_nmea_type(const char* formatter);

/// The rule that is followed after `index` others in a sentence with so many groups of satellites; null at
/// the end. What is no GSV has no groups to leave out.
const nmea_rule* nmea_rule_at(int type, int groups, int index);

/// The value at a rule's place.
template<typename Value, typename Sentence>
auto& nmea_value(Sentence& sentence, const nmea_rule& rule) {
    if constexpr (std::is_const_v<Sentence>)
        return *reinterpret_cast<const Value*>(reinterpret_cast<const char*>(&sentence.m_value) + rule.place);
    else
        return *reinterpret_cast<Value*>(reinterpret_cast<char*>(&sentence.m_value) + rule.place);
}

/// The time of a sentence whose type has one; null otherwise.
ombrel_civil_time_t* nmea_time_of(ombrel_nmea_sentence_t& sentence);

/// Sets all values of the type to what is not given.
void clear_nmea_values(ombrel_nmea_sentence_t& sentence);

} // namespace ombrel::protocol
