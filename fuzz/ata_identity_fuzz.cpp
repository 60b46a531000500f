// Takes any bytes for what a disk says of itself.

#include <cstdint>
#include <cstring>
#include <string>

#include <ombrel/ata_identity.h>

#include "support/require.h"

namespace {

void require_text(const char* text, size_t most) {
    const size_t size = strnlen(text, most + 1);
    require(size <= most && (size == 0 || (text[0] != ' ' && text[size - 1] != ' ')));
    for (size_t i = 0; i < size; i++)
        require(text[i] >= ' ' && text[i] < 0x7F);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string bytes(reinterpret_cast<const char*>(data), size);
    ombrel_ata_identity_t disk;
    require(size == def_ombrel_ata_identity_size || ombrel_parse_ata_identity(data, size, &disk) == -1);
    bytes.resize(def_ombrel_ata_identity_size);
    if (ombrel_parse_ata_identity(bytes.data(), bytes.size(), &disk) != 0)
        return 0;
    require_text(disk.m_model, 40);
    require_text(disk.m_serial, 20);
    require_text(disk.m_firmware, 8);
    require(disk.m_model[0] != '\0' && (disk.m_enabled & ~disk.m_supported) == 0);
    require(disk.m_supported >> def_ombrel_ata_feature_count == 0);
    require(disk.m_logical_sector >= 512 && disk.m_physical_sector >= disk.m_logical_sector);
    require(disk.m_sector_offset < disk.m_physical_sector);
    require(disk.m_capacity == 0 || disk.m_capacity / disk.m_logical_sector == disk.m_sectors);
    require(disk.m_queue_depth <= 32 && disk.m_sata_generations <= 7 && disk.m_pio_modes <= 31);
    return 0;
}
