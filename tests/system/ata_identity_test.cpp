#include <ombrel/ata_identity.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

#include "support/temporary_path.h"

namespace {

struct block {
    uint16_t words[256] = {};

    void set_text(unsigned first, unsigned count, std::string text) {
        text.resize(size_t{2} * count, ' ');
        for (unsigned i = 0; i < count; i++)
            words[first + i] = static_cast<uint16_t>(static_cast<uint8_t>(text[2 * i]) << 8 |
                                                     static_cast<uint8_t>(text[2 * i + 1]));
    }

    std::string bytes() const {
        std::string all;
        for (const uint16_t word : words)
            all += {static_cast<char>(word & 255), static_cast<char>(word >> 8)};
        return all;
    }

    // With the checksum that makes it right.
    void seal() {
        words[255] = 0xA5;
        uint8_t sum = 0;
        for (const char c : bytes())
            sum = static_cast<uint8_t>(sum + c);
        words[255] = static_cast<uint16_t>(words[255] | (256 - sum) << 8);
    }

    int parse(ombrel_ata_identity_t& disk) const {
        return ombrel_parse_ata_identity(bytes().data(), def_ombrel_ata_identity_size, &disk);
    }
};

block solid_state_disk() {
    block made;
    made.set_text(10, 10, "  S3Z8 NB0K");
    made.set_text(23, 4, "EMT02B6Q");
    made.set_text(27, 20, "Sample SSD 500GB");
    const std::map<unsigned, uint16_t> words = {
        {0, 0x40},     {1, 16383},    {3, 16},       {6, 63},       {47, 0x8010},  {49, 0x2F00},
        {53, 7},       {59, 0x5101},  {60, 0xFFFF},  {61, 0xFFF},   {63, 0x407},   {64, 3},
        {69, 0x4020},  {75, 31},      {76, 0x850E},  {77, 0x86},    {80, 0x3FC},   {82, 0x746B},
        {83, 0x7D09},  {84, 0x4163},  {85, 0x7469},  {86, 0xBC09},  {87, 0x4163},  {88, 0x407F},
        {89, 2},       {90, 0x8101},  {91, 0xFE},    {100, 0x60B0}, {101, 0x3A38}, {105, 8},
        {106, 0x6003}, {108, 0x5002}, {109, 0x538D}, {110, 0x4123}, {111, 0x4567}, {119, 0x401C},
        {120, 0x4018}, {128, 0x2D},   {168, 3},      {169, 1},      {206, 0x3D},   {209, 0x4001},
        {217, 1}};
    for (const auto& [index, word] : words)
        made.words[index] = word;
    made.seal();
    return made;
}

TEST(AtaIdentity, TellsWhatADiskIs) {
    ombrel_ata_identity_t disk;
    ASSERT_EQ(0, solid_state_disk().parse(disk));
    EXPECT_STREQ("Sample SSD 500GB", disk.m_model);
    EXPECT_STREQ("S3Z8 NB0K", disk.m_serial);
    EXPECT_STREQ("EMT02B6Q", disk.m_firmware);
    EXPECT_EQ(976773296u, disk.m_sectors);
    EXPECT_EQ(976773296u * uint64_t{512}, disk.m_capacity);
    const std::vector<uint64_t> expected = {268435455, 512, 4096, 512,  16383, 16, 63,  1, 250, 9, 32,  7, 3,
                                            0x1F,      7,   4,    0x7F, 0x40,  16, 254, 4, 514, 8, 0x2D};
    EXPECT_EQ(expected, (std::vector<uint64_t>{disk.m_sectors_28,       disk.m_logical_sector,
                                               disk.m_physical_sector,  disk.m_sector_offset,
                                               disk.m_cylinders,        disk.m_heads,
                                               disk.m_track_sectors,    disk.m_rotation_rate,
                                               disk.m_form_factor,      disk.m_ata_version,
                                               disk.m_queue_depth,      disk.m_sata_generations,
                                               disk.m_sata_generation,  disk.m_pio_modes,
                                               disk.m_multiword_modes,  disk.m_multiword_mode,
                                               disk.m_ultra_modes,      disk.m_ultra_mode,
                                               disk.m_multiple_sectors, disk.m_power_level,
                                               disk.m_erase_minutes,    disk.m_enhanced_erase_minutes,
                                               disk.m_trim_blocks,      disk.m_security}));
    EXPECT_EQ(0x5002538D41234567u, disk.m_world_wide_name);
    EXPECT_EQ(def_ombrel_ata_integrity_good, disk.m_integrity);
    EXPECT_NE(0u, disk.m_enabled & def_ombrel_ata_advanced_power);
    EXPECT_EQ(def_ombrel_ata_security | def_ombrel_ata_write_uncorrectable,
              disk.m_supported & ~disk.m_enabled);
    EXPECT_EQ(nullptr, ombrel_get_ata_feature_name(def_ombrel_ata_feature_count));
}

struct change {
    std::map<unsigned, uint16_t> words;
    uint64_t sectors, capacity;
    uint32_t physical;
};

TEST(AtaIdentity, CountsSectorsAsTheDiskAddressesThem) {
    constexpr uint64_t usual = 976773296;
    const change changes[] = {
        {{{83, 0x7909}, {60, 5000}, {61, 0}}, 5000, 5000 * 512, 4096}, // no 48 bits
        {{{83, 0x7909}, {60, 0}, {61, 0}}, 16383 * 16 * 63, 16383 * 16 * 63 * uint64_t{512}, 4096},
        {{{49, 0}, {83, 0}},
         16383 * 16 * 63,
         16383 * 16 * 63 * uint64_t{512},
         4096}, // words 82 and on mean nothing
        {{{106, 0x7000}, {117, 2048}}, usual, usual * 4096, 4096},
        {{{106, 0x7000}, {117, 0xFFFF}, {118, 0xFFFF}}, usual, usual * 512, 512},
        {{{106, 0xE003}}, usual, usual * 512, 512},
        {{{69, 8}, {230, 7}, {232, 1}}, (uint64_t{1} << 32) + 7, ((uint64_t{1} << 32) + 7) * 512, 4096},
        {{{0, 0x85C0}}, 0, 0, 4096},
        {{{0, 0x848A}}, usual, usual * 512, 4096},
    };
    for (const change& each : changes) {
        block changed = solid_state_disk();
        for (const auto& [index, word] : each.words)
            changed.words[index] = word;
        ombrel_ata_identity_t disk;
        ASSERT_EQ(0, changed.parse(disk));
        EXPECT_EQ(each.sectors, disk.m_sectors);
        EXPECT_EQ(each.capacity, disk.m_capacity);
        EXPECT_EQ(each.physical, disk.m_physical_sector);
        EXPECT_EQ(def_ombrel_ata_integrity_bad, disk.m_integrity);
    }
}

TEST(AtaIdentity, RefusesWhatIsNoIdentifyBlock) {
    ombrel_ata_identity_t disk{};
    const std::string good = solid_state_disk().bytes();
    block nameless = solid_state_disk(), control = solid_state_disk();
    nameless.set_text(27, 20, "");
    control.set_text(23, 4, "a\nb");
    const std::vector<std::string> refused = {good.substr(1),         good + "x",
                                              std::string(512, '\0'), std::string(512, '\xFF'),
                                              std::string(512, 'a'),  nameless.bytes(),
                                              control.bytes(),        good.substr(511) + good.substr(0, 511)};
    for (const std::string& bytes : refused) {
        EXPECT_EQ(-1, ombrel_parse_ata_identity(bytes.data(), bytes.size(), &disk));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    EXPECT_EQ(-1, ombrel_parse_ata_identity(nullptr, 512, &disk));
    EXPECT_EQ(-1, ombrel_parse_ata_identity(good.data(), 512, nullptr));
    EXPECT_EQ('\0', disk.m_model[0]);
}

#if !defined(_WIN32)

std::string ask_hdparm(const block& asked) {
    const std::string path = ombrel_test::temporary_path();
    std::ofstream file(path);
    char text[8];
    for (unsigned i = 0; i < 256; i++)
        file.write(text, snprintf(text, sizeof text, "%04x%c", asked.words[i], i % 8 == 7 ? '\n' : ' '));
    file.close();
    FILE* const pipe =
        popen(("PATH=$PATH:/sbin:/usr/sbin hdparm --Istdin <" + path + " 2>/dev/null").c_str(), "r");
    std::string output;
    for (int c; (c = fgetc(pipe)) != EOF;)
        output += static_cast<char>(c);
    pclose(pipe);
    std::remove(path.c_str());
    return output;
}

// "*" for a feature that is on, " " for one that is off, "" for none.
std::string mark_of(const std::string& output, const std::string& name) {
    const size_t at = output.find("\t" + name + "\n");
    return at == output.npos || at < 1 ? "" : output.substr(at - 1, 1);
}

TEST(AtaIdentity, AgreesWithHdparm) {
    const std::map<unsigned, std::string> names = {{3, "SMART feature set"},
                                                   {4, "SMART self-test"},
                                                   {5, "Security Mode feature set"},
                                                   {6, "Power Management feature set"},
                                                   {7, "Advanced Power Management feature set"},
                                                   {8, "Write cache"},
                                                   {9, "Look-ahead"},
                                                   {10, "Host Protected Area feature set"},
                                                   {1, "48-bit Address feature set"},
                                                   {12, "Mandatory FLUSH_CACHE"},
                                                   {13, "FLUSH_CACHE_EXT"},
                                                   {14, "General Purpose Logging feature set"},
                                                   {16, "64-bit World wide name"},
                                                   {17, "Native Command Queueing (NCQ)"},
                                                   {21, "DOWNLOAD_MICROCODE"},
                                                   {25, "WRITE_UNCORRECTABLE_EXT command"}};
    std::mt19937 random(9);
    for (int round = 0; round < 25; round++) {
        block asked = solid_state_disk();
        const auto any = [&] { return static_cast<uint16_t>(random()); };
        for (const unsigned index : {82u, 83u, 84u, 85u, 86u, 87u, 119u, 120u})
            asked.words[index] = static_cast<uint16_t>((any() & 0x3FFF) | 0x4000);
        asked.words[86] |= 0x8000;
        asked.words[76] = static_cast<uint16_t>(any() & 0x010E);
        asked.words[100] = any();
        asked.words[217] = static_cast<uint16_t>(0x401 + any() % 20000);
        asked.words[255] = round % 2 == 0 ? any() : uint16_t{0};
        if (round % 2 == 0)
            asked.seal();
        const std::string output = ask_hdparm(asked);
        if (output.empty())
            GTEST_SKIP() << "hdparm is not there";
        ombrel_ata_identity_t disk;
        ASSERT_EQ(0, asked.parse(disk));
        for (const auto& [index, name] : names) {
            const bool is_there = (disk.m_supported >> index & 1) != 0,
                       is_on = (disk.m_enabled >> index & 1) != 0;
            EXPECT_EQ(is_on ? "*" : is_there ? " " : "", mark_of(output, name)) << name << "\n" << output;
        }
        const auto says = [&](const std::string& text) { return output.find(text) != output.npos; };
        EXPECT_TRUE(says("Model Number:       " + std::string(disk.m_model) + " "));
        EXPECT_TRUE(says("Rotation Rate: " + std::to_string(disk.m_rotation_rate) + "\n")) << output;
        EXPECT_TRUE(says("(" + std::to_string(disk.m_capacity / 1000000000) + " GB)")) << output;
        EXPECT_EQ(disk.m_integrity == def_ombrel_ata_integrity_good, says("Checksum: correct"));
    }
}

#endif

} // namespace
