#include <ombrel/nmea.h>

#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

constexpr int64_t not_given = def_ombrel_nmea_not_given;
constexpr int64_t scale = def_ombrel_nmea_scale;

class Nmea : public balanced_test {};

std::string sealed(const std::string& content) {
    uint8_t sum = 0;
    for (const char c : content)
        sum = static_cast<uint8_t>(sum ^ c);
    char end[8];
    snprintf(end, sizeof end, "*%02X\r\n", sum);
    return '$' + content + end;
}

int read(const std::string& text, ombrel_nmea_sentence_t& sentence, uint32_t flags = 0, size_t limit = 82) {
    const ombrel_nmea_options_t options = {flags, limit};
    const int result = ombrel_parse_nmea_sentence(text.data(), text.size(), &options, &sentence);
    EXPECT_EQ(result == 0, sentence.m_fault == def_ombrel_nmea_fault_none);
    return result == 0 ? 0 : std::exchange(sentence.m_fault, 0);
}

TEST_F(Nmea, EachFaultHasWordsOfItsOwn) {
    std::set<std::string> words;
    for (int fault = 0; fault < def_ombrel_nmea_fault_count; fault++)
        EXPECT_TRUE(words.insert(ombrel_nmea_fault_text(fault)).second) << fault;
    for (const int unknown : {-1, def_ombrel_nmea_fault_count})
        EXPECT_STREQ("unknown", ombrel_nmea_fault_text(unknown));
    ombrel_nmea_options_t options;
    EXPECT_EQ(0, ombrel_init_nmea_options(&options));
    EXPECT_EQ(size_t{def_ombrel_nmea_length_max}, options.m_length_limit);
    EXPECT_EQ(-1, ombrel_init_nmea_options(nullptr));
}

TEST_F(Nmea, SentencesAreWrittenAsTheyWereRead) {
    for (const char* const content :
         {"GPGGA,123519.00,4807.0380,N,01131.0000,E,1,08,0.9,545.4,M,46.9,M,,",
          "GPGGA,,,,,,,,,,M,,M,,",
          "GNGGA,000000.1234567,0000.0001,S,17959.999999999,W,9,12,99.9,-0.5,M,,M,,4095",
          "GPGLL,4916.4500,N,12311.1200,W,225444.00,A",
          "GPGLL,0000.0000,N,00000.0000,E,000000.00,A",
          "GAGLL,,,,,,V,N",
          "GPGSA,A,3,04,05,,09,12,,,24,,,,,2.5,1.3,2.1",
          "GNGSA,M,1,,,,,,,,,,,,,,,,F",
          "GPGSV,2,1,08,01,40,083,46,02,17,308,,12,07,344,39,14,-22,228,45",
          "GLGSV,1,1,00",
          "GBGSV,1,1,01,101,,,,7",
          "HEHDT,274.07,T",
          "HEHDT,,T",
          "GPRMC,225446.33,A,9000.0000,N,18000.0000,E,0.5,54.7,191194,20.3,E",
          "GNRMC,,V,,,,,,,,,,N,V",
          "GPRMC,000000.00,V,,,,,,,311279,0.1,W",
          "GPRMC,000000.00,V,,,,,,,010180,,,,S",
          "GPVTG,54.7,T,34.4,M,5.5,N,10.2,K",
          "GPVTG,,T,,M,,N,,K,E",
          "GPZDA,201530.00,04,07,2002,-03,30",
          "GPZDA,,,,,,"}) {
        ombrel_nmea_sentence_t sentence{};
        char written[def_ombrel_nmea_length_max + 1];
        EXPECT_EQ(0, read(sealed(content), sentence)) << content;
        EXPECT_EQ(static_cast<int>(strlen(content)) + 6,
                  ombrel_format_nmea_sentence(written, sizeof written, &sentence))
            << content;
        EXPECT_EQ(sealed(content), written);
    }
}

