#include <ombrel/ata_identity.h>

#include <algorithm>
#include <bit>
#include <iterator>

#include "core/fault.h"

namespace ombrel::system {

namespace {

// A bit of a word.
struct word_bit {
    uint8_t word, bit;
};

// Where a feature is told: that it is there, and that it is switched on, which for some is the same.
struct feature {
    const char* name;
    word_bit supported;
    word_bit enabled;
};

// In the order of the bits that are handed out.
constexpr feature features[] = {
    {"LBA", {49, 9}, {49, 9}},
    {"LBA48", {83, 10}, {86, 10}},
    {"DMA", {49, 8}, {49, 8}},
    {"SMART", {82, 0}, {85, 0}},
    {"SMART self-test", {84, 1}, {87, 1}},
    {"security", {82, 1}, {85, 1}},
    {"power management", {82, 3}, {85, 3}},
    {"advanced power management", {83, 3}, {86, 3}},
    {"write cache", {82, 5}, {85, 5}},
    {"look-ahead", {82, 6}, {85, 6}},
    {"host protected area", {82, 10}, {85, 10}},
    {"acoustic management", {83, 9}, {86, 9}},
    {"flush cache", {83, 12}, {86, 12}},
    {"flush cache ext", {83, 13}, {86, 13}},
    {"general purpose logging", {84, 5}, {87, 5}},
    {"media serial number", {84, 2}, {87, 2}},
    {"WWN", {84, 8}, {87, 8}},
    {"NCQ", {76, 8}, {76, 8}},
    {"TRIM", {169, 0}, {169, 0}},
    {"deterministic TRIM", {69, 14}, {69, 14}},
    {"zeroes after TRIM", {69, 5}, {69, 5}},
    {"download microcode", {83, 0}, {86, 0}},
    {"packet commands", {0, 15}, {0, 15}},
    {"removable medium", {0, 7}, {0, 7}},
    {"sanitize", {59, 12}, {59, 12}},
    {"write uncorrectable", {119, 2}, {120, 2}},
    {"free-fall control", {119, 5}, {120, 5}},
    {"SCT", {206, 0}, {206, 0}},
};
static_assert(std::size(features) == def_ombrel_ata_feature_count);

class identify_block {
public:
    explicit identify_block(const void* bytes) : bytes_(static_cast<const uint8_t*>(bytes)) {}

    uint16_t word(unsigned index) const {
        return static_cast<uint16_t>(bytes_[2 * index] | bytes_[2 * index + 1] << 8);
    }

    /// The lower word first, as all but names have it.
    uint64_t words(unsigned first, unsigned count) const {
        uint64_t value = 0;
        for (unsigned i = 0; i < count; i++)
            value |= uint64_t{word(first + i)} << (16 * i);
        return value;
    }

    /// 0 for a word that the disk does not vouch for.
    uint16_t told(unsigned index) const {
        return is_told(index) && word(index) != UINT16_MAX ? word(index) : 0;
    }

    bool has(word_bit what) const { return (told(what.word) >> what.bit & 1) != 0; }

    /// Bits 15 and 14 of some words are 0 and 1 when the rest means something.
    bool is_marked(unsigned index) const { return word(index) >> 14 == 1; }

    /// Copies a text, whose words have the first character above the second; false for control characters.
    bool copy_text(unsigned first, unsigned count, char* to) const {
        const char* begin = to;
        for (unsigned i = 2 * first; i < 2 * (first + count); i++) {
            const uint8_t c = bytes_[i ^ 1];
            if ((c != 0 && c < ' ') || c == 0x7F)
                return false;
            const bool is_leading_space = (c == 0 || c == ' ') && to == begin;
            if (!is_leading_space)
                *to++ = c == 0 ? ' ' : c < 0x80 ? static_cast<char>(c) : '?';
        }
        while (to != begin && to[-1] == ' ')
            to--;
        *to = '\0';
        return true;
    }

    int integrity() const {
        constexpr uint8_t signature = 0xA5;
        if (bytes_[510] != signature)
            return def_ombrel_ata_integrity_absent;
        unsigned sum = 0;
        for (unsigned i = 0; i < def_ombrel_ata_identity_size; i++)
            sum += bytes_[i];
        return sum % 256 == 0 ? def_ombrel_ata_integrity_good : def_ombrel_ata_integrity_bad;
    }

