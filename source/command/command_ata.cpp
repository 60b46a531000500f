#include <algorithm>
#include <cstring>

#include <ombrel/ata_identity.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

constexpr ombrel_argument_table_t table = {
    .m_name = "ata",
    .m_operands = "FILE",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Prints what a disk says of itself, from the 512 bytes of its identify block, a line each.",
    .m_options = usual_options};

// The bytes of a file, and one more to see that there are no others.
struct identify_bytes {
    char bytes[def_ombrel_ata_identity_size + 1];
    size_t size = 0;

    bool add(const char* more, size_t count) {
        const size_t taken = std::min(count, sizeof bytes - size);
        memcpy(bytes + size, more, taken);
        size += taken;
        return size < sizeof bytes;
    }
};

void print_text(const char* name, const char* text) {
    ombrel_printf("%s: %s\n", name, text);
}

void print_number(const char* name, uint64_t number, const char* unit = "") {
    if (number != 0)
        ombrel_printf("%s: %llu%s\n", name, static_cast<unsigned long long>(number), unit);
}

// The modes whose bits are set, and behind them the one in use.
void print_modes(const char* name, unsigned modes, unsigned selected) {
    if (modes == 0)
        return;
    ombrel_printf("%s:", name);
    for (unsigned mode = 0; mode < 8; mode++)
        if ((modes >> mode & 1) != 0)
            ombrel_printf(" %s%u", (selected >> mode & 1) != 0 ? "*" : "", mode);
    ombrel_puts("\n");
}

void print_rotation(unsigned rate) {
    if (rate == def_ombrel_ata_not_rotating)
        print_text("rotation rate", "solid state");
    else
        print_number("rotation rate", rate, " rpm");
}

void print_form_factor(unsigned hundredths) {
    if (hundredths > 1)
        ombrel_printf("form factor: %u.%u inch\n", hundredths / 100, hundredths / 10 % 10);
    else if (hundredths == 1)
        print_text("form factor", "less than 1.8 inch");
}

void print_standard(unsigned version) {
    if (version == 8)
        print_text("standard", "ATA8-ACS");
    else if (version != 0)
        ombrel_printf(version < 8 ? "standard: ATA-%u\n" : "standard: ACS-%u\n",
                      version < 8 ? version : version - 7);
}

void print_sata(const ombrel_ata_identity_t& disk) {
    constexpr const char* speeds[] = {"", "1.5 Gbit/s", "3.0 Gbit/s", "6.0 Gbit/s"};
    for (unsigned generation = 3; generation > 0; generation--)
        if ((disk.m_sata_generations >> (generation - 1) & 1) != 0) {
            print_text("SATA speed", speeds[generation]);
            break;
        }
    if (disk.m_sata_generation > 0 && disk.m_sata_generation <= 3)
        print_text("SATA speed in use", speeds[disk.m_sata_generation]);
}

void print_security(const ombrel_ata_identity_t& disk) {
    struct state {
        unsigned bit;
        const char* name;
    };
    constexpr state states[] = {{def_ombrel_ata_security_locked, "locked"},
                                {def_ombrel_ata_security_frozen, "frozen"},
                                {def_ombrel_ata_security_expired, "count expired"},
                                {def_ombrel_ata_security_enhanced_erase, "enhanced erase"}};
    for (const state& each : states)
        if (disk.m_security != 0)
            ombrel_printf("security %s: %s\n", each.name, (disk.m_security & each.bit) != 0 ? "yes" : "no");
    print_number("security erase time", disk.m_erase_minutes, " min");
    print_number("security enhanced erase time", disk.m_enhanced_erase_minutes, " min");
}

void print_features(const ombrel_ata_identity_t& disk) {
    for (unsigned i = 0; i < def_ombrel_ata_feature_count; i++) {
        const bool is_there = (disk.m_supported >> i & 1) != 0;
        const bool is_on = (disk.m_enabled >> i & 1) != 0;
        print_text(ombrel_get_ata_feature_name(i), is_on ? "enabled" : is_there ? "disabled" : "no");
    }
}

void print_disk(const ombrel_ata_identity_t& disk) {
    constexpr const char* integrity[] = {"no checksum", "good", "bad"};
    print_text("model", disk.m_model);
    print_text("serial", disk.m_serial);
    print_text("firmware", disk.m_firmware);
    print_number("capacity", disk.m_capacity);
    print_number("sectors", disk.m_sectors);
    print_number("logical sector", disk.m_logical_sector);
    print_number("physical sector", disk.m_physical_sector);
    print_number("sector offset", disk.m_sector_offset);
    print_rotation(disk.m_rotation_rate);
    print_form_factor(disk.m_form_factor);
    print_standard(disk.m_ata_version);
    print_sata(disk);
    print_number("queue depth", disk.m_queue_depth);
    print_modes("PIO modes", disk.m_pio_modes, 0);
    print_modes("multiword DMA modes", disk.m_multiword_modes, disk.m_multiword_mode);
    print_modes("ultra DMA modes", disk.m_ultra_modes, disk.m_ultra_mode);
    print_number("power level", disk.m_power_level);
    if (disk.m_world_wide_name != 0)
        ombrel_printf("world-wide name: %016llx\n", static_cast<unsigned long long>(disk.m_world_wide_name));
    print_features(disk);
    print_security(disk);
    print_text("integrity", integrity[disk.m_integrity]);
}

bool show(const char* name) {
    identify_bytes block;
    ombrel_ata_identity_t disk;
    if (!read_input("ata", name, [&](const char* bytes, size_t size) { return block.add(bytes, size); }))
        return false;
    if (ombrel_parse_ata_identity(block.bytes, block.size, &disk) == 0) {
        print_disk(disk);
        return true;
    }
    complain("ata", name, block.size == def_ombrel_ata_identity_size ? "no identify block" : "not 512 bytes");
    return false;
}

int run_ata(int argc, char** argv) {
    const command_arguments arguments(table, argc, argv);
    return arguments ? exit_code(show(arguments.operand(0))) : arguments.exit_code();
}

} // namespace

constexpr own_command ata_command = command_of(table, run_ata);

} // namespace ombrel::command