TEST_F(Nmea, ValuesAreExact) {
    ombrel_nmea_sentence_t one{};
    ASSERT_EQ(0,
              read(sealed("GPRMC,235960.5,A,4807.038,S,01131.1234567891,E,.5,-084.4,311216,003.1,W,A"), one));
    const ombrel_nmea_rmc_t& rmc = one.m_value.m_rmc;
    EXPECT_EQ(
        (std::vector<int64_t>{-2887'038'000'000, 691'123'456'789, scale / 2, -84'400'000'000,
                              -3'100'000'000}),
        (std::vector<int64_t>{rmc.m_latitude, rmc.m_longitude, rmc.m_speed, rmc.m_course, rmc.m_variation}));
    ombrel_instant_t instant;
    EXPECT_EQ(0, ombrel_get_civil_instant(&rmc.m_time, &instant));
    EXPECT_EQ(1483228800, instant.m_seconds); // the leap second before is the first of the year
    EXPECT_EQ(500'000'000, instant.m_nanoseconds);
    EXPECT_EQ('A', rmc.m_mode);
    EXPECT_EQ('\0', rmc.m_navigation);
    EXPECT_DOUBLE_EQ(-48.1173, ombrel_get_nmea_degrees(rmc.m_latitude));
    for (const auto& [angle, expected] : {std::pair<int64_t, int64_t>{-2887'038'000'000, -48'117'300'000},
                                          {89, 1},
                                          {90, 2},
                                          {-89, -1},
                                          {-90, -2},
                                          {not_given, not_given}})
        EXPECT_EQ(expected, ombrel_get_nmea_nanodegrees(angle));
    EXPECT_TRUE(std::isnan(ombrel_get_nmea_degrees(not_given)) &&
                std::isnan(ombrel_get_nmea_number(not_given)));
    EXPECT_DOUBLE_EQ(-0.25, ombrel_get_nmea_number(-scale / 4));
    ASSERT_EQ(0, read(sealed("GPGGA,,,,,,,,,,,,,,,,,more"), one));
    EXPECT_EQ(not_given, one.m_value.m_gga.m_altitude);
    EXPECT_EQ(-1, ombrel_get_civil_instant(&one.m_value.m_gga.m_time, &instant));
    ASSERT_EQ(0, read(sealed("GPGSV,3,1,09,,,,,05,06,007,,,,,,,,,"), one)); // filled up with empty ones
    EXPECT_EQ(2, one.m_value.m_gsv.m_satellite_count);
    EXPECT_EQ(6, one.m_value.m_gsv.m_satellites[1].m_elevation);
}

TEST_F(Nmea, TellsWhatIsWrong) {
    const std::string full = "GPTXT," + std::string(70, 'x');
    const struct {
        std::string text;
        int fault;
        size_t at;
        uint32_t flags = 0;
    } cases[] = {
        {"", def_ombrel_nmea_fault_start, 0},
        {"GPHDT,1,T*2B", def_ombrel_nmea_fault_start, 0},
        {"$GPHDT,1\x7f,T*00", def_ombrel_nmea_fault_character, 8},
        {std::string("$GPHDT\0*00", 10), def_ombrel_nmea_fault_character, 6},
        {"$GPHDT,\xc3\xa9*00", def_ombrel_nmea_fault_character, 7},
        {sealed(full), 0, 0},
        {sealed(full + 'x'), def_ombrel_nmea_fault_too_long, 80},
        {"$GPHDT,1$GPHDT", def_ombrel_nmea_fault_unfinished, 8},
        {"$GPHDT,1,T", def_ombrel_nmea_fault_unchecked, 10},
        {"$GPHDT,1,T", 0, 0, def_ombrel_nmea_unchecked},
        {"$GPHDT,1,T*", def_ombrel_nmea_fault_checksum, 11, def_ombrel_nmea_unchecked},
        {"$GPHDT,1,T*0", def_ombrel_nmea_fault_checksum, 11},
        {"$GPHDT,1,T*000", def_ombrel_nmea_fault_checksum, 11},
        {"$GPHDT,1,T*+7", def_ombrel_nmea_fault_checksum, 11},
        {"$*00", def_ombrel_nmea_fault_address, 1},
        {"$", def_ombrel_nmea_fault_address, 1, def_ombrel_nmea_unchecked},
        {sealed("GPHD,1"), def_ombrel_nmea_fault_address, 1},
        {sealed("GPhdt,1"), def_ombrel_nmea_fault_address, 1},
        {sealed("PAB,1"), def_ombrel_nmea_fault_address, 1},
        {sealed("PABCDEFGHIJKLMNOPQ,1"), def_ombrel_nmea_fault_address, 1},
        {sealed("PABCDEFGHIJKLMNO"), 0, 0},
        {sealed("GPHDT,1.2.3,T"), def_ombrel_nmea_fault_field, 7},
        {sealed("GPHDT,9223372036,T"), def_ombrel_nmea_fault_field, 7},
        {sealed("GPHDT,1,M"), def_ombrel_nmea_fault_field, 9},
        {sealed("GPHDT,+1,T"), def_ombrel_nmea_fault_field, 7},
        {sealed("GPHDT,.,T"), def_ombrel_nmea_fault_field, 7},
        {sealed("GPGLL,9000.0001,N,,,,A"), def_ombrel_nmea_fault_field, 7},
        {sealed("GPGLL,4860.0,N,,,,A"), def_ombrel_nmea_fault_field, 7},
        {sealed("GPGLL,07.0,N,,,,A"), def_ombrel_nmea_fault_field, 7},
        {sealed("GPGLL,4807.0,,,,,A"), def_ombrel_nmea_fault_field, 14},
        {sealed("GPGLL,4807.0,E,,,,A"), def_ombrel_nmea_fault_field, 14},
        {sealed("GPGLL,,,,,240000,A"), def_ombrel_nmea_fault_field, 11},
        {sealed("GPGLL,,,,,225960,A"), def_ombrel_nmea_fault_field, 11},
        {sealed("GPGLL,,,,,12345,A"), def_ombrel_nmea_fault_field, 11},
        {sealed("GPGLL,,,,,,B"), def_ombrel_nmea_fault_field, 12},
        {sealed("GPRMC,,,,,,,,,290200,,"), 0, 0},
        {sealed("GPRMC,,,,,,,,,290201,,"), def_ombrel_nmea_fault_field, 15},
        {sealed("GPZDA,,31,04,2002,,"), def_ombrel_nmea_fault_field, 20},
        {sealed("GPRMC,235960,,,,,,,,311279,,"), def_ombrel_nmea_fault_field, 29},
        {sealed("GPZDA,,31,,2002,,"), def_ombrel_nmea_fault_field, 18},
        {sealed("GPZDA,,31,07"), def_ombrel_nmea_fault_field, 13},
        {sealed("GPZDA,235960,31,12,9999,,"), def_ombrel_nmea_fault_field, 26},
        {sealed("GPGSA,A,4"), def_ombrel_nmea_fault_field, 9},
    };
    for (const auto& one : cases) {
        ombrel_nmea_sentence_t sentence{};
        EXPECT_EQ(one.fault, read(one.text, sentence, one.flags)) << one.text;
        EXPECT_EQ(one.at, sentence.m_fault_at) << one.text;
    }
}

struct listing {
    std::vector<std::string> told;
    ombrel_nmea_counts_t counts{};
};

int list(const ombrel_nmea_sentence_t* sentence, void* context) {
    static_cast<listing*>(context)->told.push_back(std::to_string(sentence->m_fault) +
                                                   std::string(sentence->m_text, sentence->m_size));
    return sentence->m_type == def_ombrel_nmea_hdt ? 7 : 0;
}

listing read_pieces(const std::string& text, size_t piece, uint32_t flags, int ended) {
    listing found;
    const ombrel_nmea_options_t options = {flags, 16};
    ombrel_nmea_reader_t* const reader = ombrel_open_nmea_reader(&options, list, &found);
    for (size_t at = 0; at < text.size(); at += piece) {
        const int result =
            ombrel_nmea_reader_push(reader, text.data() + at, std::min(piece, text.size() - at));
        EXPECT_TRUE(result == 0 || result == ended);
    }
    EXPECT_EQ(0, ombrel_nmea_reader_push(reader, nullptr, 0));
    EXPECT_EQ(0, ombrel_nmea_reader_get_counts(reader, &found.counts));
    ombrel_close_nmea_reader(reader);
    return found;
}

TEST_F(Nmea, ReadsPiecesOfAnySizeAndFindsTheNextSentence) {
    const std::string text = "XT*00\r\n$GPAAA*56\r\r\n\n\\s:x*00\\!GPAAA*56\n$GPA$GPAAA*56\n$GPAAA,34567890,$"
                             "GPAAA*56\r$GPAAA,4567890*\nrest\n$GPAAA";
    const std::vector<std::string> good(4, "0$GPAAA*56");
    for (size_t piece = 1; piece <= text.size(); piece++) {
        const listing found = read_pieces(text, piece, def_ombrel_nmea_bad_too, 0);
        EXPECT_EQ((std::vector<std::string>{"0$GPAAA*56", "0!GPAAA*56", "4$GPA", "0$GPAAA*56",
                                            "3$GPAAA,34567890", "0$GPAAA*56", "3$GPAAA,4567890*", "5$GPAAA"}),
                  found.told);
        EXPECT_EQ(4u, found.counts.m_good);
        EXPECT_EQ(4u, found.counts.m_bad);
        EXPECT_EQ(2u, found.counts.m_faults[def_ombrel_nmea_fault_too_long]);
        EXPECT_EQ(17u, found.counts.m_passed_over);
        EXPECT_EQ(4u, read_pieces(text, piece, 0, 0).told.size());
    }
    EXPECT_EQ(1u, read_pieces("$IIHDT,1,T*38\n$GPAAA*56", 99, 0, 7).told.size()); // ended by the handler
}

TEST_F(Nmea, FieldsOfAnySentenceAreReadAndWritten) {
    char text[40];
    const char* const fields[] = {"1", "", "a^2C b"};
    ASSERT_EQ(20, ombrel_format_nmea_fields(text, sizeof text, '!', "PUBX", fields, 3));
    EXPECT_STREQ("!PUBX,1,,a^2C b*0E\r\n", text);
    ombrel_nmea_sentence_t sentence{};
    const std::string line = text;
    ASSERT_EQ(0, read(line, sentence));
    ASSERT_EQ(3, sentence.m_field_count);
    EXPECT_EQ(std::string("!P UBX"),
              std::string(1, sentence.m_start) + sentence.m_talker + ' ' + sentence.m_formatter);
    for (int i = 0; i < 3; i++) {
        const char* field;
        size_t size;
        EXPECT_EQ(0, ombrel_nmea_sentence_get_field(&sentence, i, &field, &size));
        EXPECT_EQ(fields[i], std::string(field, size));
        EXPECT_EQ(-1, ombrel_nmea_sentence_get_field(&sentence, i + 3, &field, &size));
    }
    EXPECT_EQ(-1, ombrel_format_nmea_fields(text, 20, '!', "PUBX", fields, 3));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_STREQ("", text);
    for (const char* const bad : {"a,b", "a*", "$", "!", "\\", "~", "\r", "\x80"})
        EXPECT_EQ(-1, ombrel_format_nmea_fields(text, sizeof text, '$', "GPTXT", &bad, 1)) << bad;
    for (const char* const bad : {"GPTX", "gptxt", "PAB", "", "GPTXTS", "PABCDEFGHIJKLMNOP"})
        EXPECT_EQ(-1, ombrel_format_nmea_fields(text, sizeof text, '$', bad, nullptr, 0)) << bad;
    for (const char* const good : {"PABC", "PABCDEFGHIJKLMNO"})
        EXPECT_EQ(static_cast<int>(strlen(good)) + 6,
                  ombrel_format_nmea_fields(text, sizeof text, '$', good, nullptr, 0))
            << good;
}

TEST_F(Nmea, ValuesThatATypeDoesNotHaveAreNotWritten) {
    char text[def_ombrel_nmea_length_max + 1];
    ombrel_nmea_sentence_t sentence;
    for (const char* const talker : {"PX", "", "G", "GPS", "gp", "G*"})
        EXPECT_EQ(-1, ombrel_init_nmea_sentence(&sentence, def_ombrel_nmea_gga, talker)) << talker;
    EXPECT_EQ(-1, ombrel_init_nmea_sentence(&sentence, def_ombrel_nmea_other, "GP"));
    void (*const spoil[])(ombrel_nmea_rmc_t&) = {
        [](ombrel_nmea_rmc_t& rmc) { rmc.m_status = 'x'; },
        [](ombrel_nmea_rmc_t& rmc) { rmc.m_latitude = 90 * 60 * scale + 1; },
        [](ombrel_nmea_rmc_t& rmc) { rmc.m_latitude = -90 * 60 * scale - 1; },
        [](ombrel_nmea_rmc_t& rmc) { rmc.m_longitude = 180 * 60 * scale + 1; },
        [](ombrel_nmea_rmc_t& rmc) { rmc.m_longitude = -180 * 60 * scale - 1; },
        [](ombrel_nmea_rmc_t& rmc) { rmc.m_time.m_hour = 24; },
        [](ombrel_nmea_rmc_t& rmc) { rmc.m_time.m_month = 13; },
        [](ombrel_nmea_rmc_t& rmc) {
            rmc.m_time.m_month = rmc.m_time.m_day = 1;
            rmc.m_time.m_year = 2080;
        },
    };
    for (const auto change : spoil) {
        ASSERT_EQ(0, ombrel_init_nmea_sentence(&sentence, def_ombrel_nmea_rmc, "GN"));
        EXPECT_EQ(20 + 2, ombrel_format_nmea_sentence(text, sizeof text, &sentence)) << text;
        change(sentence.m_value.m_rmc);
        EXPECT_EQ(-1, ombrel_format_nmea_sentence(text, sizeof text, &sentence));
    }
    ASSERT_EQ(0, ombrel_init_nmea_sentence(&sentence, def_ombrel_nmea_rmc, "GN"));
    sentence.m_value.m_rmc.m_latitude = -90 * 60 * scale;
    sentence.m_value.m_rmc.m_longitude = 180 * 60 * scale;
    EXPECT_LT(0, ombrel_format_nmea_sentence(text, sizeof text, &sentence));
    EXPECT_EQ("$GNRMC,,,9000.0000,S,18000.0000,E,", std::string(text, 34)) << "the ends are within";
    ASSERT_EQ(0, ombrel_init_nmea_sentence(&sentence, def_ombrel_nmea_gsv, "GN"));
    for (const int count : {-1, 5}) {
        sentence.m_value.m_gsv.m_satellite_count = count;
        EXPECT_EQ(-1, ombrel_format_nmea_sentence(text, sizeof text, &sentence)) << count;
    }
    sentence.m_value.m_gsv.m_satellite_count = 0;
    sentence.m_value.m_gsv.m_signal = 16;
    EXPECT_EQ(-1, ombrel_format_nmea_sentence(text, sizeof text, &sentence));
}

} // namespace
} // namespace ombrel_test