    /// Whether what is 0 in each edition is: the upper half of word 47 was 80h or nothing ever since.
    bool looks_right() const {
        const unsigned upper = word(47) >> 8;
        return (upper == 0 || upper == 0x80) && (word(53) & 0x00F8) == 0;
    }

private:
    bool is_told(unsigned index) const {
        switch (index) {
        case 82:
        case 83:
            return is_marked(83);
        case 85:
        case 86:
        case 87:
            return is_marked(87);
        case 84:
        case 106:
        case 119:
        case 120:
        case 209:
            return is_marked(index);
        case 64:
            return (word(53) & 2) != 0;
        case 88:
            return (word(53) & 4) != 0;
        default:
            return true;
        }
    }

    const uint8_t* bytes_;
};

bool has_feature(const ombrel_ata_identity_t& disk, uint32_t which) {
    return (disk.m_supported & which) != 0;
}

uint16_t narrow(unsigned value) {
    return static_cast<uint16_t>(value);
}

void read_features(const identify_block& block, ombrel_ata_identity_t& disk) {
    for (unsigned i = 0; i < std::size(features); i++) {
        const bool is_supported = block.has(features[i].supported);
        disk.m_supported |= uint32_t{is_supported} << i;
        disk.m_enabled |= uint32_t{is_supported && block.has(features[i].enabled)} << i;
    }
    // The first word of CompactFlash cards is a number of their own, not one of packets.
    constexpr uint16_t compact_flash = 0x848A;
    if (block.word(0) == compact_flash) {
        disk.m_supported &= ~def_ombrel_ata_packet;
        disk.m_enabled &= ~def_ombrel_ata_packet;
    }
}

void read_geometry(const identify_block& block, ombrel_ata_identity_t& disk) {
    if (has_feature(disk, def_ombrel_ata_packet))
        return;
    disk.m_cylinders = block.word(1);
    disk.m_heads = block.word(3);
    disk.m_track_sectors = block.word(6);
    disk.m_sectors_28 = has_feature(disk, def_ombrel_ata_lba) ? static_cast<uint32_t>(block.words(60, 2)) : 0;
    disk.m_sectors = disk.m_sectors_28 != 0
                         ? disk.m_sectors_28
                         : uint64_t{disk.m_cylinders} * disk.m_heads * disk.m_track_sectors;
    constexpr word_bit has_extended_number = {69, 3};
    const uint64_t of_48_bits = has_feature(disk, def_ombrel_ata_lba48) ? block.words(100, 3) : 0;
    const uint64_t extended = block.has(has_extended_number) ? block.words(230, 3) : 0;
    if (extended != 0 || of_48_bits != 0)
        disk.m_sectors = extended != 0 ? extended : of_48_bits;
}

// Sizes that no number here holds are not told.
void read_sector_sizes(const identify_block& block, ombrel_ata_identity_t& disk) {
    constexpr uint32_t usual = 512;
    constexpr word_bit has_own_logical = {106, 12}, has_several = {106, 13};
    uint32_t logical = block.has(has_own_logical) ? static_cast<uint32_t>(block.words(117, 2)) : usual / 2;
    if (__builtin_mul_overflow(logical, 2u, &logical) || logical < usual)
        logical = usual;
    const uint64_t physical = uint64_t{logical} << (block.has(has_several) ? block.word(106) & 15 : 0);
    const uint64_t offset = uint64_t{logical} * (block.told(209) & 0x3FFFu);
    disk.m_logical_sector = logical;
    disk.m_physical_sector = physical <= UINT32_MAX ? static_cast<uint32_t>(physical) : logical;
    disk.m_sector_offset = offset < disk.m_physical_sector ? static_cast<uint32_t>(offset) : 0;
    if (__builtin_mul_overflow(disk.m_sectors, uint64_t{logical}, &disk.m_capacity))
        disk.m_capacity = 0;
}

void read_transfers(const identify_block& block, ombrel_ata_identity_t& disk) {
    constexpr unsigned modes_0_to_2 = 7;
    const unsigned fast = block.told(64) & 3u;
    const unsigned slow = block.word(51) >> 8;
    disk.m_pio_modes =
        narrow(fast != 0 ? fast << 3 | modes_0_to_2 : modes_0_to_2 >> (2 - std::min(slow, 2u)));
    disk.m_multiword_modes = narrow(block.told(63) & 7u);
    disk.m_multiword_mode = narrow(block.told(63) >> 8 & 7u);
    disk.m_ultra_modes = narrow(block.told(88) & 0x7Fu);
    disk.m_ultra_mode = narrow(block.told(88) >> 8 & 0x7Fu);
    disk.m_multiple_sectors = narrow(block.word(47) & 0xFFu);
    disk.m_sata_generations = narrow(block.told(76) >> 1 & 7u);
    disk.m_sata_generation = narrow(block.told(76) != 0 ? block.told(77) >> 1 & 7u : 0);
    disk.m_queue_depth = narrow(has_feature(disk, def_ombrel_ata_ncq) ? (block.word(75) & 31u) + 1 : 0);
}

// In units of two minutes; the upper bit says that there are more than eight below it.
uint16_t erase_minutes(uint16_t word) {
    constexpr unsigned is_long = 0x8000;
    return narrow((word & is_long) != 0 ? (word & ~is_long) * 2 : (word & 0xFFu) * 2);
}

void read_security(const identify_block& block, ombrel_ata_identity_t& disk) {
    constexpr unsigned all = 0x13F;
    if ((block.told(128) & def_ombrel_ata_security_supported) == 0)
        return;
    disk.m_security = narrow(block.told(128) & all);
    disk.m_erase_minutes = erase_minutes(block.told(89));
    disk.m_enhanced_erase_minutes = erase_minutes(block.told(90));
}

uint16_t rotation_rate(uint16_t word) {
    constexpr uint16_t least = 0x401;
    return word == def_ombrel_ata_not_rotating || word >= least ? word : uint16_t{0};
}

uint16_t form_factor(uint16_t word) {
    constexpr uint16_t factors[] = {0, 525, 350, 250, 180, 1};
    const unsigned number = word & 15u;
    return number < std::size(factors) ? factors[number] : uint16_t{0};
}

void read_others(const identify_block& block, ombrel_ata_identity_t& disk) {
    constexpr unsigned editions = 0x7FFE;
    disk.m_rotation_rate = rotation_rate(block.told(217));
    disk.m_form_factor = form_factor(block.told(168));
    const unsigned followed = block.told(80) & editions;
    disk.m_ata_version = narrow(followed != 0 ? static_cast<unsigned>(std::bit_width(followed)) - 1 : 0);
    disk.m_trim_blocks = has_feature(disk, def_ombrel_ata_trim) ? block.told(105) : uint16_t{0};
    if ((disk.m_enabled & def_ombrel_ata_advanced_power) != 0)
        disk.m_power_level = narrow(block.told(91) & 0xFFu);
    for (unsigned i = 108; has_feature(disk, def_ombrel_ata_wwn) && i < 112; i++)
        disk.m_world_wide_name = disk.m_world_wide_name << 16 | block.word(i); // the upper word first
    disk.m_integrity = block.integrity();
}

bool read_texts(const identify_block& block, ombrel_ata_identity_t& disk) {
    return block.copy_text(10, 10, disk.m_serial) && block.copy_text(23, 4, disk.m_firmware) &&
           block.copy_text(27, 20, disk.m_model) && disk.m_model[0] != '\0';
}

} // namespace

} // namespace ombrel::system

using namespace ombrel;

int ombrel_parse_ata_identity(const void* block, size_t size, ombrel_ata_identity_t* identity) {
    ombrel_ata_identity_t disk{};
    const bool is_whole = block != nullptr && identity != nullptr && size == def_ombrel_ata_identity_size;
    const system::identify_block from(block);
    if (!is_whole || !from.looks_right() || !system::read_texts(from, disk)) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    system::read_features(from, disk);
    system::read_geometry(from, disk);
    system::read_sector_sizes(from, disk);
    system::read_transfers(from, disk);
    system::read_security(from, disk);
    system::read_others(from, disk);
    *identity = disk;
    return 0;
}

const char* ombrel_get_ata_feature_name(unsigned index) {
    return index < std::size(system::features) ? system::features[index].name : nullptr;
}
